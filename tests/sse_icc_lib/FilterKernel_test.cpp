// The value-filter kernel (each instruction-set body and the dispatching entry point) against
// a plain reference: every width, starts across two result words, counts around the blocks.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "sse_icc_lib/ProcessorInfo.hpp"
#include "sse_icc_lib/filter_kernels.hpp"
#include "sse_icc_lib/sse_icc_lib.hpp"
#include "tests/sse_icc_lib/GuardedWords.hpp"

namespace {

using vorex_test::GuardedWords;
using vorex_test::maskOf;
using vorex_test::referenceValue;
using vorex_test::wordsWithSpare;

using FilterFn = void (*)(std::size_t, std::size_t, const unsigned char*, unsigned char*,
                          unsigned int, const sse_icc_lib::Word*, sse_icc_lib::Word);

struct Body {
  const char* name;
  FilterFn fn;
  bool (*supported)();
  bool widthZero;  // the bodies require a width of at least 1
};

const Body kBodies[] = {
    {"Entry", &sse_icc_lib::mgetSearchBvResBv, [] { return true; }, true},
    {"SSE4", &sse_icc_lib::mgetSearchBvResBv_SSE4, [] { return ltt::ProcessorInfo::hasSse41(); },
     false},
    {"AVX2", &sse_icc_lib::mgetSearchBvResBv_AVX2,
     [] { return ltt::ProcessorInfo::hasAvx2() && ltt::ProcessorInfo::hasBmi2(); }, false},
};

// A filter with a bit for every value of the width. Up to 2^32 bits it is a private anonymous
// mapping: untouched pages read as zero and cost nothing.
class FilterBits {
 public:
  explicit FilterBits(unsigned bits) {
    m_bytes = ((std::uint64_t{1} << bits) + 63) / 64 * 8 + 64;
    void* p = mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE,
                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    m_data = p == MAP_FAILED ? nullptr : static_cast<unsigned char*>(p);
  }
  ~FilterBits() {
    if (m_data) munmap(m_data, m_bytes);
  }
  bool ok() const { return m_data != nullptr; }
  void set(std::uint32_t v) { m_data[v >> 3] |= static_cast<unsigned char>(1u << (v & 7)); }
  bool test(std::uint32_t v) const { return (m_data[v >> 3] >> (v & 7)) & 1u; }
  const unsigned char* data() const { return m_data; }

 private:
  unsigned char* m_data = nullptr;
  std::size_t m_bytes = 0;
};

constexpr std::size_t kMaxFrom = 128;
constexpr std::size_t kMaxCount = 1100;

class FilterKernelTest : public ::testing::TestWithParam<std::tuple<int, unsigned>> {
 protected:
  const Body& body() const { return kBodies[std::get<0>(GetParam())]; }
  unsigned bits() const { return std::get<1>(GetParam()); }
  void SetUp() override {
    if (!body().supported()) GTEST_SKIP() << body().name << " not offered by this processor";
    if (bits() == 0 && !body().widthZero) GTEST_SKIP() << "the bodies start at width 1";
  }
};

TEST_P(FilterKernelTest, MatchesReferenceForEveryStartAndTail) {
  const unsigned w = bits();
  const std::size_t maxValues = kMaxFrom + kMaxCount;
  std::mt19937_64 rng(w * 104729u + 3);
  std::vector<std::uint64_t> source(wordsWithSpare(maxValues, w));
  for (auto& x : source) x = rng();
  std::vector<std::uint32_t> values(maxValues);
  for (std::size_t i = 0; i < maxValues; ++i) values[i] = referenceValue(source.data(), w, i);

  // Narrow widths get a dense random filter; wide ones the values of about half the positions,
  // plus the largest value, so that far words of the filter are read too.
  FilterBits filter(w);
  ASSERT_TRUE(filter.ok());
  if (w <= 16) {
    for (std::uint64_t v = 0; v < (std::uint64_t{1} << w); ++v) {
      if (rng() & 1) filter.set(static_cast<std::uint32_t>(v));
    }
  } else {
    for (std::uint32_t v : values) {
      if (rng() & 1) filter.set(v);
    }
    filter.set(static_cast<std::uint32_t>(maskOf(w)));
  }

  GuardedWords guard(source.size());
  ASSERT_TRUE(guard.ok());
  const std::size_t resultWords = maxValues / 64 + 3;
  const std::size_t counts[] = {0, 1, 5, 63, 64, 65, 127, 129, 511, 512, 513, 600, kMaxCount};
  for (std::size_t from = 0; from < kMaxFrom; from += (from < 70 ? 1 : 19)) {
    for (std::size_t count : counts) {
      SCOPED_TRACE("from " + std::to_string(from) + " count " + std::to_string(count));
      // The vector holds exactly from + count values and ends at the guard page.
      const std::size_t n = wordsWithSpare(from + count, w);
      std::uint64_t* data = guard.words(n, rng);
      std::memcpy(data, source.data(), n * 8);

      std::vector<std::uint64_t> result(resultWords), expected(resultWords);
      for (std::size_t i = 0; i < resultWords; ++i) expected[i] = result[i] = rng() & rng();
      for (std::size_t p = from; p < from + count; ++p) {
        if (filter.test(values[p])) expected[p / 64] |= std::uint64_t{1} << (p % 64);
      }
      body().fn(from, count, filter.data(), reinterpret_cast<unsigned char*>(result.data()), w,
                data, maskOf(w));
      for (std::size_t i = 0; i < resultWords; ++i) {
        ASSERT_EQ(result[i], expected[i]) << "result word " << i;
      }
      if (HasFailure()) return;
    }
  }
}

std::string paramName(const testing::TestParamInfo<std::tuple<int, unsigned>>& info) {
  return std::string(kBodies[std::get<0>(info.param)].name) + "_w" +
         std::to_string(std::get<1>(info.param));
}

INSTANTIATE_TEST_SUITE_P(AllWidths, FilterKernelTest,
                         ::testing::Combine(::testing::Values(0, 1, 2), ::testing::Range(0u, 33u)),
                         paramName);

}  // namespace

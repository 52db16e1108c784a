// The bit-vector adapters to the SIMD kernels against the generic searches: every width, starts
// on both sides of the 128-position blocks, counts around them, bounds at 0 and at the mask,
// both kernel forms, data that end at a guard page and result bits that were already set.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/IndexVectorRef.hpp"
#include "sse_icc_lib/ProcessorInfo.hpp"
#include "tests/VorexUtils/PackedReference.hpp"
#include "tests/sse_icc_lib/GuardedWords.hpp"

namespace VorexUtils {
namespace {

const std::size_t kFroms[] = {0, 1, 63, 64, 127, 128, 129, 200, 256};
const std::size_t kCounts[] = {0, 1, 127, 128, 129, 255, 300, 1000};
constexpr std::size_t kMaxEnd = 256 + 1000;

/// Result bits with some already set, which a search must keep.
BitVector noisyResult(std::mt19937_64& rng) {
  BitVector bv(kMaxEnd + 64, false);
  for (std::size_t i = 0; i < bv.size(); ++i) {
    if (rng() % 5 == 0) bv.set(i);
  }
  return bv;
}

void expectSameBits(const BitVector& got, const BitVector& want) {
  ASSERT_EQ(got.wordCount(), want.wordCount());
  for (std::size_t i = 0; i < got.wordCount(); ++i) {
    ASSERT_EQ(got.wordsBegin()[i], want.wordsBegin()[i]) << "result word " << i;
  }
}

class MgetSearchSseTest : public ::testing::TestWithParam<unsigned> {
 protected:
  void SetUp() override { m_savedAvx2 = detail::gUseMgetSearchAVX2; }
  void TearDown() override { detail::gUseMgetSearchAVX2 = m_savedAvx2; }
  bool m_savedAvx2 = false;
};

TEST_P(MgetSearchSseTest, RangeAdapterMatchesGeneric) {
  if (!ltt::ProcessorInfo::hasSse41()) GTEST_SKIP() << "needs SSE4.1";
  const unsigned w = GetParam();
  const std::uint64_t mask = packed_ref::maskOf(w);
  std::mt19937_64 rng(w * 31 + 7);
  const auto source = packed_ref::randomWords(vorex_test::wordsWithSpare(kMaxEnd, w), rng);
  const auto m = static_cast<unsigned>(mask);
  const auto r = static_cast<unsigned>(rng()) & m;
  struct Range {
    unsigned from, to;
  };
  const std::vector<Range> ranges = {
      {0, m / 2 + 1},
      {m / 3, m / 3 + 1},  // Eq
      {r / 2, r + 1},
      {0, 0xFFFFFFFFu},  // NoMax: every value
      {m, 0xFFFFFFFFu},
      {m, m},  // empty
      {5, 3},
      {0, 0},
      {m + 1u, 0xFFFFFFFFu}};  // above the mask: nothing (at width 32 it wraps to 0)
  vorex_test::GuardedWords guard(source.size());
  ASSERT_TRUE(guard.ok());

  for (bool avx2 : {false, true}) {
    if (avx2 && !ltt::ProcessorInfo::hasAvx2()) continue;
    detail::gUseMgetSearchAVX2 = avx2;
    for (std::size_t from : kFroms) {
      for (std::size_t count : kCounts) {
        const std::size_t n = vorex_test::wordsWithSpare(from + count, w);
        const std::uint64_t* data = guard.words(n, rng);
        std::copy(source.begin(), source.begin() + n, const_cast<std::uint64_t*>(data));
        for (const Range& range : ranges) {
          SCOPED_TRACE(std::string(avx2 ? "AVX2" : "SSE4") + " from " + std::to_string(from) +
                       " count " + std::to_string(count) + " range [" + std::to_string(range.from) +
                       ", " + std::to_string(range.to) + ")");
          BitVector got = noisyResult(rng);
          BitVector want = got;
          mgetSearchSseResBv(from, count, range.from, range.to, got, w, data, mask);
          mgetSearchGenericResBv(from, count, range.from, range.to, want, w, data, mask);
          expectSameBits(got, want);
          if (HasFailure()) return;
        }
      }
    }
  }
}

TEST_P(MgetSearchSseTest, FilterAdapterMatchesGeneric) {
  const unsigned w = GetParam();
  const std::uint64_t mask = packed_ref::maskOf(w);
  std::mt19937_64 rng(w * 17 + 1);
  // Values up to 2^16, so that a filter for all of them stays small at every width.
  const unsigned valueBits = w < 16 ? w : 16;
  std::vector<std::uint64_t> source(vorex_test::wordsWithSpare(kMaxEnd, w));
  for (auto& x : source) x = rng();
  for (std::size_t i = 0; i < kMaxEnd; ++i) {
    packed_ref::put(source.data(), w, i,
                    static_cast<std::uint32_t>(rng()) & packed_ref::maskOf(valueBits));
  }
  BitVector filter(std::size_t{1} << valueBits, false);
  for (std::size_t v = 0; v < filter.size(); ++v) {
    if (rng() & 1) filter.set(v);
  }
  vorex_test::GuardedWords guard(source.size());
  ASSERT_TRUE(guard.ok());

  for (std::size_t from : kFroms) {
    for (std::size_t count : kCounts) {
      SCOPED_TRACE("from " + std::to_string(from) + " count " + std::to_string(count));
      const std::size_t n = vorex_test::wordsWithSpare(from + count, w);
      std::uint64_t* data = guard.words(n, rng);
      std::copy(source.begin(), source.begin() + n, data);
      BitVector got = noisyResult(rng);
      BitVector want = got;
      mgetSearchSseBvResBv(from, count, filter, got, w, data, mask);
      mgetSearchGenericBvResBv(from, count, filter, want, w, data, mask);
      expectSameBits(got, want);
      if (HasFailure()) return;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllWidths, MgetSearchSseTest, ::testing::Range(0u, 33u),
                         [](const testing::TestParamInfo<unsigned>& info) {
                           return "w" + std::to_string(info.param);
                         });

}  // namespace
}  // namespace VorexUtils

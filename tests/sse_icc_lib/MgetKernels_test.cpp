// The SIMD decode kernels against a bit-by-bit reference: every width, every start within two
// groups of 64, counts around the group and vector boundaries, data ending at a guard page.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "sse_icc_lib/ProcessorInfo.hpp"
#include "sse_icc_lib/sse_icc_lib.hpp"
#include "tests/sse_icc_lib/GuardedWords.hpp"

namespace {

using vorex_test::GuardedWords;
using vorex_test::maskOf;
using vorex_test::referenceValue;
using vorex_test::wordsWithSpare;

struct Kernel {
  const char* name;
  sse_icc_lib::MgetFn fn;
  bool (*supported)();
};

const Kernel kKernels[] = {
    {"SSE4", &sse_icc_lib::mgeti_SSE4, [] { return ltt::ProcessorInfo::hasSse41(); }},
    {"AVX2", &sse_icc_lib::mgeti_AVX2,
     [] { return ltt::ProcessorInfo::hasAvx2() && ltt::ProcessorInfo::hasBmi2(); }},
};

constexpr std::uint32_t kCanary = 0xC0FFEE11u;

class MgetKernelTest : public ::testing::TestWithParam<std::tuple<int, unsigned>> {
 protected:
  const Kernel& kernel() const { return kKernels[std::get<0>(GetParam())]; }
  unsigned bits() const { return std::get<1>(GetParam()); }
  void SetUp() override {
    if (!kernel().supported()) GTEST_SKIP() << kernel().name << " not offered by this processor";
  }

  // Decodes [from, from + count) of a vector of exactly from + count values that ends at the
  // guard page, and checks values and the untouched neighbours of the output.
  void check(GuardedWords& guard, std::mt19937_64& rng, std::size_t from, std::size_t count) {
    const unsigned w = bits();
    const std::uint64_t* data = guard.words(wordsWithSpare(from + count, w), rng);
    std::vector<std::uint32_t> out(count + 2, kCanary);
    kernel().fn(from, count, out.data() + 1, w, data, maskOf(w));
    ASSERT_EQ(out.front(), kCanary) << "wrote before the output";
    ASSERT_EQ(out.back(), kCanary) << "wrote past the output";
    for (std::size_t k = 0; k < count; ++k) {
      ASSERT_EQ(out[k + 1], referenceValue(data, w, from + k)) << "value " << k;
    }
  }
};

TEST_P(MgetKernelTest, MatchesReferenceForEveryStartAndTail) {
  GuardedWords guard(wordsWithSpare(128 + 300, 32));
  ASSERT_TRUE(guard.ok());
  std::mt19937_64 rng(bits() * 7919u + 1);
  const std::size_t counts[] = {0,  1,  2,  7,  8,  9,  15,  16,  17,  24,  31,  32,  33, 39,
                                40, 41, 63, 64, 65, 95, 127, 128, 129, 255, 256, 257, 300};
  for (std::size_t from = 0; from < 128; ++from) {
    for (std::size_t count : counts) {
      SCOPED_TRACE("from " + std::to_string(from) + " count " + std::to_string(count));
      check(guard, rng, from, count);
      if (HasFailure()) return;
    }
  }
}

// A vector that starts right after an inaccessible page: no form may read before the first
// word, whatever it does inside the stream.
TEST_P(MgetKernelTest, NoReadBeforeTheFirstWord) {
  const unsigned w = bits();
  GuardedWords guard(wordsWithSpare(600, w));
  ASSERT_TRUE(guard.ok());
  std::mt19937_64 rng(w + 99);
  const std::uint64_t* data = guard.wordsAtStart(wordsWithSpare(600, w), rng);
  std::vector<std::uint32_t> out(600);
  for (std::size_t from : {0, 1, 8, 9, 64}) {
    SCOPED_TRACE("from " + std::to_string(from));
    kernel().fn(from, 600 - from, out.data(), w, data, maskOf(w));
    for (std::size_t k = 0; k < 600 - from; ++k) {
      ASSERT_EQ(out[k], referenceValue(data, w, from + k)) << "value " << k;
    }
  }
}

// Extreme bit patterns catch a lane that keeps a neighbour's bits or loses a top bit.
TEST_P(MgetKernelTest, AllOnesAndAlternatingPatterns) {
  const unsigned w = bits();
  for (std::uint64_t pattern : {0xFFFFFFFFFFFFFFFFull, 0x5555555555555555ull, 0xAAAAAAAAAAAAAAAAull,
                                0x8000000080000001ull}) {
    SCOPED_TRACE(testing::Message() << "pattern " << std::hex << pattern);
    std::vector<std::uint64_t> words(wordsWithSpare(1000, w), pattern);
    std::vector<std::uint32_t> out(1000);
    kernel().fn(3, 997, out.data(), w, words.data(), maskOf(w));
    for (std::size_t k = 0; k < 997; ++k) {
      ASSERT_EQ(out[k], referenceValue(words.data(), w, 3 + k)) << "value " << k;
    }
  }
}

// Positions beyond 32 bits: the bit offset from * bits needs 64-bit arithmetic. The data pointer
// is moved back so that the words of the requested positions are the ones in the buffer.
TEST_P(MgetKernelTest, PositionsBeyondFourBillion) {
  const unsigned w = bits();
  if (w == 0) return;
  std::mt19937_64 rng(w);
  std::vector<std::uint64_t> words(wordsWithSpare(512, w));
  for (auto& x : words) x = rng();
  // A multiple of 64 positions starts on a word boundary: word (from / 64) * w.
  const std::uint64_t from = (std::uint64_t{1} << 35) + 64;
  const std::uint64_t skipWords = (from / 64) * w;
  const auto base = reinterpret_cast<std::uintptr_t>(words.data()) - skipWords * 8;
  const auto* shifted = reinterpret_cast<const std::uint64_t*>(base);
  std::vector<std::uint32_t> out(400);
  kernel().fn(from + 5, 400, out.data(), w, shifted, maskOf(w));
  for (std::size_t k = 0; k < 400; ++k) {
    ASSERT_EQ(out[k], referenceValue(words.data(), w, 5 + k)) << "value " << k;
  }
}

std::string paramName(const testing::TestParamInfo<std::tuple<int, unsigned>>& info) {
  return std::string(kKernels[std::get<0>(info.param)].name) + "_w" +
         std::to_string(std::get<1>(info.param));
}

INSTANTIATE_TEST_SUITE_P(AllWidths, MgetKernelTest,
                         ::testing::Combine(::testing::Values(0, 1), ::testing::Range(0u, 33u)),
                         paramName);

}  // namespace

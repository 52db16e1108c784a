// The SIMD range search kernels against a scalar reference written from the bit layout alone:
// value i is stream bits [i*W, i*W+W) of little-endian 64-bit words, and it hits when
// rangeFrom <= value < rangeTo. Every width 1..32, every kind of bound, both writers, aligned and
// unaligned starts, counts around the step and 128 boundaries, and data that end at a guard page.
#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "VorexUtils/MgetBuffer.hpp"
#include "sse_icc_lib/sse_icc_lib.hpp"
#include "tests/VorexUtils/PackedReference.hpp"
#include "tests/sse_icc_lib/GuardedWords.hpp"

namespace {

using Word = sse_icc_lib::Word;
using vorex_test::maskOf;
using vorex_test::referenceValue;

bool hit(unsigned v, unsigned from, unsigned to) { return from <= v && v < to; }

/// A list that owns its storage and counts how often the kernel grew it.
class TestList : public VectorWrapperIfc {
 public:
  explicit TestList(std::vector<unsigned> init) : m_v(std::move(init)) { init_(); }
  void vector_resize_noinit(std::size_t n) override {
    ++resizes;
    m_v.resize(n);
    init_();
  }
  std::vector<unsigned> content() const { return std::vector<unsigned>(m_v.begin(), m_v.begin() + size()); }
  int resizes = 0;

 private:
  void init_() { init(m_v.data(), m_v.size()); }
  std::vector<unsigned> m_v;
};

struct Kernels {
  const char* name;
  bool supported;
  decltype(&sse_icc_lib::mgetSearchi_SSE4_bitVector) bitVector;
  decltype(&sse_icc_lib::mgetSearchi_SSE4impl) impl;
  decltype(&sse_icc_lib::mgetSearchi_SSE4) list;
};

const Kernels& kernels(int isa) {
  static const Kernels k[2] = {
      {"SSE4", __builtin_cpu_supports("sse4.2") != 0, &sse_icc_lib::mgetSearchi_SSE4_bitVector,
       &sse_icc_lib::mgetSearchi_SSE4impl, &sse_icc_lib::mgetSearchi_SSE4},
      {"AVX2", __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2"),
       &sse_icc_lib::mgetSearchi_AVX2_bitVector, &sse_icc_lib::mgetSearchi_AVX2impl,
       &sse_icc_lib::mgetSearchi_AVX2}};
  return k[isa];
}

struct Range {
  unsigned from, to;
};

/// Every kind of bound for width w: equality, closed ranges, no upper bound, empty, unreachable.
std::vector<Range> rangesFor(unsigned w) {
  const std::uint64_t m = maskOf(w), half = std::uint64_t{1} << (w - 1);
  std::vector<Range> r;
  auto add = [&](std::uint64_t f, std::uint64_t t) {
    r.push_back({static_cast<unsigned>(f), static_cast<unsigned>(t > 0xffffffffu ? 0xffffffffu : t)});
  };
  add(0, 1);                          // equality at 0
  add(m, m + 1);                      // equality at the largest value (NoMax at 32 bits)
  add(half, half + 1);                // equality at the top bit
  if (w > 1) {
    add(half - 1, half + 1);          // across the top bit of the field
    add(1, m);                        // everything but both ends
    add(m / 3, m / 3 + m / 5 + 2);    // a middle slice
    add(1, m + 1);                    // no upper bound
    add(half, 0xffffffffu);           // no upper bound, from the top bit
  }
  add(0, 0xffffffffu);                // every value
  add(5, 5);                          // empty
  add(9, 2);                          // reversed
  add(0, 0);                          // rangeTo 0
  if (w < 32) add(m + 1, m + 9);      // rangeFrom above the mask
  // Around the sign bit of each lane width that can hold this field.
  for (std::uint64_t s : {0x80ull, 0x8000ull, 0x80000000ull})
    if (s <= m && s > 1) add(s - 1, s + 1), add(s, s + 2);
  return r;
}

/// Values concentrated on the edges of the bounds and the lane sign bits, plus random ones.
std::vector<Word> makeData(unsigned w, std::size_t n, std::uint32_t seed) {
  std::vector<Word> data((n * w + 63) / 64 + 1, 0);  // exactly the words plus the spare one
  std::mt19937_64 rng(seed);
  const std::uint64_t m = maskOf(w), half = std::uint64_t{1} << (w - 1);
  const std::uint64_t edges[] = {0,        1,        2,        m,         m - 1,     half - 1,
                                 half,     half + 1, m / 3,    m / 3 + 1, 0x7f,      0x80,
                                 0x7fff,   0x8000,   0x7fffffff, 0x80000000, m / 3 + m / 5 + 2};
  for (std::size_t i = 0; i < n; ++i) {
    const std::uint64_t r = rng();
    const std::uint64_t v = (r & 1) ? edges[(r >> 1) % std::size(edges)] : (r >> 8);
    packed_ref::put(data.data(), w, i, v & m);
  }
  data.back() = rng();  // the spare word holds garbage
  return data;
}

class SearchKernel : public ::testing::TestWithParam<std::tuple<int, unsigned>> {
 protected:
  void SetUp() override {
    if (!kernels(isa()).supported) GTEST_SKIP() << kernels(isa()).name << " not available";
  }
  int isa() const { return std::get<0>(GetParam()); }
  unsigned width() const { return std::get<1>(GetParam()); }
};

// Bit-vector body: bits in [start, start + consumed) are the reference or-ed over a pattern,
// every other bit is untouched, and at most a short tail is left to the caller.
TEST_P(SearchKernel, BitVectorBodyMatchesReference) {
  const Kernels& k = kernels(isa());
  const unsigned w = width();
  const std::size_t kMax = 640 + 4096 + 200;
  const std::vector<Word> data = makeData(w, kMax, 1000 + w);
  std::mt19937_64 rng(w);
  for (const Range& r : rangesFor(w)) {
    for (std::size_t start : {0, 128, 640}) {
      for (std::size_t count : {0, 127, 128, 129, 200, 255, 256, 383, 512 + 64 + 7, 1024 + 31, 4096 + 100}) {
        SCOPED_TRACE(::testing::Message() << k.name << " W=" << w << " from=" << r.from << " to=" << r.to
                                          << " start=" << start << " count=" << count);
        std::vector<unsigned char> before(kMax / 8 + 64);
        for (auto& b : before) b = static_cast<unsigned char>(rng());
        std::vector<unsigned char> bits = before;
        std::size_t index = start;
        k.bitVector(index, count, r.from, r.to, bits.data(), w, data.data(), maskOf(w));
        ASSERT_GE(index, start);
        const std::size_t consumed = index - start;
        ASSERT_LE(consumed, count);
        EXPECT_LT(count - consumed, 256u);
        for (std::size_t i = 0; i < bits.size() * 8; ++i) {
          bool expect = (before[i / 8] >> (i % 8)) & 1;
          if (i >= start && i < index) expect |= hit(referenceValue(data.data(), w, i), r.from, r.to);
          ASSERT_EQ(expect, ((bits[i / 8] >> (i % 8)) & 1) != 0) << "bit " << i;
        }
        if (HasFailure()) return;
      }
    }
  }
}

// Full list search: hits are appended in order behind what the list held, from any start.
TEST_P(SearchKernel, ListSearchAppendsReferenceHits) {
  const Kernels& k = kernels(isa());
  const unsigned w = width();
  const std::size_t kMax = 700 + 4096 + 200;
  const std::vector<Word> data = makeData(w, kMax, 2000 + w);
  for (const Range& r : rangesFor(w)) {
    for (std::size_t start : {0, 1, 63, 127, 128, 130, 640}) {
      for (std::size_t count : {0, 1, 100, 128, 129, 255, 300, 1000, 4096 + 100}) {
        SCOPED_TRACE(::testing::Message() << k.name << " W=" << w << " from=" << r.from << " to=" << r.to
                                          << " start=" << start << " count=" << count);
        const std::vector<unsigned> prior = {7, 3, 0xdeadbeef};
        std::vector<unsigned> expect = prior;
        if (r.from <= maskOf(w))
          for (std::size_t i = start; i < start + count; ++i)
            if (hit(referenceValue(data.data(), w, i), r.from, r.to)) expect.push_back(static_cast<unsigned>(i));
        TestList out(prior);
        k.list(start, count, r.from, r.to, out, w, data.data(), maskOf(w));
        ASSERT_EQ(expect, out.content());
        if (HasFailure()) return;
      }
    }
  }
}

// Vector body of the list search on a list of one entry: it has to grow by doubling many times.
TEST_P(SearchKernel, ListBodyGrowsASmallList) {
  const Kernels& k = kernels(isa());
  const unsigned w = width();
  const std::size_t count = 4096 + 64;
  const std::vector<Word> data = makeData(w, 256 + count, 3000 + w);
  for (const Range& r : {Range{0, 0xffffffffu}, Range{1, static_cast<unsigned>(maskOf(w))}}) {
    SCOPED_TRACE(::testing::Message() << k.name << " W=" << w << " from=" << r.from << " to=" << r.to);
    TestList out({42});
    unsigned idx = 1;
    std::size_t index = 256;
    k.impl(index, count, r.from, r.to, out, w, data.data(), maskOf(w), idx);
    ASSERT_GE(index, 256u);
    ASSERT_LE(index - 256, count);
    std::vector<unsigned> expect = {42};
    for (std::size_t i = 256; i < index; ++i)
      if (hit(referenceValue(data.data(), w, i), r.from, r.to)) expect.push_back(static_cast<unsigned>(i));
    ASSERT_LE(idx, out.size());
    const std::vector<unsigned> got = out.content();
    EXPECT_EQ(expect, std::vector<unsigned>(got.begin(), got.begin() + idx));
    if (expect.size() > 2) {
      EXPECT_GT(out.resizes, 1);
    }
  }
}

// Packed data whose last word ends exactly at a page followed by an inaccessible one: no load
// may touch that page, for any width and tail, and the results still agree.
TEST_P(SearchKernel, DataEndingAtAGuardPage) {
  const Kernels& k = kernels(isa());
  const unsigned w = width();
  std::mt19937_64 rng(w);
  vorex_test::GuardedWords guard((1024 + 256) * 32 / 64);
  ASSERT_TRUE(guard.ok());
  const std::size_t maxCount = 1024 + 256;  // at most 32 * 1280 bits: inside the two pages
  const std::vector<Word> src = makeData(w, maxCount, 4000 + w);
  for (std::size_t count = 128; count <= 1024 + 128; count += (count < 512 ? 1 : 37)) {
    const std::size_t words = (count * w + 63) / 64;
    Word* data = guard.words(words, rng);
    std::copy(src.begin(), src.begin() + long(words), data);
    const unsigned v = referenceValue(data, w, count - 1);
    for (const Range& r : {Range{v, v + 1}, Range{1, static_cast<unsigned>(maskOf(w))}}) {
      SCOPED_TRACE(::testing::Message() << k.name << " W=" << w << " count=" << count << " from=" << r.from);
      std::vector<unsigned char> bits(count / 8 + 64, 0);
      std::size_t index = 0;
      k.bitVector(index, count, r.from, r.to, bits.data(), w, data, maskOf(w));
      ASSERT_LE(index, count);
      for (std::size_t i = 0; i < index; ++i)
        ASSERT_EQ(hit(referenceValue(data, w, i), r.from, r.to), ((bits[i / 8] >> (i % 8)) & 1) != 0) << i;
      std::vector<unsigned> expect;
      for (std::size_t i = 0; i < count; ++i)
        if (hit(referenceValue(data, w, i), r.from, r.to)) expect.push_back(static_cast<unsigned>(i));
      TestList out({});
      k.list(0, count, r.from, r.to, out, w, data, maskOf(w));
      ASSERT_EQ(expect, out.content());
    }
    if (HasFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(AllWidths, SearchKernel,
                         ::testing::Combine(::testing::Values(0, 1), ::testing::Range(1u, 33u)),
                         [](const auto& info) {
                           return std::string(std::get<0>(info.param) ? "AVX2" : "SSE4") + "_W" +
                                  std::to_string(std::get<1>(info.param));
                         });

}  // namespace

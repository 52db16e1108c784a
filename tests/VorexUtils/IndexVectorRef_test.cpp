// The 32-bit packed view against the bit-layout reference: single access, bulk read and write for
// every width x start x count, the unmasked writes, binary search, and access at the very end of a
// buffer followed by a guard page. Bulk reads get exactly the words their values occupy.
#include "VorexUtils/IndexVectorRef.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "VorexUtils/MgetBuffer.hpp"
#include "tests/VorexUtils/PackedReference.hpp"
#include "tests/sse_icc_lib/GuardedWords.hpp"

using VorexUtils::IndexVectorRef;

namespace {

TEST(IndexVectorRefTest, GetBitsIsTheSmallestWidthForARange) {
  EXPECT_EQ(IndexVectorRef::getBits(0), 0u);
  EXPECT_EQ(IndexVectorRef::getBits(0xFFFFFFFFu), 32u);
  for (unsigned b = 0; b < 32; ++b) {  // smallest b with 2^b >= range
    SCOPED_TRACE(b);
    EXPECT_EQ(IndexVectorRef::getBits(1u << b), b);
    EXPECT_EQ(IndexVectorRef::getBits((1u << b) + 1), b + 1);
    EXPECT_EQ(IndexVectorRef::getBits((1u << b) - 1), b > 1 ? b : 0);
  }
}

const unsigned long kCounts[] = {0,   1,   2,   3,   5,   15,  16,  17,   31,  32,
                                 33,  63,  64,  65,  66,  96,  127, 128,  129, 130,
                                 191, 192, 193, 255, 256, 257, 500, 1000, 1025};

class PackedView : public testing::TestWithParam<unsigned> {
 protected:
  const unsigned bits = GetParam();
  const std::uint32_t mask = std::uint32_t(packed_ref::maskOf(bits));
  std::mt19937_64 rng{GetParam() * 7919u + 1};
};

// Random bits behind and between the values test the masking of get and the neighbour-keeping
// of set; the size arithmetic counts one word at width 0.
TEST_P(PackedView, GetSetAndSizesFollowTheLayout) {
  constexpr unsigned n = 300;
  auto words = packed_ref::randomWords(packed_ref::words(bits, n) + 1, rng);
  IndexVectorRef v(words.data(), bits);
  EXPECT_EQ(v.mask(), mask);
  for (unsigned long k : {0ul, 1ul, 63ul, 64ul, 65ul, 1000000ul})
    EXPECT_EQ(v.byteSize(k), 8 * packed_ref::words(bits, k)) << k;
  for (unsigned i = 0; i < n; ++i) ASSERT_EQ(v.get(i), packed_ref::get(words.data(), bits, i));
  auto expect = words;
  for (int k = 0; k < 2000; ++k) {
    const unsigned i = rng() % n;
    const std::uint32_t value = std::uint32_t(rng()) & mask;
    v.set(i, value);
    packed_ref::put(expect.data(), bits, i, value);
  }
  expect.back() = words.back();  // the spare word has no defined content
  EXPECT_EQ(words, expect);
}

TEST_P(PackedView, MgetEqualsTheReference) {
  const unsigned long maxEnd = 4095 + 1025;
  const auto stream = packed_ref::randomWords(packed_ref::words(bits, maxEnd), rng);
  std::vector<unsigned long> froms;
  for (unsigned long f = 0; f <= 67; ++f) froms.push_back(f);
  froms.insert(froms.end(), {100, 127, 128, 129, 1000, 4095});
  for (unsigned long from : froms) {
    for (unsigned long count : kCounts) {
      SCOPED_TRACE(testing::Message() << "from " << from << " count " << count);
      const std::vector<std::uint64_t> exact(
          stream.begin(), stream.begin() + long(packed_ref::words(bits, from + count)));
      std::vector<unsigned> out(count + 1, 0xA5A5A5A5u);
      VorexUtils::mgetGeneric(from, count, out.data(), bits, exact.data(), mask);
      ASSERT_EQ(out.back(), 0xA5A5A5A5u) << "wrote past count";
      for (unsigned long k = 0; k < count; ++k)
        ASSERT_EQ(out[k], packed_ref::get(stream.data(), bits, from + k)) << k;
    }
  }
  IndexVectorRef view(stream.data(), bits);  // the member: selected slot and a stack buffer
  VorexUtils::MgetStackBuffer<1024, unsigned int> buf;
  for (unsigned long from : {0ul, 5ul, 64ul, 3000ul}) {
    view.mget(from, 1024, buf);
    for (unsigned k = 0; k < 1024; ++k)
      ASSERT_EQ(buf.getPtr()[k], packed_ref::get(stream.data(), bits, from + k));
  }
}

// One write at [from, from + count) of a stream ending `extra` values behind it; every bit of
// the stream but the spare word is compared with the reference.
template <class Write>
void checkWrite(std::mt19937_64& rng, unsigned bits, unsigned long from, unsigned long count,
                unsigned long extra, const std::vector<std::uint32_t>& values, Write write) {
  auto words = packed_ref::randomWords(packed_ref::words(bits, from + count + extra) + 1, rng);
  auto expect = words;
  for (unsigned long k = 0; k < count; ++k)
    packed_ref::put(expect.data(), bits, from + k, values[k]);
  IndexVectorRef v(words.data(), bits);
  write(v);
  words.pop_back();
  expect.pop_back();
  ASSERT_EQ(words, expect);
}

TEST_P(PackedView, MsetBothFormsEqualTheReference) {
  const unsigned long froms[] = {0, 1, 2, 31, 32, 33, 61, 62, 63, 64, 65, 100, 127, 128, 129, 1000};
  for (unsigned long from : froms) {
    for (unsigned long count : kCounts) {
      SCOPED_TRACE(testing::Message() << "from " << from << " count " << count);
      const unsigned long extra = (from + count) % 2 ? 0 : 37;  // at the end, or inside
      std::vector<std::uint32_t> values(count);
      for (auto& x : values) x = std::uint32_t(rng()) & mask;
      checkWrite(rng, bits, from, count, extra, values,
                 [&](IndexVectorRef& v) { v.mset(from, count, values.data()); });
      const std::uint32_t fill = std::uint32_t(rng()) & mask;
      checkWrite(rng, bits, from, count, extra, std::vector<std::uint32_t>(count, fill),
                 [&](IndexVectorRef& v) { v.mset(from, count, fill); });
      if (HasFailure()) return;
    }
  }
  // Fills around the single-value threshold and a long one (full and short chunks).
  for (unsigned long count : {99ul, 100ul, 101ul, 64ul * 40 + 1000}) {
    SCOPED_TRACE(count);
    const std::uint32_t fill = mask & 0x5A5A5A5Au;
    checkWrite(rng, bits, 13, count, 5, std::vector<std::uint32_t>(count, fill),
               [&](IndexVectorRef& v) { v.mset(13, count, fill); });
  }
}

// The last value of n, with its spare word touching a PROT_NONE page, for single and bulk
// writes; the bulk read gets no spare word at all.
TEST_P(PackedView, LastValueUsesAtMostTheSpareWord) {
  vorex_test::GuardedWords guard(64);
  ASSERT_TRUE(guard.ok());
  for (unsigned n = 1; n <= 130; ++n) {
    SCOPED_TRACE(n);
    const std::size_t used = packed_ref::words(bits, n);
    std::uint64_t* w = guard.words(used + 1, rng);
    IndexVectorRef v(w, bits);
    const std::uint32_t value = std::uint32_t(rng()) & mask;
    v.set(n - 1, value);
    ASSERT_EQ(v.get(n - 1), value);
    v.mset(n - 1, 1, &value);
    v.mset(0, n, value);
    ASSERT_EQ(packed_ref::get(w, bits, n - 1), value);
    const std::vector<std::uint64_t> stream(w, w + used);
    std::uint64_t* tight = guard.words(used, rng);
    std::copy(stream.begin(), stream.end(), tight);
    VorexUtils::MgetStackBuffer<130, unsigned int> out;
    VorexUtils::mgetGeneric(0, n, out.getPtr(), bits, tight, mask);
    for (unsigned i = 0; i < n; ++i) ASSERT_EQ(out.getPtr()[i], value);
  }
}

TEST_P(PackedView, LowerBoundMatchesTheStandardOne) {
  constexpr unsigned n = 40;
  std::vector<std::uint32_t> sorted(n);
  for (auto& x : sorted) x = std::uint32_t(rng()) & mask & 0xFFFFFF0F;
  std::sort(sorted.begin(), sorted.end());
  std::vector<std::uint64_t> words(packed_ref::words(bits, n) + 1);
  for (unsigned i = 0; i < n; ++i) packed_ref::put(words.data(), bits, i, sorted[i]);
  IndexVectorRef v(words.data(), bits);
  std::vector<std::uint32_t> probes = {0u, 0xFFFFFFFFu};
  for (auto x : sorted) probes.insert(probes.end(), {x, x + 1, x - 1});
  for (long first = 0; first <= long(n); first += 3) {
    for (long last = first; last <= long(n); ++last) {
      for (auto value : probes) {
        const auto expect = std::lower_bound(sorted.begin() + first, sorted.begin() + last, value);
        ASSERT_EQ(v.lowerBound(value, first, last), expect - sorted.begin())
            << value << " in [" << first << "," << last << ")";
      }
    }
  }
  EXPECT_EQ(IndexVectorRef(nullptr, bits).lowerBound(5, 10, 3), 10);  // reads nothing
}

INSTANTIATE_TEST_SUITE_P(AllWidths, PackedView, testing::Range(0u, 33u));

// Neither set nor the body of the array mset masks: a wider value reaches into the next one.
// At width 0, set changes the word without being readable and mset stores nothing.
TEST(IndexVectorRefTest, UnmaskedWritesSpillIntoTheNextValue) {
  std::uint64_t w[3] = {0, 0, 0};
  IndexVectorRef v(w, 5);
  v.set(3, 0x3F);
  EXPECT_EQ(v.get(3), 0x1Fu);
  EXPECT_EQ(v.get(4), 1u);
  v.set(4, 0);
  EXPECT_EQ(v.get(4), 0u);
  IndexVectorRef z(w, 0);
  z.set(17, 6);
  EXPECT_EQ(w[0], (0x1Full << 15) | 6);
  EXPECT_EQ(z.get(17), 0u);

  std::vector<std::uint64_t> body(16, 0);
  IndexVectorRef v4(body.data(), 4);
  std::vector<unsigned> in(64, 0);
  in[10] = 0x1F;
  v4.mset(0, 64, in.data());
  EXPECT_EQ(v4.get(10), 0xFu);
  EXPECT_EQ(v4.get(11), 1u);
  std::uint64_t zw[2] = {0, 0};
  IndexVectorRef(zw, 0).mset(0, 64, in.data());
  IndexVectorRef(zw, 0).mset(0, 1000, 7u);
  EXPECT_EQ(zw[0], 0u);
}

// VectorWrapper grows the wrapped list exactly, refreshes its view, and a failed growth keeps it.
TEST(VectorWrapperTest, ResizeWithoutInitialisation) {
  ltt::vector<unsigned int> list;
  VectorWrapper w(list);
  w.vector_resize_noinit(10);
  EXPECT_EQ(w.size(), 10u);
  EXPECT_EQ(list.capacity(), 10u);
  EXPECT_EQ(w.m_Ptr, list.data());
  w.vector_resize_noinit(3);
  EXPECT_EQ(list.capacity(), 10u);
  EXPECT_THROW(w.vector_resize_noinit(list.max_size() + 1), ltt::exception);
  EXPECT_EQ(w.m_Size, 3u);
  EXPECT_EQ(list.size(), 3u);
}

}  // namespace

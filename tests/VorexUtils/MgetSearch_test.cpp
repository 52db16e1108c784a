// Range and value-filter searches checked against a reference built from the bit layout alone:
// values are written bit by bit into exactly the used words plus one spare word (random bits
// everywhere else), and the expected hits come from the values that were written.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/IndexVectorRef.hpp"
#include "VorexUtils/MgetBuffer.hpp"
#include "ltt/testing/CountingAllocator.hpp"
#include "tests/VorexUtils/PackedReference.hpp"

namespace VorexUtils {
namespace {

constexpr unsigned kAll = 0xFFFFFFFFu;
constexpr std::size_t kSize = 1000;  // 15 groups and a partial one
const std::vector<unsigned> kPrefix = {0xDEADBEEFu, 7, 3};

unsigned maskOf(unsigned bits) { return bits == 0 ? 0 : kAll >> (32 - bits); }

struct Packed {
  unsigned bits;
  std::vector<unsigned> values;
  std::vector<std::uint64_t> words;  // used words and the spare word, nothing more

  Packed(unsigned b, std::vector<unsigned> v, std::mt19937_64& rng)
      : bits(b), values(std::move(v)) {
    const std::size_t used = std::max<std::size_t>(packed_ref::exactWords(bits, values.size()), 1);
    words = packed_ref::randomWords(used + 1, rng);
    for (std::size_t i = 0; i < values.size(); ++i)
      packed_ref::put(words.data(), bits, i, values[i]);
  }
  IndexVectorRef view() const { return IndexVectorRef(words.data(), bits); }
};

/// Values that bounds are made from: the ends of the width and a few random ones.
std::vector<unsigned> pivotsFor(unsigned bits, std::mt19937_64& rng) {
  const unsigned m = maskOf(bits);
  std::vector<unsigned> p = {
      0, 1, m, m - 1, m / 2, m / 2 + 1, unsigned(rng()) & m, unsigned(rng()) & m};
  if (bits == 32) p.insert(p.end(), {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu});
  for (auto& v : p) v = std::min(v, m);
  return p;
}

/// Mostly values at and next to the pivots, so that every bound is met from both sides.
std::vector<unsigned> valuesFor(unsigned bits, const std::vector<unsigned>& pivots, unsigned cap,
                                std::mt19937_64& rng) {
  const std::uint64_t m = std::min(maskOf(bits), cap);
  std::vector<unsigned> v(kSize);
  for (auto& x : v) {
    const std::uint64_t pv = pivots[rng() % pivots.size()];
    std::uint64_t r = rng() & m;
    switch (rng() % 4) {
      case 0:
        r = pv == 0 ? 0 : pv - 1;
        break;
      case 1:
        r = pv;
        break;
      case 2:
        r = pv + 1;
        break;
    }
    x = unsigned(std::min(r, m));
  }
  return v;
}

/// Every kind of bound: ordinary, empty, rangeTo 0, above the mask, equality, full.
std::vector<std::pair<unsigned, unsigned>> boundsFor(unsigned bits,
                                                     const std::vector<unsigned>& p) {
  const std::uint64_t m = maskOf(bits);
  std::vector<std::pair<unsigned, unsigned>> b = {{0, kAll},    {0, 0},           {5, 0},
                                                  {p[6], p[6]}, {p[7] + 1, p[7]}, {0, 1}};
  for (std::size_t i = 0; i < p.size(); ++i) {
    b.emplace_back(p[i], p[i] + 1);               // equality (wraps to rangeTo 0 at kAll)
    b.emplace_back(p[i], p[(i + 3) % p.size()]);  // ordinary or empty
    b.emplace_back(p[i], unsigned(std::min<std::uint64_t>(m + 1, kAll)));  // up to the mask
    b.emplace_back(p[i], kAll);                                            // far above the mask
  }
  if (m < kAll) b.insert(b.end(), {{unsigned(m + 1), kAll}, {unsigned(m + 1), unsigned(m + 2)}});
  return b;
}

/// Start and count: inside the head, to the next multiple, across groups, to the end, empty.
std::vector<std::pair<std::size_t, std::size_t>> windows(std::mt19937_64& rng) {
  std::vector<std::pair<std::size_t, std::size_t>> w = {
      {0, kSize},       {0, 0},          {5, 0},    {0, 1},   {63, 1},   {64, 64},
      {1, 62},          {10, 40},        {3, 61},   {3, 62},  {65, 190}, {100, kSize - 100},
      {128, 128},       {127, 2},        {62, 200}, {64, 66}, {64, 127}, {kSize - 1, 1},
      {kSize - 63, 63}, {kSize - 40, 40}};
  for (int i = 0; i < 10; ++i) {
    const std::size_t from = rng() % kSize;
    w.emplace_back(from, rng() % (kSize - from + 1));
  }
  return w;
}

std::vector<unsigned> expectedList(const std::vector<unsigned>& hits) {
  std::vector<unsigned> e = kPrefix;
  e.insert(e.end(), hits.begin(), hits.end());
  return e;
}

/// A result vector wider than the data, with every seventh bit already set.
BitVector presetBits() {
  BitVector bv(kSize + 70, false);
  for (std::size_t i = 0; i < bv.size(); i += 7) bv.set(i);
  return bv;
}

/// First position where `got` differs from the preset bits or-ed with `hits`, or -1.
long firstBitDifference(const BitVector& got, const std::vector<unsigned>& hits) {
  BitVector want = presetBits();
  for (unsigned h : hits) want.set(h);
  if (got.size() != want.size()) return -2;
  for (std::size_t i = 0; i < want.size(); ++i)
    if (got.test(i) != want.test(i)) return long(i);
  return -1;
}

ltt::vector<unsigned> prefixed() {
  ltt::vector<unsigned> v;
  v.assign(kPrefix.begin(), kPrefix.end());
  return v;
}
std::vector<unsigned> plain(const ltt::vector<unsigned>& v) { return {v.begin(), v.end()}; }

class MgetSearchSweep : public ::testing::TestWithParam<unsigned> {};

TEST_P(MgetSearchSweep, RangeMatchesReference) {
  const unsigned bits = GetParam();
  std::mt19937_64 rng(bits * 7919 + 1);
  const auto pivots = pivotsFor(bits, rng);
  const Packed d(bits, valuesFor(bits, pivots, kAll, rng), rng);
  const IndexVectorRef ref = d.view();
  for (auto [from, count] : windows(rng)) {
    for (auto [lo, hi] : boundsFor(bits, pivots)) {
      SCOPED_TRACE("from " + std::to_string(from) + " count " + std::to_string(count) + " range [" +
                   std::to_string(lo) + ", " + std::to_string(hi) + ")");
      std::vector<unsigned> hits;
      for (std::size_t i = from; i < from + count; ++i)
        if (lo <= d.values[i] && d.values[i] < hi) hits.push_back(unsigned(i));

      ltt::vector<unsigned> list = prefixed();
      ref.mgetSearch(from, count, lo, hi, list);
      EXPECT_EQ(plain(list), expectedList(hits));

      BitVector bv = presetBits();
      ref.mgetSearch(from, count, lo, hi, bv);
      EXPECT_EQ(firstBitDifference(bv, hits), -1);
      if (HasFailure()) return;
    }
  }
}

TEST_P(MgetSearchSweep, FilterMatchesReference) {
  const unsigned bits = GetParam();
  std::mt19937_64 rng(bits * 104729 + 3);
  // The filter needs a bit per value that occurs: keep values below 2^20 at wide widths.
  const unsigned cap = (1u << 20) - 1;
  const auto pivots = pivotsFor(bits, rng);
  const Packed d(bits, valuesFor(bits, pivots, cap, rng), rng);
  const std::size_t filterSize = std::size_t{std::min(maskOf(bits), cap)} + 1;
  const IndexVectorRef ref = d.view();

  BitVector dense(filterSize, false), onlyZero(filterSize, false), pivotsOnly(filterSize, false);
  for (std::size_t v = 0; v < filterSize; ++v)
    if (rng() & 1) dense.set(v);
  onlyZero.set(0);
  for (unsigned p : pivots) pivotsOnly.set(std::min<std::size_t>(p, filterSize - 1));

  for (const BitVector* filter : {&dense, &onlyZero, &pivotsOnly}) {
    for (auto [from, count] : windows(rng)) {
      SCOPED_TRACE("from " + std::to_string(from) + " count " + std::to_string(count));
      std::vector<unsigned> hits;
      for (std::size_t i = from; i < from + count; ++i)
        if (filter->test(d.values[i])) hits.push_back(unsigned(i));

      ltt::vector<unsigned> list = prefixed();
      ref.mgetSearch(from, count, *filter, list);
      EXPECT_EQ(plain(list), expectedList(hits));

      BitVector bv = presetBits();
      ref.mgetSearch(from, count, *filter, bv);
      EXPECT_EQ(firstBitDifference(bv, hits), -1);
      if (HasFailure()) return;
    }
  }
}

TEST_P(MgetSearchSweep, PositionRangesAndIteratorTwins) {
  const unsigned bits = GetParam();
  std::mt19937_64 rng(bits + 11);
  const auto pivots = pivotsFor(bits, rng);
  const Packed d(bits, valuesFor(bits, pivots, kAll, rng), rng);
  const IndexVectorRef ref = d.view();
  ltt::vector<unsigned> ranges = {3, 9, 64, 200, 300, 300, 130, 140, 500, 999, 999, 1000};
  const unsigned lo = pivots[6], hi = pivots[7] + 1;
  std::vector<unsigned> hits;
  for (std::size_t k = 0; k < ranges.size(); k += 2)
    for (unsigned i = ranges[k]; i < ranges[k + 1]; ++i)
      if (lo <= d.values[i] && d.values[i] < hi) hits.push_back(i);

  // Each iterator twin must give what the plain search gives with the same arguments.
  IndexVectorRef::ReadIterator it{123};
  auto withTwin = [&](const IndexVectorRef& view, auto&&... args) {
    ltt::vector<unsigned> list = prefixed(), twinList = prefixed();
    BitVector bv = presetBits(), twinBv = presetBits();
    view.mgetSearch(args..., list);
    view.mgetSearch(it, args..., twinList);
    view.mgetSearch(args..., bv);
    view.mgetSearch(it, args..., twinBv);
    EXPECT_EQ(plain(list), plain(twinList));
    EXPECT_TRUE(bv == twinBv);
    return std::pair{plain(list), bv};
  };
  const auto [list, bv] = withTwin(ref, ranges, lo, hi);
  EXPECT_EQ(list, expectedList(hits));
  std::sort(hits.begin(), hits.end());  // ranges were not ascending: the bits are the union
  EXPECT_EQ(firstBitDifference(bv, hits), -1);

  withTwin(ref, std::size_t{70}, std::size_t{700}, lo, hi);
  BitVector filter(std::size_t{std::min(maskOf(bits), 1u << 20)} + 1, true);
  const Packed small(bits, valuesFor(bits, pivots, 1u << 20, rng), rng);
  EXPECT_EQ(withTwin(small.view(), std::size_t{70}, std::size_t{700}, filter).first.size(),
            kPrefix.size() + 700);
  EXPECT_EQ(it.position, 123u);
}

INSTANTIATE_TEST_SUITE_P(AllWidths, MgetSearchSweep, ::testing::Range(0u, 33u),
                         [](const auto& info) { return "bits" + std::to_string(info.param); });

// The sweep's filters stop at 2^20; a filter with a bit for every 32-bit value reaches the top.
TEST(MgetSearch, FilterReachesTheTopOf32Bits) {
  std::mt19937_64 rng(5);
  const std::vector<unsigned> pattern = {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu, 0};
  std::vector<unsigned> values(200);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = pattern[i % pattern.size()];
  const Packed d(32, values, rng);
  BitVector filter(std::size_t{1} << 32, false);
  filter.set(0xFFFFFFFFu);
  filter.set(0x80000000u);
  ltt::vector<unsigned> list;
  d.view().mgetSearch(0, values.size(), filter, list);
  BitVector bv(values.size(), false);
  d.view().mgetSearch(0, values.size(), filter, bv);
  std::vector<unsigned> want;
  for (unsigned i = 0; i < values.size(); ++i)
    if (values[i] == 0xFFFFFFFFu || values[i] == 0x80000000u) want.push_back(i);
  EXPECT_EQ(plain(list), want);
  EXPECT_EQ(bv.countSet(), want.size());
}

// Capacities follow the documented growth: +1024 first, doubling per group with fewer than 64
// free entries (width 0: when full, twice the write index), +64 per tail position with fewer
// than 64 free, cut back to the entries at the end (the capacity stays).
TEST(MgetSearch, ResultGrowth) {
  std::mt19937_64 rng(9);
  const Packed d(8, std::vector<unsigned>(2048, 42), rng);
  ltt::vector<unsigned> empty;
  d.view().mgetSearch(0, 0, 0, 100, empty);
  EXPECT_EQ(empty.size(), 0u);
  EXPECT_EQ(empty.capacity(), 1024u);

  ltt::vector<unsigned> groups;
  d.view().mgetSearch(0, 2048, 0, 100, groups);
  EXPECT_EQ(groups.size(), 2048u);
  EXPECT_EQ(groups.capacity(), 2048u);

  ltt::vector<unsigned> tail;
  d.view().mgetSearch(0, 1024 + 63, 0, 100, tail);
  EXPECT_EQ(tail.size(), 1087u);
  EXPECT_EQ(tail.capacity(), 1024u + 64u + 64u);
  ltt::vector<unsigned> lateTail;  // 64 free when the tail starts: one step of 64 after a hit
  d.view().mgetSearch(0, 960 + 63, 0, 100, lateTail);
  EXPECT_EQ(lateTail.size(), 1023u);
  EXPECT_EQ(lateTail.capacity(), 1024u + 64u);

  const unsigned long zero[2] = {0, 0};
  ltt::vector<unsigned> filled;
  IndexVectorRef(zero, 0).mgetSearch(0, 5000, 0, 1, filled);
  EXPECT_EQ(filled.size(), 5000u);
  EXPECT_EQ(filled.capacity(), 8192u);
}

TEST(MgetSearch, FailedGrowthKeepsOldEntries) {
  ltt::testing::CountingAllocator alloc;
  std::mt19937_64 rng(13);
  const Packed d(4, std::vector<unsigned>(4096, 3), rng);
  {
    ltt::vector<unsigned> list(alloc);
    list.assign(kPrefix.begin(), kPrefix.end());
    alloc.failAfter(2);  // the +1024 succeeds, the first doubling fails
    EXPECT_ANY_THROW(d.view().mgetSearch(0, 4096, 0, 16, list));
    ASSERT_GE(list.size(), kPrefix.size());
    EXPECT_EQ(std::vector<unsigned>(list.begin(), list.begin() + 3), kPrefix);
    alloc.failAfter(0);
  }
  EXPECT_TRUE(alloc.checkNoLeaks());
}

// Load values of the slots, taken during static initialisation before any test can change them.
const MgetSearchResBvFn kLoadResBv = detail::gMgetSearchResBvPtr_C_Fn;
const MgetSearchFn kLoadList = detail::gMgetSearchPtr_C_Fn;
const bool kLoadSse = detail::gUseMgetSearchSSE;
const bool kLoadAvx2 = detail::gUseMgetSearchAVX2;

struct SlotCall {
  static inline int calls = 0;
  // from, count, rangeFrom, rangeTo and bits of the last call
  static inline std::tuple<std::size_t, std::size_t, unsigned, unsigned, unsigned> args;
  static void resBv(std::size_t f, std::size_t c, unsigned lo, unsigned hi, BitVector&, unsigned b,
                    const unsigned long*, unsigned long) {
    record(f, c, lo, hi, b);
  }
  static void record(std::size_t f, std::size_t c, unsigned lo, unsigned hi, unsigned b) {
    ++calls;
    args = {f, c, lo, hi, b};
  }
  /// Appends `from` through the wrapper, as a kernel would.
  static void list(std::size_t f, std::size_t c, unsigned lo, unsigned hi, VectorWrapperIfc& out,
                   unsigned b, const unsigned long*, unsigned long) {
    record(f, c, lo, hi, b);
    const std::size_t n = out.size();
    out.vector_resize_noinit(n + 1);
    out[n] = unsigned(f);
  }
};

TEST(MgetSearch, RoutingThroughSlots) {
  EXPECT_EQ(kLoadResBv, &mgetSearchGenericResBv);
  EXPECT_EQ(kLoadList, nullptr);
  EXPECT_FALSE(kLoadSse);
  EXPECT_FALSE(kLoadAvx2);

  std::mt19937_64 rng(17);
  const Packed d(7, std::vector<unsigned>(300, 5), rng);
  const auto saved = detail::gMgetSearchResBvPtr_C_Fn;
  detail::gMgetSearchResBvPtr_C_Fn = &SlotCall::resBv;
  BitVector bv(300, false);
  d.view().mgetSearch(10, 200, 4, 6, bv);
  detail::gMgetSearchResBvPtr_C_Fn = saved;
  EXPECT_EQ(SlotCall::calls, 1);
  EXPECT_EQ(SlotCall::args, std::make_tuple(std::size_t{10}, std::size_t{200}, 4u, 6u, 7u));
  EXPECT_EQ(bv.countSet(), 0u);  // the slot did the work, nothing else did

  // The list slot is read only while a SIMD search is selected.
  detail::gMgetSearchPtr_C_Fn = &SlotCall::list;
  ltt::vector<unsigned> generic = prefixed();
  d.view().mgetSearch(10, 200, 5, 6, generic);
  EXPECT_EQ(SlotCall::calls, 1);
  EXPECT_EQ(generic.size(), kPrefix.size() + 200);
  detail::gUseMgetSearchSSE = true;
  ltt::vector<unsigned> routed = prefixed();
  d.view().mgetSearch(20, 30, 5, 6, routed);
  EXPECT_EQ(SlotCall::calls, 2);
  EXPECT_EQ(std::get<1>(SlotCall::args), 30u);
  EXPECT_EQ(plain(routed), expectedList({20}));

  // A value filter never goes through a slot.
  detail::gMgetSearchResBvPtr_C_Fn = &SlotCall::resBv;
  BitVector filter(128, false), fb(300, false);
  filter.set(5);
  ltt::vector<unsigned> fl;
  d.view().mgetSearch(10, 200, filter, fb);
  d.view().mgetSearch(10, 200, filter, fl);
  detail::gMgetSearchResBvPtr_C_Fn = saved;
  detail::gMgetSearchPtr_C_Fn = kLoadList;
  detail::gUseMgetSearchSSE = kLoadSse;
  EXPECT_EQ(SlotCall::calls, 2);
  EXPECT_EQ(fb.countSet(), 200u);
  EXPECT_EQ(fl.size(), 200u);
}

}  // namespace
}  // namespace VorexUtils

// The 64-bit packed view at every width 0..64 against the bit-by-bit reference: single and bulk
// access, searches and binary search. Buffers hold exactly the used words (none at width 0), so
// an access behind them is caught under ASan.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/IndexVector64.hpp"
#include "tests/VorexUtils/PackedReference.hpp"

namespace {

using VorexUtils::BitVector;
using VorexUtils::IndexVector64Ref;
using Word = unsigned long;
using List = ltt::vector<Word>;

constexpr std::size_t kN = 300;  // several groups at every width, plus head and tail
// Lengths just below, on and just above the group sizes 16, 32 and 64.
const std::vector<std::size_t> kCounts = {0,  1,  2,  3,  15,  16,  17,  31, 32,
                                          33, 63, 64, 65, 127, 128, 129, 200};

class Packed64 : public ::testing::TestWithParam<unsigned> {
 protected:
  void SetUp() override {
    bits = GetParam();
    mask = packed_ref::maskOf(bits);
    rng.seed(0x9E3779B97F4A7C15ull ^ bits);
    values = packed_ref::edgyValues(kN, bits, rng);
    words = packed_ref::pack(values, bits, rng);
    for (std::size_t i = 0; i < kN; ++i) seed.set(i, rng() % 5 == 0);
  }

  /// Runs search(list, bits) over [from, from + count) of `vals` against the model: the list
  /// holds the matching values, written over its old content (width 0: the old content, plus a
  /// zero per position on a match); the bits of matching positions are or-ed into `seed`.
  template <class Match, class Search>
  void checkSearch(const std::vector<Word>& vals, std::size_t from, std::size_t count, Match match,
                   Search search) {
    const List old = {0xDEAD, 0xBEEF, 7};
    List expected, list = old;
    BitVector expectedBits = seed, got = seed;
    for (std::size_t i = from; i < from + count; ++i) {
      if (match(vals[i])) {
        expected.push_back(vals[i]);
        expectedBits.set(i);
      }
    }
    if (bits == 0) {
      expected = old;
      if (match(0)) expected.resize(old.size() + count, 0);
    }
    search(list, got);
    ASSERT_EQ(list, expected);
    ASSERT_TRUE(got == expectedBits);
  }

  static IndexVector64Ref viewOf(std::vector<Word>& w, unsigned bits) {
    return IndexVector64Ref(w.empty() ? nullptr : w.data(), bits);
  }

  /// f(from, count) for every start 0..66 (each offset within a word, at any width; or every
  /// step-th) and every length of kCounts that stays inside the vector.
  template <class F>
  void sweep(F&& f, std::size_t step = 1) {
    for (std::size_t from = 0; from <= 66; from += step) {
      for (std::size_t count : kCounts) {
        if (from + count > kN) continue;
        SCOPED_TRACE(testing::Message() << "from " << from << " count " << count);
        f(from, count);
        if (HasFailure()) return;
      }
    }
  }

  unsigned bits = 0;
  Word mask = 0;
  std::mt19937_64 rng;
  std::vector<Word> values;
  std::vector<Word> words;
  BitVector seed{kN, false};  // bits that a search must keep
};

TEST_P(Packed64, SingleAndBulkAccessFollowTheLayout) {
  IndexVector64Ref v = viewOf(words, bits);
  EXPECT_EQ(v.byteSize(kN), 8 * words.size()) << "no spare word, no word at width 0";
  // getBits counts the bits of a largest value (the 32-bit family counts values).
  EXPECT_EQ(IndexVector64Ref::getBits(mask), bits);
  EXPECT_EQ(IndexVector64Ref::getBits(mask + 1), bits < 64 ? bits + 1 : 0);
  for (std::size_t i = 0; i < kN; ++i) ASSERT_EQ(v.get(i), values[i]) << "position " << i;
  const Word sentinel = 0x5A5A5A5A5A5A5A5Aul;
  sweep([&](std::size_t from, std::size_t count) {
    std::vector<Word> out(count + 1, sentinel);
    v.mget(from, count, out.data());
    for (std::size_t k = 0; k < count; ++k) ASSERT_EQ(out[k], values[from + k]) << "k " << k;
    EXPECT_EQ(out[count], sentinel) << "written past count";

    const std::vector<Word> in = packed_ref::edgyValues(count, bits, rng);
    const Word fill = in.empty() ? mask : in.front();
    std::vector<Word> expectArray = words, expectFill = words, array = words, filled = words;
    for (std::size_t k = 0; k < count; ++k) {
      packed_ref::put(expectArray.data(), bits, from + k, in[k]);
      packed_ref::put(expectFill.data(), bits, from + k, fill);
    }
    viewOf(array, bits).mset(from, count, in.data());
    viewOf(filled, bits).mset(from, count, fill);
    ASSERT_EQ(array, expectArray) << "array form";
    ASSERT_EQ(filled, expectFill) << "fill form";
  });
  for (std::size_t i : {std::size_t{0}, std::size_t{63}, std::size_t{64}, kN / 2 + 1, kN - 1}) {
    SCOPED_TRACE(testing::Message() << "set at " << i);
    const Word nv = rng() & mask;
    std::vector<Word> expected = words;
    packed_ref::put(expected.data(), bits, i, nv);
    v.set(i, nv);
    ASSERT_EQ(words, expected);
  }
}

TEST_P(Packed64, RangeAndFilterSearchesMatchTheModel) {
  const IndexVector64Ref v = viewOf(words, bits);
  // Two bounds that split the values, swept at every start; the edges (empty, inverted, one
  // value, around the mask) at every 13th.
  const std::vector<std::pair<Word, Word>> rs = {{mask / 3, mask / 3 * 2 + 1}, {mask / 2 + 1, ~Word{0}},
      {0, ~Word{0}}, {0, 0}, {5, 3}, {mask, mask + 1}, {0, 1}};
  for (std::size_t r = 0; r < rs.size(); ++r) {
    const auto [lo, hi] = rs[r];
    SCOPED_TRACE(testing::Message() << "range [" << lo << ", " << hi << ")");
    sweep(
        [&](std::size_t from, std::size_t count) {
          checkSearch(
              values, from, count, [&](Word x) { return lo <= x && x < hi; },
              [&](List& list, BitVector& got) {
                v.mgetSearch(from, count, lo, hi, list);
                v.mgetSearch(from, count, lo, hi, got);
              });
        },
        r < 2 ? 1 : 13);
    if (HasFailure()) return;
  }
  // A filter has a bit per value, so the values stay below its size.
  constexpr std::size_t kFilterBits = 1024;
  std::vector<Word> small(kN);
  const Word top = std::min<Word>(mask, kFilterBits - 1);
  for (auto& x : small) x = top == 0 ? 0 : rng() % (top + 1);
  std::vector<Word> packed = packed_ref::pack(small, bits, rng);
  const IndexVector64Ref fv = viewOf(packed, bits);
  BitVector filter(kFilterBits, false);
  for (std::size_t i = 0; i < kFilterBits; ++i) filter.set(i, rng() % 3 == 0);
  for (const bool zeroMatches : {true, false}) {  // at width 0, bit 0 decides everything
    if (bits != 0 && !zeroMatches) break;
    filter.set(0, zeroMatches);
    SCOPED_TRACE(testing::Message() << "bit 0 of the filter " << zeroMatches);
    sweep([&](std::size_t from, std::size_t count) {
      checkSearch(
          small, from, count, [&](Word x) { return filter.test(x); },
          [&](List& list, BitVector& got) {
            fv.mgetSearch(from, count, filter, list);
            fv.mgetSearch(from, count, filter, got);
          });
    });
    if (HasFailure()) return;
  }
}

TEST_P(Packed64, ValueListGrowsBeyondItsFirstRoom) {
  // More hits than the first 1024 entries of room, from an unaligned start to a ragged end, so
  // the doubling before a group and the growth before a single value both run.
  constexpr std::size_t kBig = 2600;
  std::vector<Word> big = packed_ref::edgyValues(kBig, bits, rng);
  std::vector<Word> packed = packed_ref::pack(big, bits, rng);
  const IndexVector64Ref v = viewOf(packed, bits);
  // Width 0 keeps the 7 old entries and appends a zero per position; the others overwrite.
  List expected(bits == 0 ? 7 : 0);
  for (std::size_t i = 3; i < kBig - 1; ++i)
    if (bits == 0 || big[i] != ~Word{0}) expected.push_back(big[i]);
  List list(7);
  v.mgetSearch(3, kBig - 4, 0, ~Word{0}, list);
  EXPECT_EQ(list, expected);
}

TEST_P(Packed64, LowerBoundFindsTheFirstNotBelow) {
  std::vector<Word> sorted = values;
  std::sort(sorted.begin(), sorted.end());
  std::vector<Word> packed = packed_ref::pack(sorted, bits, rng);
  const IndexVector64Ref v = viewOf(packed, bits);
  EXPECT_EQ(v.lowerBound(mask, 0, 0), 0u);
  EXPECT_EQ(v.lowerBound(0, 9, 4), 9u) << "an empty range gives its start";
  for (auto [first, last] : std::vector<std::pair<std::size_t, std::size_t>>{
           {0, kN}, {0, 1}, {17, 18}, {5, 200}, {kN - 3, kN}}) {
    for (Word q : {Word{0}, Word{1}, mask, ~Word{0}, sorted[first], sorted[(first + last) / 2],
                   sorted[last - 1] + 1, sorted[last - 1]}) {
      const auto ref = std::lower_bound(sorted.begin() + first, sorted.begin() + last, q);
      ASSERT_EQ(v.lowerBound(q, first, last), static_cast<std::size_t>(ref - sorted.begin()))
          << "query " << q << " in [" << first << ", " << last << ")";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllWidths, Packed64, ::testing::Range(0u, 65u),
                         [](const auto& info) { return "w" + std::to_string(info.param); });

TEST(Packed64Lists, ListsAreOverwrittenAndPositionRangesKeepTheLastPair) {
  std::mt19937_64 rng(6);
  std::vector<Word> vals(200);
  for (std::size_t i = 0; i < vals.size(); ++i) vals[i] = i % 10;
  std::vector<Word> w = packed_ref::pack(vals, 33, rng);
  const IndexVector64Ref v(w.data(), 33);
  const auto hit = [&](std::size_t i) { return vals[i] == 2 || vals[i] == 3; };
  List last;  // the hits of [150, 175)
  for (std::size_t i = 150; i < 175; ++i)
    if (hit(i)) last.push_back(vals[i]);

  List list;
  list.resize(5000, 77);  // longer than the result: cut to the hits
  v.mgetSearch(150, 25, 2, 4, list);
  EXPECT_EQ(list, last);
  v.mgetSearch(0, 0, 0, ~Word{0}, list);
  EXPECT_TRUE(list.empty()) << "count 0 still overwrites";

  const List pairs = {0, 40, 90, 90, 150, 175};
  list = {42};
  v.mgetSearch(pairs, 2, 4, list);
  EXPECT_EQ(list, last) << "each pair overwrites the one before";
  BitVector bits(vals.size(), false), expectedBits(vals.size(), false);
  v.mgetSearch(pairs, 2, 4, bits);
  for (std::size_t i = 0; i < vals.size(); ++i)
    if ((i < 40 || (i >= 150 && i < 175)) && hit(i)) expectedBits.set(i);
  EXPECT_TRUE(bits == expectedBits);
  List untouched = {1, 2};
  v.mgetSearch(List{}, 0, ~Word{0}, untouched);
  EXPECT_EQ(untouched, (List{1, 2})) << "no pair, no search";
}

}  // namespace

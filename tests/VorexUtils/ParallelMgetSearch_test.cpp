// parallelMgetSearch against the single-threaded mgetSearch, for many splits of many stretches.
#include "VorexUtils/ParallelMgetSearch.hpp"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "Execution/testing/FakeJobExecutor.hpp"
#include "VorexUtils/BitVector.hpp"
#include "ltt/exception.hpp"
#include "ltt/testing/CountingAllocator.hpp"

namespace {

using VorexUtils::BitVector;
using VorexUtils::IndexVectorRef;
using PosList = ltt::vector<unsigned int>;

constexpr std::size_t kSize = 700'000;

class ParallelMgetSearch : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    words = new std::vector<VorexUtils::Word>((13 * kSize + 63) / 64 + 1);
    std::mt19937_64 rng(99);
    for (auto& w : *words) w = rng();
  }
  static void TearDownTestSuite() { delete words; }
  static IndexVectorRef column() { return IndexVectorRef(words->data(), 13); }
  static std::vector<VorexUtils::Word>* words;
};
std::vector<VorexUtils::Word>* ParallelMgetSearch::words = nullptr;

struct Split {
  unsigned long from, count;
  unsigned threads;
};
// Starts on and off multiples of 64, stretches shorter than one job's minimum, ends on the
// last position, more threads than pieces, and 0 for one per hardware thread.
const Split kSplits[] = {{0, kSize, 0},    {1, kSize - 1, 2},     {63, 300001, 3},
                         {64, 200000, 7},  {1000, 65535, 4},      {5, 131072 + 17, 5},
                         {0, 0, 2},        {kSize - 100, 100, 2}, {12345, kSize - 12346, 16},
                         {640, 262144, 4}, {777, 500000, 1}};

TEST_F(ParallelMgetSearch, ListsEqualTheSingleThreadedSearch) {
  const IndexVectorRef ref = column();
  const std::pair<unsigned, unsigned> ranges[] = {{100, 3000}, {5, 5}, {0, 8192}, {8000, 1}};
  for (const Split& s : kSplits) {
    for (const auto& [lo, hi] : ranges) {
      SCOPED_TRACE(testing::Message() << "from=" << s.from << " count=" << s.count
                                      << " threads=" << s.threads << " range=" << lo << ".." << hi);
      PosList want{9u, 8u}, got{9u, 8u};
      ref.mgetSearch(s.from, s.count, lo, hi, want);
      VorexUtils::parallelMgetSearch(ref, s.from, s.count, lo, hi, got, s.threads);
      ASSERT_EQ(got, want);
    }
  }
}

TEST_F(ParallelMgetSearch, BitsEqualTheSingleThreadedSearch) {
  const IndexVectorRef ref = column();
  for (const Split& s : kSplits) {
    SCOPED_TRACE(testing::Message()
                 << "from=" << s.from << " count=" << s.count << " threads=" << s.threads);
    BitVector want(kSize, false);
    for (unsigned long i : {0ul, s.from, s.from + s.count, kSize - 1})  // earlier content stays
      if (i < kSize) want.set(i);
    BitVector got = want;
    ref.mgetSearch(s.from, s.count, 2000, 2100, want);
    const long last =
        VorexUtils::parallelMgetSearch(ref, s.from, s.count, 2000, 2100, got, s.threads);
    ASSERT_TRUE(got == want);
    const unsigned long end = s.from + s.count;
    const unsigned long top = want.findLastSetInRange(s.from, end);
    EXPECT_EQ(last, top < end ? static_cast<long>(top) : -1);
  }
}

TEST_F(ParallelMgetSearch, OneJobPerThreadInPiecesCoveringTheStretch) {
  const IndexVectorRef ref = column();
  Execution::testing::FakeJobExecutor fake(1);
  Execution::testing::ScopedJobExecutor scoped(fake);
  PosList got;
  VorexUtils::parallelMgetSearch(ref, 63, 300001, 0, 8192, got, 3);
  ASSERT_EQ(fake.records().size(), 3u);
  unsigned long docs = 0;
  for (const auto& r : fake.records()) {
    EXPECT_EQ(r.method, "JobParallelMgetSearch");
    docs += std::stoul(r.details.substr(r.details.find("docs=") + 5));
  }
  EXPECT_EQ(docs, 300001u);
  EXPECT_EQ(got.size(), 300001u);  // every position, once, in order
  for (std::size_t i = 0; i < got.size(); ++i) ASSERT_EQ(got[i], 63 + i);

  fake.clear();
  VorexUtils::parallelMgetSearch(ref, 0, 65536 * 2 - 1, 0, 8192, got, 8);
  EXPECT_TRUE(fake.records().empty());  // too short to split: done on the calling thread
}

TEST_F(ParallelMgetSearch, DenseListsAreMergedInSlicesAcrossThePieces) {
  // Every position is a hit: the second and third pieces' lists (2 x 233,333 entries) are
  // copied behind the first piece's hits by three jobs whose slices cross the lists' borders.
  const IndexVectorRef ref = column();
  Execution::testing::FakeJobExecutor fake(1);
  Execution::testing::ScopedJobExecutor scoped(fake);
  PosList got{7u};
  VorexUtils::parallelMgetSearch(ref, 1, kSize - 1, 0, 8192, got, 3);
  std::size_t merges = 0;
  for (const auto& r : fake.records()) merges += r.method == "ParallelMgetSearchMerge";
  EXPECT_EQ(merges, 3u);
  ASSERT_EQ(got.size(), kSize);
  EXPECT_EQ(got[0], 7u);
  for (std::size_t i = 1; i < got.size(); ++i) ASSERT_EQ(got[i], i);
}

TEST_F(ParallelMgetSearch, FailedGrowthLeavesTheListAsItWas) {
  const IndexVectorRef ref = column();
  ltt::testing::CountingAllocator counting;
  {
    PosList got(counting);
    got.push_back(5);
    counting.failAbove(64 * 1024);  // the lists of the pieces outgrow this
    EXPECT_THROW(VorexUtils::parallelMgetSearch(ref, 0, kSize, 0, 8192, got, 4), ltt::bad_alloc);
    EXPECT_EQ(got, PosList{5u});
  }
  EXPECT_TRUE(counting.checkNoLeaks());
}

}  // namespace

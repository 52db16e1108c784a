// The two search jobs against a plain reference: every predicate kind, with and without a
// document filter, into lists and bit vectors, over ranges longer than one run.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <unordered_set>
#include <vector>

#include "Execution/JobExecutorSPI.hpp"
#include "Execution/testing/FakeJobExecutor.hpp"
#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/IndexVectorRef.hpp"
#include "VorexUtils/JobParallelMgetSearch.hpp"
#include "VorexUtils/JobParallelResultDocSearch.hpp"
#include "VorexUtils/JobValuePredicates.hpp"
#include "config/testing/ScopedConfiguration.hpp"

namespace {

using Execution::testing::FakeJobExecutor;
using Execution::testing::ScopedJobExecutor;
using VorexUtils::BitVector;
using VorexUtils::IndexVectorRef;
using VorexUtils::JobParallelMgetSearch;
using VorexUtils::JobParallelResultDocSearch;
using IntList = ltt::vector<int>;
using PosList = ltt::vector<unsigned int>;

// A packed column with its values kept plainly beside it.
struct Column {
  std::vector<unsigned> values;
  std::vector<VorexUtils::Word> words;
  IndexVectorRef ref;

  Column(unsigned bits, std::size_t n, std::uint64_t seed) : values(n) {
    std::mt19937_64 rng(seed);
    const std::uint64_t mask = bits == 32 ? 0xFFFFFFFFu : (std::uint64_t{1} << bits) - 1;
    for (auto& v : values) v = static_cast<unsigned>(rng() & mask);
    words.assign((std::uint64_t{bits} * n + 63) / 64 + 1, 0);
    ref = IndexVectorRef(words.data(), bits);
    for (std::size_t i = 0; i < n; ++i) ref.set(i, values[i]);
  }
};

BitVector randomBits(std::size_t n, unsigned permille, std::uint64_t seed) {
  BitVector bv(n, false);
  std::mt19937_64 rng(seed);
  for (std::size_t i = 0; i < n; ++i)
    if (rng() % 1000 < permille) bv.set(i);
  return bv;
}

enum class Kind { VEC, BV, RNGVEC, RNG };
const char* name(Kind k) {
  static const char* const names[] = {"VEC", "BV", "RNGVEC", "RNG"};
  return names[static_cast<int>(k)];
}

// The four predicates of one test, each with a reference test written from its definition.
struct Predicates {
  IntList valueVec;
  std::unordered_set<int> vecSet;  // the reference's own copy of valueVec
  BitVector valueBv;
  IntList valueRanges;
  int rangeFrom = 0, rangeTo = 0;

  void arm(Kind k, JobParallelMgetSearch::Setup& s) const {
    if (k == Kind::VEC) s.valueVec = &valueVec;
    if (k == Kind::BV) s.valueBv = &valueBv;
    if (k == Kind::RNGVEC) s.valueRanges = &valueRanges;
    s.rangeFrom = rangeFrom;  // ignored unless the kind is RNG
    s.rangeTo = rangeTo;
  }
  void arm(Kind k, JobParallelResultDocSearch::Setup& s) const {
    if (k == Kind::VEC) s.valueVec = &valueVec;
    if (k == Kind::BV) s.valueBv = &valueBv;
    if (k == Kind::RNGVEC) s.valueRanges = &valueRanges;
    s.rangeFrom = rangeFrom;
    s.rangeTo = rangeTo;
  }
  // `unsignedRange`: RNG as mgetSearch compares it; every other test is signed.
  bool hit(Kind k, unsigned v, bool unsignedRange) const {
    const int s = static_cast<int>(v);
    switch (k) {
      case Kind::VEC:
        return vecSet.count(s) != 0;
      case Kind::BV:
        return valueBv.test(v);
      case Kind::RNGVEC:
        for (std::size_t i = 0; i + 1 < valueRanges.size(); i += 2)
          if (valueRanges[i] <= s && s < valueRanges[i + 1]) return true;
        return false;
      case Kind::RNG:
        return unsignedRange
                   ? static_cast<unsigned>(rangeFrom) <= v && v < static_cast<unsigned>(rangeTo)
                   : rangeFrom <= s && s < rangeTo;
    }
    return false;
  }
};

Predicates predicatesFor17Bits(std::uint64_t seed) {
  Predicates p;
  std::mt19937_64 rng(seed);
  std::set<int> vec;
  while (vec.size() < 500) vec.insert(static_cast<int>(rng() % (1u << 17)));
  p.valueVec.assign(vec.begin(), vec.end());
  p.vecSet.insert(vec.begin(), vec.end());
  p.valueBv = randomBits(1u << 17, 60, seed + 1);
  // Twelve pairs: the searched path. Adjacent pairs, so that an end equal to the next start
  // occurs.
  p.valueRanges = {100,   900,   900,   1500,  7000,  7100,  20000,  20001,
                   40000, 52000, 52000, 52001, 60000, 61000, 70000,  70500,
                   80000, 80001, 90000, 99000, 99000, 99500, 120000, 131072};
  p.rangeFrom = 30000;
  p.rangeTo = 41000;
  return p;
}

constexpr std::size_t kLong = 2 * JobParallelMgetSearch::kPositionsPerRun + 300000;

class MgetSearchJob : public ::testing::TestWithParam<std::tuple<Kind, bool, bool>> {
 protected:
  static void SetUpTestSuite() {
    column = new Column(17, kLong, 7);
    preds = new Predicates(predicatesFor17Bits(11));
    hits = new std::vector<std::vector<char>>(4, std::vector<char>(kLong));
    for (int k = 0; k < 4; ++k)
      for (std::size_t i = 0; i < kLong; ++i)
        (*hits)[k][i] = preds->hit(static_cast<Kind>(k), column->values[i], true);
  }
  static void TearDownTestSuite() {
    delete column;
    delete preds;
    delete hits;
  }
  static Column* column;
  static Predicates* preds;
  static std::vector<std::vector<char>>* hits;  // reference outcome per kind and position
};
Column* MgetSearchJob::column = nullptr;
Predicates* MgetSearchJob::preds = nullptr;
std::vector<std::vector<char>>* MgetSearchJob::hits = nullptr;

TEST_P(MgetSearchJob, MatchesThePlainReference) {
  const auto [kind, intoBits, filtered] = GetParam();
  const unsigned long from = 1000, to = kLong - 77;
  // A filter shorter than the column: positions past its end are no hits where it applies.
  const BitVector filter = randomBits(kLong - 5000, 500, 3);
  // Bit-vector results of the BV and RNG kinds leave the filter to the caller.
  const bool filterApplies = filtered && !(intoBits && (kind == Kind::BV || kind == Kind::RNG));

  JobParallelMgetSearch::Setup s;
  s.vector = &column->ref;
  s.from = from;
  s.docs = to - from;
  s.to = to;
  s.docFilter = filtered ? &filter : nullptr;
  preds->arm(kind, s);
  BitVector bits(kLong, false);
  bits.set(3);  // earlier content stays
  std::atomic<long> maxHit{-1};
  PosList list{42u};
  if (intoBits) {
    s.resultBv = &bits;
    s.maxHit = &maxHit;
  } else {
    s.resultVec = &list;
  }
  JobParallelMgetSearch job(s);
  FakeJobExecutor fake(1);
  VorexUtils::Parallel::JobBase* jobs[] = {&job};
  fake.execute(jobs);
  EXPECT_EQ(fake.records().at(0).statuses, (std::vector<int>{1, 1, 2}));

  PosList expected{42u};
  long lastHit = -1;
  for (unsigned long pos = from; pos < to; ++pos) {
    if (filterApplies && !(pos < filter.size() && filter.test(pos))) continue;
    if (!(*hits)[static_cast<int>(kind)][pos]) continue;
    expected.push_back(static_cast<unsigned>(pos));
    lastHit = static_cast<long>(pos);
  }
  ASSERT_GT(expected.size(), 100u);
  if (intoBits) {
    BitVector want(kLong, false);
    want.set(3);
    for (std::size_t i = 1; i < expected.size(); ++i) want.set(expected[i]);
    EXPECT_TRUE(bits == want);
    EXPECT_EQ(maxHit.load(), lastHit);
  } else {
    EXPECT_EQ(list, expected);
  }
}

INSTANTIATE_TEST_SUITE_P(AllKinds, MgetSearchJob,
                         ::testing::Combine(::testing::Values(Kind::VEC, Kind::BV, Kind::RNGVEC,
                                                              Kind::RNG),
                                            ::testing::Bool(), ::testing::Bool()),
                         [](const auto& info) {
                           return std::string(name(std::get<0>(info.param))) +
                                  (std::get<1>(info.param) ? "_IntoBits" : "_IntoList") +
                                  (std::get<2>(info.param) ? "_Filtered" : "");
                         });

TEST(JobValuePredicates, RangeListScanAndSearchAgreeWithPairs) {
  // Lists of 0 to 14 entries: up to 9 take the scan, from 10 the search, odd lengths included.
  std::mt19937_64 rng(5);
  for (std::size_t n = 0; n <= 14; ++n) {
    for (int round = 0; round < 200; ++round) {
      std::vector<int> r(n);
      int at = static_cast<int>(rng() % 20) - 10;
      // Non-empty pairs; a pair may start where the previous one ends.
      for (std::size_t i = 0; i < n; ++i)
        r[i] = at += static_cast<int>(rng() % 3) + (i % 2 ? 1 : 0);
      for (int v = -12; v < at + 3; ++v) {
        bool want = false;
        for (std::size_t i = 0; i + 1 < n; i += 2) want |= r[i] <= v && v < r[i + 1];
        ASSERT_EQ(VorexUtils::valueInRanges(r.data(), n, v), want)
            << "n=" << n << " v=" << v << " round=" << round;
      }
    }
  }
  // The two boundary cases, on both sides of the split.
  const int nine[] = {0, 5, 5, 9, 12, 20, 30, 40, 99};  // the lone 99 is ignored
  const int ten[] = {0, 5, 5, 9, 12, 20, 30, 40, 50, 60};
  for (const int* r : {nine, ten}) {
    const std::size_t n = r == nine ? 9 : 10;
    EXPECT_TRUE(VorexUtils::valueInRanges(r, n, 5));   // end of one pair, start of the next
    EXPECT_FALSE(VorexUtils::valueInRanges(r, n, 9));  // end of a pair with a gap behind it
    EXPECT_FALSE(VorexUtils::valueInRanges(r, n, 40));
    EXPECT_FALSE(VorexUtils::valueInRanges(r, n, 99));
  }
}

TEST(JobParallelMgetSearch, SignedValueTestsAndUnsignedRangeAtWidth32) {
  Column col(32, 5000, 21);
  for (std::size_t i = 0; i < 5000; i += 7) col.ref.set(i, col.values[i] = 0x80000005u);
  for (std::size_t i = 3; i < 5000; i += 11) col.ref.set(i, col.values[i] = 0xFFFFFFFBu);  // -5
  Predicates p;
  p.valueVec = {static_cast<int>(0x80000005u), 17};
  p.vecSet = {static_cast<int>(0x80000005u), 17};
  p.valueRanges = {-10, 0};
  p.rangeFrom = static_cast<int>(0x80000000u);  // unsigned for mgetSearch: [2^31, 2^31 + 16)
  p.rangeTo = static_cast<int>(0x80000010u);
  for (Kind kind : {Kind::VEC, Kind::RNGVEC, Kind::RNG}) {
    SCOPED_TRACE(name(kind));
    PosList list;
    JobParallelMgetSearch::Setup s;
    s.vector = &col.ref;
    s.to = 5000;
    s.resultVec = &list;
    p.arm(kind, s);
    EXPECT_EQ(JobParallelMgetSearch(s).runEx(), 2);
    PosList want;
    for (unsigned i = 0; i < 5000; ++i)
      if (p.hit(kind, col.values[i], true)) want.push_back(i);
    EXPECT_EQ(list, want);
    EXPECT_FALSE(want.empty());
  }
}

TEST(JobParallelMgetSearch, EmptyRangesAndEmptyPredicates) {
  Column col(9, 3000, 2);
  IntList none;
  for (int which = 0; which < 3; ++which) {
    SCOPED_TRACE(which);
    PosList list{7u};
    JobParallelMgetSearch::Setup s;
    s.vector = &col.ref;
    s.resultVec = &list;
    s.rangeFrom = 0;
    s.rangeTo = 512;                       // matches everything
    if (which == 0) s.from = s.to = 1234;  // nothing to do
    if (which == 1) s.valueVec = &none, s.to = 3000;
    if (which == 2) s.valueRanges = &none, s.to = 3000;
    JobParallelMgetSearch job(s);
    EXPECT_EQ(job.run(), 2);
    EXPECT_EQ(list, PosList{7u});
  }
}

TEST(JobParallelMgetSearch, MaxHitIsOnlyRaised) {
  Column col(4, 4096, 9);
  std::atomic<long> maxHit{-1};
  BitVector bits(4096, false);
  auto runRange = [&](unsigned long from, unsigned long to) {
    JobParallelMgetSearch::Setup s;
    s.vector = &col.ref;
    s.from = from;
    s.to = to;
    s.rangeFrom = 0;
    s.rangeTo = 16;  // every position is a hit
    s.resultBv = &bits;
    s.maxHit = &maxHit;
    JobParallelMgetSearch(s).runEx();
  };
  runRange(2048, 3000);
  EXPECT_EQ(maxHit.load(), 2999);
  runRange(0, 1024);  // a later job over lower positions
  EXPECT_EQ(maxHit.load(), 2999);
  maxHit = 1'000'000;
  runRange(3000, 4096);
  EXPECT_EQ(maxHit.load(), 1'000'000);
  maxHit = -1;
  bits.clearAll();
  // The empty range [0, 0) matches nothing: no hit, no change.
  JobParallelMgetSearch::Setup s;
  s.vector = &col.ref;
  s.to = 4096;
  s.resultBv = &bits;
  s.maxHit = &maxHit;
  JobParallelMgetSearch(s).runEx();
  EXPECT_EQ(maxHit.load(), -1);
}

std::string text(const VorexUtils::Parallel::JobBase& job, bool details) {
  std::ostringstream os;
  details ? job.getDetails(os) : job.getMethod(os);
  return os.str();
}

TEST(JobParallelMgetSearch, MethodAndDetailsTexts) {
  IndexVectorRef ref;
  IntList vec{1, 4, 9};
  IntList ranges{1, 5, 10, 12};
  IntList oddRanges{1, 5, 9};
  IntList lone{7};
  BitVector valueBv(300, false), result(64, false);
  std::atomic<long> maxHit{-1};
  PosList list;
  auto details = [&](auto arm) {
    JobParallelMgetSearch::Setup s;
    s.vector = &ref;
    s.docs = 5000;
    s.resultVec = &list;
    arm(s);
    return text(JobParallelMgetSearch(s), true);
  };
  EXPECT_EQ(details([&](auto& s) { s.valueVec = &vec; }),
            "JobParallelMgetSearch docs=5000(VEC) vid=3(VEC)");
  EXPECT_EQ(
      details([&](auto& s) { s.valueBv = &valueBv, s.resultBv = &result, s.maxHit = &maxHit; }),
      "JobParallelMgetSearch docs=5000(BV) vid=300(BV)");
  EXPECT_EQ(details([&](auto& s) { s.valueRanges = &ranges; }),
            "JobParallelMgetSearch docs=5000(VEC) vid=6 (RNGVEC)");
  EXPECT_EQ(details([&](auto& s) { s.valueRanges = &oddRanges; }),
            "JobParallelMgetSearch docs=5000(VEC) vid=4 (RNGVEC)");
  EXPECT_EQ(details([&](auto& s) { s.valueRanges = &lone; }),
            "JobParallelMgetSearch docs=5000(VEC) vid=0 (RNGVEC)");
  EXPECT_EQ(details([&](auto& s) { s.rangeFrom = 10, s.rangeTo = 25; }),
            "JobParallelMgetSearch docs=5000(VEC) vid=15(RNG)");
  // VEC wins over BV, BV over RNGVEC.
  EXPECT_EQ(
      details([&](auto& s) { s.valueVec = &vec, s.valueBv = &valueBv, s.valueRanges = &ranges; }),
      "JobParallelMgetSearch docs=5000(VEC) vid=3(VEC)");
  EXPECT_EQ(details([&](auto& s) { s.valueBv = &valueBv, s.valueRanges = &ranges; }),
            "JobParallelMgetSearch docs=5000(VEC) vid=300(BV)");

  JobParallelMgetSearch::Setup s;
  s.vector = &ref;
  s.resultVec = &list;
  EXPECT_EQ(text(JobParallelMgetSearch(s), false), "JobParallelMgetSearch");
  JobParallelResultDocSearch::Setup d;
  d.vector = &ref;
  d.docSet = &result;
  d.count = 777;
  EXPECT_EQ(text(JobParallelResultDocSearch(d), false), "JobParallelResultDocSearch");
  EXPECT_EQ(text(JobParallelResultDocSearch(d), true), "JobParallelResultDocSearch docs=777");
}

TEST(JobParallelMgetSearch, PlacementFollowsThresholdAndNumaLevel) {
  Column col(3, 1'700'000, 4);
  PosList list;
  auto job = [&](unsigned long count) {
    JobParallelMgetSearch::Setup s;
    s.vector = &col.ref;
    s.to = count;
    s.resultVec = &list;
    s.numaNode = 3;
    return JobParallelMgetSearch(s);
  };
  FakeJobExecutor fake(1);
  ScopedJobExecutor scoped(fake);
  config::testing::ScopedConfiguration cfg;
  EXPECT_EQ(job(512000).getPreferredNumaNode(), 3);  // the default threshold is met exactly
  EXPECT_EQ(job(511999).getPreferredNumaNode(), -1);
  EXPECT_EQ(job(511999).getPreferredAffinityType(), 0);
  fake.setLevel(2);
  EXPECT_EQ(job(10).getPreferredNumaNode(), 3);
  EXPECT_EQ(job(10).getPreferredAffinityType(), 0);
  fake.setLevel(3);
  EXPECT_EQ(job(10).getPreferredAffinityType(), 1);
  fake.setLevel(1);
  cfg.map().set("attributes", "mgetSearch_numa_threshold", "10");
  EXPECT_EQ(job(10).getPreferredNumaNode(), 3);
  EXPECT_EQ(job(9).getPreferredNumaNode(), -1);

  // A long scan sees its remaining count shrink from run to run: 1.7M, then 0.65M.
  cfg.map().set("attributes", "mgetSearch_numa_threshold", "700000");
  JobParallelMgetSearch longJob = job(1'700'000);
  VorexUtils::Parallel::JobBase* one[] = {&longJob};
  fake.execute(one);
  EXPECT_EQ(fake.records().back().nodesPerRun, (std::vector<int>{3, -1}));
  EXPECT_EQ(fake.records().back().statuses, (std::vector<int>{1, 2}));
}

// --- JobParallelResultDocSearch ---

class ResultDocJob : public ::testing::TestWithParam<std::tuple<Kind, bool>> {};

TEST_P(ResultDocJob, RefinesInPlaceAsTheReference) {
  const auto [kind, keepHits] = GetParam();
  Column col(12, 20000, 31);
  Predicates p;
  p.valueVec = {3, 100, 200, 4000};
  for (unsigned v = 0; v < 4096; v += 3) p.valueVec.push_back(static_cast<int>(v));
  std::sort(p.valueVec.begin(), p.valueVec.end());
  p.valueVec.erase(std::unique(p.valueVec.begin(), p.valueVec.end()), p.valueVec.end());
  p.vecSet.insert(p.valueVec.begin(), p.valueVec.end());
  p.valueBv = randomBits(4096, 400, 8);
  p.valueRanges = {10, 500, 500, 900, 1200, 1300, 2000, 2600, 3000, 3001, 3500, 4000};
  p.rangeFrom = 1000;
  p.rangeTo = 3000;
  const BitVector original = randomBits(20000, 300, 77);
  // Ends on and off a multiple of 64 (the word-bounded and the iterator road), an empty range.
  const std::pair<unsigned long, unsigned long> ranges[] = {
      {0, 20000}, {100, 4096}, {130, 9999}, {6400, 6400}, {19999, 1}};
  for (const auto& [from, count] : ranges) {
    SCOPED_TRACE(testing::Message() << "from=" << from << " count=" << count);
    BitVector docs = original;
    JobParallelResultDocSearch::Setup s;
    s.vector = &col.ref;
    s.docSet = &docs;
    s.keepHits = keepHits;
    s.from = from;
    s.count = count;
    p.arm(kind, s);
    EXPECT_EQ(JobParallelResultDocSearch(s).run(), 2);
    for (unsigned long i = 0; i < 20000; ++i) {
      bool want = original.test(i);
      if (want && i >= from && i < from + count)
        want = p.hit(kind, col.values[i], false) == keepHits;
      ASSERT_EQ(docs.test(i), want) << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllKinds, ResultDocJob,
                         ::testing::Combine(::testing::Values(Kind::VEC, Kind::BV, Kind::RNGVEC,
                                                              Kind::RNG),
                                            ::testing::Bool()),
                         [](const auto& info) {
                           return std::string(name(std::get<0>(info.param))) +
                                  (std::get<1>(info.param) ? "_Keep" : "_Drop");
                         });

TEST(JobParallelResultDocSearch, SignedRangeAtWidth32AndNoBitsInRange) {
  Column col(32, 640, 5);
  for (unsigned i = 0; i < 640; i += 5) col.ref.set(i, col.values[i] = 0xFFFFFFFBu);  // -5
  BitVector docs(640, true);
  JobParallelResultDocSearch::Setup s;
  s.vector = &col.ref;
  s.docSet = &docs;
  s.keepHits = false;  // drop the hits
  s.count = 640;
  s.rangeFrom = -10;
  s.rangeTo = 0;
  JobParallelResultDocSearch(s).run();
  for (unsigned i = 0; i < 640; ++i)
    ASSERT_EQ(docs.test(i),
              !(static_cast<int>(col.values[i]) < 0 && static_cast<int>(col.values[i]) >= -10))
        << i;
  EXPECT_FALSE(docs.test(0));

  BitVector empty(640, false);
  s.docSet = &empty;
  s.keepHits = true;
  JobParallelResultDocSearch(s).run();
  EXPECT_EQ(empty.countSet(), 0u);
}

// --- many jobs on one vector, on the real executor ---

TEST(ParallelJobs, ManyJobsShareOneVectorAndOneBitVector) {
  const Column col(17, 1'200'000, 13);
  const Predicates p = predicatesFor17Bits(17);
  const Kind kinds[] = {Kind::VEC, Kind::BV, Kind::RNGVEC, Kind::RNG};
  constexpr unsigned long kPiece = 64 * 1171;  // pieces meet at multiples of 64
  BitVector shared(col.values.size(), false);
  std::atomic<long> maxHit{-1};
  std::vector<PosList> lists(32);
  std::vector<std::unique_ptr<JobParallelMgetSearch>> jobs;
  std::vector<VorexUtils::Parallel::JobBase*> list;
  for (unsigned i = 0; i * kPiece < col.values.size(); ++i) {
    JobParallelMgetSearch::Setup s;
    s.vector = &col.ref;
    s.from = i * kPiece;
    s.to = std::min<unsigned long>((i + 1) * kPiece, col.values.size());
    p.arm(kinds[i % 4], s);
    if (i % 2) {
      s.resultBv = &shared;
      s.maxHit = &maxHit;
    } else {
      s.resultVec = &lists[i];
    }
    jobs.push_back(std::make_unique<JobParallelMgetSearch>(s));
    list.push_back(jobs.back().get());
  }
  // A second set of jobs refines one position set, also in pieces meeting at multiples of 64.
  BitVector docs = randomBits(col.values.size(), 500, 9);
  const BitVector docsBefore = docs;
  std::vector<std::unique_ptr<JobParallelResultDocSearch>> refiners;
  for (unsigned i = 0; i * kPiece < col.values.size(); ++i) {
    JobParallelResultDocSearch::Setup s;
    s.vector = &col.ref;
    s.docSet = &docs;
    s.from = i * kPiece;
    s.count = std::min<unsigned long>(kPiece, col.values.size() - s.from);
    p.arm(kinds[(i + 1) % 4], s);
    refiners.push_back(std::make_unique<JobParallelResultDocSearch>(s));
    list.push_back(refiners.back().get());
  }
  Execution::TbbJobExecutor executor;
  executor.execute(list);

  long wantMax = -1;
  for (unsigned long pos = 0; pos < col.values.size(); ++pos) {
    const unsigned i = static_cast<unsigned>(pos / kPiece);
    const bool hit = p.hit(kinds[i % 4], col.values[pos], true);
    if (i % 2) {
      ASSERT_EQ(shared.test(pos), hit) << pos;
      if (hit) wantMax = static_cast<long>(pos);
    } else {
      ASSERT_EQ(shared.test(pos), false) << pos;
    }
    const bool keep = docsBefore.test(pos) && p.hit(kinds[(i + 1) % 4], col.values[pos], false);
    ASSERT_EQ(docs.test(pos), keep) << pos;
  }
  EXPECT_EQ(maxHit.load(), wantMax);
  for (unsigned i = 0; i * kPiece < col.values.size(); i += 2) {
    PosList want;
    for (unsigned long pos = i * kPiece;
         pos < std::min<unsigned long>((i + 1) * kPiece, col.values.size()); ++pos)
      if (p.hit(kinds[i % 4], col.values[pos], true)) want.push_back(static_cast<unsigned>(pos));
    EXPECT_EQ(lists[i], want) << i;
  }
}

}  // namespace

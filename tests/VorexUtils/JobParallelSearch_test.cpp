// The two search jobs against a plain reference: every predicate kind, with and without a
// document filter, into lists and bit vectors, over ranges longer than one run.
#include <gtest/gtest.h>

#include <atomic>
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
#include "VorexUtils/JobParallelMgetSearch.hpp"
#include "VorexUtils/JobParallelResultDocSearch.hpp"
#include "VorexUtils/JobValuePredicates.hpp"
#include "config/testing/ScopedConfiguration.hpp"
#include "ltt/testing/CountingAllocator.hpp"

namespace {

using Execution::testing::FakeJobExecutor;
using VorexUtils::BitVector;
using VorexUtils::JobParallelMgetSearch;
using VorexUtils::JobParallelResultDocSearch;
using VorexUtils::Parallel::JobBase;
using IntList = ltt::vector<int>;
using PosList = ltt::vector<unsigned int>;
using MgetSetup = JobParallelMgetSearch::Setup;
using DocSetup = JobParallelResultDocSearch::Setup;

// A packed column with its values kept plainly beside it.
struct Column {
  std::vector<unsigned> values;
  std::vector<VorexUtils::Word> words;
  VorexUtils::IndexVectorRef ref;

  Column(unsigned bits, std::size_t n, std::uint64_t seed) : values(n) {
    std::mt19937_64 rng(seed);
    for (auto& v : values) v = static_cast<unsigned>(rng() >> (64 - bits));
    words.assign((std::uint64_t{bits} * n + 63) / 64 + 1, 0);
    ref = VorexUtils::IndexVectorRef(words.data(), bits);
    for (std::size_t i = 0; i < n; ++i) ref.set(i, values[i]);
  }
  void put(std::size_t i, unsigned v) { ref.set(i, values[i] = v); }
};

BitVector randomBits(std::size_t n, unsigned permille, std::uint64_t seed) {
  BitVector bv(n, false);
  std::mt19937_64 rng(seed);
  for (std::size_t i = 0; i < n; ++i)
    if (rng() % 1000 < permille) bv.set(i);
  return bv;
}

enum class Kind { VEC, BV, RNGVEC, RNG };
const char* const kNames[] = {"VEC", "BV", "RNGVEC", "RNG"};

// The four predicates of a test, each with a reference test written from its definition.
struct Predicates {
  IntList valueVec;
  std::unordered_set<int> vecSet;  // the reference's own copy of valueVec
  BitVector valueBv;
  IntList valueRanges;
  int rangeFrom = 0, rangeTo = 0;

  void setVec(std::initializer_list<int> v) {
    valueVec = v;
    vecSet = v;
  }
  template <class Setup>
  void arm(Kind k, Setup& s) const {
    if (k == Kind::VEC) s.valueVec = &valueVec;
    if (k == Kind::BV) s.valueBv = &valueBv;
    if (k == Kind::RNGVEC) s.valueRanges = &valueRanges;
    s.rangeFrom = rangeFrom;  // ignored unless the kind is RNG
    s.rangeTo = rangeTo;
  }
  // `unsignedRange`: RNG as mgetSearch compares; every other test is signed.
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
        if (unsignedRange) return unsigned(rangeFrom) <= v && v < unsigned(rangeTo);
        return rangeFrom <= s && s < rangeTo;
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
  // Twelve pairs (the searched path), some adjacent: an end equal to the next start occurs.
  p.valueRanges = {100,   900,   900,   1500,  7000,  7100,  20000,  20001,
                   40000, 52000, 52000, 52001, 60000, 61000, 70000,  70500,
                   80000, 80001, 90000, 99000, 99000, 99500, 120000, 131072};
  p.rangeFrom = 30000;
  p.rangeTo = 41000;
  return p;
}

std::vector<int> runOnFake(JobBase& job, FakeJobExecutor& fake) {
  JobBase* list[] = {&job};
  fake.execute(list);
  return fake.records().back().statuses;
}

constexpr std::size_t kLong = 2 * JobParallelMgetSearch::kPositionsPerRun + 300000;

class MgetSearchJob : public ::testing::TestWithParam<std::tuple<Kind, bool, bool>> {
 protected:
  static void SetUpTestSuite() {
    column = std::make_unique<Column>(17, kLong, 7);
    preds = std::make_unique<Predicates>(predicatesFor17Bits(11));
  }
  static void TearDownTestSuite() { column.reset(), preds.reset(); }
  static inline std::unique_ptr<Column> column;
  static inline std::unique_ptr<Predicates> preds;
};

TEST_P(MgetSearchJob, MatchesThePlainReference) {
  const auto [kind, intoBits, filtered] = GetParam();
  const unsigned long from = 1000, to = kLong - 77;
  // A filter shorter than the column: positions past its end are no hits where it applies.
  const BitVector filter = randomBits(kLong - 5000, 500, 3);
  // Bit-vector results of the BV and RNG kinds leave the filter to the caller.
  const bool filterApplies = filtered && !(intoBits && (kind == Kind::BV || kind == Kind::RNG));

  MgetSetup s{.vector = &column->ref, .from = from, .docs = to - from, .to = to};
  s.docFilter = filtered ? &filter : nullptr;
  preds->arm(kind, s);
  BitVector bits(kLong, false), want(kLong, false);
  bits.set(3), want.set(3);  // earlier content stays
  std::atomic<long> maxHit{-1};
  PosList list{42u}, expected{42u};
  if (intoBits)
    s.resultBv = &bits, s.maxHit = &maxHit;
  else
    s.resultVec = &list;
  JobParallelMgetSearch job(s);
  FakeJobExecutor fake(1);
  EXPECT_EQ(runOnFake(job, fake), (std::vector<int>{1, 1, 2}));

  long lastHit = -1;
  for (unsigned long pos = from; pos < to; ++pos) {
    if (filterApplies && !(pos < filter.size() && filter.test(pos))) continue;
    if (!preds->hit(kind, column->values[pos], true)) continue;
    expected.push_back(static_cast<unsigned>(pos));
    want.set(pos);
    lastHit = static_cast<long>(pos);
  }
  ASSERT_GT(expected.size(), 100u);
  if (intoBits) {
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
                           return std::string(kNames[int(std::get<0>(info.param))]) +
                                  (std::get<1>(info.param) ? "_IntoBits" : "_IntoList") +
                                  (std::get<2>(info.param) ? "_Filtered" : "");
                         });

TEST(JobValuePredicates, RangeListScanAndSearchAgreeWithPairs) {
  // Lists of 0 to 14 entries: up to 9 take the scan, from 10 the search, odd lengths included
  // (a lone last entry is ignored).
  std::mt19937_64 rng(5);
  for (std::size_t n = 0; n <= 14; ++n) {
    for (int round = 0; round < 200; ++round) {
      std::vector<int> r(n);
      int at = static_cast<int>(rng() % 20) - 10;
      // Non-empty pairs; a pair may start where the previous one ends.
      for (std::size_t i = 0; i < n; ++i) r[i] = at += static_cast<int>(rng() % 3) + int(i % 2);
      for (int v = -12; v < at + 3; ++v) {
        bool want = false;
        for (std::size_t i = 0; i + 1 < n; i += 2) want |= r[i] <= v && v < r[i + 1];
        ASSERT_EQ(VorexUtils::valueInRanges(r.data(), n, v), want) << n << ' ' << v;
      }
    }
  }
}

TEST(SearchJobs, SignedValueTestsAndUnsignedRangeSearchAtWidth32) {
  Column col(32, 5000, 21);
  for (std::size_t i = 0; i < 5000; i += 7) col.put(i, 0x80000005u);
  for (std::size_t i = 3; i < 5000; i += 11) col.put(i, 0xFFFFFFFBu);  // -5
  Predicates p;
  p.setVec({static_cast<int>(0x80000005u), 17});
  p.valueRanges = {-10, 0};
  p.rangeFrom = static_cast<int>(0x80000000u);  // for mgetSearch: [2^31, 2^31 + 16) unsigned
  p.rangeTo = static_cast<int>(0x80000010u);
  for (Kind kind : {Kind::VEC, Kind::RNGVEC, Kind::RNG}) {
    SCOPED_TRACE(kNames[int(kind)]);
    PosList list, want;
    MgetSetup s{.vector = &col.ref, .to = 5000};
    s.resultVec = &list;
    p.arm(kind, s);
    EXPECT_EQ(JobParallelMgetSearch(s).runEx(), 2);
    for (unsigned i = 0; i < 5000; ++i)
      if (p.hit(kind, col.values[i], true)) want.push_back(i);
    EXPECT_EQ(list, want);
    EXPECT_FALSE(want.empty());
  }
  // The refining job compares ranges signed: [-10, 0) holds -5.
  p.rangeFrom = -10;
  p.rangeTo = 0;
  BitVector docs(5000, true);
  DocSetup d{.vector = &col.ref, .docSet = &docs, .keepHits = false, .count = 5000};
  p.arm(Kind::RNG, d);
  EXPECT_EQ(JobParallelResultDocSearch(d).run(), 2);
  for (unsigned i = 0; i < 5000; ++i)
    ASSERT_EQ(docs.test(i), !p.hit(Kind::RNG, col.values[i], false)) << i;
  EXPECT_FALSE(docs.test(3));
}

TEST(SearchJobs, NothingToDo) {
  Column col(9, 3000, 2);
  IntList none;
  for (int which = 0; which < 3; ++which) {
    PosList list{7u};
    MgetSetup s{.vector = &col.ref, .from = 0, .docs = 0, .to = 3000, .rangeTo = 512};
    s.resultVec = &list;
    if (which == 0) s.from = s.to = 1234;  // an empty range, though every value matches
    if (which == 1) s.valueVec = &none;
    if (which == 2) s.valueRanges = &none;
    EXPECT_EQ(JobParallelMgetSearch(s).run(), 2);
    EXPECT_EQ(list, PosList{7u}) << which;
  }
  BitVector empty(3000, false);
  DocSetup d{.vector = &col.ref, .docSet = &empty, .count = 3000, .rangeTo = 512};
  JobParallelResultDocSearch(d).run();
  EXPECT_EQ(empty.countSet(), 0u);
}

TEST(JobParallelMgetSearch, MaxHitIsOnlyRaised) {
  Column col(4, 4096, 9);
  std::atomic<long> maxHit{-1};
  BitVector bits(4096, false);
  auto runRange = [&](unsigned long from, unsigned long to, int rangeTo) {
    MgetSetup s{.vector = &col.ref, .from = from, .docs = 0, .to = to, .rangeTo = rangeTo};
    s.resultBv = &bits, s.maxHit = &maxHit;
    JobParallelMgetSearch(s).runEx();
  };
  runRange(2048, 3000, 16);  // every position is a hit
  EXPECT_EQ(maxHit.load(), 2999);
  runRange(0, 1024, 16);  // a later job over lower positions
  EXPECT_EQ(maxHit.load(), 2999);
  maxHit = 1'000'000;
  runRange(3000, 4096, 16);
  EXPECT_EQ(maxHit.load(), 1'000'000);
  maxHit = -1;
  bits.clearAll();
  runRange(0, 4096, 0);  // no hit, no change
  EXPECT_EQ(maxHit.load(), -1);
}

TEST(JobParallelMgetSearch, ListGrowsGeometricallyOverManyRuns) {
  // The search grows a list to exactly what it needs, once per run of a million positions. A job
  // that let it do so would reallocate and copy the whole list at nearly every run: with ~512
  // hits per run through the search's own head room, with ~262,000 through its doubling.
  constexpr unsigned long kRuns = 21, kCount = kRuns * JobParallelMgetSearch::kPositionsPerRun;
  std::vector<VorexUtils::Word> words(11 * kCount / 64 + 2);
  std::mt19937_64 rng(3);
  for (auto& w : words) w = rng();
  const VorexUtils::IndexVectorRef ref(words.data(), 11);
  struct Case {
    int rangeFrom, rangeTo;
    std::size_t minHits, maxAllocations;
  };
  for (const Case& c : {Case{77, 78, kRuns * 400, 8}, Case{0, 512, kRuns * 250'000, 16}}) {
    SCOPED_TRACE(c.rangeTo);
    ltt::testing::CountingAllocator counting;
    PosList list(counting);
    MgetSetup s{.vector = &ref, .from = 0, .docs = 0, .to = kCount};
    s.rangeFrom = c.rangeFrom;
    s.rangeTo = c.rangeTo;
    s.resultVec = &list;
    EXPECT_EQ(JobParallelMgetSearch(s).runEx(), 2);
    EXPECT_GT(list.size(), c.minHits);
    EXPECT_LE(counting.allocations(), c.maxAllocations);
  }
}

std::string text(const JobBase& job, bool details) {
  std::ostringstream os;
  details ? job.getDetails(os) : job.getMethod(os);
  return os.str();
}

TEST(SearchJobs, MethodAndDetailsTexts) {
  const VorexUtils::IndexVectorRef ref;
  IntList vec{1, 4, 9}, ranges{1, 5, 10, 12}, oddRanges{1, 5, 9}, lone{7};
  BitVector valueBv(300, false), result(64, false);
  PosList list;
  auto details = [&](auto arm) {
    MgetSetup s{.vector = &ref, .from = 0, .docs = 5000};
    s.resultVec = &list;
    arm(s);
    return text(JobParallelMgetSearch(s), true);
  };
  const std::string head = "JobParallelMgetSearch docs=5000(VEC) vid=";
  EXPECT_EQ(details([&](MgetSetup& s) { s.valueVec = &vec; }), head + "3(VEC)");
  EXPECT_EQ(details([&](MgetSetup& s) { s.valueBv = &valueBv, s.resultBv = &result; }),
            "JobParallelMgetSearch docs=5000(BV) vid=300(BV)");
  EXPECT_EQ(details([&](MgetSetup& s) { s.valueRanges = &ranges; }), head + "6 (RNGVEC)");
  EXPECT_EQ(details([&](MgetSetup& s) { s.valueRanges = &oddRanges; }), head + "4 (RNGVEC)");
  EXPECT_EQ(details([&](MgetSetup& s) { s.valueRanges = &lone; }), head + "0 (RNGVEC)");
  EXPECT_EQ(details([&](MgetSetup& s) { s.rangeFrom = 10, s.rangeTo = 25; }), head + "15(RNG)");
  // VEC comes before BV, and BV before RNGVEC.
  EXPECT_EQ(details([&](MgetSetup& s) { s.valueVec = &vec, s.valueBv = &valueBv; }),
            head + "3(VEC)");
  EXPECT_EQ(details([&](MgetSetup& s) { s.valueBv = &valueBv, s.valueRanges = &ranges; }),
            head + "300(BV)");
  EXPECT_EQ(text(JobParallelMgetSearch(MgetSetup{.vector = &ref}), false), "JobParallelMgetSearch");
  const JobParallelResultDocSearch doc(DocSetup{.vector = &ref, .docSet = &result, .count = 777});
  EXPECT_EQ(text(doc, false), "JobParallelResultDocSearch");
  EXPECT_EQ(text(doc, true), "JobParallelResultDocSearch docs=777");
}

TEST(JobParallelMgetSearch, PlacementFollowsThresholdAndNumaLevel) {
  Column col(3, 1'700'000, 4);
  PosList list;
  auto job = [&](unsigned long count) {
    MgetSetup s{.vector = &col.ref, .from = 0, .docs = 0, .to = count};
    s.resultVec = &list, s.numaNode = 3;
    return JobParallelMgetSearch(s);
  };
  FakeJobExecutor fake(1);
  Execution::testing::ScopedJobExecutor scoped(fake);
  config::testing::ScopedConfiguration cfg;
  EXPECT_EQ(job(512000).getPreferredNumaNode(), 3);  // the default threshold is met exactly
  EXPECT_EQ(job(511999).getPreferredNumaNode(), -1);
  EXPECT_EQ(job(511999).getPreferredAffinityType(), 0);
  fake.setLevel(2);
  EXPECT_EQ(job(10).getPreferredNumaNode(), 3);
  EXPECT_EQ(job(10).getPreferredAffinityType(), 0);
  fake.setLevel(3);
  EXPECT_EQ(job(10).getPreferredAffinityType(), 1);
  EXPECT_EQ(JobParallelResultDocSearch(DocSetup{.numaNode = 5}).getPreferredAffinityType(), 1);
  EXPECT_EQ(JobParallelResultDocSearch(DocSetup{.numaNode = 5}).getPreferredNumaNode(), 5);
  fake.setLevel(1);
  cfg.map().set("attributes", "mgetSearch_numa_threshold", "10");
  EXPECT_EQ(job(10).getPreferredNumaNode(), 3);
  EXPECT_EQ(job(9).getPreferredNumaNode(), -1);

  // A long scan sees its remaining count shrink from run to run: 1.7M, then 0.65M.
  cfg.map().set("attributes", "mgetSearch_numa_threshold", "700000");
  JobParallelMgetSearch longJob = job(1'700'000);
  EXPECT_EQ(runOnFake(longJob, fake), (std::vector<int>{1, 2}));
  EXPECT_EQ(fake.records().back().nodesPerRun, (std::vector<int>{3, -1}));
}

class ResultDocJob : public ::testing::TestWithParam<std::tuple<Kind, bool>> {};

TEST_P(ResultDocJob, RefinesInPlaceAsTheReference) {
  const auto [kind, keepHits] = GetParam();
  Column col(12, 20000, 31);
  Predicates p;
  for (int v = 0; v < 4096; v += 3) p.valueVec.push_back(v), p.vecSet.insert(v);
  p.valueBv = randomBits(4096, 400, 8);
  p.valueRanges = {10, 500, 500, 900, 1200, 1300, 2000, 2600, 3000, 3001, 3500, 4000};
  p.rangeFrom = 1000;
  p.rangeTo = 3000;
  const BitVector original = randomBits(20000, 300, 77);
  // Ends on and off a multiple of 64 (the word-bounded and the iterator road), an empty range.
  const std::pair<unsigned long, unsigned long> ranges[] = {{0, 20000},   {100, 4096}, {130, 9999},
                                                            {6400, 6400}, {19999, 1},  {7000, 0}};
  for (const auto& [from, count] : ranges) {
    SCOPED_TRACE(testing::Message() << "from=" << from << " count=" << count);
    BitVector docs = original;
    DocSetup s{.vector = &col.ref, .docSet = &docs, .keepHits = keepHits};
    s.from = from, s.count = count;
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
                           return std::string(kNames[int(std::get<0>(info.param))]) +
                                  (std::get<1>(info.param) ? "_Keep" : "_Drop");
                         });

// Many jobs of both classes over one vector on the real executor, sharing a result bit vector
// and a position set in pieces that meet at multiples of 64 (run under the thread sanitizer).
TEST(SearchJobs, ManyJobsOnOneVectorOnTheRealExecutor) {
  const Column col(17, 1'200'000, 13);
  const std::size_t n = col.values.size();
  const Predicates p = predicatesFor17Bits(17);
  const Kind kinds[] = {Kind::VEC, Kind::BV, Kind::RNGVEC, Kind::RNG};
  constexpr unsigned long kPiece = 64 * 1171;
  const unsigned pieces = static_cast<unsigned>((n + kPiece - 1) / kPiece);
  BitVector shared(n, false), docs = randomBits(n, 500, 9);
  const BitVector docsBefore = docs;
  std::atomic<long> maxHit{-1};
  std::vector<PosList> lists(pieces);
  std::vector<std::unique_ptr<JobBase>> jobs;
  std::vector<JobBase*> list;
  for (unsigned i = 0; i < pieces; ++i) {
    const unsigned long from = i * kPiece, to = std::min<unsigned long>(from + kPiece, n);
    MgetSetup s{.vector = &col.ref, .from = from, .docs = 0, .to = to};
    p.arm(kinds[i % 4], s);
    if (i % 2)
      s.resultBv = &shared, s.maxHit = &maxHit;
    else
      s.resultVec = &lists[i];
    jobs.push_back(std::make_unique<JobParallelMgetSearch>(s));
    DocSetup d{.vector = &col.ref, .docSet = &docs, .keepHits = true, .from = from};
    d.count = to - from;
    p.arm(kinds[(i + 1) % 4], d);
    jobs.push_back(std::make_unique<JobParallelResultDocSearch>(d));
  }
  for (auto& j : jobs) list.push_back(j.get());
  Execution::TbbJobExecutor().execute(list);

  long wantMax = -1;
  std::vector<PosList> wantLists(pieces);
  for (unsigned long pos = 0; pos < n; ++pos) {
    const unsigned i = static_cast<unsigned>(pos / kPiece);
    const bool hit = p.hit(kinds[i % 4], col.values[pos], true);
    ASSERT_EQ(shared.test(pos), i % 2 && hit) << pos;
    if (i % 2 && hit) wantMax = static_cast<long>(pos);
    if (i % 2 == 0 && hit) wantLists[i].push_back(static_cast<unsigned>(pos));
    const bool keep = docsBefore.test(pos) && p.hit(kinds[(i + 1) % 4], col.values[pos], false);
    ASSERT_EQ(docs.test(pos), keep) << pos;
  }
  EXPECT_EQ(maxHit.load(), wantMax);
  EXPECT_EQ(lists, wantLists);
}

}  // namespace

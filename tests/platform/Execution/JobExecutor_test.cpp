// The job base class, the oneTBB executor and the recording fake.
#include <gtest/gtest.h>
#include <oneapi/tbb/info.h>
#include <oneapi/tbb/task_arena.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Execution/JobExecutorSPI.hpp"
#include "Execution/testing/FakeJobExecutor.hpp"
#include "VorexUtils/Parallel/JobBase.hpp"
#include "config/Configuration.hpp"
#include "config/testing/ScopedConfiguration.hpp"

namespace {

using Execution::JobExecutorSPI;
using Execution::TbbJobExecutor;
using Execution::testing::FakeJobExecutor;
using Execution::testing::ScopedJobExecutor;
using VorexUtils::Parallel::JobBase;

// Returns 1 for `steps - 1` calls and then `last`; counts its calls.
class StepJob : public JobBase {
 public:
  explicit StepJob(int steps, int node = -1, int affinity = 0, int last = 2)
      : m_steps(steps), m_node(node), m_affinity(affinity), m_last(last) {}

  int firstRun() override {
    ++firstRuns;
    return run();
  }
  int run() override {
    ++runs;
    if (onRun) onRun(*this);
    return runs < m_steps ? 1 : m_last;
  }
  int getPreferredNumaNode() const override { return m_node; }
  int getPreferredAffinityType() const override { return m_affinity; }
  void getMethod(ltt::basic_ostream<char>& os) const override { os << "StepJob"; }
  void getDetails(ltt::basic_ostream<char>& os) const override { os << "steps=" << m_steps; }

  int firstRuns = 0;
  int runs = 0;
  std::function<void(StepJob&)> onRun;

 private:
  int m_steps, m_node, m_affinity, m_last;
};

std::vector<JobBase*> pointers(std::vector<std::unique_ptr<StepJob>>& jobs) {
  std::vector<JobBase*> out;
  for (auto& j : jobs) out.push_back(j.get());
  return out;
}

TEST(JobBase, RunExDrivesFirstRunThenRunUntilNotOne) {
  StepJob job(4, -1, 0, 7);
  EXPECT_EQ(job.runEx(), 7);
  EXPECT_EQ(job.firstRuns, 1);
  EXPECT_EQ(job.runs, 4);
  EXPECT_EQ(job.getPriority(), 0);
  EXPECT_FALSE(job.isTransactional());
}

TEST(NumaFeatures, LevelsFromTopologyAndArenaOfANode) {
  const std::vector<int> none{-1}, one{0}, two{0, 1};
  struct Case {
    bool numa;
    const std::vector<int>& nodes;
    bool strict;
    int level;
  } const cases[] = {{false, one, false, 0}, {true, none, false, 0}, {true, {}, true, 0},
                     {true, one, false, 1},  {true, one, true, 1},   {true, two, false, 2},
                     {true, two, true, 3},   {false, two, true, 0}};
  for (const Case& c : cases)
    EXPECT_EQ(Execution::numaFeaturesOf(c.numa, c.nodes, c.strict), c.level)
        << c.numa << ' ' << c.nodes.size() << ' ' << c.strict;

  const std::vector<int> nodes{1, 3};
  const std::pair<int, int> arenas[] = {{-1, -1}, {-7, -1}, {0, -1}, {1, 0}, {3, 1}};
  for (const auto& [node, arena] : arenas)
    EXPECT_EQ(Execution::arenaIndexForNode(node, nodes), arena) << node;
  EXPECT_EQ(Execution::arenaIndexForNode(0, std::vector<int>{}), -1);
}

TEST(TbbJobExecutor, LevelOnThisMachineAndConfigOverrides) {
  TbbJobExecutor exec;
  const std::vector<int>& nodes = exec.nodes();
  const bool numa = exec.numaAvailable();
  const int hardware = Execution::numaFeaturesOf(numa, nodes, false);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  std::vector<int> tbbNodes;
  for (auto n : oneapi::tbb::info::numa_nodes())
    if (n >= 0) tbbNodes.push_back(n);
  EXPECT_EQ(nodes, tbbNodes);
  if (numa && tbbNodes.size() == 1) {
    EXPECT_EQ(hardware, 1);  // the single-node build machine
  }
#endif
  config::testing::ScopedConfiguration cfg;
  EXPECT_EQ(exec.getNumaFeatures(), hardware);

  cfg.map().set("execution", "numa_strict_affinity", "true");
  EXPECT_EQ(exec.getNumaFeatures(), Execution::numaFeaturesOf(numa, nodes, true));
  for (const char* forced : {"0", "1", "2", "3"}) {
    cfg.map().set("Execution", "NUMA_features", forced);
    EXPECT_EQ(exec.getNumaFeatures(), forced[0] - '0') << forced;
  }
  for (const char* ignored : {"4", "-1", "two", ""}) {
    cfg.map().set("execution", "numa_features", ignored);
    EXPECT_EQ(exec.getNumaFeatures(), Execution::numaFeaturesOf(numa, nodes, true)) << ignored;
  }
  cfg.map().erase("execution", "numa_features");
  cfg.map().erase("execution", "numa_strict_affinity");
  EXPECT_EQ(exec.getNumaFeatures(), hardware);
}

TEST(TbbJobExecutor, StepsEveryJobToItsEndBeforeReturning) {
  TbbJobExecutor exec;
  std::vector<std::unique_ptr<StepJob>> jobs;
  // Nodes that exist, that do not, and none; both affinity types.
  for (int i = 0; i < 24; ++i)
    jobs.push_back(std::make_unique<StepJob>(1 + i % 7, i % 3 - 1, i % 2));
  exec.execute(pointers(jobs));
  for (int i = 0; i < 24; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(jobs[i]->firstRuns, 1);
    EXPECT_EQ(jobs[i]->runs, 1 + i % 7);
  }
  exec.execute({});  // nothing to do, returns at once
}

TEST(TbbJobExecutor, ReenqueuedJobsInterleave) {
  // Jobs take turns step by step, so no job ends before every other one has begun, but for
  // those that another thread has taken and not yet started. Were each job run to completion in
  // one go, only about one job per thread would have begun.
  TbbJobExecutor exec;
  const int threads = oneapi::tbb::this_task_arena::max_concurrency();
  const int kJobs = 4 * threads + 4, kSteps = 60;
  std::atomic<int> started{0};
  std::atomic<int> startedWhenFirstEnded{-1};
  std::vector<std::unique_ptr<StepJob>> jobs;
  for (int i = 0; i < kJobs; ++i) {
    jobs.push_back(std::make_unique<StepJob>(kSteps));
    jobs.back()->onRun = [&](StepJob& j) {
      if (j.runs == 1) started.fetch_add(1);
      int none = -1;
      if (j.runs == kSteps) startedWhenFirstEnded.compare_exchange_strong(none, started.load());
    };
  }
  exec.execute(pointers(jobs));
  EXPECT_GE(startedWhenFirstEnded.load(), kJobs - (threads - 1));
}

TEST(TbbJobExecutor, RethrowsWhatAJobThrows) {
  TbbJobExecutor exec;
  std::vector<std::unique_ptr<StepJob>> jobs;
  jobs.push_back(std::make_unique<StepJob>(3));
  jobs.back()->onRun = [](StepJob& j) {
    if (j.runs == 2) throw std::runtime_error("job failed");
  };
  EXPECT_THROW(exec.execute(pointers(jobs)), std::runtime_error);
  EXPECT_EQ(jobs[0]->runs, 2);
}

TEST(TbbJobExecutor, ConcurrentCallers) {
  TbbJobExecutor exec;
  std::vector<std::thread> callers;
  std::vector<std::vector<std::unique_ptr<StepJob>>> jobs(4);
  for (auto& set : jobs)
    for (int i = 0; i < 6; ++i) set.push_back(std::make_unique<StepJob>(5, i % 2 - 1));
  for (auto& set : jobs) callers.emplace_back([&exec, &set] { exec.execute(pointers(set)); });
  for (auto& t : callers) t.join();
  for (auto& set : jobs)
    for (auto& j : set) EXPECT_EQ(j->runs, 5);
}

TEST(JobExecutorSPI, InstallAndRestoreTheDefault) {
  JobExecutorSPI& original = JobExecutorSPI::getSPIInstance();
  EXPECT_NE(dynamic_cast<TbbJobExecutor*>(&original), nullptr);
  FakeJobExecutor fake(3);
  {
    ScopedJobExecutor scoped(fake);
    EXPECT_EQ(&JobExecutorSPI::getSPIInstance(), &fake);
    EXPECT_EQ(JobExecutorSPI::getSPIInstance().getNumaFeatures(), 3);
  }
  EXPECT_EQ(&JobExecutorSPI::getSPIInstance(), &original);
  JobExecutorSPI::setSPIInstance(&fake);
  JobExecutorSPI::setSPIInstance(nullptr);
  EXPECT_EQ(&JobExecutorSPI::getSPIInstance(), &original);
}

TEST(FakeJobExecutor, RecordsWhatTheExecutorSees) {
  FakeJobExecutor fake(2, {0, 2});
  StepJob a(3, 2, 1), b(1, 1, 0), c(2, -1, 0, 5);
  JobBase* list[] = {&a, &b, &c};
  fake.execute(list);
  ASSERT_EQ(fake.records().size(), 3u);
  const auto& r = fake.records();
  EXPECT_EQ(r[0].node, 2);
  EXPECT_EQ(r[0].affinity, 1);
  EXPECT_EQ(r[0].arena, 1);
  EXPECT_EQ(r[0].method, "StepJob");
  EXPECT_EQ(r[0].details, "steps=3");
  EXPECT_EQ(r[0].statuses, (std::vector<int>{1, 1, 2}));
  EXPECT_EQ(r[0].nodesPerRun, (std::vector<int>{2, 2, 2}));
  EXPECT_EQ(r[1].arena, -1);  // node 1 has no arena
  EXPECT_EQ(r[1].statuses, (std::vector<int>{2}));
  EXPECT_EQ(r[2].arena, -1);
  EXPECT_EQ(r[2].statuses, (std::vector<int>{1, 5}));
  EXPECT_EQ(a.firstRuns, 1);
}

}  // namespace

// The job executor's service interface and its default implementation over oneTBB.
//
// A host submits jobs with execute(), which blocks until every job has finished. The process has
// one current executor (getSPIInstance); a host or a test may install another one, which must
// outlive its installation.
//
// Levels of NUMA support, as getNumaFeatures() reports them and jobs compare them with 1 and 2:
//   0  no NUMA information: libnuma is unavailable, or oneTBB knows no node (it reports {-1}
//      when the topology library cannot be loaded). Every job runs in the default arena.
//   1  a single node. Jobs that name node 0 run in its arena, which spans every CPU, so placement
//      changes nothing; small scans do not ask for a node at this level.
//   2  several nodes, one arena per node: a job that names a node runs on that node's CPUs.
//   3  as 2, and jobs are asked to stay on their node (affinity type 1). Chosen by
//      [execution] numa_strict_affinity = true; with fewer than two nodes it has no effect.
// [execution] numa_features = 0..3 overrides the level whatever the hardware; other values of
// that key are ignored. Both keys are read again whenever the configuration time moves.
//
// Affinity types: 0 means the node is a preference, and a job's arena is chosen afresh before
// each of its runs; 1 means the arena chosen for the first run keeps the job until it is done.
#pragma once

#include <memory>
#include <span>
#include <vector>

namespace VorexUtils::Parallel {
class JobBase;
}

namespace Execution {

class JobExecutorSPI {
 public:
  virtual ~JobExecutorSPI();

  /// The current executor: the installed one, or the process-wide TbbJobExecutor.
  static JobExecutorSPI& getSPIInstance() noexcept;
  /// Installs an executor; null restores the default. Call outside of any execute().
  static void setSPIInstance(JobExecutorSPI* instance) noexcept;

  /// The level of NUMA support, 0 to 3 (see above).
  virtual int getNumaFeatures() const = 0;
  /// Runs every job (firstRun, then run while it returns 1) and returns when all are done.
  /// Jobs may run concurrently with each other and in any order. The first exception that a
  /// job throws is rethrown here once the executor has stopped; jobs not yet done stay so.
  virtual void execute(std::span<VorexUtils::Parallel::JobBase* const> jobs) = 0;
};

/// The hardware level: 0 without libnuma or without a known node (a list of only -1), 1 for one
/// node, 2 for several, 3 for several with strict affinity.
int numaFeaturesOf(bool numaAvailable, std::span<const int> nodes, bool strictAffinity) noexcept;

/// The arena that runs a job preferring `node`: the index of `node` in `nodes`, or -1 (the
/// default arena) for -1, any other negative number, or a node without an arena.
int arenaIndexForNode(int node, std::span<const int> nodes) noexcept;

/// The default executor: one oneTBB arena per NUMA node that oneTBB reports, constrained to that
/// node, and a default arena. (Builds with the address or thread sanitizer have no node arenas,
/// and thread-sanitizer builds run the steps on plain threads: the sanitizers cannot work with
/// oneTBB's uninstrumented library.) Each step of a job is queued for the arena of its preferred
/// node; after a run that returns 1 the job is queued again (first in, first out), so that the
/// jobs of one execute() interleave step by step. The calling thread never enters an arena: it
/// runs queued steps itself while it waits (except those of strict jobs bound to a node), which
/// adds its core to oneTBB's workers, and sleeps when none is left. execute() returns only when
/// every job is done and every task it handed to oneTBB has ended, so the executor and the jobs
/// may be destroyed right after it.
/// Thread-safe: any number of threads may call execute() at once.
class TbbJobExecutor final : public JobExecutorSPI {
 public:
  TbbJobExecutor();
  ~TbbJobExecutor() override;
  TbbJobExecutor(const TbbJobExecutor&) = delete;
  TbbJobExecutor& operator=(const TbbJobExecutor&) = delete;

  int getNumaFeatures() const override;
  void execute(std::span<VorexUtils::Parallel::JobBase* const> jobs) override;

  /// The nodes that have an arena of their own, in oneTBB's order.
  const std::vector<int>& nodes() const noexcept;
  /// Whether libnuma works on this machine (numa_available()).
  bool numaAvailable() const noexcept;

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

}  // namespace Execution

#include "Execution/JobExecutorSPI.hpp"

#include <numa.h>
#include <oneapi/tbb/concurrent_queue.h>
#include <oneapi/tbb/info.h>
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <string>

#include "VorexUtils/Parallel/JobBase.hpp"
#include "config/Configuration.hpp"

namespace Execution {

using VorexUtils::Parallel::JobBase;

namespace {

std::atomic<JobExecutorSPI*> g_instance{nullptr};

// Never destroyed: the arenas must not be torn down by static destructors that may run after
// oneTBB's own, and a host may still submit jobs from another thread at exit.
TbbJobExecutor& defaultExecutor() {
  static TbbJobExecutor* const executor = new TbbJobExecutor();
  return *executor;
}

}  // namespace

JobExecutorSPI::~JobExecutorSPI() = default;

JobExecutorSPI& JobExecutorSPI::getSPIInstance() noexcept {
  JobExecutorSPI* current = g_instance.load(std::memory_order_acquire);
  return current ? *current : defaultExecutor();
}

void JobExecutorSPI::setSPIInstance(JobExecutorSPI* instance) noexcept {
  g_instance.store(instance, std::memory_order_release);
}

int numaFeaturesOf(bool numaAvailable, std::span<const int> nodes, bool strictAffinity) noexcept {
  const auto known = std::count_if(nodes.begin(), nodes.end(), [](int n) { return n >= 0; });
  if (!numaAvailable || known == 0) return 0;
  if (known == 1) return 1;
  return strictAffinity ? 3 : 2;
}

int arenaIndexForNode(int node, std::span<const int> nodes) noexcept {
  if (node < 0) return -1;
  const auto it = std::find(nodes.begin(), nodes.end(), node);
  return it == nodes.end() ? -1 : static_cast<int>(it - nodes.begin());
}

struct TbbJobExecutor::Impl {
  bool numaAvailable = false;
  std::vector<int> nodes;  // nodes with an arena, parallel to nodeArenas
  std::vector<std::unique_ptr<oneapi::tbb::task_arena>> nodeArenas;
  oneapi::tbb::task_arena defaultArena;
  // getNumaFeatures() cached against the configuration time.
  mutable std::atomic<std::uint64_t> levelTime{0};
  mutable std::atomic<int> level{0};

  // Arena slot k: 0 is the default arena, k > 0 the arena of nodes[k - 1].
  oneapi::tbb::task_arena& arena(int slot) {
    return slot == 0 ? defaultArena : *nodeArenas[slot - 1];
  }
  int slotFor(const JobBase& job) const {
    return arenaIndexForNode(job.getPreferredNumaNode(), nodes) + 1;
  }

  int computeLevel() const {
    const auto cfg = config::getActiveConfiguration();
    std::string text;
    std::uint64_t forced = 0;
    if (cfg && cfg->getValue("execution", "numa_features", text) &&
        config::parseUnsigned(text, 3, forced))
      return static_cast<int>(forced);
    const bool strict = cfg && cfg->getValue("execution", "numa_strict_affinity", text) &&
                        config::Configuration::stringToBool(text);
    return numaFeaturesOf(numaAvailable, nodes, strict);
  }

  // One execute(): a first-in-first-out queue of pending steps per arena slot. Each push is
  // matched by exactly one task enqueued into that slot's arena, and each task runs the step at
  // the head of the queue, so jobs take turns in submission order whatever order oneTBB picks
  // its tasks in. Every task is deferred from `group`, so group.wait() covers the steps that
  // are enqueued later, in any arena.
  struct Batch {
    struct Step {
      JobBase* job;
      int firstSlot;  // the slot of the first run, where a strict job stays
      bool first;
    };
    Impl& impl;
    oneapi::tbb::task_group group;
    std::vector<oneapi::tbb::concurrent_queue<Step>> queues;

    explicit Batch(Impl& owner) : impl(owner), queues(owner.nodes.size() + 1) {}

    void submit(const Step& step, int slot) {
      queues[static_cast<std::size_t>(slot)].push(step);
      impl.arena(slot).enqueue(group.defer([this, slot] { runHead(slot); }));
    }
    void runHead(int slot) {
      Step step{};
      if (!queues[static_cast<std::size_t>(slot)].try_pop(step)) return;  // never: one per push
      const int status = step.first ? step.job->firstRun() : step.job->run();
      if (status != 1) return;
      const int next =
          step.job->getPreferredAffinityType() == 1 ? step.firstSlot : impl.slotFor(*step.job);
      submit({step.job, step.firstSlot, false}, next);
    }
  };
};

TbbJobExecutor::TbbJobExecutor() : m_impl(std::make_unique<Impl>()) {
  m_impl->numaAvailable = numa_available() >= 0;
  for (const oneapi::tbb::numa_node_id node : oneapi::tbb::info::numa_nodes()) {
    if (node < 0) continue;  // no topology information
    m_impl->nodes.push_back(node);
    m_impl->nodeArenas.push_back(std::make_unique<oneapi::tbb::task_arena>(
        oneapi::tbb::task_arena::constraints{}.set_numa_id(node)));
  }
}

TbbJobExecutor::~TbbJobExecutor() = default;

const std::vector<int>& TbbJobExecutor::nodes() const noexcept { return m_impl->nodes; }

bool TbbJobExecutor::numaAvailable() const noexcept { return m_impl->numaAvailable; }

int TbbJobExecutor::getNumaFeatures() const {
  const std::uint64_t now = config::ConfigTimeBasedValue::getConfigTime();
  if (m_impl->levelTime.load(std::memory_order_acquire) == now)
    return m_impl->level.load(std::memory_order_relaxed);
  const int level = m_impl->computeLevel();
  m_impl->level.store(level, std::memory_order_relaxed);
  m_impl->levelTime.store(now, std::memory_order_release);
  return level;
}

void TbbJobExecutor::execute(std::span<JobBase* const> jobs) {
  if (jobs.empty()) return;
  Impl::Batch batch(*m_impl);
  std::vector<std::size_t> perSlot(batch.queues.size(), 0);
  for (JobBase* job : jobs) {
    const int slot = m_impl->slotFor(*job);
    ++perSlot[static_cast<std::size_t>(slot)];
    batch.submit({job, slot, true}, slot);
  }
  // Waiting inside an arena lets the caller work instead of sleeping next to the workers.
  const auto busiest = std::max_element(perSlot.begin(), perSlot.end()) - perSlot.begin();
  m_impl->arena(static_cast<int>(busiest)).execute([&batch] { batch.group.wait(); });
}

}  // namespace Execution

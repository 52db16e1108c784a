#include "Execution/JobExecutorSPI.hpp"

#include <numa.h>
#include <oneapi/tbb/info.h>
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <string>
#include <thread>

#include "VorexUtils/Parallel/JobBase.hpp"
#include "config/Configuration.hpp"

// oneTBB loads its topology library with RTLD_DEEPBIND, which the address and thread sanitizer
// runtimes refuse (they abort), so sanitized builds have no node arenas. The thread sanitizer
// cannot see the synchronisation inside the uninstrumented oneTBB library either and reports its
// recycled task memory as races; its builds drive the same step queues with plain threads.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VOREX_EXECUTOR_TBB_TOPOLOGY 0
#else
#define VOREX_EXECUTOR_TBB_TOPOLOGY 1
#endif
#if defined(__SANITIZE_THREAD__)
#define VOREX_EXECUTOR_PLAIN_THREADS 1
#else
#define VOREX_EXECUTOR_PLAIN_THREADS 0
#endif

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
    return slot == 0 ? defaultArena : *nodeArenas[static_cast<std::size_t>(slot - 1)];
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

  // One execute(): a first-in-first-out queue of pending steps per arena slot. Each step pushed
  // is matched by exactly one task enqueued into that slot's arena, and each task runs the step
  // at the head of the queue, so jobs take turns in submission order whatever order oneTBB picks
  // its tasks in. The tasks are deferred from one task_group, so its wait() covers the steps
  // enqueued later, in any arena. A lock per step is cheap next to a step's work.
  struct Batch {
    struct Step {
      JobBase* job;
      int firstSlot;  // the slot of the first run, where a strict job stays
      bool first;
    };
    struct Queue {
      std::mutex mutex;
      std::deque<Step> steps;
    };

    Impl& impl;
    std::vector<Queue> queues;
    std::atomic<std::size_t> unfinished;
    oneapi::tbb::task_group group;

    Batch(Impl& owner, std::size_t jobs)
        : impl(owner), queues(owner.nodes.size() + 1), unfinished(jobs) {}

    void submit(const Step& step, int slot) {
      Queue& q = queues[static_cast<std::size_t>(slot)];
      {
        std::lock_guard<std::mutex> lock(q.mutex);
        q.steps.push_back(step);
      }
#if !VOREX_EXECUTOR_PLAIN_THREADS
      impl.arena(slot).enqueue(group.defer([this, slot] { runHead(slot); }));
#endif
    }

    // Runs the step at the head of the slot's queue; false when the queue was empty.
    bool runHead(int slot) {
      Step step{};
      {
        Queue& q = queues[static_cast<std::size_t>(slot)];
        std::lock_guard<std::mutex> lock(q.mutex);
        if (q.steps.empty()) return false;
        step = q.steps.front();
        q.steps.pop_front();
      }
      const int status = step.first ? step.job->firstRun() : step.job->run();
      if (status != 1) {
        unfinished.fetch_sub(1, std::memory_order_acq_rel);
        return true;
      }
      const int next =
          step.job->getPreferredAffinityType() == 1 ? step.firstSlot : impl.slotFor(*step.job);
      submit({step.job, step.firstSlot, false}, next);
      return true;
    }

    // Waits for every job; the caller works in `slot`'s arena meanwhile.
    void wait(int slot) {
#if VOREX_EXECUTOR_PLAIN_THREADS
      (void)slot;
      std::exception_ptr failure;
      std::mutex failureMutex;
      std::atomic<bool> stop{false};
      auto work = [&] {
        try {
          while (!stop.load() && unfinished.load() != 0) {
            bool ran = false;
            for (std::size_t s = 0; s < queues.size(); ++s) ran |= runHead(static_cast<int>(s));
            if (!ran) std::this_thread::yield();
          }
        } catch (...) {
          std::lock_guard<std::mutex> lock(failureMutex);
          if (!failure) failure = std::current_exception();
          stop.store(true);
        }
      };
      std::vector<std::thread> helpers;
      const unsigned threads = std::max(2u, std::thread::hardware_concurrency());
      for (unsigned i = 1; i < threads; ++i) helpers.emplace_back(work);
      work();
      for (auto& t : helpers) t.join();
      if (failure) std::rethrow_exception(failure);
#else
      impl.arena(slot).execute([this] { group.wait(); });
#endif
    }
  };
};

TbbJobExecutor::TbbJobExecutor() : m_impl(std::make_unique<Impl>()) {
  m_impl->numaAvailable = numa_available() >= 0;
  if (!VOREX_EXECUTOR_TBB_TOPOLOGY) return;
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
  Impl::Batch batch(*m_impl, jobs.size());
  std::vector<std::size_t> perSlot(batch.queues.size(), 0);
  for (JobBase* job : jobs) {
    const int slot = m_impl->slotFor(*job);
    ++perSlot[static_cast<std::size_t>(slot)];
    batch.submit({job, slot, true}, slot);
  }
  // Waiting inside an arena lets the caller work instead of sleeping next to the workers.
  const auto busiest = std::max_element(perSlot.begin(), perSlot.end()) - perSlot.begin();
  batch.wait(static_cast<int>(busiest));
}

}  // namespace Execution

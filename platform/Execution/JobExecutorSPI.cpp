#include "Execution/JobExecutorSPI.hpp"

#include <numa.h>
#include <oneapi/tbb/info.h>
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
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

namespace {

int workerLimit() { return std::max(1, oneapi::tbb::info::default_concurrency() - 1); }

}  // namespace

struct TbbJobExecutor::Impl {
  bool numaAvailable = false;
  std::vector<int> nodes;  // nodes with an arena, parallel to nodeArenas
  std::vector<std::unique_ptr<oneapi::tbb::task_arena>> nodeArenas;
  // No slot is reserved for external threads: callers never join an arena (see Batch). An arena
  // asks for no more threads than oneTBB has workers (one fewer than the cores, the caller
  // being the last one); asking for more makes oneTBB print a warning on stderr.
  oneapi::tbb::task_arena defaultArena{workerLimit(), 0};
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

  // One execute(): a first-in-first-out queue of pending steps per arena slot, and one task per
  // queued step that runs whatever step heads that queue, so jobs take turns in submission order
  // whatever order oneTBB picks its tasks in. The caller never enters an arena: arenas have few
  // slots, and a caller beyond them is handed as a task to a thread already blocked in its own
  // wait, where such nested waits can stall every thread. Instead the caller runs queued steps on
  // its own thread (so one caller still adds a core to oneTBB's workers) and otherwise sleeps
  // until its last job is done and every task it launched has ended: a task still finishing a
  // step when the caller takes the last one must not touch the executor after execute() returns
  // (the executor may be destroyed then). Tasks hold the batch by shared_ptr.
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
    std::mutex doneMutex;
    std::condition_variable doneCv;
    std::size_t unfinished;           // guarded by doneMutex
    std::size_t tasks = 0;            // guarded by doneMutex; launched and not yet ended
    std::uint64_t pushes = 0;         // guarded by doneMutex; moves on every queued step
    std::exception_ptr failure;       // guarded by doneMutex; the first exception of a job
    std::atomic<bool> failed{false};  // once set, queued steps are dropped

    Batch(Impl& owner, std::size_t jobs)
        : impl(owner), queues(owner.nodes.size() + 1), unfinished(jobs) {}

    void push(const Step& step, int slot) {
      Queue& q = queues[static_cast<std::size_t>(slot)];
      {
        std::lock_guard<std::mutex> lock(q.mutex);
        q.steps.push_back(step);
      }
      {
        std::lock_guard<std::mutex> lock(doneMutex);
        ++pushes;
      }
      doneCv.notify_all();  // the caller may be waiting for work
    }

    // One task per pushed step, enqueued after the push. If it cannot be enqueued, the step
    // stays queued for the caller's thread, which runs whatever is queued.
    static void launch([[maybe_unused]] const std::shared_ptr<Batch>& self,
                       [[maybe_unused]] int slot) {
#if !VOREX_EXECUTOR_PLAIN_THREADS
      {
        std::lock_guard<std::mutex> lock(self->doneMutex);
        ++self->tasks;
      }
      try {
        self->impl.arena(slot).enqueue([self, slot] {
          self->runHead(slot, false);
          self->taskEnded();
        });
      } catch (...) {
        self->taskEnded();
      }
#endif
    }

    void taskEnded() {
      std::lock_guard<std::mutex> lock(doneMutex);
      if (--tasks == 0 && unfinished == 0) doneCv.notify_all();
    }

    // Runs the step at the head of the slot's queue; false when there was none to take. The
    // caller's own thread leaves the steps of node-bound strict jobs to their node's arena.
    bool runHead(int slot, bool callerThread) {
      Step step{};
      {
        Queue& q = queues[static_cast<std::size_t>(slot)];
        std::lock_guard<std::mutex> lock(q.mutex);
        if (q.steps.empty()) return false;
        if (callerThread && slot != 0 && q.steps.front().job->getPreferredAffinityType() == 1)
          return false;
        step = q.steps.front();
        q.steps.pop_front();
      }
      int status = 2;
      if (!failed.load(std::memory_order_acquire)) {
        try {
          status = step.first ? step.job->firstRun() : step.job->run();
        } catch (...) {
          std::lock_guard<std::mutex> lock(doneMutex);
          if (!failure) failure = std::current_exception();
          failed.store(true, std::memory_order_release);
        }
      }
      if (status != 1) {
        std::lock_guard<std::mutex> lock(doneMutex);
        if (--unfinished == 0) doneCv.notify_all();
        return true;
      }
      const int next =
          step.job->getPreferredAffinityType() == 1 ? step.firstSlot : impl.slotFor(*step.job);
      push({step.job, step.firstSlot, false}, next);
      launchFromTask(next);
      return true;
    }

    // Re-enqueues from inside a step; the batch is alive because the running task holds it.
    void launchFromTask(int slot);
    std::weak_ptr<Batch> selfRef;

    bool done() {
      std::lock_guard<std::mutex> lock(doneMutex);
      return unfinished == 0;
    }

    bool runAny(bool callerThread) {
      bool ran = false;
      for (std::size_t s = 0; s < queues.size(); ++s)
        ran |= runHead(static_cast<int>(s), callerThread);
      return ran;
    }

    // Returns when every job is done; rethrows the first exception a job threw.
    void wait() {
#if VOREX_EXECUTOR_PLAIN_THREADS
      std::vector<std::thread> helpers;
      const unsigned threads = std::max(2u, std::thread::hardware_concurrency());
      for (unsigned i = 1; i < threads; ++i)
        helpers.emplace_back([this] {
          while (!done())
            if (!runAny(false)) std::this_thread::yield();
        });
#endif
      for (;;) {
        std::uint64_t seen;
        {
          std::lock_guard<std::mutex> lock(doneMutex);
          if (unfinished == 0 && tasks == 0) break;
          seen = pushes;
        }
        if (runAny(true)) continue;
        // Sleep until a step is queued (one pushed since `seen` is not missed) or the last job
        // and task end. Waking on the end alone would leave the caller idle for the whole
        // timeout while steps wait, and a step is well under a millisecond of work.
        std::unique_lock<std::mutex> lock(doneMutex);
        doneCv.wait_for(lock, std::chrono::milliseconds(1),
                        [&] { return (unfinished == 0 && tasks == 0) || pushes != seen; });
      }
#if VOREX_EXECUTOR_PLAIN_THREADS
      for (auto& t : helpers) t.join();
#endif
      std::lock_guard<std::mutex> lock(doneMutex);
      if (failure) std::rethrow_exception(failure);
    }
  };
};

void TbbJobExecutor::Impl::Batch::launchFromTask(int slot) {
  if (auto self = selfRef.lock()) launch(self, slot);
}

TbbJobExecutor::TbbJobExecutor() : m_impl(std::make_unique<Impl>()) {
  m_impl->numaAvailable = numa_available() >= 0;
  if (!VOREX_EXECUTOR_TBB_TOPOLOGY) return;
  for (const oneapi::tbb::numa_node_id node : oneapi::tbb::info::numa_nodes()) {
    if (node < 0) continue;  // no topology information
    m_impl->nodes.push_back(node);
    m_impl->nodeArenas.push_back(std::make_unique<oneapi::tbb::task_arena>(
        oneapi::tbb::task_arena::constraints{}.set_numa_id(node).set_max_concurrency(
            std::min(workerLimit(), oneapi::tbb::info::default_concurrency(node))),
        0));
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
  auto batch = std::make_shared<Impl::Batch>(*m_impl, jobs.size());
  batch->selfRef = batch;
  // Every first step is queued before any task starts, so a job that a worker picks up at once
  // cannot run to completion while the others are still being submitted.
  std::vector<int> slots;
  slots.reserve(jobs.size());
  for (JobBase* job : jobs) {
    slots.push_back(m_impl->slotFor(*job));
    batch->push({job, slots.back(), true}, slots.back());
  }
  for (const int slot : slots) Impl::Batch::launch(batch, slot);
  batch->wait();
}

}  // namespace Execution

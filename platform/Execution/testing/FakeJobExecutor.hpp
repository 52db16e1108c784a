// Test executor: runs jobs inline on the calling thread, one after the other, each to completion,
// and records what the real executor would see of them. Not thread-safe.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "Execution/JobExecutorSPI.hpp"

namespace Execution::testing {

class FakeJobExecutor final : public JobExecutorSPI {
 public:
  struct Record {
    int node = -1;        // getPreferredNumaNode() before the first run
    int affinity = 0;     // getPreferredAffinityType() before the first run
    int arena = -1;       // the arena TbbJobExecutor would pick: index into nodes(), -1 default
    std::string method;   // getMethod text
    std::string details;  // getDetails text, before the first run
    std::vector<int> statuses;     // the status of every run, firstRun included
    std::vector<int> nodesPerRun;  // getPreferredNumaNode() before every run
  };

  /// `level` is what getNumaFeatures() reports; `nodes` the nodes that would have an arena.
  explicit FakeJobExecutor(int level, std::vector<int> nodes = {0});

  int getNumaFeatures() const override { return m_level; }
  void execute(std::span<VorexUtils::Parallel::JobBase* const> jobs) override;

  const std::vector<Record>& records() const noexcept { return m_records; }
  const std::vector<int>& nodes() const noexcept { return m_nodes; }
  void setLevel(int level) noexcept { m_level = level; }
  void clear() noexcept { m_records.clear(); }

 private:
  int m_level;
  std::vector<int> m_nodes;
  std::vector<Record> m_records;
};

/// Installs an executor for its scope and puts the previous one back.
class ScopedJobExecutor {
 public:
  explicit ScopedJobExecutor(JobExecutorSPI& executor);
  ~ScopedJobExecutor();
  ScopedJobExecutor(const ScopedJobExecutor&) = delete;
  ScopedJobExecutor& operator=(const ScopedJobExecutor&) = delete;

 private:
  JobExecutorSPI* m_previous;
};

}  // namespace Execution::testing

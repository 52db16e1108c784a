#include "Execution/testing/FakeJobExecutor.hpp"

#include <sstream>
#include <utility>

#include "VorexUtils/Parallel/JobBase.hpp"

namespace Execution::testing {

FakeJobExecutor::FakeJobExecutor(int level, std::vector<int> nodes)
    : m_level(level), m_nodes(std::move(nodes)) {}

void FakeJobExecutor::execute(std::span<VorexUtils::Parallel::JobBase* const> jobs) {
  for (VorexUtils::Parallel::JobBase* job : jobs) {
    Record r;
    r.node = job->getPreferredNumaNode();
    r.affinity = job->getPreferredAffinityType();
    r.arena = arenaIndexForNode(r.node, m_nodes);
    std::ostringstream method, details;
    job->getMethod(method);
    job->getDetails(details);
    r.method = method.str();
    r.details = details.str();
    r.nodesPerRun.push_back(r.node);
    int status = job->firstRun();
    r.statuses.push_back(status);
    while (status == 1) {
      r.nodesPerRun.push_back(job->getPreferredNumaNode());
      status = job->run();
      r.statuses.push_back(status);
    }
    m_records.push_back(std::move(r));
  }
}

ScopedJobExecutor::ScopedJobExecutor(JobExecutorSPI& executor)
    : m_previous(&JobExecutorSPI::getSPIInstance()) {
  JobExecutorSPI::setSPIInstance(&executor);
}

ScopedJobExecutor::~ScopedJobExecutor() { JobExecutorSPI::setSPIInstance(m_previous); }

}  // namespace Execution::testing

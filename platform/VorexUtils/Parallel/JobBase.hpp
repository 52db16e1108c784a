// JobBase: a unit of work that the job executor runs (Execution::JobExecutorSPI). A job is
// driven by status: run() returns 1 while work remains and anything else when it is done; the
// executor calls firstRun() once and then run() until the status is not 1, and may interleave
// other jobs between the calls. A job is run by one thread at a time, never concurrently with
// itself; what it shares with other jobs is its own business.
#pragma once

#include "ltt/string.hpp"

namespace VorexUtils::Parallel {

class JobBase {
 public:
  JobBase() = default;
  JobBase(const JobBase&) = default;
  JobBase& operator=(const JobBase&) = default;

  /// One step of work: 1 = call again, 2 (or any other value) = done.
  virtual int run() = 0;
  /// The first step; calls run() unless a job needs a distinct start.
  virtual int firstRun();
  /// Runs the job to completion on the calling thread: firstRun(), then run() while it gives 1.
  virtual int runEx();
  /// Scheduling priority; 0 by default.
  virtual int getPriority() const;
  /// Whether the job must run inside a transaction; false by default.
  virtual bool isTransactional() const;
  /// The NUMA node the job would like to run on, or -1 for no preference.
  virtual int getPreferredNumaNode() const = 0;
  /// 0: the node is a preference; 1: the job must stay on its node.
  virtual int getPreferredAffinityType() const = 0;
  /// The job's name, for monitoring.
  virtual void getMethod(ltt::basic_ostream<char>& os) const = 0;
  /// One line about the job's arguments, for monitoring.
  virtual void getDetails(ltt::basic_ostream<char>& os) const = 0;
  virtual ~JobBase();
};

}  // namespace VorexUtils::Parallel

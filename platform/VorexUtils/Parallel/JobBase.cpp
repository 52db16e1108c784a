#include "VorexUtils/Parallel/JobBase.hpp"

namespace VorexUtils::Parallel {

int JobBase::firstRun() { return run(); }

int JobBase::runEx() {
  int status = firstRun();
  while (status == 1) status = run();
  return status;
}

int JobBase::getPriority() const { return 0; }

bool JobBase::isTransactional() const { return false; }

JobBase::~JobBase() = default;

}  // namespace VorexUtils::Parallel

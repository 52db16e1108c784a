#include "System/ProcessInformation.hpp"

#include <unistd.h>

namespace System {

int ProcessInformation::getProcessID() noexcept { return static_cast<int>(getpid()); }

}  // namespace System

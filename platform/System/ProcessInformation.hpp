// Facts about the running process, for trace file names ($PID). Thread-safe.
#pragma once

namespace System {

class ProcessInformation {
 public:
  static int getProcessID() noexcept;
};

}  // namespace System

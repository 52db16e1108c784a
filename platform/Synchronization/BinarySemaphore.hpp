// A semaphore with two states, clear and signalled, created clear. wait() blocks until the
// state is signalled and clears it; signal() sets it and wakes one waiter. A signal on an
// already signalled semaphore is absorbed (std::binary_semaphore would make that undefined),
// so a waiter released along two paths costs nothing. Thread-safe.
#pragma once

#include <condition_variable>
#include <mutex>

namespace Synchronization {

class BinarySemaphore {
 public:
  BinarySemaphore() = default;
  BinarySemaphore(const BinarySemaphore&) = delete;
  BinarySemaphore& operator=(const BinarySemaphore&) = delete;

  void wait();
  void signal();
  /// Takes the signal if it is set; never blocks.
  bool tryWait();

 private:
  std::mutex m_mutex;
  std::condition_variable m_cv;
  bool m_signalled = false;
};

}  // namespace Synchronization

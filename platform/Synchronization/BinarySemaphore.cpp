#include "Synchronization/BinarySemaphore.hpp"

namespace Synchronization {

void BinarySemaphore::wait() {
  std::unique_lock<std::mutex> lock(m_mutex);
  m_cv.wait(lock, [this] { return m_signalled; });
  m_signalled = false;
}

void BinarySemaphore::signal() {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_signalled = true;
  }
  m_cv.notify_one();
}

bool BinarySemaphore::tryWait() {
  std::lock_guard<std::mutex> lock(m_mutex);
  const bool was = m_signalled;
  m_signalled = false;
  return was;
}

}  // namespace Synchronization

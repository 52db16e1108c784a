// A named mutex that is constant-initialised, so a lock in static storage is usable by other
// static initialisers before any constructor has run. BasicLockable and Lockable, so that
// std::lock_guard and std::unique_lock work. The options are kept for diagnostics only.
// Thread-safe.
#pragma once

#include <mutex>

namespace Synchronization {

class Mutex {
 public:
  constexpr explicit Mutex(const char* name, unsigned options = 0) noexcept
      : m_name(name), m_options(options) {}
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() { m_mutex.lock(); }
  bool try_lock() noexcept { return m_mutex.try_lock(); }
  void unlock() noexcept { m_mutex.unlock(); }

  const char* name() const noexcept { return m_name; }
  unsigned options() const noexcept { return m_options; }

 private:
  std::mutex m_mutex;
  const char* m_name;
  unsigned m_options;
};

}  // namespace Synchronization

// Test allocator: counts what goes through it and fails on request, so tests can prove exact
// byte counts and that a failed allocation leaves an object as it was. Thread-safe.
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <vector>

#include "ltt/allocator.hpp"

namespace ltt::testing {

class CountingAllocator final : public ltt::allocator {
 public:
  explicit CountingAllocator(const char* name = "counting");
  ~CountingAllocator() override;

  std::size_t liveBytes() const noexcept { return bytesInUse(); }
  std::size_t liveBlocks() const noexcept { return blocksInUse(); }
  /// Successful allocations so far.
  std::size_t allocations() const noexcept { return m_allocations.load(); }
  /// Size of the last request (successful or not).
  std::size_t lastRequest() const noexcept { return m_lastRequest.load(); }
  /// Every request, in order, failed ones included.
  std::vector<std::size_t> requests() const;
  void clearRequests();

  /// The n-th next request fails (1 = the very next one); 0 disarms.
  void failAfter(std::size_t n) noexcept { m_failCountdown.store(n); }
  /// Every request above `bytes` fails; 0 disarms.
  void failAbove(std::size_t bytes) noexcept { m_failAbove.store(bytes); }
  /// Lowers the largest request this allocator accepts (0 restores the default), so tests can
  /// reach size limits without allocating.
  void setMaxBlockBytes(std::size_t bytes) noexcept { m_maxBlock.store(bytes); }
  std::size_t maxBlockBytes() const noexcept override {
    const std::size_t m = m_maxBlock.load();
    return m != 0 ? m : allocator::maxBlockBytes();
  }
  void setBlockAllocator(bool on) noexcept { m_block = on; }
  bool isBlockAllocator() const noexcept override { return m_block; }
  /// True when every block was given back.
  bool checkNoLeaks() const noexcept { return liveBlocks() == 0 && liveBytes() == 0; }

 protected:
  void* do_allocate(std::size_t bytes) noexcept override;
  void do_deallocate(void* p) noexcept override;
  std::size_t do_size(const void* p) const noexcept override;

 private:
  std::atomic<std::size_t> m_allocations{0};
  std::atomic<std::size_t> m_lastRequest{0};
  std::atomic<std::size_t> m_failCountdown{0};
  std::atomic<std::size_t> m_failAbove{0};
  std::atomic<std::size_t> m_maxBlock{0};
  bool m_block = false;
  mutable std::mutex m_mutex;
  std::vector<std::size_t> m_requests;
};

}  // namespace ltt::testing

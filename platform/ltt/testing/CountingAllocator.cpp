#include "ltt/testing/CountingAllocator.hpp"

namespace ltt::testing {

CountingAllocator::CountingAllocator(const char* name)
    : allocator(name, &allocator::global_allocator(), true) {}

CountingAllocator::~CountingAllocator() = default;

std::vector<std::size_t> CountingAllocator::requests() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_requests;
}

void CountingAllocator::clearRequests() {
  std::lock_guard<std::mutex> lock(m_mutex);
  m_requests.clear();
}

void* CountingAllocator::do_allocate(std::size_t bytes) noexcept {
  m_lastRequest.store(bytes);
  try {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_requests.push_back(bytes);
  } catch (...) {
    return nullptr;
  }
  // Count down only while armed, so that concurrent requests see each step exactly once.
  std::size_t n = m_failCountdown.load();
  while (n != 0 && !m_failCountdown.compare_exchange_weak(n, n - 1)) {
  }
  if (n == 1) return nullptr;
  const std::size_t above = m_failAbove.load();
  if (above != 0 && bytes > above) return nullptr;
  void* p = parent()->allocateNoThrow(bytes);
  if (p) m_allocations.fetch_add(1);
  return p;
}

void CountingAllocator::do_deallocate(void* p) noexcept { parent()->deallocate(p); }

std::size_t CountingAllocator::do_size(const void* p) const noexcept {
  return parent()->getBlockSize(p);
}

}  // namespace ltt::testing

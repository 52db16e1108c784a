#include "MemoryManager/TransientMetadataNUMAInfo.hpp"

#include <numa.h>
#include <unistd.h>

#include <cstdint>

namespace MemoryManager {

namespace {
std::uintptr_t pageSize() noexcept {
  static const auto size = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  return size;
}
constexpr std::size_t kBatch = 256;  // pages per kernel query; stack buffers, no heap
}  // namespace

bool TransientMetadataNUMAInfo::numaAvailable() noexcept {
  static const bool available = numa_available() >= 0;  // must precede any other libnuma call
  return available;
}

int TransientMetadataNUMAInfo::maxNode() noexcept { return numaAvailable() ? numa_max_node() : 0; }

void TransientMetadataNUMAInfo::calculatePageCountAndNodeId(const void* ptr, std::size_t bytes) {
  ++m_calls;
  if (ptr == nullptr || bytes == 0) return;
  const std::uintptr_t page = pageSize();
  const auto begin = reinterpret_cast<std::uintptr_t>(ptr) & ~(page - 1);
  const auto last = (reinterpret_cast<std::uintptr_t>(ptr) + (bytes - 1)) & ~(page - 1);
  const std::size_t pages = (last - begin) / page + 1;
  m_total += pages;
  if (!numaAvailable()) {
    addToNode(0, pages);
    return;
  }
  void* addrs[kBatch];
  int status[kBatch];
  for (std::size_t done = 0; done < pages;) {
    const std::size_t n = pages - done < kBatch ? pages - done : kBatch;
    for (std::size_t i = 0; i < n; ++i) {
      addrs[i] = reinterpret_cast<void*>(begin + (done + i) * page);
    }
    // Query mode (nodes == nullptr): the kernel only reports each page's node or an error.
    if (numa_move_pages(0, n, addrs, nullptr, status, 0) != 0) {
      m_unknown += n;
    } else {
      for (std::size_t i = 0; i < n; ++i) {
        if (status[i] >= 0) {
          addToNode(status[i], 1);
        } else {
          ++m_unknown;
        }
      }
    }
    done += n;
  }
}

void TransientMetadataNUMAInfo::addToNode(int node, std::size_t pages) {
  const auto index = static_cast<std::size_t>(node);
  if (index >= m_perNode.size()) m_perNode.resize(index + 1, 0);
  m_perNode[index] += pages;
}

std::size_t TransientMetadataNUMAInfo::pagesOnNode(int node) const noexcept {
  if (node < 0 || static_cast<std::size_t>(node) >= m_perNode.size()) return 0;
  return m_perNode[static_cast<std::size_t>(node)];
}

void TransientMetadataNUMAInfo::reset() noexcept {
  m_perNode.clear();
  m_unknown = m_total = m_calls = 0;
}

}  // namespace MemoryManager

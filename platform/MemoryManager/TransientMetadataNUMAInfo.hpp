// Statistics of where the pages of memory blocks lie: each call asks the kernel for the NUMA
// node of every page that the range touches and adds the answers up. Pages that were never
// touched have no node yet and count as unknown. Without NUMA support every page counts as
// node 0. Thread-compatible: one object per collecting thread.
#pragma once

#include <cstddef>
#include <vector>

namespace MemoryManager {

class TransientMetadataNUMAInfo {
 public:
  /// Adds the pages of [ptr, ptr + bytes), widened to whole pages, to the statistics.
  /// A null pointer or an empty range counts as a call and adds no page.
  void calculatePageCountAndNodeId(const void* ptr, std::size_t bytes);

  /// Pages found on `node` so far (0 for a node never seen or a negative node).
  std::size_t pagesOnNode(int node) const noexcept;
  /// Pages without a node: never touched (the kernel answers -ENOENT) or not queryable.
  std::size_t unknownPages() const noexcept { return m_unknown; }
  /// All pages counted so far, known or not.
  std::size_t totalPages() const noexcept { return m_total; }
  /// Highest node with pages plus one (0 when no page was located).
  std::size_t nodeCount() const noexcept { return m_perNode.size(); }
  std::size_t calls() const noexcept { return m_calls; }
  void reset() noexcept;

  /// True when the kernel reports NUMA placement (libnuma's numa_available() >= 0).
  static bool numaAvailable() noexcept;
  /// Highest NUMA node number of the machine (0 without NUMA).
  static int maxNode() noexcept;

 private:
  void addToNode(int node, std::size_t pages);

  std::vector<std::size_t> m_perNode;
  std::size_t m_unknown = 0;
  std::size_t m_total = 0;
  std::size_t m_calls = 0;
};

}  // namespace MemoryManager

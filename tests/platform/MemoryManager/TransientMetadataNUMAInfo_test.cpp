#include "MemoryManager/TransientMetadataNUMAInfo.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>

namespace {

using MemoryManager::TransientMetadataNUMAInfo;

// Anonymous private pages have no node until first written, so the test controls exactly which
// pages the kernel can place: every third one. 600 pages take more than one kernel query.
TEST(TransientMetadataNUMAInfo, CountsTouchedPagesPerNodeOverWholePages) {
  constexpr std::size_t kPages = 600;
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  void* p =
      mmap(nullptr, kPages * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(p, MAP_FAILED);
  char* base = static_cast<char*>(p);
  for (std::size_t i = 0; i < kPages; i += 3) base[i * page] = 1;
  auto located = [](const TransientMetadataNUMAInfo& info) {
    std::size_t n = 0;
    for (std::size_t node = 0; node < info.nodeCount(); ++node)
      n += info.pagesOnNode(static_cast<int>(node));
    return n;
  };
  const bool numa = TransientMetadataNUMAInfo::numaAvailable();
  TransientMetadataNUMAInfo info;
  info.calculatePageCountAndNodeId(base, kPages * page);
  EXPECT_EQ(info.calls(), 1u);
  EXPECT_EQ(info.totalPages(), kPages);
  EXPECT_EQ(located(info), numa ? kPages / 3 : kPages);  // without NUMA: all on node 0
  EXPECT_EQ(info.unknownPages(), numa ? kPages - kPages / 3 : 0u);
  if (!numa || TransientMetadataNUMAInfo::maxNode() == 0) {
    EXPECT_EQ(info.pagesOnNode(0), located(info));
  }

  if (numa) {
    info.reset();
    // From inside page 2 (untouched) to inside page 3 (touched), then the last byte of page 6.
    info.calculatePageCountAndNodeId(base + 2 * page + 100, page);
    EXPECT_EQ(info.totalPages(), 2u);
    EXPECT_EQ(located(info), 1u);
    EXPECT_EQ(info.unknownPages(), 1u);
    info.calculatePageCountAndNodeId(base + 7 * page - 1, 1);
    EXPECT_EQ(info.totalPages(), 3u);
    EXPECT_EQ(located(info), 2u);
  }
  const std::size_t total = info.totalPages();
  info.calculatePageCountAndNodeId(nullptr, 4096);  // empty ranges count as calls only
  info.calculatePageCountAndNodeId(base, 0);
  EXPECT_EQ(info.calls(), numa ? 4u : 3u);
  EXPECT_EQ(info.totalPages(), total);
  info.reset();
  EXPECT_EQ(info.calls() + info.totalPages() + info.unknownPages() + info.pagesOnNode(0), 0u);
  EXPECT_EQ(info.pagesOnNode(-1), 0u);
  munmap(base, kPages * page);
}

}  // namespace

#include "MemoryManager/TransientMetadataNUMAInfo.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>

namespace {

using MemoryManager::TransientMetadataNUMAInfo;

// Anonymous private pages have no node until first written, so the test controls exactly
// which pages the kernel can place.
class NumaInfoTest : public testing::Test {
 protected:
  static constexpr std::size_t kPages = 8;
  void SetUp() override {
    m_page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* p =
        mmap(nullptr, kPages * m_page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(p, MAP_FAILED);
    m_base = static_cast<char*>(p);
    for (std::size_t i : {0u, 2u, 5u}) m_base[i * m_page] = 1;
  }
  void TearDown() override {
    if (m_base) munmap(m_base, kPages * m_page);
  }
  std::size_t located(const TransientMetadataNUMAInfo& info) const {
    std::size_t n = 0;
    for (std::size_t node = 0; node < info.nodeCount(); ++node) {
      n += info.pagesOnNode(static_cast<int>(node));
    }
    return n;
  }
  std::size_t m_page = 0;
  char* m_base = nullptr;
};

TEST_F(NumaInfoTest, TouchedPagesHaveANodeAndUntouchedOnesAreUnknown) {
  TransientMetadataNUMAInfo info;
  info.calculatePageCountAndNodeId(m_base, kPages * m_page);
  EXPECT_EQ(info.calls(), 1u);
  EXPECT_EQ(info.totalPages(), kPages);
  if (!TransientMetadataNUMAInfo::numaAvailable()) {
    EXPECT_EQ(info.pagesOnNode(0), kPages);
    EXPECT_EQ(info.unknownPages(), 0u);
    return;
  }
  EXPECT_EQ(located(info), 3u);
  EXPECT_EQ(info.unknownPages(), 5u);
  if (TransientMetadataNUMAInfo::maxNode() == 0) {
    EXPECT_EQ(info.pagesOnNode(0), 3u);
  }
}

TEST_F(NumaInfoTest, RangesWidenToWholePagesAndAccumulate) {
  if (!TransientMetadataNUMAInfo::numaAvailable())
    GTEST_SKIP() << "no NUMA: every page counts as node 0";
  TransientMetadataNUMAInfo info;
  // From inside page 1 to inside page 2: pages 1 (untouched) and 2 (touched).
  info.calculatePageCountAndNodeId(m_base + m_page + 100, m_page);
  EXPECT_EQ(info.totalPages(), 2u);
  EXPECT_EQ(located(info), 1u);
  EXPECT_EQ(info.unknownPages(), 1u);
  // One byte at the end of page 5.
  info.calculatePageCountAndNodeId(m_base + 6 * m_page - 1, 1);
  EXPECT_EQ(info.totalPages(), 3u);
  EXPECT_EQ(located(info), 2u);
  EXPECT_EQ(info.calls(), 2u);

  info.calculatePageCountAndNodeId(nullptr, 4096);
  info.calculatePageCountAndNodeId(m_base, 0);
  EXPECT_EQ(info.calls(), 4u);
  EXPECT_EQ(info.totalPages(), 3u);

  info.reset();
  EXPECT_EQ(info.calls(), 0u);
  EXPECT_EQ(info.totalPages(), 0u);
  EXPECT_EQ(info.unknownPages(), 0u);
  EXPECT_EQ(info.pagesOnNode(0), 0u);
  EXPECT_EQ(info.pagesOnNode(-1), 0u);
}

TEST(NumaInfo, LargeRangesAreQueriedInBatches) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t pages = 600;  // more than one batch
  void* p = mmap(nullptr, pages * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(p, MAP_FAILED);
  auto* base = static_cast<char*>(p);
  for (std::size_t i = 0; i < pages; i += 3) base[i * page] = 1;
  TransientMetadataNUMAInfo info;
  info.calculatePageCountAndNodeId(base, pages * page);
  EXPECT_EQ(info.totalPages(), pages);
  if (TransientMetadataNUMAInfo::numaAvailable()) {
    EXPECT_EQ(info.unknownPages(), pages - 200);
  }
  munmap(p, pages * page);
}

}  // namespace

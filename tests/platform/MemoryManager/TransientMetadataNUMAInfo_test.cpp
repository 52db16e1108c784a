#include "MemoryManager/TransientMetadataNUMAInfo.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>

namespace {

using MemoryManager::TransientMetadataNUMAInfo;

// Anonymous private pages have no node until first written, so the test controls exactly which
// pages the kernel can place: every third one. 600 pages take more than one kernel query.
class NumaInfoTest : public testing::Test {
 protected:
  static constexpr std::size_t kPages = 600;
  void SetUp() override {
    void* p =
        mmap(nullptr, kPages * m_page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(p, MAP_FAILED);
    m_base = static_cast<char*>(p);
    for (std::size_t i = 0; i < kPages; i += 3) m_base[i * m_page] = 1;
  }
  void TearDown() override {
    if (m_base) munmap(m_base, kPages * m_page);
  }
  static std::size_t located(const TransientMetadataNUMAInfo& info) {
    std::size_t n = 0;
    for (std::size_t node = 0; node < info.nodeCount(); ++node) {
      n += info.pagesOnNode(static_cast<int>(node));
    }
    return n;
  }
  const std::size_t m_page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  char* m_base = nullptr;
};

TEST_F(NumaInfoTest, TouchedPagesHaveANodeAndUntouchedOnesAreUnknown) {
  TransientMetadataNUMAInfo info;
  info.calculatePageCountAndNodeId(m_base, kPages * m_page);
  EXPECT_EQ(info.calls(), 1u);
  EXPECT_EQ(info.totalPages(), kPages);
  if (!TransientMetadataNUMAInfo::numaAvailable()) {
    EXPECT_EQ(info.pagesOnNode(0), kPages);  // without NUMA every page is on node 0
    return;
  }
  EXPECT_EQ(located(info), kPages / 3);
  EXPECT_EQ(info.unknownPages(), kPages - kPages / 3);
  if (TransientMetadataNUMAInfo::maxNode() == 0) {
    EXPECT_EQ(info.pagesOnNode(0), kPages / 3);
  }
}

TEST_F(NumaInfoTest, RangesWidenToWholePagesAndAccumulate) {
  if (!TransientMetadataNUMAInfo::numaAvailable()) GTEST_SKIP() << "no NUMA placement";
  TransientMetadataNUMAInfo info;
  // From inside page 2 (untouched) to inside page 3 (touched).
  info.calculatePageCountAndNodeId(m_base + 2 * m_page + 100, m_page);
  EXPECT_EQ(info.totalPages(), 2u);
  EXPECT_EQ(located(info), 1u);
  EXPECT_EQ(info.unknownPages(), 1u);
  // The last byte of page 6 (touched).
  info.calculatePageCountAndNodeId(m_base + 7 * m_page - 1, 1);
  EXPECT_EQ(info.totalPages(), 3u);
  EXPECT_EQ(located(info), 2u);
  // Empty ranges count as calls only.
  info.calculatePageCountAndNodeId(nullptr, 4096);
  info.calculatePageCountAndNodeId(m_base, 0);
  EXPECT_EQ(info.calls(), 4u);
  EXPECT_EQ(info.totalPages(), 3u);

  info.reset();
  EXPECT_EQ(info.calls() + info.totalPages() + info.unknownPages() + info.pagesOnNode(0), 0u);
  EXPECT_EQ(info.pagesOnNode(-1), 0u);
}

}  // namespace

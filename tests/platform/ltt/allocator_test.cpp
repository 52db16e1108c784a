#include "ltt/allocator.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <new>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ltt/exception.hpp"
#include "ltt/testing/CountingAllocator.hpp"

namespace {

using ltt::allocator;
using ltt::refcounted_handle;
using ltt::testing::CountingAllocator;

// The engine's exhaustion is caught as ltt::exception, never as std::bad_alloc.
static_assert(!std::is_base_of_v<std::bad_alloc, ltt::bad_alloc>);
static_assert(std::is_base_of_v<ltt::exception, ltt::bad_alloc>);
static_assert(std::is_base_of_v<ltt::logic_error, ltt::domain_error>);
static_assert(std::is_base_of_v<ltt::exception, ltt::ios_base::failure>);

// A root allocator whose destruction the test can observe.
class ProbeAllocator final : public allocator {
 public:
  explicit ProbeAllocator(bool* destroyed)
      : allocator("probe", nullptr, false), m_destroyed(destroyed) {}
  ~ProbeAllocator() override { *m_destroyed = true; }

 protected:
  void* do_allocate(std::size_t bytes) noexcept override {
    return global_allocator().allocateNoThrow(bytes);
  }
  void do_deallocate(void* p) noexcept override { global_allocator().deallocate(p); }

 private:
  bool* m_destroyed;
};

TEST(Allocator, GlobalBlocksAreAlignedAndSizedExactly) {
  allocator& g = allocator::global_allocator();
  allocator& adp = allocator::adaptor_allocator();
  EXPECT_EQ(adp.parent(), &g);
  const std::size_t bytes0 = g.bytesInUse(), blocks0 = g.blocksInUse();
  std::vector<void*> blocks;
  for (std::size_t n : {0u, 1u, 17u, 100003u}) {
    void* p = g.allocate(n);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 16, 0u) << n;
    EXPECT_EQ(g.getBlockSize(p), n);
    blocks.push_back(p);
  }
  blocks.push_back(adp.allocate(333));  // the adaptor's usage shows in the global count
  EXPECT_EQ(g.bytesInUse() - bytes0, 100021u + 333u);
  EXPECT_EQ(g.blocksInUse() - blocks0, 5u);
  adp.deallocate(blocks.back());
  blocks.pop_back();
  for (void* p : blocks) g.deallocate(p);
  g.deallocate(nullptr);
  EXPECT_EQ(g.bytesInUse(), bytes0);
  EXPECT_EQ(g.blocksInUse(), blocks0);
  EXPECT_THROW(g.allocate(SIZE_MAX), ltt::bad_alloc);
}

// The VmFlags of the mapping that holds `address`, from /proc/self/smaps.
std::string mappingFlags(const void* address) {
  const auto at = reinterpret_cast<std::uintptr_t>(address);
  std::ifstream smaps("/proc/self/smaps");
  bool inside = false;
  for (std::string line; std::getline(smaps, line);) {
    std::uintptr_t lo = 0, hi = 0;
    char dash = 0;
    std::istringstream head(line);
    if (head >> std::hex >> lo >> dash >> hi && dash == '-') inside = lo <= at && at < hi;
    else if (inside && line.rfind("VmFlags:", 0) == 0) return line;
  }
  return {};
}

TEST(Allocator, LargeGlobalBlocksAreOfferedHugePages) {
  // Only whole 2 MiB pages inside the block are advised, so a 5 MiB block always holds one.
  allocator& g = allocator::global_allocator();
  auto* big = static_cast<char*>(g.allocate(5u << 20));
  EXPECT_NE(mappingFlags(big + (5u << 19)).find(" hg"), std::string::npos)
      << mappingFlags(big + (5u << 19));
  g.deallocate(big);
}

TEST(Allocator, ChildrenCountTheirOwnUsageAndForwardToTheParent) {
  CountingAllocator root;
  auto child = root.createChild("child");
  auto grandchild = child->createChild("grandchild");
  EXPECT_EQ(grandchild->parent(), child.get());

  void* a = child->allocate(100);
  void* b = grandchild->allocate(40);
  EXPECT_EQ(grandchild->bytesInUse(), 40u);
  EXPECT_EQ(child->bytesInUse(), 140u);
  EXPECT_EQ(root.liveBytes(), 140u);
  EXPECT_EQ(root.liveBlocks(), 2u);
  EXPECT_EQ(grandchild->getBlockSize(b), 40u);
  grandchild->deallocate(b);
  EXPECT_EQ(child->bytesInUse(), 100u);
  child->deallocate(a);
  EXPECT_TRUE(root.checkNoLeaks());

  root.failAfter(1);  // the parent's failure surfaces through the child, counting nothing
  EXPECT_THROW(grandchild->allocate(8), ltt::bad_alloc);
  EXPECT_EQ(child->blocksInUse(), 0u);
}

TEST(Allocator, HandlesKeepTheAllocatorAliveUntilTheLastReference) {
  bool destroyed = false;
  refcounted_handle<allocator> h(new ProbeAllocator(&destroyed));
  {
    refcounted_handle<allocator> copy = h, moved = std::move(copy);
    EXPECT_FALSE(copy);
    EXPECT_TRUE(moved == h);
  }
  auto child = h->createChild("child");  // a child holds its parent
  h.reset();
  EXPECT_FALSE(destroyed);
  child.reset();
  EXPECT_TRUE(destroyed);

  bool firstGone = false, secondGone = false;
  refcounted_handle<allocator> a(new ProbeAllocator(&firstGone));
  refcounted_handle<allocator> b(new ProbeAllocator(&secondGone));
  a = b;
  EXPECT_TRUE(firstGone);
  const auto& alias = a;
  a = alias;  // self-assignment keeps the target
  b.reset();
  EXPECT_FALSE(secondGone);
  a.reset();
  EXPECT_TRUE(secondGone);
  { refcounted_handle<allocator> g(&allocator::global_allocator()); }  // immortal: no delete
}

TEST(AllocatorDeathTest, NullAllocatorFailsAndAssertsOnDeallocation) {
  allocator& n = allocator::null_allocator();
  EXPECT_EQ(n.allocateNoThrow(0), nullptr);
  EXPECT_THROW(n.allocate(16), ltt::bad_alloc);
  n.deallocate(nullptr);  // accepted
  int x = 0;
  EXPECT_DEATH(n.deallocate(&x), "null allocator");
}

TEST(Allocator, CountsStayExactUnderConcurrentUse) {
  CountingAllocator root;
  auto child = root.createChild("shared");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&child, t] {
      void* held[8] = {};
      for (int i = 0; i < 800; ++i) {
        child->deallocate(held[i % 8]);
        held[i % 8] = child->allocate(static_cast<std::size_t>(8 + t + i % 7));
      }
      for (void* p : held) child->deallocate(p);
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(child->blocksInUse(), 0u);
  EXPECT_EQ(root.allocations(), 3200u);
  EXPECT_TRUE(root.checkNoLeaks());
}

}  // namespace

#include "ltt/allocator.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <vector>

#include "ltt/exception.hpp"
#include "ltt/testing/CountingAllocator.hpp"

namespace {

using ltt::allocator;
using ltt::refcounted_handle;
using ltt::testing::CountingAllocator;

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
  std::size_t do_size(const void* p) const noexcept override {
    return global_allocator().getBlockSize(p);
  }

 private:
  bool* m_destroyed;
};

TEST(Allocator, GlobalBlocksAreAlignedAndSizedExactly) {
  allocator& g = allocator::global_allocator();
  EXPECT_EQ(g.name(), "global");
  EXPECT_EQ(g.parent(), nullptr);
  const std::size_t bytes0 = g.bytesInUse();
  const std::size_t blocks0 = g.blocksInUse();
  std::vector<void*> blocks;
  std::size_t total = 0;
  for (std::size_t n : {0u, 1u, 15u, 16u, 17u, 4096u, 100003u}) {
    SCOPED_TRACE(n);
    void* p = g.allocate(n);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 16, 0u);
    EXPECT_EQ(g.getBlockSize(p), n);
    blocks.push_back(p);
    total += n;
  }
  EXPECT_EQ(g.bytesInUse() - bytes0, total);
  EXPECT_EQ(g.blocksInUse() - blocks0, blocks.size());
  for (void* p : blocks) g.deallocate(p);
  g.deallocate(nullptr);
  EXPECT_EQ(g.bytesInUse(), bytes0);
  EXPECT_EQ(g.blocksInUse(), blocks0);
}

TEST(Allocator, RequestAboveTheLimitThrowsWithoutAllocating) {
  CountingAllocator counting;
  counting.setMaxBlockBytes(1000);
  EXPECT_EQ(counting.allocateNoThrow(1001), nullptr);
  try {
    counting.allocate(1001);
    FAIL() << "no exception";
  } catch (const ltt::bad_alloc& e) {
    EXPECT_EQ(e.requested(), 1001u);
  }
  EXPECT_TRUE(counting.requests().empty());
  EXPECT_THROW(allocator::global_allocator().allocate(SIZE_MAX), ltt::bad_alloc);
  void* p = counting.allocate(1000);
  counting.deallocate(p);
  EXPECT_TRUE(counting.checkNoLeaks());
}

TEST(Allocator, ChildrenCountTheirOwnUsageAndForwardToTheParent) {
  CountingAllocator root;
  auto child = root.createChild("child");
  auto grandchild = child->createChild("grandchild");
  EXPECT_EQ(child->name(), "child");
  EXPECT_EQ(child->parent(), &root);
  EXPECT_EQ(grandchild->parent(), child.get());

  void* a = child->allocate(100);
  void* b = grandchild->allocate(40);
  EXPECT_EQ(grandchild->bytesInUse(), 40u);
  EXPECT_EQ(child->bytesInUse(), 140u);
  EXPECT_EQ(child->blocksInUse(), 2u);
  EXPECT_EQ(root.liveBytes(), 140u);
  EXPECT_EQ(root.liveBlocks(), 2u);
  EXPECT_EQ(grandchild->getBlockSize(b), 40u);
  EXPECT_EQ(root.requests(), (std::vector<std::size_t>{100, 40}));

  grandchild->deallocate(b);
  EXPECT_EQ(grandchild->bytesInUse(), 0u);
  EXPECT_EQ(child->bytesInUse(), 100u);
  child->deallocate(a);
  EXPECT_TRUE(root.checkNoLeaks());
}

TEST(Allocator, ChildFailureSurfacesAsBadAlloc) {
  CountingAllocator root;
  auto child = root.createChild("child");
  root.failAfter(1);
  EXPECT_THROW(child->allocate(8), ltt::bad_alloc);
  EXPECT_EQ(child->bytesInUse(), 0u);
  EXPECT_EQ(child->blocksInUse(), 0u);
  void* p = child->allocate(8);  // the injected failure was one-shot
  child->deallocate(p);
  EXPECT_TRUE(root.checkNoLeaks());
}

TEST(Allocator, HandlesKeepTheAllocatorAliveUntilTheLastReference) {
  bool destroyed = false;
  refcounted_handle<allocator> h(new ProbeAllocator(&destroyed));
  {
    refcounted_handle<allocator> copy = h;
    refcounted_handle<allocator> moved = std::move(copy);
    EXPECT_FALSE(copy);
    EXPECT_TRUE(moved == h);
  }
  EXPECT_FALSE(destroyed);

  // A child holds its parent.
  auto child = h->createChild("child");
  h.reset();
  EXPECT_FALSE(h);
  EXPECT_FALSE(destroyed);
  void* p = child->allocate(24);
  child->deallocate(p);
  child.reset();
  EXPECT_TRUE(destroyed);
}

TEST(Allocator, HandleAssignmentReleasesTheOldTarget) {
  bool firstGone = false;
  bool secondGone = false;
  refcounted_handle<allocator> a(new ProbeAllocator(&firstGone));
  refcounted_handle<allocator> b(new ProbeAllocator(&secondGone));
  a = b;
  EXPECT_TRUE(firstGone);
  EXPECT_FALSE(secondGone);
  const auto& alias = a;
  a = alias;  // self-assignment keeps the target
  EXPECT_FALSE(secondGone);
  b.reset();
  EXPECT_FALSE(secondGone);
  a.reset();
  EXPECT_TRUE(secondGone);
}

TEST(Allocator, ImmortalAllocatorsIgnoreTheCount) {
  allocator& g = allocator::global_allocator();
  { refcounted_handle<allocator> h(&g); }
  { refcounted_handle<allocator> h(&allocator::adaptor_allocator()); }
  void* p = g.allocate(8);  // still alive
  g.deallocate(p);
  EXPECT_EQ(allocator::adaptor_allocator().name(), "adaptor");
  EXPECT_EQ(allocator::adaptor_allocator().parent(), &g);
}

TEST(Allocator, AdaptorUsageShowsInTheGlobalCount) {
  allocator& g = allocator::global_allocator();
  allocator& adp = allocator::adaptor_allocator();
  const std::size_t g0 = g.bytesInUse();
  const std::size_t a0 = adp.bytesInUse();
  void* p = adp.allocate(333);
  EXPECT_EQ(adp.bytesInUse() - a0, 333u);
  EXPECT_EQ(g.bytesInUse() - g0, 333u);
  adp.deallocate(p);
  EXPECT_EQ(adp.bytesInUse(), a0);
}

TEST(Allocator, NullAllocatorAlwaysFails) {
  allocator& n = allocator::null_allocator();
  EXPECT_EQ(n.allocateNoThrow(1), nullptr);
  EXPECT_EQ(n.allocateNoThrow(0), nullptr);
  EXPECT_THROW(n.allocate(16), ltt::bad_alloc);
  try {
    n.allocate(16);
  } catch (const ltt::exception& e) {  // catchable as the engine's base exception
    EXPECT_EQ(e.category(), std::generic_category());
  }
  n.deallocate(nullptr);  // accepted
  EXPECT_EQ(n.blocksInUse(), 0u);
}

TEST(AllocatorDeathTest, DeallocatingOnTheNullAllocatorAsserts) {
  int x = 0;
  EXPECT_DEATH(allocator::null_allocator().deallocate(&x), "null allocator");
}

TEST(Allocator, CountsStayExactUnderConcurrentUse) {
  CountingAllocator root;
  auto child = root.createChild("shared");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&child, t] {
      std::vector<void*> held;
      for (int i = 0; i < 500; ++i) {
        held.push_back(child->allocate(static_cast<std::size_t>(8 + t + i % 7)));
        if (held.size() > 8) {
          child->deallocate(held.front());
          held.erase(held.begin());
        }
      }
      for (void* p : held) child->deallocate(p);
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(child->bytesInUse(), 0u);
  EXPECT_EQ(child->blocksInUse(), 0u);
  EXPECT_EQ(root.allocations(), 2000u);
  EXPECT_TRUE(root.checkNoLeaks());
}

// --- the counting test allocator itself ---------------------------------------------------------

TEST(CountingAllocator, RecordsRequestsInOrderIncludingFailures) {
  CountingAllocator c;
  EXPECT_EQ(c.name(), "counting");
  void* a = c.allocate(10);
  c.failAbove(50);
  EXPECT_EQ(c.allocateNoThrow(51), nullptr);
  void* b = c.allocate(50);
  EXPECT_EQ(c.requests(), (std::vector<std::size_t>{10, 51, 50}));
  EXPECT_EQ(c.lastRequest(), 50u);
  EXPECT_EQ(c.allocations(), 2u);
  EXPECT_EQ(c.liveBytes(), 60u);
  EXPECT_EQ(c.liveBlocks(), 2u);
  EXPECT_EQ(c.getBlockSize(a), 10u);
  EXPECT_FALSE(c.checkNoLeaks());
  c.failAbove(0);
  c.deallocate(a);
  c.deallocate(b);
  EXPECT_TRUE(c.checkNoLeaks());
  c.clearRequests();
  EXPECT_TRUE(c.requests().empty());
}

TEST(CountingAllocator, FailAfterHitsExactlyTheNthRequest) {
  for (std::size_t n = 1; n <= 4; ++n) {
    SCOPED_TRACE(n);
    CountingAllocator c;
    c.failAfter(n);
    std::vector<bool> ok;
    for (int i = 0; i < 6; ++i) {
      void* p = c.allocateNoThrow(8);
      ok.push_back(p != nullptr);
      c.deallocate(p);
    }
    for (std::size_t i = 0; i < ok.size(); ++i) EXPECT_EQ(ok[i], i + 1 != n) << "request " << i;
    EXPECT_EQ(c.allocations(), 5u);
  }
}

TEST(CountingAllocator, BlockAllocatorFlag) {
  CountingAllocator c;
  EXPECT_FALSE(c.isBlockAllocator());
  c.setBlockAllocator(true);
  EXPECT_TRUE(c.isBlockAllocator());
  EXPECT_FALSE(allocator::global_allocator().isBlockAllocator());
}

}  // namespace

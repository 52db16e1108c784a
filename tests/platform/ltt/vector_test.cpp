#include "ltt/vector.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>

#include "ltt/testing/CountingAllocator.hpp"

namespace {

using ltt::testing::CountingAllocator;

TEST(LttVector, SizedConstructionValueInitialisesFromTheGivenAllocator) {
  CountingAllocator c;
  {
    ltt::vector<std::uint32_t> v(5, c);
    EXPECT_EQ(v.size(), 5u);
    for (auto x : v) EXPECT_EQ(x, 0u);
    EXPECT_EQ(&v.getAllocator(), &c);
    EXPECT_EQ(c.requests(), (std::vector<std::size_t>{20}));
    v.resize(9);
    for (auto x : v) EXPECT_EQ(x, 0u);
  }
  EXPECT_TRUE(c.checkNoLeaks());
}

TEST(LttVector, DefaultVectorUsesTheAdaptorAllocator) {
  ltt::vector<int> v;
  EXPECT_EQ(&v.getAllocator(), &ltt::allocator::adaptor_allocator());
  ltt_adp::vector<int> w{1, 2, 3};
  EXPECT_EQ(&w.getAllocator(), &ltt::allocator::adaptor_allocator());
  EXPECT_TRUE(v.get_allocator() == w.get_allocator());
}

TEST(LttVector, AllocatorsCompareByIdentity) {
  CountingAllocator a("a");
  CountingAllocator b("b");
  ltt::vector<int> x(a), y(a), z(b);
  EXPECT_TRUE(x.get_allocator() == y.get_allocator());
  EXPECT_FALSE(x.get_allocator() == z.get_allocator());
  ltt::vector<int> copy(z);
  EXPECT_EQ(&copy.getAllocator(), &b);
}

TEST(LttVector, RawResizeGrowsToExactlyTheRequestedCapacity) {
  CountingAllocator c;
  ltt::vector<std::uint64_t> v(c);
  for (std::size_t n : {1u, 3u, 4u, 17u, 1000u}) {
    SCOPED_TRACE(n);
    v.rawResize_(n);
    EXPECT_EQ(v.size(), n);
    EXPECT_EQ(v.capacity(), n);
    EXPECT_EQ(c.lastRequest(), n * 8);
  }
  EXPECT_EQ(c.requests(), (std::vector<std::size_t>{8, 24, 32, 136, 8000}));
}

TEST(LttVector, RawResizeKeepsContentAndDoesNotInitialise) {
  CountingAllocator c;
  ltt::vector<std::uint32_t> v(c);
  v.rawResize_(64);
  std::iota(v.begin(), v.end(), 100u);
  v.rawResize_(100);  // growth copies the old elements
  for (std::uint32_t i = 0; i < 64; ++i) ASSERT_EQ(v[i], 100 + i);

  // Within capacity, shrinking and growing again writes nothing: the old values reappear.
  v.rawResize_(10);
  EXPECT_EQ(v.capacity(), 100u);
  v.rawResize_(64);
  for (std::uint32_t i = 0; i < 64; ++i) ASSERT_EQ(v[i], 100 + i);
  EXPECT_EQ(c.requests().size(), 2u);

  // The ordinary resize still value-initialises.
  v.resize(10);
  v.resize(64);
  for (std::uint32_t i = 10; i < 64; ++i) ASSERT_EQ(v[i], 0u);
}

TEST(LttVector, RawResizeAboveMaxSizeThrowsBadAllocAndLeavesTheVector) {
  CountingAllocator c;
  c.setMaxBlockBytes(400);
  ltt::vector<std::uint32_t> v(c);
  EXPECT_EQ(v.max_size(), 100u);
  v.rawResize_(100);
  v[99] = 7;
  EXPECT_THROW(v.rawResize_(101), ltt::bad_alloc);
  EXPECT_EQ(v.size(), 100u);
  EXPECT_EQ(v[99], 7u);
  EXPECT_EQ(c.requests().size(), 1u);  // refused before asking the allocator

  ltt::vector<std::uint64_t> big;
  EXPECT_THROW(big.rawResize_(big.max_size() + 1), ltt::bad_alloc);
  EXPECT_THROW(big.rawResize_(SIZE_MAX), ltt::bad_alloc);
  EXPECT_TRUE(big.empty());
}

TEST(LttVector, FailedGrowthLeavesTheVectorUnchanged) {
  CountingAllocator c;
  ltt::vector<int> v(c);
  v.rawResize_(8);
  std::iota(v.begin(), v.end(), 0);
  const int* before = v.data();
  c.failAfter(1);
  EXPECT_THROW(v.rawResize_(20), ltt::bad_alloc);
  EXPECT_EQ(v.size(), 8u);
  EXPECT_EQ(v.capacity(), 8u);
  EXPECT_EQ(v.data(), before);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(v[static_cast<std::size_t>(i)], i);
  v.rawResize_(20);  // the injected failure is spent
  EXPECT_EQ(v.capacity(), 20u);
}

TEST(LttVector, ReserveIsExactAndPushBackDoubles) {
  CountingAllocator c;
  ltt::vector<std::uint16_t> v(c);
  v.reserve(5);
  EXPECT_EQ(v.capacity(), 5u);
  for (std::uint16_t i = 0; i < 6; ++i) v.push_back(i);
  EXPECT_EQ(v.capacity(), 10u);
  EXPECT_EQ(c.requests(), (std::vector<std::size_t>{10, 20}));
}

}  // namespace

#include "ltt/vector.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>

#include "ltt/testing/CountingAllocator.hpp"

namespace {

using ltt::testing::CountingAllocator;

TEST(LttVector, AllocatorChoiceAndExactGrowth) {
  CountingAllocator a("a"), b("b");
  ltt::vector<std::uint32_t> x(5, a);
  for (auto v : x) EXPECT_EQ(v, 0u);  // sized construction value-initialises
  ltt::vector<std::uint32_t> y(a), z(b), copy(z);
  EXPECT_TRUE(x.get_allocator() == y.get_allocator());
  EXPECT_FALSE(x.get_allocator() == z.get_allocator());
  EXPECT_EQ(&copy.getAllocator(), &b);
  ltt_adp::vector<int> d{1, 2, 3};
  EXPECT_EQ(&d.getAllocator(), &ltt::allocator::adaptor_allocator());

  ltt::vector<std::uint16_t> pushed(a);
  pushed.reserve(5);  // exact; push_back then doubles
  for (std::uint16_t i = 0; i < 6; ++i) pushed.push_back(i);
  EXPECT_EQ(pushed.capacity(), 10u);
  ltt::vector<std::uint64_t> raw(a);
  for (std::size_t n : {1u, 3u, 4u, 17u, 1000u}) {
    raw.rawResize_(n);
    EXPECT_EQ(raw.size(), n);
    EXPECT_EQ(raw.capacity(), n);
  }
  EXPECT_EQ(a.requests(), (std::vector<std::size_t>{20, 10, 20, 8, 24, 32, 136, 8000}));
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
  v.rawResize_(64);
  for (std::uint32_t i = 0; i < 64; ++i) ASSERT_EQ(v[i], 100 + i);
  EXPECT_EQ(c.requests().size(), 2u);
  v.resize(10);  // the ordinary resize still value-initialises
  v.resize(64);
  for (std::uint32_t i = 10; i < 64; ++i) ASSERT_EQ(v[i], 0u);
}

TEST(LttVector, RawResizeFailuresThrowBadAllocAndLeaveTheVector) {
  CountingAllocator c;
  c.setMaxBlockBytes(400);
  ltt::vector<std::uint32_t> v(c);
  EXPECT_EQ(v.max_size(), 100u);
  v.rawResize_(8);
  std::iota(v.begin(), v.end(), 0u);
  const auto* before = v.data();
  EXPECT_THROW(v.rawResize_(101), ltt::bad_alloc);  // above max_size: no request at all
  EXPECT_EQ(c.requests().size(), 1u);
  c.failAfter(1);
  EXPECT_THROW(v.rawResize_(20), ltt::bad_alloc);  // the allocator fails
  EXPECT_EQ(v.size(), 8u);
  EXPECT_EQ(v.capacity(), 8u);
  EXPECT_EQ(v.data(), before);
  for (std::uint32_t i = 0; i < 8; ++i) EXPECT_EQ(v[i], i);
  EXPECT_THROW(ltt::vector<std::uint64_t>().rawResize_(SIZE_MAX), ltt::bad_alloc);
}

}  // namespace

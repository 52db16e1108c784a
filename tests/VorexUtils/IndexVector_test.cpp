// The owning 32-bit vector: exact byte requests, mapped data, the copy and assignment
// asymmetries, re-encoding, and that a failed allocation changes nothing.
#include "VorexUtils/IndexVector.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <sstream>
#include <tuple>

#include "VorexUtils/testing/ScopedIndexVectorAllocator.hpp"
#include "ltt/testing/CountingAllocator.hpp"
#include "tests/VorexUtils/PackedReference.hpp"

using VorexUtils::IndexVector;
using Requests = std::vector<std::size_t>;

namespace {

class IndexVectorTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_TRUE(alloc.checkNoLeaks()) << alloc.liveBytes(); }
  ltt::testing::CountingAllocator alloc{"iv-test"};
  VorexUtils::testing::ScopedIndexVectorAllocator scope{VorexUtils::IVA_Delta, alloc};
};

std::vector<std::uint32_t> values(const IndexVector& v) {
  std::vector<std::uint32_t> out;
  for (unsigned long i = 0; i < v.size(); ++i) out.push_back(v.get(i));
  return out;
}

// State that a failed operation must leave alone.
auto stateOf(const IndexVector& v) {
  return std::make_tuple(v.data(), v.size(), v.capacityWords(), v.bits(), values(v));
}

TEST_F(IndexVectorTest, AppendGrowsByDoublingValues) {
  IndexVector v(VorexUtils::IVA_Delta);
  EXPECT_EQ(v.bits(), 32u);
  v.append(5);
  EXPECT_EQ(alloc.requests(), Requests{16});
  EXPECT_EQ(v.capacityWords(), 1u);
  v.append(6);
  EXPECT_EQ(alloc.requests(), Requests{16});
  v.append(7);
  EXPECT_EQ(alloc.requests(), (Requests{16, 24}));
  EXPECT_EQ(v.capacityWords(), 2u);
  v.append(8);
  v.append(9);  // doubles the values: 4 words, not the 3 that 5 values need
  EXPECT_EQ(alloc.requests(), (Requests{16, 24, 40}));
  EXPECT_EQ(values(v), (std::vector<std::uint32_t>{5, 6, 7, 8, 9}));
  // A resize by more than one value gets no slack.
  v.resize(10);
  EXPECT_EQ(alloc.lastRequest(), 8u * 5 + 8);
  v.reserve(3);
  v.reserve(10);
  EXPECT_EQ(alloc.requests().size(), 4u);
  v.reserve(11);
  EXPECT_EQ(alloc.lastRequest(), 8u * 6 + 8);
  EXPECT_EQ(v.capacity(), 12u);

  IndexVector zero(VorexUtils::IVA_Delta);  // width 0: one word for any size
  zero.setBits(0);
  for (int i = 0; i < 1000; ++i) zero.append(0);
  EXPECT_EQ(alloc.requests().size(), 6u);
  EXPECT_EQ(alloc.lastRequest(), 16u);
  EXPECT_EQ(zero.capacity(), zero.size());
  EXPECT_EQ(zero.get(999), 0u);
}

TEST_F(IndexVectorTest, ResizeFillsOnlyNewPositionsAndCompactReturnsTheSlack) {
  IndexVector v(VorexUtils::IVA_Delta);
  v.setBits(10);
  v.resize(300, 9);
  v.set(0, 1);
  v.resize(100, 5);  // shrinking keeps buffer and content
  const void* buf = v.data();
  v.resize(300, 3);
  EXPECT_EQ(v.data(), buf);
  EXPECT_EQ(alloc.requests().size(), 1u);
  EXPECT_EQ(v.get(0), 1u);
  EXPECT_EQ(v.get(99), 9u);
  EXPECT_EQ(v.get(100), 3u);
  EXPECT_EQ(v.get(299), 3u);
  v.resize(100);
  v.compact();
  EXPECT_EQ(alloc.lastRequest(), 8u * 16 + 8);
  EXPECT_EQ(v.capacityWords(), 16u);
  EXPECT_EQ(v.get(99), 9u);
  v.clear();
  v.compact();
  EXPECT_EQ(v.data(), nullptr);
  EXPECT_EQ(alloc.liveBytes(), 0u);
}

TEST_F(IndexVectorTest, ReallocCarriesTheSpareWord) {
  unsigned long* b = IndexVector::checkedMalloc(24, VorexUtils::IVA_Delta);
  b[0] = 1, b[1] = 2, b[2] = 3;  // two words and the spare
  unsigned long* old = b;
  unsigned long* bigger = IndexVector::checkedRealloc(b, 2, 64, VorexUtils::IVA_Delta);
  EXPECT_EQ(b, nullptr);
  EXPECT_NE(bigger, old);
  EXPECT_EQ(bigger[2], 3u);
  unsigned long* smaller = IndexVector::checkedRealloc(bigger, 7, 8, VorexUtils::IVA_Delta);
  EXPECT_EQ(smaller[0], 1u);
  EXPECT_EQ(IndexVector::checkedRealloc(smaller, 0, 0, VorexUtils::IVA_Delta), nullptr);
  EXPECT_EQ(alloc.requests(), (Requests{24, 64, 8}));
}

TEST_F(IndexVectorTest, SetBitsReencodesEveryWidthPair) {
  std::mt19937 rng(5);
  for (unsigned from = 0; from <= 32; ++from) {
    for (unsigned to = 0; to <= 32; ++to) {
      SCOPED_TRACE(testing::Message() << from << " -> " << to);
      IndexVector v(VorexUtils::IVA_Delta);
      v.setBits(from);
      std::vector<std::uint32_t> in(600);
      for (auto& x : in) x = rng() & packed_ref::maskOf(std::min(from, to));
      for (auto x : in) v.append(x);
      v.setBits(to);
      ASSERT_EQ(v.bits(), to);
      ASSERT_EQ(values(v), in);
    }
  }
}

TEST_F(IndexVectorTest, FailedAllocationChangesNothing) {
  IndexVector v(VorexUtils::IVA_Delta);
  v.setBits(9);
  for (unsigned i = 0; i < 64; ++i) v.append(i);  // capacity exactly full at 64 values
  v.compact();
  IndexVector other(VorexUtils::IVA_Delta);
  other.resize(200, 1);
  const auto before = stateOf(v);
  const std::function<void()> ops[] = {
      [&] { v.append(1); },         [&] { v.resize(1000); },      [&] { v.resize(1000, 2); },
      [&] { v.reserve(1000); },     [&] { v.setBits(20); },       [&] { v = other; },
      [&] { v.resizeBytes(4096); }, [&] { IndexVector copy(v); },
  };
  for (std::size_t k = 0; k < std::size(ops); ++k) {
    SCOPED_TRACE(k);
    const std::size_t live = alloc.liveBytes();
    alloc.failAfter(1);
    EXPECT_THROW(ops[k](), ltt::exception);
    alloc.failAfter(0);
    EXPECT_EQ(stateOf(v), before);
    EXPECT_EQ(alloc.liveBytes(), live);
  }
}

TEST_F(IndexVectorTest, CopyAndAssignmentCases) {
  IndexVector v(VorexUtils::IVA_Delta);
  v.setBits(3);
  v.reserve(1000);  // 47 words
  v.resize(10, 6);
  alloc.clearRequests();
  IndexVector copy(v);
  EXPECT_EQ(alloc.requests(), Requests{8 * 47 + 8});
  EXPECT_EQ(copy.capacityWords(), 47u);
  EXPECT_EQ(values(copy), values(v));

  std::uint64_t foreign[3] = {0x123, 0, 0};
  IndexVector mapped(VorexUtils::IVA_Delta);
  mapped.setBits(4);
  mapped.setMappedData(3, foreign);
  IndexVector shared(mapped);
  EXPECT_TRUE(shared.isMapped());
  EXPECT_EQ(shared.getMappedPtr(), foreign);
  EXPECT_EQ(shared.get(2), 1u);
  EXPECT_EQ(alloc.requests().size(), 1u);

  std::uint64_t a[3] = {0x21, 0, 0}, b[3] = {0x4321, 0, 0};
  IndexVector src(VorexUtils::IVA_Delta);
  src.setBits(4);
  src.resize(20, 7);

  // Mapped to mapped: only the view is taken, the target's size stays.
  IndexVector m1(VorexUtils::IVA_Delta), m2(VorexUtils::IVA_Text);
  m1.setMappedData(2, a);
  m2.setBits(4);
  m2.setMappedData(4, b);
  m1 = m2;
  EXPECT_EQ(m1.data(), b);
  EXPECT_EQ(m1.size(), 2u);
  EXPECT_EQ(m1.bits(), 4u);
  EXPECT_EQ(m1.group(), VorexUtils::IVA_Delta);

  // Mapped target from an owned vector: becomes owned, the foreign pointer is not freed.
  alloc.clearRequests();
  m1 = src;
  EXPECT_FALSE(m1.isMapped());
  EXPECT_EQ(alloc.requests(), Requests{8 * 2 + 8});
  EXPECT_EQ(values(m1), values(src));

  // Owned target from a mapped vector: copied into its own memory.
  IndexVector owned(VorexUtils::IVA_Delta);
  owned = m2;
  EXPECT_FALSE(owned.isMapped());
  EXPECT_NE(owned.data(), b);
  EXPECT_EQ(owned.size(), 4u);
  EXPECT_EQ(owned.get(3), 4u);

  // Exactly the needed capacity reuses the block; any other is replaced by an exact one.
  const void* block = m1.data();
  m1 = src;
  EXPECT_EQ(m1.data(), block);
  IndexVector big(VorexUtils::IVA_Delta);
  big.reserve(500);
  alloc.clearRequests();
  big = src;
  EXPECT_EQ(alloc.requests(), Requests{8 * 2 + 8});
  EXPECT_EQ(big.capacityWords(), 2u);
}

TEST_F(IndexVectorTest, MappedDataIsNeverFreed) {
  std::uint64_t foreign[4] = {~0ull, ~0ull, 0, 0};
  IndexVector v(VorexUtils::IVA_Delta);
  v.setBits(16);
  v.setMappedData(8, foreign);
  EXPECT_TRUE(v.isMappedTo(foreign, foreign + 1));
  EXPECT_FALSE(v.isMappedTo(foreign + 1, foreign + 4));
  EXPECT_EQ(v.getAllocatedMemorySize(), 0u);
  v.resize(100000);  // only the size
  v.setBits(8);      // reinterprets
  EXPECT_EQ(v.size(), 100000u);
  EXPECT_EQ(v.get(15), 0xFFu);
  IndexVector owner(VorexUtils::IVA_Text);
  owner.swap(v);  // everything travels, the mapped flag and the group included
  EXPECT_TRUE(owner.isMapped());
  EXPECT_EQ(owner.data(), foreign);
  EXPECT_EQ(owner.size(), 100000u);
  EXPECT_EQ(owner.group(), VorexUtils::IVA_Delta);
  EXPECT_FALSE(v.isMapped());
  EXPECT_EQ(v.group(), VorexUtils::IVA_Text);
  owner.release();
  EXPECT_EQ(owner.data(), nullptr);
  EXPECT_EQ(owner.bits(), 8u);
  EXPECT_EQ(alloc.requests().size(), 0u);

  // Mapping over an owned buffer leaves the block unreferenced: the caller's to release.
  IndexVector leaky(VorexUtils::IVA_Delta);
  leaky.append(1);
  void* block = leaky.data();
  leaky.setMappedData(1, foreign);
  EXPECT_EQ(leaky.getMappedPtr(), foreign);
  EXPECT_EQ(alloc.liveBlocks(), 1u);
  alloc.deallocate(block);
}

TEST_F(IndexVectorTest, ZeroOnlyIntersectionAndText) {
  IndexVector v(VorexUtils::IVA_Delta);
  EXPECT_TRUE(v.isZeroOnly());
  v.setBits(5);
  v.resize(13, 0);
  v.data()[1] &= 1;  // value 12 ends at bit 0 of word 1; what lies behind it is undefined
  EXPECT_TRUE(v.isZeroOnly());
  v.data()[1] = 2;  // behind the last value, still inside the used words
  EXPECT_FALSE(v.isZeroOnly());

  char* p = reinterpret_cast<char*>(v.data());
  EXPECT_EQ(v.getSizeOfMemoryIntersection(p - 64, p + 1000), 16u);
  EXPECT_EQ(v.getSizeOfMemoryIntersection(p + 8, p + 12), 4u);
  EXPECT_EQ(v.getSizeOfMemoryIntersection(p + 16, p + 100), 0u);
  EXPECT_EQ(v.getSizeOfMemoryIntersection(p - 10, p), 0u);
  std::ostringstream os, expect;
  v.toStream(os);
  expect << "[IndexVector: Addr: " << static_cast<const void*>(v.data()) << ", Size: 2]";
  EXPECT_EQ(os.str(), expect.str());
}

TEST(IndexVectorAllocatorTest, ScopedOverridesNest) {
  ltt::testing::CountingAllocator a("a"), b("b");
  {
    VorexUtils::testing::ScopedIndexVectorAllocator outer(VorexUtils::IVA_Text, a);
    {
      VorexUtils::testing::ScopedIndexVectorAllocator inner(VorexUtils::IVA_Text, b);
      EXPECT_EQ(&VorexUtils::getIndexVectorAllocator(VorexUtils::IVA_Text), &b);
    }
    EXPECT_EQ(&VorexUtils::getIndexVectorAllocator(VorexUtils::IVA_Text), &a);
  }
  EXPECT_EQ(&VorexUtils::getIndexVectorAllocator(VorexUtils::IVA_Text),
            VorexUtils::s_TextAllocator.get());
}

}  // namespace

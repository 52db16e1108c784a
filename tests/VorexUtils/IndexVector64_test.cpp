// The owning 64-bit packed vector: its allocator model, growth, copy-on-resize of mapped data,
// failure injection, re-encoding and texts. Byte counts come from a counting allocator.
#include "VorexUtils/IndexVector64.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <sstream>
#include <tuple>
#include <vector>

#include "MemoryManager/TransientMetadataNUMAInfo.hpp"
#include "ltt/exception.hpp"
#include "ltt/testing/CountingAllocator.hpp"
#include "tests/VorexUtils/PackedReference.hpp"

namespace {

using ltt::testing::CountingAllocator;
using VorexUtils::IndexVector64;
using VorexUtils::IndexVector64Ref;
using Word = unsigned long;
using Bytes = std::vector<std::size_t>;

std::vector<Word> contentOf(const IndexVector64& v) {
  std::vector<Word> out(v.size());
  v.mget(0, v.size(), out.data());
  return out;
}

/// Everything a failed operation must leave as it was.
auto stateOf(const IndexVector64& v) {
  return std::make_tuple(v.data(), v.size(), v.capacityWords(), v.bits(), v.isMapped(),
                         contentOf(v));
}

/// A vector of `bits` bits holding `n` scrambled values, built by append.
void fill(IndexVector64& v, unsigned bits, std::size_t n) {
  v.setBits(bits);
  for (std::size_t i = 0; i < n; ++i) v.append((i * 0x9E3779B97F4A7C15ul) & packed_ref::maskOf(bits));
}

TEST(IndexVector64, DefaultAllocatorIsOneStaticChildOfTheGlobalAllocator) {
  ltt::allocator& d = IndexVector64::getDefaultAllocator();
  EXPECT_EQ(d.parent(), &ltt::allocator::global_allocator());
  const std::size_t before = d.bytesInUse();
  {
    IndexVector64 v;
    v.resize(10);
    EXPECT_EQ(d.bytesInUse(), before + 80);
  }
  EXPECT_EQ(d.bytesInUse(), before);
}

TEST(IndexVector64, GrowthIsExactExceptAppendWhichDoublesInWords) {
  CountingAllocator a;
  {
    IndexVector64 v(a);
    fill(v, 0, 5000);
    EXPECT_EQ(v.data(), nullptr) << "width 0 never has a buffer";
    EXPECT_EQ(v.capacity(), 5000u);
    EXPECT_TRUE(v.isZeroOnly());
    v.clear();
    v.setBits(5);  // empty: only the width changes
    EXPECT_TRUE(a.requests().empty());
    fill(v, 5, 26);  // 25 values fill two words; the 26th needs a third
    EXPECT_EQ(a.requests(), (Bytes{16, 48}));
    EXPECT_EQ(v.capacityWords(), 6u);
    EXPECT_EQ(v.capacity(), 76u);

    a.clearRequests();
    v.resize(20);  // shrinking keeps the buffer
    v.reserve(76);
    v.resize(76);
    EXPECT_TRUE(a.requests().empty());
    v.resize(100);  // exactly wordSize(100), no factor
    v.reserve(200);
    EXPECT_EQ(a.requests(), (Bytes{8 * 8, 16 * 8}));
    v.resize(30);
    v.compact();
    EXPECT_EQ(v.capacityWords(), 3u);
    v.clear();
    EXPECT_EQ(v.capacityWords(), 3u);
    v.compact();
    EXPECT_EQ(v.data(), nullptr);

    v.resizeBytes(13);  // two words; the size becomes what they hold
    EXPECT_EQ(v.capacityWords(), 2u);
    EXPECT_EQ(v.size(), 25u);
    v.setBits(0);
    v.release();
    v.resizeBytes(64);
    EXPECT_EQ(v.size(), 0u) << "width 0: nothing happens";
    EXPECT_EQ(v.data(), nullptr);
    EXPECT_EQ(v.bits(), 0u) << "release keeps the width";
  }
  EXPECT_TRUE(a.checkNoLeaks());
}

// Every growing operation, run on a vector whose allocator then refuses: ltt::bad_alloc, and the
// vector stays as it was (buffer, size, capacity, content).
TEST(IndexVector64, FailedAllocationLeavesTheVectorAsItWas) {
  const std::vector<std::pair<const char*, std::function<void(IndexVector64&)>>> ops = {
      {"append", [](IndexVector64& v) { v.append(1); }},
      {"resize", [](IndexVector64& v) { v.resize(1000); }},
      {"reserve", [](IndexVector64& v) { v.reserve(1000); }},
      {"resizeBuffer", [](IndexVector64& v) { v.resizeBuffer(5); }},
      {"resizeBytes", [](IndexVector64& v) { v.resizeBytes(4096); }},
      {"setBits", [](IndexVector64& v) { v.setBits(40); }},
      {"assign",
       [](IndexVector64& v) {
         IndexVector64 src(ltt::allocator::global_allocator());
         fill(src, 7, 100);
         v = src;
       }},
  };
  for (const auto& [name, op] : ops) {
    SCOPED_TRACE(name);
    CountingAllocator a;
    {
      IndexVector64 v(a);
      fill(v, 7, 27);  // 27 values of 7 bits in 3 words of capacity 6: append has no room
      v.resizeBuffer(3);
      const auto before = stateOf(v);
      a.failAfter(1);
      EXPECT_THROW(op(v), ltt::bad_alloc);
      a.failAfter(0);
      EXPECT_EQ(stateOf(v), before);
    }
    EXPECT_TRUE(a.checkNoLeaks());
    if (HasFailure()) return;
  }
}

TEST(IndexVector64, MappedDataIsCopiedOnResize) {
  CountingAllocator a;
  std::mt19937_64 rng(4);
  // 64 values of 13 bits fill 13 words exactly, so the first append needs a new word.
  const std::vector<Word> vals = packed_ref::edgyValues(64, 13, rng);
  std::vector<Word> foreign = packed_ref::pack(vals, 13, rng);
  const std::vector<Word> pristine = foreign;
  {
    IndexVector64 v(a);
    fill(v, 13, 10);  // an owned buffer, given back by the mapping
    v.setMappedData(vals.size(), foreign.data());
    EXPECT_EQ(a.liveBytes(), 0u);
    EXPECT_EQ(v.capacityWords(), 13u);
    EXPECT_TRUE(v.isMappedTo(foreign.data(), foreign.data() + 1));
    EXPECT_FALSE(v.isMappedTo(foreign.data() + 1, foreign.data() + 13));
    EXPECT_EQ(contentOf(v), vals);

    IndexVector64 shared(a);
    shared = v;  // a mapped source is shared, not copied
    EXPECT_EQ(stateOf(shared), stateOf(v));

    a.clearRequests();
    shared.resizeBuffer(13);  // an equal word count still makes a private copy
    EXPECT_FALSE(shared.isMapped());
    EXPECT_NE(shared.data(), foreign.data());
    for (Word i = 0; i < 4; ++i) v.append(i);  // beyond capacity: owned, data kept
    EXPECT_EQ(a.requests(), (Bytes{13 * 8, 28 * 8}));
    std::vector<Word> grown = vals;
    grown.insert(grown.end(), {0, 1, 2, 3});
    EXPECT_EQ(contentOf(v), grown);
    EXPECT_EQ(contentOf(shared), vals);

    IndexVector64 re(a);
    re.setBits(13);
    re.setMappedData(vals.size(), foreign.data());
    re.setBits(21);  // re-encoding a mapped vector gives it an owned buffer
    EXPECT_FALSE(re.isMapped());
    EXPECT_EQ(contentOf(re), vals);

    IndexVector64 readOnly(a);  // on the null allocator a mapped vector can never grow
    readOnly.setBits(13);
    readOnly.setNullAllocator();
    readOnly.setMappedData(vals.size(), foreign.data());
    EXPECT_THROW(readOnly.append(1), ltt::bad_alloc);
    EXPECT_TRUE(readOnly.isMapped());
    EXPECT_EQ(readOnly.size(), vals.size());
  }
  EXPECT_EQ(foreign, pristine) << "the foreign block is never written or given back";
  EXPECT_TRUE(a.checkNoLeaks());
}

TEST(IndexVector64, SetBitsReencodesAcrossChunks) {
  CountingAllocator a;
  std::mt19937_64 rng(8);
  for (auto [from, to] : std::vector<std::pair<unsigned, unsigned>>{
           {1, 64}, {17, 33}, {33, 0}, {0, 9}, {63, 64}, {64, 63}}) {
    SCOPED_TRACE(testing::Message() << from << " -> " << to);
    IndexVector64 v(a);
    v.setBits(from);
    const std::vector<Word> vals = packed_ref::edgyValues(2500, std::min(from, to), rng);
    for (Word x : vals) v.append(x);
    v.setBits(to);
    ASSERT_EQ(v.bits(), to);
    ASSERT_EQ(contentOf(v), vals);
    ASSERT_EQ(v.capacityWords(), packed_ref::exactWords(to, 2500));
  }
  EXPECT_TRUE(a.checkNoLeaks());
}

TEST(IndexVector64, CopyAndSwapKeepEachBufferWithItsAllocator) {
  CountingAllocator a("a"), b("b");
  {
    IndexVector64 x(a), y(b);
    fill(x, 9, 100);
    fill(y, 50, 7);
    const std::vector<Word> xs = contentOf(x), ys = contentOf(y);

    IndexVector64 copy(x, b);  // the given allocator, the capacity of the source
    EXPECT_EQ(copy.capacityWords(), x.capacityWords());
    EXPECT_EQ(contentOf(copy), xs);

    x.swap(y);
    EXPECT_EQ(contentOf(x), ys);
    EXPECT_EQ(contentOf(y), xs);
    EXPECT_EQ(a.liveBytes(), 8 * x.capacityWords());
    EXPECT_EQ(b.liveBytes(), 8 * (y.capacityWords() + copy.capacityWords()));

    const auto xBefore = stateOf(x), yBefore = stateOf(y);
    b.failAfter(1);  // a deep swap copies first: a failure changes nothing
    EXPECT_THROW(x.swap(y), ltt::bad_alloc);
    EXPECT_EQ(stateOf(x), xBefore);
    EXPECT_EQ(stateOf(y), yBefore);

    IndexVector64 z(a);
    fill(z, 3, 5);
    const Word* zData = z.data();
    const std::size_t requests = a.requests().size();
    x.swap(z);  // same allocator: the fields are exchanged
    EXPECT_EQ(x.data(), zData);
    EXPECT_EQ(a.requests().size(), requests);
  }
  EXPECT_TRUE(a.checkNoLeaks());
  EXPECT_TRUE(b.checkNoLeaks());
}

TEST(IndexVector64, ConvertFromByteOrderOnlyAcceptsTheRunningLayout) {
  std::vector<Word> w = {0x0123456789ABCDEFul, 42};
  const std::vector<Word> before = w;
  IndexVector64Ref v(w.data(), 64);
  for (unsigned order = 0; order < 9; ++order)
    EXPECT_EQ(v.convertFromByteOrder(static_cast<VorexUtils::IvByteOrder>(order), 2),
              order == VorexUtils::IV_LITTLE64l)
        << "order " << order;
  EXPECT_EQ(w, before);
}

/// Rounds every block up to 64 bytes and says so, as a block allocator does.
class RoundingAllocator final : public ltt::allocator {
 public:
  RoundingAllocator() : allocator("rounding", &global_allocator(), true) {}
  bool isBlockAllocator() const noexcept override { return true; }

 protected:
  void* do_allocate(std::size_t bytes) noexcept override {
    return parent()->allocateNoThrow((bytes + 63) & ~std::size_t{63});
  }
  void do_deallocate(void* p) noexcept override { parent()->deallocate(p); }
  std::size_t do_size(const void* p) const noexcept override { return parent()->getBlockSize(p); }
};

TEST(IndexVector64, MemoryFiguresAndTexts) {
  CountingAllocator a;
  IndexVector64 v(a);
  v.setBits(5);
  for (Word x : {1, 2, 3}) v.append(x);
  std::ostringstream internals, stream, addr;
  v.printInternals(internals);
  EXPECT_EQ(internals.str(), "bits: 5, size: 3, buffer length: 2, values: 1 2 3");
  v.toStream(stream);
  addr << static_cast<const void*>(v.data());
  EXPECT_EQ(stream.str(), "[IndexVector64: [m_buffer: bytes Addr: " + addr.str() + ", Size: 16]");
  EXPECT_EQ(v.getMemorySize(), 8u);

  char* base = reinterpret_cast<char*>(v.data());
  EXPECT_EQ(v.getSizeOfMemoryIntersection(base - 100, base + 100), 16u);
  EXPECT_EQ(v.getSizeOfMemoryIntersection(base + 4, base + 9), 5u);
  EXPECT_EQ(v.getSizeOfMemoryIntersection(base + 16, base + 100), 0u) << "touching the end";
  v.mset(0, 3, Word{0});
  for (int i = 0; i < 17; ++i) v.append(0);  // 100 bits: 36 used bits in the last word
  v.data()[1] |= Word{1} << 36;              // behind the last value
  EXPECT_TRUE(v.isZeroOnly());
  v.set(19, 1);
  EXPECT_FALSE(v.isZeroOnly());

  RoundingAllocator r;
  IndexVector64 blocks(r);
  blocks.resize(3);
  EXPECT_EQ(blocks.getAllocatedMemorySize(), 64u) << "the block size, not 8 per word";
  EXPECT_EQ(blocks.getSizeOfMemoryIntersection(nullptr, reinterpret_cast<char*>(~0ul >> 1)), 64u);

  IndexVector64 big(a);
  big.resize(10000);  // 80000 bytes: 20 pages, or 21 when the block starts inside a page
  big.mset(0, 10000, Word{0});
  MemoryManager::TransientMetadataNUMAInfo info;
  big.getPageNumaLocationMap(info);
  EXPECT_GE(info.totalPages(), 20u);
  EXPECT_LE(info.totalPages(), 21u);
}

}  // namespace

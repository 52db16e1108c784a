#include "VorexUtils/BitVector.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "VOREX_ERROR/VorexError.hpp"
#include "VorexUtils/Serializer.hpp"
#include "ltt/exception.hpp"
#include "ltt/testing/CountingAllocator.hpp"

namespace {

using ltt::testing::CountingAllocator;
using VorexUtils::BitVector;
using Model = std::vector<bool>;

constexpr int kInsufficientData = 70000000 + VOREX_ERROR::VOREX_KLTRC_INSUFFICIENT_DATA;

std::size_t modelLastSet(const Model& m, std::size_t first, std::size_t end) {
  for (std::size_t i = end; i > first; --i)
    if (i - 1 < m.size() && m[i - 1]) return i - 1;
  return end;
}
std::vector<std::size_t> modelSetFrom(const Model& m, std::size_t from) {
  std::vector<std::size_t> out;
  for (std::size_t i = from; i < m.size(); ++i)
    if (m[i]) out.push_back(i);
  return out;
}
std::vector<std::size_t> iterate(BitVector::const_iterator it) {
  std::vector<std::size_t> out;
  for (; !it.atEnd(); ++it) out.push_back(*it);
  return out;
}

// Content equals the model, and every bit of the block at or beyond size() is 0 (the
// allocator knows the block size, so the check covers the spare words too).
void expectMatches(const BitVector& bv, const Model& m, const CountingAllocator& alloc) {
  ASSERT_EQ(bv.size(), m.size());
  ASSERT_EQ(bv.wordCount(), (m.size() + 63) / 64);
  for (std::size_t i = 0; i < m.size(); ++i) ASSERT_EQ(bv.test(i), m[i]) << "bit " << i;
  if (bv.wordsBegin() == nullptr) return;
  const std::size_t blockWords = alloc.getBlockSize(bv.wordsBegin()) / 8;
  ASSERT_EQ(blockWords % 4, 0u);
  ASSERT_GE(blockWords, bv.wordCount());
  for (std::size_t w = m.size() / 64; w < blockWords; ++w) {
    const std::uint64_t word = bv.wordsBegin()[w];
    const std::uint64_t beyond =
        w == m.size() / 64 && (m.size() & 63) ? word >> (m.size() & 63) : word;
    ASSERT_EQ(beyond, 0u) << "word " << w;
  }
}

TEST(BitVector, RandomOperationsMatchAModel) {
  CountingAllocator alloc;
  std::mt19937_64 rng(20260801);
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(round);
    BitVector bv(alloc);
    Model m;
    for (int step = 0; step < 300; ++step) {
      const int op = static_cast<int>(rng() % 100);
      if (op < 8) {
        const std::size_t n = rng() % 700;
        const bool v = rng() & 1;
        bv.resize(n, v);
        m.resize(n, v);
      } else if (op < 12) {
        op < 10 ? bv.setAll() : bv.clearAll();
        m.assign(m.size(), op < 10);
      } else if (!m.empty()) {
        const std::size_t i = rng() % m.size();
        bv.set(i, op < 60);
        m[i] = op < 60;
      }
      if (step % 10 == 0) {
        expectMatches(bv, m, alloc);
        if (HasFailure()) return;
        const auto count = static_cast<std::size_t>(std::count(m.begin(), m.end(), true));
        ASSERT_EQ(bv.numSetGeneric(), count);
        ASSERT_EQ(bv.numSetPopcnt(), count);
        const std::size_t a = rng() % (m.size() + 2), b = rng() % (m.size() + 2);
        // Any result >= b means "none"; the model says exactly b.
        ASSERT_EQ(std::min<std::size_t>(bv.findLastSetInRange(a, b), b), modelLastSet(m, a, b))
            << "[" << a << ", " << b << ")";
        ASSERT_EQ(iterate(bv.beginAt(a)), modelSetFrom(m, a)) << "from " << a;
      }
    }
  }
  EXPECT_TRUE(alloc.checkNoLeaks());
}

TEST(BitVector, StorageIsRoundedToFourWords) {
  CountingAllocator alloc;
  const std::pair<std::size_t, std::size_t> bitsToBytes[] = {{1, 32},   {64, 32},  {256, 32},
                                                             {257, 64}, {511, 64}, {513, 96}};
  for (const auto& [bits, bytes] : bitsToBytes) {
    BitVector bv(bits, true, alloc);
    EXPECT_EQ(alloc.lastRequest(), bytes) << bits;
  }
  BitVector empty(0, true, alloc);
  EXPECT_EQ(empty.wordsBegin(), empty.wordsEnd());
  EXPECT_EQ(alloc.requests().size(), std::size(bitsToBytes));
  EXPECT_EQ(alloc.liveBlocks(), 0u);
}

TEST(BitVector, ResizeAcrossWordsWithBothFillValues) {
  const std::size_t sizes[] = {0, 1, 63, 64, 65, 128, 129, 256, 257, 300};
  CountingAllocator alloc;
  for (std::size_t from : sizes)
    for (std::size_t to : sizes)
      for (bool oldFill : {false, true})
        for (bool newFill : {false, true}) {
          SCOPED_TRACE(testing::Message()
                       << from << "(" << oldFill << ") -> " << to << "(" << newFill << ")");
          BitVector bv(from, oldFill, alloc);
          Model m(from, oldFill);
          bv.resize(to, newFill);
          m.resize(to, newFill);
          expectMatches(bv, m, alloc);
          // Shrink then regrow with false: the dropped bits must not come back.
          bv.resize(to / 2, newFill);
          m.resize(to / 2, newFill);
          bv.resize(to, false);
          m.resize(to, false);
          expectMatches(bv, m, alloc);
          if (HasFailure()) return;
        }
}

TEST(BitVector, FindLastSetAndIterationAtTheEnds) {
  // The random model covers ranges inside the vector; these are the ends of the word walk.
  BitVector bv(260, false);
  for (std::size_t i : {0u, 63u, 64u, 200u}) bv.set(i);
  EXPECT_EQ(bv.findLastSetInRange(0, 1000), 200u);
  EXPECT_EQ(bv.findLastSetInRange(0, 64), 63u);
  EXPECT_EQ(bv.findLastSetInRange(0, 63), 0u);
  EXPECT_GE(bv.findLastSetInRange(1, 63), 63u);
  EXPECT_GE(BitVector(0, false).findLastSetInRange(0, 5), 5u);
  EXPECT_EQ(iterate(bv.beginAt(1)), (std::vector<std::size_t>{63, 64, 200}));
  EXPECT_EQ(iterate(bv.beginAt(65)), (std::vector<std::size_t>{200}));
  EXPECT_TRUE(bv.beginAt(5000).atEnd());
  EXPECT_TRUE(BitVector().beginAt(0).atEnd());

  const std::uint64_t words[3] = {0, 0x8000000000000000ull, 0x5};
  BitVector::const_iterator raw{words, words, words + 3, 0, words[0]};
  raw.settle();
  EXPECT_EQ(iterate(raw), (std::vector<std::size_t>{127, 128, 130}));
}

TEST(BitVector, PopulationCountsIgnoreRawBitsBeyondSize) {
  for (std::size_t n : {1u, 63u, 65u, 4097u}) {
    SCOPED_TRACE(n);
    BitVector bv(n, true);
    bv.wordsBegin()[n / 64] |= ~std::uint64_t{0} << (n & 63);  // a raw writer strays
    EXPECT_EQ(bv.numSetGeneric(), n);
    EXPECT_EQ(bv.numSetPopcnt(), n);
    EXPECT_EQ((bv.*BitVector::numSet_pointer)(), n);
  }
}

std::string hex(const std::string& bytes) {
  std::string out;
  for (unsigned char c : bytes)
    out += "0123456789abcdef"[c >> 4], out += "0123456789abcdef"[c & 15];
  return out;
}

TEST(BitVector, SerializedFormIsSizeThenWords) {
  BitVector bv(70, false);
  bv.set(0);
  bv.set(69);
  std::string out;
  VorexUtils::BinarySerializer s(out);
  bv.serialize(s, true);
  EXPECT_EQ(hex(out),
            "4600000000000000"
            "0100000000000000"
            "2000000000000000");
  out.clear();
  BitVector().serialize(s);
  EXPECT_EQ(hex(out), "0000000000000000");

  // Bits beyond the size in the input are cleared on reading.
  out.clear();
  s << 3ul << ~0ul;
  VorexUtils::BinaryDeserializer d(out.data(), out.size());
  bv.deserialize(d);
  EXPECT_EQ(bv.size(), 3u);
  EXPECT_EQ(bv.wordsBegin()[0], 7u);
}

TEST(BitVector, SerializeRoundTrip) {
  std::mt19937_64 rng(99);
  CountingAllocator alloc;
  for (std::size_t n : {0u, 1u, 64u, 65u, 257u, 100000u}) {
    SCOPED_TRACE(n);
    BitVector src(n, false, alloc);
    Model m(n, false);
    for (std::size_t i = 0; i < n; ++i)
      if (rng() & 1) src.set(i), m[i] = true;
    std::string out;
    VorexUtils::BinarySerializer s(out);
    src.serialize(s);
    s << 0xABCDu;  // what follows stays unread
    EXPECT_EQ(out.size(), 8 + 8 * ((n + 63) / 64) + 4);

    BitVector dst(3, true, alloc);
    VorexUtils::BinaryDeserializer d(out.data(), out.size());
    dst.deserialize(d);
    EXPECT_TRUE(dst == src);
    expectMatches(dst, m, alloc);
    EXPECT_EQ(d.remaining(), 4u);
  }
}

// Truncated input and forged sizes: the read throws, the target keeps its content, and no
// allocation is larger than the input could justify.
TEST(BitVector, BadInputThrowsAndLeavesTheTarget) {
  std::string full;
  VorexUtils::BinarySerializer s(full);
  BitVector(200, true).serialize(s);
  std::vector<std::string> inputs;
  for (std::size_t cut : {0u, 1u, 7u, 8u, 9u, 16u, 39u}) inputs.push_back(full.substr(0, cut));
  for (unsigned long size : {1ul << 40, 1ul << 63, ~0ul, ~0ul - 62}) {
    std::string forged;
    VorexUtils::BinarySerializer f(forged);
    f << size;
    inputs.push_back(forged + std::string(64, '\xff'));
  }
  for (const std::string& in : inputs) {
    SCOPED_TRACE(hex(in.substr(0, 16)) + " len " + std::to_string(in.size()));
    CountingAllocator alloc;
    BitVector dst(5, true, alloc);
    VorexUtils::BinaryDeserializer d(in.data(), in.size());
    try {
      dst.deserialize(d);
      ADD_FAILURE() << "no exception";
    } catch (const ltt::exception& e) {
      EXPECT_EQ(e.code(), kInsufficientData);
    }
    EXPECT_EQ(dst.size(), 5u);
    EXPECT_EQ(dst.countSet(), 5u);
    EXPECT_EQ(alloc.liveBlocks(), 1u);
    for (std::size_t r : alloc.requests()) EXPECT_LE(r, 64u * 1024);
  }
}

TEST(BitVector, ResizeBeyondTheAllocatorLimitThrows) {
  CountingAllocator alloc;
  alloc.setMaxBlockBytes(1024);
  BitVector bv(10, true, alloc);
  EXPECT_THROW(bv.resize(1024 * 8 + 1, false), ltt::bad_alloc);
  EXPECT_THROW(bv.resize(~0ul, false), ltt::bad_alloc);
  EXPECT_EQ(bv.size(), 10u);
  EXPECT_EQ(bv.countSet(), 10u);
  bv.resize(1024 * 8, true);
  EXPECT_EQ(bv.countSet(), 1024u * 8);
}

}  // namespace

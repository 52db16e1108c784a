// The packed view: width table, single access against the bit-layout reference, the unmasked
// set, binary search, and single access at the very end of a buffer followed by a guard page.
#include "VorexUtils/IndexVectorRef.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "VorexUtils/MgetBuffer.hpp"
#include "tests/VorexUtils/PackedReference.hpp"

using VorexUtils::IndexVectorRef;

namespace {

unsigned smallestWidth(std::uint64_t range) {  // the definition: smallest b with 2^b >= range
  unsigned b = 0;
  while ((std::uint64_t{1} << b) < range) ++b;
  return b;
}

TEST(IndexVectorRefTest, GetBitsIsTheSmallestWidthForARange) {
  const std::pair<unsigned, unsigned> fixed[] = {
      {0, 0},           {1, 0},           {2, 1},           {3, 2},           {4, 2},
      {5, 3},           {8, 3},           {9, 4},           {16, 4},          {17, 5},
      {0x40000000, 30}, {0x40000001, 31}, {0x80000000, 31}, {0x80000001, 32}, {0xFFFFFFFF, 32},
  };
  for (auto [range, bits] : fixed) EXPECT_EQ(IndexVectorRef::getBits(range), bits) << range;
  for (unsigned b = 0; b < 32; ++b) {
    for (std::uint64_t r : {(1ull << b) - 1, 1ull << b, (1ull << b) + 1}) {
      if (r > 0xFFFFFFFFull) continue;
      EXPECT_EQ(IndexVectorRef::getBits(unsigned(r)), smallestWidth(r)) << r;
    }
  }
  std::mt19937 rng(7);
  for (int k = 0; k < 10000; ++k) {
    const unsigned r = rng() >> (rng() % 32);
    ASSERT_EQ(IndexVectorRef::getBits(r), smallestWidth(r)) << r;
  }
}

TEST(IndexVectorRefTest, WidthAndSizeArithmetic) {
  IndexVectorRef never;
  EXPECT_EQ(never.bits(), 32u);
  EXPECT_EQ(never.mask(), 0xFFFFFFFFu);
  EXPECT_EQ(never.data(), nullptr);
  for (unsigned bits = 0; bits <= 32; ++bits) {
    IndexVectorRef v(nullptr, bits);
    EXPECT_EQ(v.mask(), packed_ref::maskOf(bits));
    EXPECT_EQ(v.wordSize(0), 0u);
    for (unsigned long n : {1ul, 63ul, 64ul, 65ul, 1000000ul}) {
      EXPECT_EQ(v.wordSize(n), packed_ref::words(bits, n)) << bits << " " << n;
      EXPECT_EQ(v.byteSize(n), 8 * packed_ref::words(bits, n));
    }
  }
}

// get and set against the reference at every width, on random streams (random bits behind and
// between the values test the masking of get and the neighbour-keeping of set).
TEST(IndexVectorRefTest, GetAndSetFollowTheBitLayout) {
  std::mt19937_64 rng(42);
  constexpr unsigned n = 300;
  for (unsigned bits = 0; bits <= 32; ++bits) {
    SCOPED_TRACE(bits);
    auto words = packed_ref::randomWords(packed_ref::words(bits, n) + 1, rng);
    IndexVectorRef v(words.data(), bits);
    for (unsigned i = 0; i < n; ++i) ASSERT_EQ(v.get(i), packed_ref::get(words.data(), bits, i));
    auto expect = words;
    for (int k = 0; k < 2000; ++k) {
      const unsigned i = rng() % n;
      const std::uint32_t value = std::uint32_t(rng()) & packed_ref::maskOf(bits);
      v.set(i, value);
      packed_ref::put(expect.data(), bits, i, value);
    }
    expect.back() = words.back();  // the spare word has no defined content
    EXPECT_EQ(words, expect);
    if (HasFailure()) return;
  }
}

TEST(IndexVectorRefTest, WellKnownLayouts) {
  std::uint64_t w[4] = {0x0123456789ABCDEFull, 0xFEDCBA9876543210ull, 0, 0};
  IndexVectorRef v32(w, 32);
  EXPECT_EQ(v32.get(0), 0x89ABCDEFu);
  EXPECT_EQ(v32.get(1), 0x01234567u);
  EXPECT_EQ(v32.get(3), 0xFEDCBA98u);
  IndexVectorRef v1(w, 1);
  for (unsigned i = 0; i < 128; ++i) EXPECT_EQ(v1.get(i), (w[i >> 6] >> (i & 63)) & 1);
  IndexVectorRef v0(w, 0);
  EXPECT_EQ(v0.get(0), 0u);
  EXPECT_EQ(v0.get(1000000), 0u);
  // Width 5: value 12 starts at bit 60, its top bit is bit 0 of word 1.
  std::uint64_t x[3] = {0, 0, 0};
  IndexVectorRef v5(x, 5);
  v5.set(12, 0x1F);
  EXPECT_EQ(x[0], 0xFull << 60);
  EXPECT_EQ(x[1], 1u);
}

// set does not mask: a wider value reaches into the next value(s); at width 0 it changes the
// word without being readable.
TEST(IndexVectorRefTest, UnmaskedSetSpillsIntoTheNextValue) {
  std::uint64_t w[3] = {0, 0, 0};
  IndexVectorRef v(w, 5);
  v.set(3, 0x3F);  // six bits at width 5
  EXPECT_EQ(v.get(3), 0x1Fu);
  EXPECT_EQ(v.get(4), 1u);
  v.set(4, 0);  // the next set clears its own bits again
  EXPECT_EQ(v.get(4), 0u);
  IndexVectorRef z(w, 0);
  z.set(17, 0);
  EXPECT_EQ(w[0], 0x1Full << 15);
  z.set(17, 6);
  EXPECT_EQ(w[0], (0x1Full << 15) | 6);
  EXPECT_EQ(z.get(17), 0u);
}

TEST(IndexVectorRefTest, LowerBoundMatchesTheStandardOne) {
  IndexVectorRef none(nullptr, 7);  // an empty range reads nothing: any read would fault
  EXPECT_EQ(none.lowerBound(5, 10, 10), 10);
  EXPECT_EQ(none.lowerBound(5, 10, 3), 10);
  std::mt19937_64 rng(3);
  for (unsigned bits : {0u, 1u, 3u, 8u, 13u, 31u, 32u}) {
    SCOPED_TRACE(bits);
    constexpr unsigned n = 40;
    std::vector<std::uint32_t> sorted(n);
    for (auto& x : sorted) x = std::uint32_t(rng()) & packed_ref::maskOf(bits) & 0xFFFFFF0F;
    std::sort(sorted.begin(), sorted.end());
    std::vector<std::uint64_t> words(packed_ref::words(bits, n) + 1);
    for (unsigned i = 0; i < n; ++i) packed_ref::put(words.data(), bits, i, sorted[i]);
    IndexVectorRef v(words.data(), bits);
    std::vector<std::uint32_t> probes(sorted.begin(), sorted.end());
    for (auto x : sorted) probes.insert(probes.end(), {x + 1, x - 1});
    probes.insert(probes.end(), {0u, 0xFFFFFFFFu});
    for (long first = 0; first <= long(n); ++first) {
      for (long last = first; last <= long(n); ++last) {
        for (auto value : probes) {
          const long expect =
              std::lower_bound(sorted.begin() + first, sorted.begin() + last, value) -
              sorted.begin();
          ASSERT_EQ(v.lowerBound(value, first, last), expect)
              << value << " in [" << first << "," << last << ")";
        }
      }
    }
  }
}

// A buffer whose last used word (or its spare word) is the last thing before a PROT_NONE page:
// any access past what the layout allows faults.
class GuardedWords {
 public:
  GuardedWords() {
    m_page = std::size_t(sysconf(_SC_PAGESIZE));
    m_base = static_cast<char*>(
        mmap(nullptr, 2 * m_page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    EXPECT_NE(m_base, MAP_FAILED);
    EXPECT_EQ(mprotect(m_base + m_page, m_page, PROT_NONE), 0);
  }
  ~GuardedWords() { munmap(m_base, 2 * m_page); }
  /// `words` words that end right at the guard page.
  std::uint64_t* endingAtGuard(std::size_t words) {
    return reinterpret_cast<std::uint64_t*>(m_base + m_page) - words;
  }

 private:
  std::size_t m_page;
  char* m_base;
};

TEST(IndexVectorRefTest, LastValueUsesAtMostTheSpareWord) {
  GuardedWords guard;
  std::mt19937_64 rng(11);
  for (unsigned bits = 0; bits <= 32; ++bits) {
    for (unsigned n = 1; n <= 130; ++n) {
      SCOPED_TRACE(testing::Message() << "bits " << bits << " n " << n);
      const std::size_t used = packed_ref::words(bits, n);
      std::uint64_t* w = guard.endingAtGuard(used + 1);  // the spare word touches the guard
      for (std::size_t k = 0; k <= used; ++k) w[k] = rng();
      IndexVectorRef v(w, bits);
      const std::uint32_t value = std::uint32_t(rng()) & v.mask();
      v.set(n - 1, value);
      ASSERT_EQ(v.get(n - 1), value);
      v.mset(n - 1, 1, &value);
      v.mset(0, n, value);
      ASSERT_EQ(v.get(n - 1), value);
      ASSERT_EQ(packed_ref::get(w, bits, n - 1), value);
      // The bulk read never needs the spare word: the guard follows the last used word.
      std::uint64_t* tight = guard.endingAtGuard(used);
      std::memmove(tight, w, used * 8);
      IndexVectorRef t(tight, bits);
      VorexUtils::MgetStackBuffer<130, unsigned int> out;
      VorexUtils::mgetGeneric(0, n, out.getPtr(), bits, tight, t.mask());
      for (unsigned i = 0; i < n; ++i) ASSERT_EQ(out.getPtr()[i], value);
    }
  }
}

}  // namespace

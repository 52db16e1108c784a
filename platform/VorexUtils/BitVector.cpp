#include "VorexUtils/BitVector.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

#include "VorexUtils/Serializer.hpp"
#include "ltt/exception.hpp"

namespace VorexUtils {

namespace {
// Written without `bits + 63`, which wraps for sizes near 2^64.
constexpr std::size_t wordsFor(std::size_t bits) { return (bits >> 6) + ((bits & 63) != 0); }
// Storage is rounded up to four words (256 bits), see the header.
constexpr std::size_t roundedWords(std::size_t words) { return (words + 3) & ~std::size_t{3}; }

__attribute__((target("popcnt"))) std::size_t popcntWords(const std::uint64_t* w, std::size_t n,
                                                          std::uint64_t mask = ~0ull) {
  std::size_t c = 0;
  for (std::size_t i = 0; i < n; ++i) {
    c += static_cast<std::size_t>(__builtin_popcountll(w[i] & mask));
  }
  return c;
}

std::size_t (BitVector::*chooseNumSet())() const {
  __builtin_cpu_init();
  return __builtin_cpu_supports("popcnt") ? &BitVector::numSetPopcnt : &BitVector::numSetGeneric;
}
}  // namespace

std::size_t (BitVector::*BitVector::numSet_pointer)() const = chooseNumSet();

ltt::allocator& BitVector::getDefaultAllocator() noexcept {
  return ltt::allocator::adaptor_allocator();
}

BitVector::BitVector(unsigned long size, bool value, ltt::allocator& alloc) : m_alloc(&alloc) {
  resize(size, value);
}

BitVector::BitVector(const BitVector& other) : m_alloc(other.m_alloc) {
  reallocate(other.wordCount());
  m_size = other.m_size;
  m_end = m_begin + other.wordCount();
  if (other.wordCount()) std::memcpy(m_begin, other.m_begin, other.wordCount() * 8);
}

BitVector::BitVector(BitVector&& other) noexcept
    : m_begin(std::exchange(other.m_begin, nullptr)),
      m_end(std::exchange(other.m_end, nullptr)),
      m_size(std::exchange(other.m_size, 0)),
      m_capacityWords(std::exchange(other.m_capacityWords, 0)),
      m_alloc(other.m_alloc) {}

BitVector& BitVector::operator=(const BitVector& other) {
  if (this != &other) {
    BitVector copy(*m_alloc);  // the target keeps its allocator
    copy.reallocate(other.wordCount());
    copy.m_size = other.m_size;
    copy.m_end = copy.m_begin + other.wordCount();
    if (other.wordCount()) std::memcpy(copy.m_begin, other.m_begin, other.wordCount() * 8);
    *this = std::move(copy);
  }
  return *this;
}

BitVector& BitVector::operator=(BitVector&& other) noexcept {
  if (this != &other) {
    m_alloc->deallocate(m_begin);
    m_begin = std::exchange(other.m_begin, nullptr);
    m_end = std::exchange(other.m_end, nullptr);
    m_size = std::exchange(other.m_size, 0);
    m_capacityWords = std::exchange(other.m_capacityWords, 0);
    m_alloc = other.m_alloc;
  }
  return *this;
}

BitVector::~BitVector() { m_alloc->deallocate(m_begin); }

void BitVector::reallocate(std::size_t words) {
  if (words > m_alloc->maxBlockBytes() / 8) {
    ltt::impl::throwBadAllocation(words > SIZE_MAX / 8 ? SIZE_MAX : words * 8);
  }
  const std::size_t cap = roundedWords(words);
  if (cap <= m_capacityWords) return;
  auto* block = static_cast<std::uint64_t*>(m_alloc->allocate(cap * 8));
  const std::size_t used = wordCount();
  if (used) std::memcpy(block, m_begin, used * 8);
  std::memset(block + used, 0, (cap - used) * 8);
  m_alloc->deallocate(m_begin);
  m_begin = block;
  m_end = block + used;
  m_capacityWords = cap;
}

void BitVector::clearTail() noexcept {
  const std::size_t words = wordsFor(m_size);
  if (m_size & 63) m_begin[words - 1] &= (std::uint64_t{1} << (m_size & 63)) - 1;
  // Words between the new end and the old end are cleared so that growth finds zeros.
  for (std::uint64_t* w = m_begin + words; w < m_end; ++w) *w = 0;
  m_end = m_begin + words;
}

void BitVector::resize(unsigned long size, bool value) {
  const std::size_t old = m_size;
  if (size <= old) {
    m_size = size;
    if (m_begin) clearTail();
    return;
  }
  reallocate(wordsFor(size));
  m_end = m_begin + wordsFor(size);
  m_size = size;
  if (value) {
    // Set [old, size): the partial word first, then whole words.
    std::size_t i = old;
    for (; i < size && (i & 63); ++i) set(i);
    for (; i + 64 <= size; i += 64) m_begin[i >> 6] = ~std::uint64_t{0};
    for (; i < size; ++i) set(i);
  }
}

void BitVector::clearAll() noexcept {
  if (m_begin) std::memset(m_begin, 0, wordCount() * 8);
}

void BitVector::setAll() noexcept {
  if (!m_begin) return;
  std::memset(m_begin, 0xFF, wordCount() * 8);
  const std::size_t words = wordCount();
  m_end = m_begin + words;
  if (m_size & 63) m_begin[words - 1] &= (std::uint64_t{1} << (m_size & 63)) - 1;
}

unsigned long BitVector::findLastSetInRange(unsigned long first, unsigned long end) const noexcept {
  // Positions at or beyond size() are 0 and may lie outside the storage: never read them.
  const unsigned long last = end < m_size ? end : m_size;
  if (first >= last) return end;
  std::size_t lastWord = (last - 1) >> 6;
  const std::size_t firstWord = first >> 6;
  // Mask of the valid bits in the last word: positions up to last - 1.
  std::uint64_t w = m_begin[lastWord] & (~std::uint64_t{0} >> (63 - ((last - 1) & 63)));
  for (;;) {
    if (lastWord == firstWord) w &= ~std::uint64_t{0} << (first & 63);
    if (w) return (lastWord << 6) + 63 - static_cast<unsigned long>(std::countl_zero(w));
    if (lastWord == firstWord) return end;
    w = m_begin[--lastWord];
  }
}

void BitVector::const_iterator::settle() noexcept {
  while (cur < end) {
    if (rest) {
      const int z = std::countr_zero(rest);
      rest >>= z;
      pos += static_cast<std::size_t>(z);
      return;
    }
    ++cur;
    pos = static_cast<std::size_t>(cur - first) << 6;
    if (cur < end) rest = *cur;
  }
}

BitVector::const_iterator BitVector::beginAt(unsigned long position) const noexcept {
  if (position >= m_size) return const_iterator{m_end, m_begin, m_end, m_size, 0};
  const_iterator it{m_begin + (position >> 6), m_begin, m_end, position, 0};
  it.rest = *it.cur >> (position & 63);
  it.settle();
  return it;
}

namespace {
std::size_t popcountGeneric(std::uint64_t x) noexcept {
  x = x - ((x >> 1) & 0x5555555555555555ull);
  x = (x & 0x3333333333333333ull) + ((x >> 2) & 0x3333333333333333ull);
  x = (x + (x >> 4)) & 0x0F0F0F0F0F0F0F0Full;
  return static_cast<std::size_t>((x * 0x0101010101010101ull) >> 56);
}
// Raw writers may leave bits beyond size() in the last word; both counts ignore them.
std::uint64_t tailMask(std::size_t size) noexcept {
  return (size & 63) ? (std::uint64_t{1} << (size & 63)) - 1 : ~std::uint64_t{0};
}
}  // namespace

std::size_t BitVector::numSetGeneric() const noexcept {
  const std::size_t n = wordCount();
  if (n == 0) return 0;
  std::size_t c = 0;
  for (std::size_t i = 0; i + 1 < n; ++i) c += popcountGeneric(m_begin[i]);
  return c + popcountGeneric(m_begin[n - 1] & tailMask(m_size));
}

std::size_t BitVector::numSetPopcnt() const noexcept {
  const std::size_t n = wordCount();
  if (n == 0) return 0;
  return popcntWords(m_begin, n - 1) + popcntWords(m_begin + n - 1, 1, tailMask(m_size));
}

void BitVector::serialize(SerializerInterface& s, bool) const {
  s << static_cast<unsigned long>(m_size);
  if (wordCount()) s.write(m_begin, wordCount() * 8);
}

void BitVector::deserialize(DeserializerInterface& d) {
  unsigned long size = 0;
  d >> size;
  BitVector fresh(*m_alloc);
  const std::size_t words = wordsFor(size);
  // The size comes from outside: storage grows geometrically with the words that really
  // arrived, so a forged size costs at most about twice the input, never the claimed size.
  std::size_t done = 0;
  while (done < words) {
    const std::size_t chunk = std::min(words - done, std::max<std::size_t>(done, 8192));
    fresh.reallocate(done + chunk);
    unsigned long got = 0;
    d.read(fresh.m_begin + done, chunk * 8, &got);
    if (got != chunk * 8) throwInsufficientData();
    done += chunk;
  }
  fresh.m_size = size;
  fresh.m_end = fresh.m_begin + words;
  if (fresh.m_begin) fresh.clearTail();  // the input may carry bits beyond size
  *this = std::move(fresh);
}

bool BitVector::operator==(const BitVector& o) const noexcept {
  return m_size == o.m_size &&
         (wordCount() == 0 || std::memcmp(m_begin, o.m_begin, wordCount() * 8) == 0);
}

}  // namespace VorexUtils

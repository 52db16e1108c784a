// Test support: packed words that end right before an inaccessible page (or start right after
// one), so that any read past the last used word plus the spare word, or before the first word,
// faults at once; and a plain bit-by-bit reference decoder that knows nothing but the layout.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <random>

namespace vorex_test {

/// A mapping whose first and last pages are PROT_NONE; words() hands out arrays that end at the
/// last, wordsAtStart() arrays that begin right after the first.
class GuardedWords {
 public:
  explicit GuardedWords(std::size_t maxWords) {
    m_page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    m_dataBytes = (maxWords * 8 + m_page - 1) / m_page * m_page;
    m_bytes = m_dataBytes + 2 * m_page;
    void* p = mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    m_base = p == MAP_FAILED ? nullptr : static_cast<std::uint8_t*>(p);
    if (m_base) {
      mprotect(m_base, m_page, PROT_NONE);
      mprotect(m_base + m_page + m_dataBytes, m_page, PROT_NONE);
    }
  }
  ~GuardedWords() {
    if (m_base) munmap(m_base, m_bytes);
  }
  GuardedWords(const GuardedWords&) = delete;
  GuardedWords& operator=(const GuardedWords&) = delete;

  bool ok() const { return m_base != nullptr; }
  /// `n` words whose last one touches the guard page, filled from `rng`.
  std::uint64_t* words(std::size_t n, std::mt19937_64& rng) {
    auto* w = reinterpret_cast<std::uint64_t*>(m_base + m_page + m_dataBytes) - n;
    for (std::size_t i = 0; i < n; ++i) w[i] = rng();
    return w;
  }
  /// `n` words whose first one follows the leading guard page, filled from `rng`.
  std::uint64_t* wordsAtStart(std::size_t n, std::mt19937_64& rng) {
    auto* w = reinterpret_cast<std::uint64_t*>(m_base + m_page);
    for (std::size_t i = 0; i < n; ++i) w[i] = rng();
    return w;
  }

 private:
  std::uint8_t* m_base = nullptr;
  std::size_t m_page = 0;
  std::size_t m_dataBytes = 0;
  std::size_t m_bytes = 0;
};

/// Words a vector of n values of `bits` takes, plus the spare word.
inline std::size_t wordsWithSpare(std::size_t n, unsigned bits) {
  const std::size_t used = (bits == 0 && n != 0) ? 1 : (std::uint64_t{bits} * n + 63) / 64;
  return used + 1;
}

/// Value i, read one bit at a time: bit k of the stream is bit k%64 of word k/64.
inline std::uint32_t referenceValue(const std::uint64_t* words, unsigned bits, std::uint64_t i) {
  std::uint32_t v = 0;
  for (unsigned b = 0; b < bits; ++b) {
    const std::uint64_t k = i * bits + b;
    v |= static_cast<std::uint32_t>((words[k / 64] >> (k % 64)) & 1u) << b;
  }
  return v;
}

inline std::uint64_t maskOf(unsigned bits) { return (std::uint64_t{1} << bits) - 1; }

}  // namespace vorex_test

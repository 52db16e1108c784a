// Plain reference of the packed layout for tests, written from the layout alone: stream bit j is
// bit (j & 63) of word (j >> 6), value i takes stream bits [i*bits, i*bits + bits), least
// significant bit first. Bit by bit and slow on purpose.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace packed_ref {

inline unsigned streamBit(const std::uint64_t* w, std::uint64_t j) {
  return (w[j >> 6] >> (j & 63)) & 1;
}

inline void putStreamBit(std::uint64_t* w, std::uint64_t j, unsigned b) {
  w[j >> 6] = (w[j >> 6] & ~(std::uint64_t{1} << (j & 63))) | (std::uint64_t{b} << (j & 63));
}

inline std::uint32_t get(const std::uint64_t* w, unsigned bits, std::uint64_t i) {
  std::uint32_t v = 0;
  for (unsigned b = 0; b < bits; ++b) v |= std::uint32_t(streamBit(w, i * bits + b)) << b;
  return v;
}

/// Stores the low `bits` bits of v; nothing else changes.
inline void put(std::uint64_t* w, unsigned bits, std::uint64_t i, std::uint32_t v) {
  for (unsigned b = 0; b < bits; ++b) putStreamBit(w, i * bits + b, (v >> b) & 1);
}

inline std::uint64_t words(unsigned bits, std::uint64_t n) {
  return bits == 0 ? (n != 0) : (std::uint64_t{bits} * n + 63) / 64;
}

inline std::uint32_t maskOf(unsigned bits) {
  return bits >= 32 ? 0xFFFFFFFFu : (std::uint32_t{1} << bits) - 1;
}

/// `n` random words.
inline std::vector<std::uint64_t> randomWords(std::size_t n, std::mt19937_64& rng) {
  std::vector<std::uint64_t> w(n);
  for (auto& x : w) x = rng();
  return w;
}

}  // namespace packed_ref

// Plain reference of the packed layout for the 32- and 64-bit families, written from the layout
// alone: stream bit j is bit (j & 63) of word (j >> 6); value i of width b takes stream bits
// [i*b, i*b + b), least significant bit first. Bit by bit and slow on purpose.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace packed_ref {

inline std::uint64_t get(const std::uint64_t* w, unsigned bits, std::uint64_t i) {
  std::uint64_t v = 0;
  for (unsigned b = 0; b < bits; ++b) {
    const std::uint64_t j = i * bits + b;
    v |= ((w[j >> 6] >> (j & 63)) & 1) << b;
  }
  return v;
}

/// Stores the low `bits` bits of v; nothing else changes.
inline void put(std::uint64_t* w, unsigned bits, std::uint64_t i, std::uint64_t v) {
  for (unsigned b = 0; b < bits; ++b) {
    const std::uint64_t j = i * bits + b, m = std::uint64_t{1} << (j & 63);
    w[j >> 6] = ((v >> b) & 1) ? w[j >> 6] | m : w[j >> 6] & ~m;
  }
}

/// Words the 32-bit family uses: one word at width 0 as soon as there is a value.
inline std::uint64_t words(unsigned bits, std::uint64_t n) {
  return bits == 0 ? (n != 0) : (std::uint64_t{bits} * n + 63) / 64;
}
/// Words the values occupy: none at width 0.
inline std::uint64_t exactWords(unsigned bits, std::uint64_t n) { return (bits * n + 63) / 64; }

inline std::uint64_t maskOf(unsigned bits) {
  return bits >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << bits) - 1;
}

inline std::vector<std::uint64_t> randomWords(std::size_t n, std::mt19937_64& rng) {
  std::vector<std::uint64_t> w(n);
  for (auto& x : w) x = rng();
  return w;
}

/// Values of `bits` bits that favour the edges: 0, the mask, the top bit alone, random.
inline std::vector<std::uint64_t> edgyValues(std::size_t n, unsigned bits, std::mt19937_64& rng) {
  std::vector<std::uint64_t> v(n);
  const std::uint64_t mask = maskOf(bits), top = bits ? std::uint64_t{1} << (bits - 1) : 0;
  for (auto& x : v) {
    const auto pick = rng() % 6;
    x = pick == 0 ? 0 : pick == 1 ? mask : pick == 2 ? top : rng() & mask;
  }
  return v;
}

/// The values in exactly the words they occupy, random bits behind the last one.
inline std::vector<std::uint64_t> pack(const std::vector<std::uint64_t>& values, unsigned bits,
                                       std::mt19937_64& rng) {
  auto w = randomWords(exactWords(bits, values.size()), rng);
  for (std::size_t i = 0; i < values.size(); ++i) put(w.data(), bits, i, values[i]);
  return w;
}

}  // namespace packed_ref

// A plain model of the packed layout, written bit by bit: value i of width b occupies stream bits
// [i*b, i*b+b) of little-endian 64-bit words, least significant bit first. Tests compare the
// 64-bit family against it.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace iv64ref {

using Word = unsigned long;

inline Word maskOf(unsigned bits) { return bits == 64 ? ~Word{0} : (Word{1} << bits) - 1; }
inline std::size_t wordsFor(std::size_t n, unsigned bits) { return (n * bits + 63) / 64; }

inline Word get(const std::vector<Word>& w, std::size_t i, unsigned bits) {
  Word v = 0;
  for (unsigned b = 0; b < bits; ++b) {
    const std::size_t bit = i * bits + b;
    v |= ((w[bit / 64] >> (bit % 64)) & 1) << b;
  }
  return v;
}

inline void set(std::vector<Word>& w, std::size_t i, unsigned bits, Word v) {
  for (unsigned b = 0; b < bits; ++b) {
    const std::size_t bit = i * bits + b;
    const Word m = Word{1} << (bit % 64);
    if ((v >> b) & 1)
      w[bit / 64] |= m;
    else
      w[bit / 64] &= ~m;
  }
}

/// Values of `bits` bits that favour the edges: 0, the mask, the top bit alone, random.
inline std::vector<Word> edgyValues(std::size_t n, unsigned bits, std::mt19937_64& rng) {
  std::vector<Word> v(n);
  const Word mask = maskOf(bits);
  const Word top = bits ? Word{1} << (bits - 1) : 0;
  for (auto& x : v) {
    const auto pick = rng() % 6;
    x = pick == 0 ? 0 : pick == 1 ? mask : pick == 2 ? top : rng() & mask;
  }
  return v;
}

/// Random words, so that the bits behind the last value hold garbage; then the values.
inline std::vector<Word> pack(const std::vector<Word>& values, unsigned bits,
                              std::mt19937_64& rng) {
  std::vector<Word> w(wordsFor(values.size(), bits));
  for (auto& x : w) x = rng();
  for (std::size_t i = 0; i < values.size(); ++i) set(w, i, bits, values[i]);
  return w;
}

}  // namespace iv64ref

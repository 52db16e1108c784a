// Bulk write of the packed view. The body starts at a multiple of 64 positions, which is a word
// boundary at every width, and assembles whole words in registers: each word is stored once and
// never loaded, so the body needs no care for neighbours. Head and tail use the read-modify-write
// of set() and keep the values around them. Inputs are not masked: a wider value spills into the
// next values, in the body as in set().
#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "VorexUtils/IndexVectorRef.hpp"

namespace VorexUtils {

namespace {

constexpr unsigned groupValues(unsigned bits) {
  if (bits % 2 == 1) return 64;
  if (bits % 4 == 2) return 32;
  return 16;
}

// Word J of a group is the or of the values that overlap it, each shifted by a constant: a value
// that began in the word before contributes its high part. Each word is built in a register
// and stored once (an array in memory would be reloaded as a vector and stall).
template <unsigned Bits, unsigned J, unsigned K>
inline Word partOf(const unsigned* in) noexcept {
  constexpr long start = long(K) * Bits - 64L * J;  // stream bit of value K relative to word J
  if constexpr (start >= 0) {
    return Word{in[K]} << start;
  } else {
    return Word{in[K]} >> -start;
  }
}

template <unsigned Bits, unsigned J, unsigned First, std::size_t... I>
inline Word wordOf(const unsigned* in, std::index_sequence<I...>) noexcept {
  return (partOf<Bits, J, First + static_cast<unsigned>(I)>(in) | ...);
}

template <unsigned Bits, std::size_t... J>
inline void encodeGroup(Word* out, const unsigned* in, std::index_sequence<J...>) noexcept {
  // Values overlapping word j: from floor(64j / Bits) to floor((64j + 63) / Bits).
  ((out[J] = wordOf<Bits, static_cast<unsigned>(J), 64 * J / Bits>(
        in, std::make_index_sequence<(64 * J + 63) / Bits - 64 * J / Bits + 1>{})),
   ...);
}

// Encodes `groups` whole groups at word cursor w. Returns the values consumed.
template <unsigned Bits>
std::size_t encodeGroups(Word* w, const unsigned* in, std::size_t groups) noexcept {
  constexpr unsigned G = groupValues(Bits);
  if constexpr (Bits == 0) {
    return 0;  // width 0 holds nothing to store
  } else {
    constexpr unsigned words = G * Bits / 64;
    for (std::size_t g = 0; g < groups; ++g, w += words, in += G) {
      encodeGroup<Bits>(w, in, std::make_index_sequence<words>{});
    }
    return groups * G;
  }
}

using GroupFn = std::size_t (*)(Word*, const unsigned*, std::size_t) noexcept;

template <std::size_t... B>
constexpr std::array<GroupFn, sizeof...(B)> makeTable(std::index_sequence<B...>) {
  return {&encodeGroups<static_cast<unsigned>(B)>...};
}

constexpr auto kGroupLoops = makeTable(std::make_index_sequence<33>{});

constexpr unsigned kFillChunk = 256;
constexpr unsigned long kFillSingles = 100;  // below this, a fill is cheaper value by value

}  // namespace

void IndexVectorRef::mset(unsigned long from, unsigned long count, const unsigned int* values) {
  unsigned long pos = from;
  const unsigned long aligned = (from + 63) & ~63UL;
  while (pos < aligned && count != 0) {
    set(pos++, *values++);
    --count;
  }
  if (count >= 64 && m_bits <= 32) {
    if (m_bits == 0) return;
    const unsigned G = groupValues(m_bits);
    const unsigned long done =
        kGroupLoops[m_bits](m_buffer + (pos >> 6) * m_bits, values, count / G);
    pos += done;
    values += done;
    count -= done;
  }
  while (count != 0) {
    set(pos++, *values++);
    --count;
  }
}

void IndexVectorRef::mset(unsigned long from, unsigned long count, unsigned int value) {
  if (m_bits == 0) return;
  if (count < kFillSingles) {
    for (unsigned long i = 0; i < count; ++i) set(from + i, value);
    return;
  }
  unsigned long pos = from;
  const unsigned long aligned = (from + 63) & ~63UL;
  while (pos < aligned) {  // count >= 100 covers the at most 63 head positions
    set(pos++, value);
    --count;
  }
  unsigned int chunk[kFillChunk];
  const unsigned long n = std::min<unsigned long>(kFillChunk, count);
  std::fill_n(chunk, n, value);
  while (count != 0) {
    const unsigned long step = std::min(n, count);
    mset(pos, step, chunk);
    pos += step;
    count -= step;
  }
}

}  // namespace VorexUtils

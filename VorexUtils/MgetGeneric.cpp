// mgetGeneric: the portable bulk decoder behind the mget slot. A word-aligned cursor walks the
// stream; the head and tail decode one value at a time, and the body runs one loop per width,
// chosen from a 33-entry table, whose groups end on word boundaries so that every shift and mask
// is a compile-time constant. No loop reads a word that holds none of its values.
#include <array>
#include <bit>
#include <cstring>
#include <utility>

#include "VorexUtils/IndexVectorRef.hpp"

namespace VorexUtils {

namespace {

static_assert(std::endian::native == std::endian::little,
              "byte and 16-bit loads of the stream assume little-endian words");

// One value at a word cursor with bit offset `off` (0..63), advancing the cursor. Word-aligned
// reads only: the next word is touched only when the value really continues there.
inline unsigned decodeSingle(const Word*& w, unsigned& off, unsigned bits, Word mask) noexcept {
  const unsigned end = off + bits;
  if (end <= 63) {
    const unsigned v = static_cast<unsigned>((*w >> off) & mask);
    off = end;
    return v;
  }
  if (end == 64) {
    const unsigned v = static_cast<unsigned>((*w >> off) & mask);
    ++w;
    off = 0;
    return v;
  }
  const unsigned v = static_cast<unsigned>(((w[1] << (64 - off)) | (*w >> off)) & mask);
  ++w;
  off = end - 64;
  return v;
}

// Values per group: the smallest count whose bits end on a word boundary, raised to 16 where
// that is smaller, so each pass has enough work to amortise the loop.
constexpr unsigned groupValues(unsigned bits) {
  if (bits == 0) return 16;
  if (bits % 2 == 1) return 64;
  if (bits % 4 == 2) return 32;
  return 16;
}

template <unsigned Bits>
constexpr Word kMask = Bits == 32 ? Word{0xFFFFFFFFu} : (Word{1} << Bits) - 1;

// Value K of a group at word cursor w; K * Bits is its stream bit inside the group.
template <unsigned Bits, unsigned K>
inline unsigned decodeAt(const Word* w) noexcept {
  constexpr unsigned bit = K * Bits;
  constexpr unsigned idx = bit / 64;
  constexpr unsigned off = bit % 64;
  if constexpr (off + Bits <= 64) {
    return static_cast<unsigned>((w[idx] >> off) & kMask<Bits>);
  } else {
    return static_cast<unsigned>(((w[idx] >> off) | (w[idx + 1] << (64 - off))) & kMask<Bits>);
  }
}

template <unsigned Bits, std::size_t... K>
inline void decodeGroup(const Word* w, unsigned* out, std::index_sequence<K...>) noexcept {
  ((out[K] = decodeAt<Bits, static_cast<unsigned>(K)>(w)), ...);
}

// Decodes `groups` whole groups from w into out. Returns the words consumed.
template <unsigned Bits>
std::size_t decodeGroups(const Word* w, unsigned* out, std::size_t groups) noexcept {
  constexpr unsigned G = groupValues(Bits);
  constexpr unsigned words = G * Bits / 64;
  if constexpr (Bits == 0) {
    std::memset(out, 0, groups * G * sizeof(unsigned));
  } else if constexpr (Bits == 8 || Bits == 16 || Bits == 32) {
    // Byte-aligned widths: the values are the stream's own 8/16/32-bit little-endian units.
    using Unit = std::conditional_t<Bits == 8, std::uint8_t,
                                    std::conditional_t<Bits == 16, std::uint16_t, std::uint32_t>>;
    const auto* src = reinterpret_cast<const unsigned char*>(w);
    for (std::size_t g = 0; g < groups; ++g, src += words * 8, out += G) {
      Unit u[G];
      std::memcpy(u, src, sizeof u);
      for (unsigned k = 0; k < G; ++k) out[k] = u[k];
    }
  } else {
    for (std::size_t g = 0; g < groups; ++g, w += words, out += G) {
      decodeGroup<Bits>(w, out, std::make_index_sequence<G>{});
    }
  }
  return groups * words;
}

using GroupFn = std::size_t (*)(const Word*, unsigned*, std::size_t) noexcept;

template <std::size_t... B>
constexpr std::array<GroupFn, sizeof...(B)> makeTable(std::index_sequence<B...>) {
  return {&decodeGroups<static_cast<unsigned>(B)>...};
}

constexpr auto kGroupLoops = makeTable(std::make_index_sequence<33>{});

constexpr std::array<unsigned, 33> kGroupValues = [] {
  std::array<unsigned, 33> a{};
  for (unsigned b = 0; b <= 32; ++b) a[b] = groupValues(b);
  return a;
}();

}  // namespace

void mgetGeneric(unsigned long from, unsigned long count, unsigned int* dest, unsigned int bits,
                 const unsigned long* data, unsigned long mask) {
  const unsigned long p = from * bits;
  const Word* w = data + (p >> 6);
  unsigned off = static_cast<unsigned>(p & 63);

  while (count != 0 && off != 0) {
    *dest++ = decodeSingle(w, off, bits, mask);
    --count;
  }

  // Only worth it with more than one full block of 64; the cursor is now on a word boundary.
  if (count > 64 && bits <= 32) {
    const unsigned G = kGroupValues[bits];
    const unsigned long groups = count / G;
    w += kGroupLoops[bits](w, dest, groups);
    dest += groups * G;
    count -= groups * G;
  }

  while (count != 0) {
    *dest++ = decodeSingle(w, off, bits, mask);
    --count;
  }
}

}  // namespace VorexUtils

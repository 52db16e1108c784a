// Compile-time geometry of the SIMD decode kernels, shared by the instruction-set units.
// Eight values of width W take exactly W bytes, so a group of eight that starts at a position
// divisible by 8 starts at a byte boundary, and value j of the group sits at byte (j*W)>>3, bit
// (j*W)&7 of the group. A kernel moves each value's bytes into a 32-bit lane with a byte
// shuffle, shifts the lane right by its bit offset and masks it.
// Everything here is constexpr and evaluated only in constant expressions, in an unnamed
// namespace: nothing can be emitted as a shared symbol, so the header is safe to include in units
// built with different instruction-set flags. (Not consteval: clang 14 rejects constexpr calls
// in the static members of class templates that use these.)
#pragma once

#include <cstdint>

namespace sse_icc_lib::mget_layout {
namespace {

/// Byte of the group at which value j starts.
constexpr unsigned byteOf(unsigned w, unsigned j) { return (j * w) >> 3; }
/// Bit offset of value j inside its first byte.
constexpr unsigned shiftOf(unsigned w, unsigned j) { return (j * w) & 7; }
/// Bytes that value j touches (1 to 5).
constexpr unsigned spanOf(unsigned w, unsigned j) { return (shiftOf(w, j) + w + 7) >> 3; }
/// Largest bit offset in a group.
constexpr unsigned maxShift(unsigned w) {
  unsigned m = 0;
  for (unsigned j = 0; j < 8; ++j) m = shiftOf(w, j) > m ? shiftOf(w, j) : m;
  return m;
}
/// Some value of the group spans five bytes, so a 32-bit lane cannot hold it with its offset.
constexpr bool needsFifthByte(unsigned w) { return maxShift(w) + w > 32; }

/// Where the bytes of a half group (four values) are loaded from, relative to the group. Up to
/// 16 bits-wide values one load covers the whole group; wider ones load each half on its own.
constexpr unsigned halfBase(unsigned w, unsigned half) {
  return (half && w > 16) ? (4 * w) >> 3 : 0;
}

struct Shuffle16 {
  std::uint8_t b[16];
};

/// Shuffle control for the four lanes of a half (16 bytes) loaded from group byte `base`: lane
/// bytes are the value's bytes 0 to 3 (`second` false) or 1 to 4 (`second` true, the upper part
/// of the two-part form); bytes beyond the value are zeroed (0x80), so only the value's last byte
/// carries a neighbour.
constexpr Shuffle16 shuffleHalfAt(unsigned w, unsigned half, bool second, int base) {
  Shuffle16 s{};
  for (unsigned lane = 0; lane < 4; ++lane) {
    const unsigned j = 4 * half + lane;
    const unsigned span = spanOf(w, j);
    for (unsigned k = 0; k < 4; ++k) {
      const unsigned src = k + (second ? 1 : 0);
      s.b[4 * lane + k] =
          src < span ? static_cast<std::uint8_t>(int(byteOf(w, j) + src) - base) : 0x80;
    }
  }
  return s;
}
constexpr Shuffle16 shuffleHalf(unsigned w, unsigned half, bool second) {
  return shuffleHalfAt(w, half, second, int(halfBase(w, half)));
}

/// Even widths from 18 on can take a whole group with one 32-byte load that starts 16 - W/2
/// bytes before it: the low half then ends where values 4-7 begin, at byte W/2.
constexpr bool wideLoad(unsigned w) { return w % 2 == 0 && w >= 18 && w <= 28; }
constexpr int wideBase(unsigned w, unsigned half) { return half ? int(w / 2) : int(w / 2) - 16; }

/// From width 29 on, value j starts at bit 32j - dj of the group (d = 32 - W, dj <= 21), so it
/// lies in dwords j - 1 and j: (D[j-1] >> (32 - dj)) | (D[j] << dj), from two plain loads of
/// eight dwords one dword apart.
constexpr bool dwordPairs(unsigned w) { return w >= 29 && w <= 31; }

/// Per-lane counts: the value's bit offset, or 8 minus it for the second part.
struct Counts4 {
  std::uint32_t c[4];
};
constexpr Counts4 countsHalf(unsigned w, unsigned half, bool second) {
  Counts4 r{};
  for (unsigned lane = 0; lane < 4; ++lane) {
    const unsigned s = shiftOf(w, 4 * half + lane);
    r.c[lane] = second ? 8 - s : s;
  }
  return r;
}

/// Per-lane counts of the dword-pair form: d*j for the current dword (left), 32 - d*j for the
/// previous one (right; 32 gives 0 for lane 0, which has no previous part).
constexpr Counts4 pairCountsHalf(unsigned w, unsigned half, bool previous) {
  Counts4 r{};
  for (unsigned lane = 0; lane < 4; ++lane) {
    const unsigned dj = (32 - w) * (4 * half + lane);
    r.c[lane] = previous ? 32 - dj : dj;
  }
  return r;
}

/// Up to width 4 a whole group lies in its first 32 bits: lanes that all hold that dword only
/// need a shift by j*W each, no shuffle.
constexpr bool groupInDword(unsigned w) { return 8 * w <= 32; }
constexpr Counts4 dwordCountsHalf(unsigned w, unsigned half) {
  Counts4 r{};
  for (unsigned lane = 0; lane < 4; ++lane) r.c[lane] = (4 * half + lane) * w;
  return r;
}

/// Two groups in 16-bit lanes, for widths whose sixteen values fit one 16-byte load and whose
/// values fit 16 bits with their offset, and which have no cheaper form (5 to 7). Up to W 10 it
/// would work with two loads, but the insert of the second costs what the pair saves. Word w of
/// half h holds value 4h + w (w < 4) or 8 + 4h + (w - 4): unpacking the low and the high words of
/// each half with zeros then yields the first and the second group in order.
constexpr bool pairIn16BitLanes(unsigned w) { return w >= 5 && w <= 7; }
constexpr unsigned pairValue(unsigned half, unsigned word) {
  return word < 4 ? 4 * half + word : 8 + 4 * half + (word - 4);
}
constexpr Shuffle16 pairShuffleHalf(unsigned w, unsigned half) {
  Shuffle16 s{};
  for (unsigned word = 0; word < 8; ++word) {
    const unsigned j = pairValue(half, word);
    const unsigned span = (((j * w) & 7) + w + 7) >> 3;
    for (unsigned k = 0; k < 2; ++k) {
      s.b[2 * word + k] = k < span ? static_cast<std::uint8_t>(((j * w) >> 3) + k) : 0x80;
    }
  }
  return s;
}
/// 2^(16 - W - offset): moves each value to the top of its word, dropping the next value's bits;
/// a shift right by 16 - W then drops the previous value's.
struct Words8 {
  std::uint16_t c[8];
};
constexpr Words8 pairMultipliersHalf(unsigned w, unsigned half) {
  Words8 r{};
  for (unsigned word = 0; word < 8; ++word) {
    r.c[word] = static_cast<std::uint16_t>(1u << (16 - w - ((pairValue(half, word) * w) & 7)));
  }
  return r;
}

/// Multipliers for units without a per-lane shift: 2^(maxShift - s) lines every value up at bit
/// maxShift, where one constant shift finishes the job (values that fit four bytes), and 2^(8 - s)
/// shifts left by 8 - s for the two-part form of five-byte values.
constexpr Counts4 multipliersHalf(unsigned w, unsigned half, bool second) {
  Counts4 r{};
  for (unsigned lane = 0; lane < 4; ++lane) {
    const unsigned s = shiftOf(w, 4 * half + lane);
    r.c[lane] = 1u << (second ? 8 - s : maxShift(w) - s);
  }
  return r;
}

/// Shuffle control that keeps only the first byte of each value (lower part of the two-part form).
constexpr Shuffle16 firstByteHalf(unsigned w, unsigned half) {
  Shuffle16 s{};
  for (unsigned lane = 0; lane < 4; ++lane) {
    const unsigned j = 4 * half + lane;
    for (unsigned k = 0; k < 4; ++k) {
      s.b[4 * lane + k] =
          k == 0 ? static_cast<std::uint8_t>(byteOf(w, j) - halfBase(w, half)) : 0x80;
    }
  }
  return s;
}

constexpr std::uint32_t valueMask(unsigned w) {
  return w >= 32 ? 0xFFFFFFFFu : (std::uint32_t{1} << w) - 1;
}

}  // namespace
}  // namespace sse_icc_lib::mget_layout

// Compile-time geometry of the SIMD decode kernels, shared by the instruction-set units.
// Eight values of width W take exactly W bytes, so a group of eight that starts at a position
// divisible by 8 starts at a byte boundary, and value j of the group sits at byte (j*W)>>3, bit
// (j*W)&7 of the group. A kernel moves each value's bytes into a 32-bit lane with a byte
// shuffle, shifts the lane right by its bit offset and masks it.
// Everything here is consteval or data: no code is emitted, so the header is safe to include in
// units built with different instruction-set flags.
#pragma once

#include <cstdint>

namespace sse_icc_lib::mget_layout {

/// Byte of the group at which value j starts.
consteval unsigned byteOf(unsigned w, unsigned j) { return (j * w) >> 3; }
/// Bit offset of value j inside its first byte.
consteval unsigned shiftOf(unsigned w, unsigned j) { return (j * w) & 7; }
/// Bytes that value j touches (1 to 5).
consteval unsigned spanOf(unsigned w, unsigned j) { return (shiftOf(w, j) + w + 7) >> 3; }
/// Largest bit offset in a group.
consteval unsigned maxShift(unsigned w) {
  unsigned m = 0;
  for (unsigned j = 0; j < 8; ++j) m = shiftOf(w, j) > m ? shiftOf(w, j) : m;
  return m;
}
/// Some value of the group spans five bytes, so a 32-bit lane cannot hold it with its offset.
consteval bool needsFifthByte(unsigned w) { return maxShift(w) + w > 32; }

/// Where the bytes of a half group (four values) are loaded from, relative to the group. Up to
/// 16 bits-wide values one load covers the whole group; wider ones load each half on its own.
consteval unsigned halfBase(unsigned w, unsigned half) { return (half && w > 16) ? (4 * w) >> 3 : 0; }

/// Shuffle control for the four lanes of a half (16 bytes): lane bytes are the value's bytes 0
/// to 3 (`second` false) or 1 to 4 (`second` true, the upper part of the two-part form); bytes
/// beyond the value are zeroed (0x80), so only the value's last byte carries a neighbour.
struct Shuffle16 {
  std::uint8_t b[16];
};
consteval Shuffle16 shuffleHalf(unsigned w, unsigned half, bool second) {
  Shuffle16 s{};
  for (unsigned lane = 0; lane < 4; ++lane) {
    const unsigned j = 4 * half + lane;
    const unsigned span = spanOf(w, j);
    for (unsigned k = 0; k < 4; ++k) {
      const unsigned src = k + (second ? 1 : 0);
      const bool take = src < span;
      s.b[4 * lane + k] =
          take ? static_cast<std::uint8_t>(byteOf(w, j) - halfBase(w, half) + src) : 0x80;
    }
  }
  return s;
}

/// Per-lane counts: the value's bit offset, or 8 minus it for the second part.
struct Counts4 {
  std::uint32_t c[4];
};
consteval Counts4 countsHalf(unsigned w, unsigned half, bool second) {
  Counts4 r{};
  for (unsigned lane = 0; lane < 4; ++lane) {
    const unsigned s = shiftOf(w, 4 * half + lane);
    r.c[lane] = second ? 8 - s : s;
  }
  return r;
}

/// Multipliers for units without a per-lane shift: 2^(maxShift - s) lines every value up at bit
/// maxShift, where one constant shift finishes the job (values that fit four bytes), and 2^(8 - s)
/// shifts left by 8 - s for the two-part form of five-byte values.
consteval Counts4 multipliersHalf(unsigned w, unsigned half, bool second) {
  Counts4 r{};
  for (unsigned lane = 0; lane < 4; ++lane) {
    const unsigned s = shiftOf(w, 4 * half + lane);
    r.c[lane] = 1u << (second ? 8 - s : maxShift(w) - s);
  }
  return r;
}

/// Shuffle control that keeps only the first byte of each value (lower part of the two-part form).
consteval Shuffle16 firstByteHalf(unsigned w, unsigned half) {
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

consteval std::uint32_t valueMask(unsigned w) {
  return w >= 32 ? 0xFFFFFFFFu : (std::uint32_t{1} << w) - 1;
}

}  // namespace sse_icc_lib::mget_layout

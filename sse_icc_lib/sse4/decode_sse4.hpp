// SSE4 decode of packed values, for the units under sse_icc_lib/sse4/ only (built with
// -msse4.2). Everything sits in an anonymous namespace: no symbol of this header may ever be
// shared with code built for another instruction set.
//
// A group of eight values starts at a byte boundary and takes W bytes; two 128-bit vectors
// hold it, values 0-3 and 4-7. A byte shuffle brings each value's bytes into its 32-bit lane.
// SSE has no per-lane shift, but the offsets are compile-time constants: a multiply by
// 2^(maxShift - offset) lines all values up at bit maxShift, one constant shift brings them down
// and an AND drops the next value's bits. Values that span five bytes are put together from
// their bytes 1-4 times 2^(8 - offset) and their first byte times the same, shifted down by 8.
//
// Reads: a group loads at most 7 bytes past its own end (8-byte load up to W 8, 16-byte load up
// to W 16, two 16-byte halves beyond), so every complete group of a vector stays within its
// last used word plus the spare word.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include "sse_icc_lib/mget_layout.hpp"

namespace sse_icc_lib::sse4 {
namespace {

namespace ml = sse_icc_lib::mget_layout;

template <unsigned W>
struct GroupDecoder {
  static_assert(W >= 1 && W <= 32);
  static constexpr bool kTwoPart = ml::needsFifthByte(W);
  static constexpr unsigned kMaxShift = ml::maxShift(W);
  static constexpr bool kMask = W % 8 != 0;

  struct Half {
    ml::Shuffle16 shuf, shuf2, first;
    ml::Counts4 mul, mul2;
  };
  static constexpr Half kHalf[2] = {
      {ml::shuffleHalf(W, 0, false), ml::shuffleHalf(W, 0, true), ml::firstByteHalf(W, 0),
       ml::multipliersHalf(W, 0, false), ml::multipliersHalf(W, 0, true)},
      {ml::shuffleHalf(W, 1, false), ml::shuffleHalf(W, 1, true), ml::firstByteHalf(W, 1),
       ml::multipliersHalf(W, 1, false), ml::multipliersHalf(W, 1, true)}};

  struct Regs {
    __m128i shuf, shuf2, first, mul, mul2;
  };
  Regs half[2];
  __m128i mask;

  static __m128i ld(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }

  GroupDecoder() : mask(_mm_set1_epi32(static_cast<int>(ml::valueMask(W)))) {
    for (unsigned h = 0; h < 2; ++h) {
      half[h] = {ld(kHalf[h].shuf.b), ld(kHalf[h].shuf2.b), ld(kHalf[h].first.b),
                 ld(kHalf[h].mul.c), ld(kHalf[h].mul2.c)};
    }
  }

  __m128i decodeHalf(__m128i raw, const Regs& r) const {
    __m128i v;
    if constexpr (kTwoPart) {
      const __m128i upper = _mm_mullo_epi32(_mm_shuffle_epi8(raw, r.shuf2), r.mul2);
      const __m128i lower =
          _mm_srli_epi32(_mm_mullo_epi32(_mm_shuffle_epi8(raw, r.first), r.mul2), 8);
      v = _mm_or_si128(upper, lower);
    } else {
      v = _mm_shuffle_epi8(raw, r.shuf);
      if constexpr (kMaxShift != 0) v = _mm_srli_epi32(_mm_mullo_epi32(v, r.mul), kMaxShift);
    }
    if constexpr (kMask) v = _mm_and_si128(v, mask);
    return v;
  }

  /// Eight values of the group at p to out[0..7].
  void decode(const std::uint8_t* p, std::uint32_t* out) const {
    __m128i lo, hi;
    if constexpr (W <= 8) {
      lo = hi = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
    } else if constexpr (W <= 16) {
      lo = hi = ld(p);
    } else {
      lo = ld(p);
      hi = ld(p + ml::halfBase(W, 1));
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), decodeHalf(lo, half[0]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4), decodeHalf(hi, half[1]));
  }
};

/// Decodes `groups` whole groups from p (a group boundary) to out, two groups a pass.
template <unsigned W>
void decodeGroups(const std::uint8_t* p, std::uint32_t* out, std::size_t groups) {
  if constexpr (W == 0) {
    std::memset(out, 0, groups * 32);
  } else if constexpr (W == 32) {
    std::memcpy(out, p, groups * 32);
  } else {
    const GroupDecoder<W> d;
    std::size_t g = groups;
    for (; g >= 2; g -= 2) {
      d.decode(p, out);
      d.decode(p + W, out + 8);
      p += 2 * W;
      out += 16;
    }
    if (g != 0) d.decode(p, out);
  }
}

/// One value by its 8-byte span at a 4-byte step: the span never passes the spare word.
inline std::uint32_t scalarGet(std::size_t i, unsigned bits, const std::uint8_t* bytes,
                               std::uint64_t mask) {
  const std::uint64_t p = std::uint64_t{i} * bits;
  std::uint64_t span;
  std::memcpy(&span, bytes + 4 * (p >> 5), 8);
  return static_cast<std::uint32_t>((span >> (p & 31)) & mask);
}

/// The decode of the bulk-read frame for width W: scalar up to a group boundary, whole groups,
/// scalar for the last partial group.
template <unsigned W>
void mgetWidth(std::size_t index, std::size_t count, std::uint32_t* out, const std::uint8_t* bytes,
               std::uint64_t mask) {
  if constexpr (W == 0) {
    // Every value is 0; the stream is not read.
    std::memset(out, 0, count * sizeof *out);
    return;
  }
  std::size_t head = (8 - (index & 7)) & 7;
  if (head > count) head = count;
  for (std::size_t k = 0; k < head; ++k) out[k] = scalarGet(index + k, W, bytes, mask);
  index += head;
  count -= head;
  out += head;
  const std::size_t groups = count >> 3;
  decodeGroups<W>(bytes + (index >> 3) * W, out, groups);
  index += 8 * groups;
  out += 8 * groups;
  for (std::size_t k = 0; k < (count & 7); ++k) out[k] = scalarGet(index + k, W, bytes, mask);
}

using MgetWidthFn = void (*)(std::size_t, std::size_t, std::uint32_t*, const std::uint8_t*,
                             std::uint64_t);
using DecodeGroupsFn = void (*)(const std::uint8_t*, std::uint32_t*, std::size_t);

template <class Seq>
struct WidthTables;
template <unsigned... I>
struct WidthTables<std::integer_sequence<unsigned, I...>> {
  static constexpr MgetWidthFn mget[] = {&mgetWidth<I>...};
  static constexpr DecodeGroupsFn groups[] = {&decodeGroups<I>...};
};
using Tables = WidthTables<std::make_integer_sequence<unsigned, 33>>;

}  // namespace
}  // namespace sse_icc_lib::sse4

// AVX2 decode of packed values, for the units under sse_icc_lib/avx2/ only (built with -mavx2
// -mbmi2). Everything sits in an anonymous namespace: no symbol of this header may ever be
// shared with code built for a lesser instruction set.
//
// A group of eight values starts at a byte boundary and takes W bytes. One 256-bit vector holds
// a group: the low half serves values 0-3, the high half values 4-7. A byte shuffle brings each
// value's bytes into its 32-bit lane, vpsrlvd drops the bits of the previous value, an AND
// drops those of the next. Values that span five bytes (offset + W > 32) take a second shuffle
// of bytes 1-4, shifted left by 8 - offset and OR-ed in.
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

namespace sse_icc_lib::avx2 {
namespace {

namespace ml = sse_icc_lib::mget_layout;

template <unsigned W>
struct GroupDecoder {
  static_assert(W >= 1 && W <= 32);
  static constexpr bool kTwoPart = ml::needsFifthByte(W);
  static constexpr bool kShift = ml::maxShift(W) != 0;
  static constexpr bool kMask = W % 8 != 0;

  static constexpr ml::Shuffle16 kShufLo = ml::shuffleHalf(W, 0, false);
  static constexpr ml::Shuffle16 kShufHi = ml::shuffleHalf(W, 1, false);
  static constexpr ml::Shuffle16 kShuf2Lo = ml::shuffleHalf(W, 0, true);
  static constexpr ml::Shuffle16 kShuf2Hi = ml::shuffleHalf(W, 1, true);
  static constexpr ml::Counts4 kCntLo = ml::countsHalf(W, 0, false);
  static constexpr ml::Counts4 kCntHi = ml::countsHalf(W, 1, false);
  static constexpr ml::Counts4 kCnt2Lo = ml::countsHalf(W, 0, true);
  static constexpr ml::Counts4 kCnt2Hi = ml::countsHalf(W, 1, true);

  __m256i shuf, cnt, shuf2, cnt2, mask;

  static __m256i pair(const void* lo, const void* hi) {
    return _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(static_cast<const __m128i*>(lo))),
        _mm_loadu_si128(static_cast<const __m128i*>(hi)), 1);
  }

  GroupDecoder()
      : shuf(pair(kShufLo.b, kShufHi.b)),
        cnt(pair(kCntLo.c, kCntHi.c)),
        shuf2(pair(kShuf2Lo.b, kShuf2Hi.b)),
        cnt2(pair(kCnt2Lo.c, kCnt2Hi.c)),
        mask(_mm256_set1_epi32(static_cast<int>(ml::valueMask(W)))) {}

  /// The group's bytes, each half at its base (see ml::halfBase).
  static __m256i load(const std::uint8_t* p) {
    if constexpr (W <= 8) {
      std::uint64_t q;
      std::memcpy(&q, p, 8);
      return _mm256_set1_epi64x(static_cast<long long>(q));
    } else if constexpr (W <= 16) {
      return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    } else {
      return pair(p, p + ml::halfBase(W, 1));
    }
  }

  /// Eight values of the group at p, one per 32-bit lane, in order.
  __m256i decode(const std::uint8_t* p) const {
    const __m256i raw = load(p);
    __m256i v = _mm256_shuffle_epi8(raw, shuf);
    if constexpr (kShift) v = _mm256_srlv_epi32(v, cnt);
    if constexpr (kTwoPart) {
      v = _mm256_or_si256(v, _mm256_sllv_epi32(_mm256_shuffle_epi8(raw, shuf2), cnt2));
    }
    if constexpr (kMask) v = _mm256_and_si256(v, mask);
    return v;
  }
};

/// Decodes `groups` whole groups from p (a group boundary) to out. Four groups a pass keep
/// the shuffle and shift units busy; the constants stay in registers.
template <unsigned W>
void decodeGroups(const std::uint8_t* p, std::uint32_t* out, std::size_t groups) {
  if constexpr (W == 0) {
    const __m256i z = _mm256_setzero_si256();
    for (std::size_t g = 0; g < groups; ++g) _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 8 * g), z);
  } else if constexpr (W == 32) {
    std::memcpy(out, p, groups * 32);
  } else {
    const GroupDecoder<W> d;
    std::size_t g = groups;
    for (; g >= 4; g -= 4) {
      const __m256i a = d.decode(p);
      const __m256i b = d.decode(p + W);
      const __m256i c = d.decode(p + 2 * W);
      const __m256i e = d.decode(p + 3 * W);
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), a);
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 8), b);
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 16), c);
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 24), e);
      p += 4 * W;
      out += 32;
    }
    for (; g != 0; --g) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), d.decode(p));
      p += W;
      out += 8;
    }
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
}  // namespace sse_icc_lib::avx2

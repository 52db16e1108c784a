// AVX2 decode of packed values, for the units under sse_icc_lib/avx2/ only (built with -mavx2
// -mbmi2). Everything sits in an anonymous namespace: no symbol of this header may ever be
// shared with code built for a lesser instruction set.
//
// A group of eight values starts at a byte boundary and takes W bytes. One 256-bit vector holds
// a group: the low half serves values 0-3, the high half values 4-7. A byte shuffle brings each
// value's bytes into its 32-bit lane, vpsrlvd drops the bits of the previous value, an AND
// drops those of the next. Values that span five bytes (offset + W > 32) take a second shuffle
// of bytes 1-4, shifted left by 8 - offset and OR-ed in. Cheaper forms where the width allows:
//   W <= 4      the group fits one dword: every lane takes it and shifts by j*W, no shuffle;
//   W 5-7       two groups at once in 16-bit lanes, widened by unpacking with zeros;
//   even 18-28  one 32-byte load that starts before the group instead of two 16-byte halves;
//   W 29-31     value j lies in dwords j-1 and j: two plain loads, two shifts, no shuffle.
// The last two read up to 7 bytes before the group, so the first group of a call takes the
// general form.
//
// Reads: a group loads at most 7 bytes past its own end, so every complete group of a vector
// stays within its last used word plus the spare word.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include "sse_icc_lib/mget_layout.hpp"

namespace sse_icc_lib::avx2 {
namespace {

namespace ml = sse_icc_lib::mget_layout;

inline __m256i loadPair(const void* lo, const void* hi) {
  return _mm256_inserti128_si256(
      _mm256_castsi128_si256(_mm_loadu_si128(static_cast<const __m128i*>(lo))),
      _mm_loadu_si128(static_cast<const __m128i*>(hi)), 1);
}

/// The general form, and the dword form up to W 4. Loads: 4 bytes up to W 4, 8 up to W 8, 16 up
/// to W 16, two 16-byte halves beyond.
template <unsigned W>
struct GroupDecoder {
  static_assert(W >= 1 && W <= 32);
  static constexpr bool kInDword = ml::groupInDword(W);
  static constexpr bool kTwoPart = ml::needsFifthByte(W);
  static constexpr bool kShift = ml::maxShift(W) != 0;
  static constexpr bool kMask = W % 8 != 0;

  static constexpr ml::Shuffle16 kShufLo = ml::shuffleHalf(W, 0, false);
  static constexpr ml::Shuffle16 kShufHi = ml::shuffleHalf(W, 1, false);
  static constexpr ml::Shuffle16 kShuf2Lo = ml::shuffleHalf(W, 0, true);
  static constexpr ml::Shuffle16 kShuf2Hi = ml::shuffleHalf(W, 1, true);
  static constexpr ml::Counts4 kCntLo =
      kInDword ? ml::dwordCountsHalf(W, 0) : ml::countsHalf(W, 0, false);
  static constexpr ml::Counts4 kCntHi =
      kInDword ? ml::dwordCountsHalf(W, 1) : ml::countsHalf(W, 1, false);
  static constexpr ml::Counts4 kCnt2Lo = ml::countsHalf(W, 0, true);
  static constexpr ml::Counts4 kCnt2Hi = ml::countsHalf(W, 1, true);

  __m256i shuf, cnt, shuf2, cnt2, mask;

  GroupDecoder()
      : shuf(loadPair(kShufLo.b, kShufHi.b)),
        cnt(loadPair(kCntLo.c, kCntHi.c)),
        shuf2(loadPair(kShuf2Lo.b, kShuf2Hi.b)),
        cnt2(loadPair(kCnt2Lo.c, kCnt2Hi.c)),
        mask(_mm256_set1_epi32(static_cast<int>(ml::valueMask(W)))) {}

  /// The group's bytes, each half at its base (see ml::halfBase).
  static __m256i load(const std::uint8_t* p) {
    if constexpr (kInDword) {
      std::uint32_t d;
      std::memcpy(&d, p, 4);
      return _mm256_set1_epi32(static_cast<int>(d));
    } else if constexpr (W <= 8) {
      std::uint64_t q;
      std::memcpy(&q, p, 8);
      return _mm256_set1_epi64x(static_cast<long long>(q));
    } else if constexpr (W <= 16) {
      return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    } else {
      return loadPair(p, p + ml::halfBase(W, 1));
    }
  }

  /// Eight values of the group at p, one per 32-bit lane, in order.
  __m256i decode(const std::uint8_t* p) const { return finish(load(p), shuf, shuf2); }

  /// Shuffle, shift and mask of a group loaded by any form whose halves match `sh` and `sh2`.
  __m256i finish(__m256i raw, __m256i sh, __m256i sh2) const {
    if constexpr (kInDword) return _mm256_and_si256(_mm256_srlv_epi32(raw, cnt), mask);
    __m256i v = _mm256_shuffle_epi8(raw, sh);
    if constexpr (kShift) v = _mm256_srlv_epi32(v, cnt);
    if constexpr (kTwoPart) {
      v = _mm256_or_si256(v, _mm256_sllv_epi32(_mm256_shuffle_epi8(raw, sh2), cnt2));
    }
    if constexpr (kMask) v = _mm256_and_si256(v, mask);
    return v;
  }
};

/// Even widths 18-28: one 32-byte load from 16 - W/2 bytes before the group.
template <unsigned W>
struct WideDecoder {
  static_assert(ml::wideLoad(W));
  static constexpr ml::Shuffle16 kShufLo = ml::shuffleHalfAt(W, 0, false, ml::wideBase(W, 0));
  static constexpr ml::Shuffle16 kShufHi = ml::shuffleHalfAt(W, 1, false, ml::wideBase(W, 1));

  GroupDecoder<W> general;
  __m256i shuf = loadPair(kShufLo.b, kShufHi.b);

  __m256i decode(const std::uint8_t* p) const {
    const __m256i raw =
        _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + ml::wideBase(W, 0)));
    return general.finish(raw, shuf, shuf);
  }
};

/// W 29-31: value j from dwords j-1 and j, two loads one dword apart.
template <unsigned W>
struct DwordPairDecoder {
  static_assert(ml::dwordPairs(W));
  static constexpr ml::Counts4 kCurLo = ml::pairCountsHalf(W, 0, false);
  static constexpr ml::Counts4 kCurHi = ml::pairCountsHalf(W, 1, false);
  static constexpr ml::Counts4 kPrevLo = ml::pairCountsHalf(W, 0, true);
  static constexpr ml::Counts4 kPrevHi = ml::pairCountsHalf(W, 1, true);

  __m256i cur = loadPair(kCurLo.c, kCurHi.c);
  __m256i prev = loadPair(kPrevLo.c, kPrevHi.c);
  __m256i mask = _mm256_set1_epi32(static_cast<int>(ml::valueMask(W)));

  __m256i decode(const std::uint8_t* p) const {
    const __m256i d = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    const __m256i before = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p - 4));
    return _mm256_and_si256(
        _mm256_or_si256(_mm256_sllv_epi32(d, cur), _mm256_srlv_epi32(before, prev)), mask);
  }
};

/// Two groups at once in 16-bit lanes: shuffle, multiply, shift, then two unpacks with zeros
/// widen the words to the output's 32-bit lanes. Five operations per sixteen values, where the
/// group decoder needs six.
template <unsigned W>
struct PairDecoder {
  static_assert(ml::pairIn16BitLanes(W));
  static constexpr ml::Shuffle16 kShufLo = ml::pairShuffleHalf(W, 0);
  static constexpr ml::Shuffle16 kShufHi = ml::pairShuffleHalf(W, 1);
  static constexpr ml::Words8 kMulLo = ml::pairMultipliersHalf(W, 0);
  static constexpr ml::Words8 kMulHi = ml::pairMultipliersHalf(W, 1);

  __m256i shuf, mul;

  PairDecoder() : shuf(loadPair(kShufLo.b, kShufHi.b)), mul(loadPair(kMulLo.c, kMulHi.c)) {}

  /// Sixteen values at p to out[0..15]. Reads at most 6 bytes past the pair's 2W bytes.
  void decode(const std::uint8_t* p, std::uint32_t* out) const {
    const __m256i raw =
        _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    __m256i v = _mm256_mullo_epi16(_mm256_shuffle_epi8(raw, shuf), mul);
    v = _mm256_srli_epi16(v, 16 - W);
    const __m256i zero = _mm256_setzero_si256();
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_unpacklo_epi16(v, zero));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 8), _mm256_unpackhi_epi16(v, zero));
  }
};

/// Four groups a pass keep the shuffle and shift units busy; the constants stay in registers.
template <unsigned W, class Decoder>
void decodeLoop(const Decoder& d, const std::uint8_t* p, std::uint32_t* out, std::size_t groups) {
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

/// Decodes `groups` whole groups from p (a group boundary) to out.
template <unsigned W>
void decodeGroups(const std::uint8_t* p, std::uint32_t* out, std::size_t groups) {
  if constexpr (W == 0) {
    const __m256i z = _mm256_setzero_si256();
    for (std::size_t g = 0; g < groups; ++g)
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 8 * g), z);
  } else if constexpr (W == 32) {
    std::memcpy(out, p, groups * 32);
  } else if constexpr (ml::pairIn16BitLanes(W)) {
    const PairDecoder<W> d;
    std::size_t g = groups;
    for (; g >= 4; g -= 4) {
      d.decode(p, out);
      d.decode(p + 2 * W, out + 16);
      p += 4 * W;
      out += 32;
    }
    if (g >= 2) {
      d.decode(p, out);
      p += 2 * W;
      out += 16;
      g -= 2;
    }
    if (g != 0) _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), GroupDecoder<W>().decode(p));
  } else if constexpr (ml::wideLoad(W) || ml::dwordPairs(W)) {
    // Reads before the group: the first one of the call takes the general form.
    if (groups == 0) return;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), GroupDecoder<W>().decode(p));
    if constexpr (ml::wideLoad(W)) {
      decodeLoop<W>(WideDecoder<W>(), p + W, out + 8, groups - 1);
    } else {
      decodeLoop<W>(DwordPairDecoder<W>(), p + W, out + 8, groups - 1);
    }
  } else {
    decodeLoop<W>(GroupDecoder<W>(), p, out, groups);
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

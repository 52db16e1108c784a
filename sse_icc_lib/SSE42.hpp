// 128-bit vector operations for the search kernels. Stateless: every member is static and
// inlined, so a kernel instantiated over this class compiles to plain SSE instructions.
// Only units built with -msse4.2 may include it. Everything sits in an unnamed namespace: an
// out-of-line copy emitted by one instruction-set unit can never be picked by another.
#pragma once

#if !defined(__SSE4_2__)
#error "SSE42.hpp belongs to a unit built with -msse4.2"
#endif

#include <immintrin.h>

#include <cstdint>

namespace sse_icc_lib {
namespace {

/// PrefetchDistance: bytes ahead of a load that the prefetch touches (0: no prefetch).
/// Hint: the locality of the prefetch. Temporal (T0): a non-temporal prefetch keeps a line out of
/// L2, so a column that is scanned again is fetched from L3 every time (4x slower in cache), and
/// it streams no faster from memory either (bench_sse_icc_lib, avx2_pf_nta).
template <unsigned PrefetchDistance = 2048, int Hint = _MM_HINT_T0>
struct BasicSSE42 {
  using V = __m128i;
  using maskhV_t = std::int8_t;   // one bit per lane of a half-size result
  using maskV_t = std::int16_t;   // one bit per byte
  using mask2V_t = std::int32_t;  // the hits of two vectors
  using mask4V_t = std::int64_t;  // the hits of four vectors

  static constexpr unsigned kBytes = 16;
  static constexpr unsigned kHalves = 1;
  static constexpr unsigned kPrefetch = PrefetchDistance;

  static void prefetch(const void* p) {
    if constexpr (kPrefetch != 0)
#if defined(__clang__)
      _mm_prefetch(static_cast<const char*>(p) + kPrefetch, Hint);
#else
      _mm_prefetch(static_cast<const char*>(p) + kPrefetch, static_cast<_mm_hint>(Hint));
#endif
  }
  static V loadu(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
  static V loadu_prefetch(const void* p) {
    prefetch(p);
    return loadu(p);
  }
  /// One 16-byte load at p; `hi` (the offset of a second half) has no meaning at this width.
  static V load_lanes(const void* p, unsigned /*hi*/, unsigned withPrefetch) {
    if (withPrefetch) prefetch(p);
    return loadu(p);
  }
  /// A constant: 16 bytes from the table (the second half only exists in wider classes).
  static V load_table(const std::uint8_t* lo, const std::uint8_t* /*hi*/) { return loadu(lo); }
  static void storeu(void* p, V v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

  static V land(V a, V b) { return _mm_and_si128(a, b); }
  static V lor(V a, V b) { return _mm_or_si128(a, b); }
  static V lxor(V a, V b) { return _mm_xor_si128(a, b); }
  static V andnot(V a, V b) { return _mm_andnot_si128(a, b); }  // ~a & b

  static V cmpeq_epi8(V a, V b) { return _mm_cmpeq_epi8(a, b); }
  static V cmpeq_epi16(V a, V b) { return _mm_cmpeq_epi16(a, b); }
  static V cmpeq_epi32(V a, V b) { return _mm_cmpeq_epi32(a, b); }
  static V cmpeq_epi64(V a, V b) { return _mm_cmpeq_epi64(a, b); }
  static V cmpgt_epi8(V a, V b) { return _mm_cmpgt_epi8(a, b); }
  static V cmpgt_epi16(V a, V b) { return _mm_cmpgt_epi16(a, b); }
  static V cmpgt_epi32(V a, V b) { return _mm_cmpgt_epi32(a, b); }
  static V cmpgt_epi64(V a, V b) { return _mm_cmpgt_epi64(a, b); }  // SSE4.2
  static V sub_epi8(V a, V b) { return _mm_sub_epi8(a, b); }
  static V sub_epi16(V a, V b) { return _mm_sub_epi16(a, b); }
  static V sub_epi32(V a, V b) { return _mm_sub_epi32(a, b); }
  static V sub_epi64(V a, V b) { return _mm_sub_epi64(a, b); }

  static long movemask_epi8(V a) { return _mm_movemask_epi8(a); }
  /// 8 bits: the low bytes of the 16-bit lanes gathered, then the byte mask.
  static long movemask_epi16(V a) { return _mm_movemask_epi8(_mm_packs_epi16(a, _mm_setzero_si128())); }
  static long movemask_epi32(V a) { return _mm_movemask_ps(_mm_castsi128_ps(a)); }
  static long movemask_epi64(V a) { return _mm_movemask_pd(_mm_castsi128_pd(a)); }

  /// Hit masks of two 16-bit-lane vectors (16 bits), and of four 32-bit-lane vectors, in order.
  static long movemask_packs16(V a, V b) { return _mm_movemask_epi8(_mm_packs_epi16(a, b)); }
  static long movemask_packs32(V a, V b, V c, V d) {
    return _mm_movemask_epi8(_mm_packs_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)));
  }

  static long meld_mask2V(long a, long b) { return a | (b << 16); }
  static long meld_maskhV(long a, long b) { return a | (b << 4); }
  static long meld_maskhV(long a, long b, long c, long d) {
    return a | (b << 2) | (c << 4) | (d << 6);
  }

  static V shuffle_epi8(V a, V idx) { return _mm_shuffle_epi8(a, idx); }
  static V blendv_epi8(V a, V b, V m) { return _mm_blendv_epi8(a, b, m); }
  static V unpacklo(V a, V b) { return _mm_unpacklo_epi8(a, b); }
  static V unpackhi(V a, V b) { return _mm_unpackhi_epi8(a, b); }
  /// Whole-vector left shift by Bytes bytes.
  template <int Bytes>
  static V bslli(V a) { return _mm_slli_si128(a, Bytes); }
  static V slli_1(V a) { return bslli<1>(a); }
  static V slli_2(V a) { return bslli<2>(a); }
  static V slli_3(V a) { return bslli<3>(a); }
  static V slli_epi64(V a, int n) { return _mm_slli_epi64(a, n); }
  static V srli_epi64(V a, int n) { return _mm_srli_epi64(a, n); }

  static V setzero() { return _mm_setzero_si128(); }
  static V ones() { return _mm_set1_epi32(-1); }
  static V set1_epi8(char a) { return _mm_set1_epi8(a); }
  static V set1_epi16(short a) { return _mm_set1_epi16(a); }
  static V set1_epi32(int a) { return _mm_set1_epi32(a); }
  static V set2_epi64(long long a, long long b) { return _mm_set_epi64x(b, a); }
};

using SSE42 = BasicSSE42<>;

}  // namespace
}  // namespace sse_icc_lib

// 256-bit vector operations for the search kernels: the members of BasicSSE42, each acting on
// the two 128-bit halves independently, so one kernel template serves both classes. Stateless
// and inlined. Only units built with -mavx2 -mbmi2 may include it; everything sits in an
// unnamed namespace so that no copy compiled with these flags can leak to other units.
#pragma once

#if !defined(__AVX2__) || !defined(__BMI2__)
#error "AVX2.hpp belongs to a unit built with -mavx2 -mbmi2"
#endif

#include <immintrin.h>

#include <cstdint>

namespace sse_icc_lib {
namespace {

/// Hint: the locality of the prefetch. Temporal (T0): a non-temporal prefetch keeps a line out of
/// L2, so a column that is scanned again is fetched from L3 every time (4x slower in cache), and
/// it streams no faster from memory either (bench_sse_icc_lib, avx2_pf_nta).
template <unsigned PrefetchDistance = 2048, int Hint = _MM_HINT_T0>
struct BasicAVX2 {
  using V = __m256i;
  using maskhV_t = std::int16_t;
  using maskV_t = std::int32_t;
  using mask2V_t = std::int64_t;
  using mask4V_t = std::int64_t;  // not used at this width

  static constexpr unsigned kBytes = 32;
  static constexpr unsigned kHalves = 2;
  static constexpr unsigned kPrefetch = PrefetchDistance;

  static void prefetch(const void* p) {
    if constexpr (kPrefetch != 0)
#if defined(__clang__)
      _mm_prefetch(static_cast<const char*>(p) + kPrefetch, Hint);
#else
      _mm_prefetch(static_cast<const char*>(p) + kPrefetch, static_cast<_mm_hint>(Hint));
#endif
  }
  static V loadu(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
  static V loadu_prefetch(const void* p) {
    prefetch(p);
    return loadu(p);
  }
  /// Low half from p, high half from p + hi. hi 0 is a broadcast and hi 16 one plain load:
  /// both cost a load and no shuffle; any other offset needs an insert.
  static V load_lanes(const void* p, unsigned hi, unsigned withPrefetch) {
    if (withPrefetch) prefetch(p);
    const char* c = static_cast<const char*>(p);
    if (hi == 0) return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(c)));
    if (hi == 16) return loadu(c);
    return _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(c + hi),
                               reinterpret_cast<const __m128i*>(c));
  }
  static V load_table(const std::uint8_t* lo, const std::uint8_t* hi) {
    return _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(hi),
                               reinterpret_cast<const __m128i*>(lo));
  }
  static void storeu(void* p, V v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }

  static V land(V a, V b) { return _mm256_and_si256(a, b); }
  static V lor(V a, V b) { return _mm256_or_si256(a, b); }
  static V lxor(V a, V b) { return _mm256_xor_si256(a, b); }
  static V andnot(V a, V b) { return _mm256_andnot_si256(a, b); }  // ~a & b

  static V cmpeq_epi8(V a, V b) { return _mm256_cmpeq_epi8(a, b); }
  static V cmpeq_epi16(V a, V b) { return _mm256_cmpeq_epi16(a, b); }
  static V cmpeq_epi32(V a, V b) { return _mm256_cmpeq_epi32(a, b); }
  static V cmpeq_epi64(V a, V b) { return _mm256_cmpeq_epi64(a, b); }
  static V cmpgt_epi8(V a, V b) { return _mm256_cmpgt_epi8(a, b); }
  static V cmpgt_epi16(V a, V b) { return _mm256_cmpgt_epi16(a, b); }
  static V cmpgt_epi32(V a, V b) { return _mm256_cmpgt_epi32(a, b); }
  static V cmpgt_epi64(V a, V b) { return _mm256_cmpgt_epi64(a, b); }
  static V sub_epi8(V a, V b) { return _mm256_sub_epi8(a, b); }
  static V sub_epi16(V a, V b) { return _mm256_sub_epi16(a, b); }
  static V sub_epi32(V a, V b) { return _mm256_sub_epi32(a, b); }
  static V sub_epi64(V a, V b) { return _mm256_sub_epi64(a, b); }

  static long movemask_epi8(V a) { return static_cast<unsigned>(_mm256_movemask_epi8(a)); }
  /// 16 bits: the byte mask, then every other bit extracted.
  static long movemask_epi16(V a) {
    return _pext_u32(static_cast<unsigned>(_mm256_movemask_epi8(a)), 0x55555555u);
  }
  static long movemask_epi32(V a) { return _mm256_movemask_ps(_mm256_castsi256_ps(a)); }
  static long movemask_epi64(V a) { return _mm256_movemask_pd(_mm256_castsi256_pd(a)); }

  /// Hit masks of two 16-bit-lane vectors (32 bits), and of four 32-bit-lane vectors, in order.
  /// The packs work per half, so the packed quarters are put back in value order before the
  /// byte mask: one permute in place of a bit deposit per vector.
  static long movemask_packs16(V a, V b) {
    const V p = _mm256_permute4x64_epi64(_mm256_packs_epi16(a, b), 0xd8);
    return static_cast<unsigned>(_mm256_movemask_epi8(p));
  }
  static long movemask_packs32(V a, V b, V c, V d) {
    const V p = _mm256_packs_epi16(_mm256_packs_epi32(a, b), _mm256_packs_epi32(c, d));
    const V q = _mm256_permutevar8x32_epi32(p, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    return static_cast<unsigned>(_mm256_movemask_epi8(q));
  }

  // Each half of a result holds every other group of values: the partial masks interleave.
  static long meld_mask2V(long a, long b) {
    return static_cast<long>(_pdep_u64(a, 0x0000ffff0000ffffull) |
                             _pdep_u64(b, 0xffff0000ffff0000ull));
  }
  static long meld_maskhV(long a, long b) {
    return static_cast<long>(_pdep_u32(a, 0x0f0f) | _pdep_u32(b, 0xf0f0));
  }
  static long meld_maskhV(long a, long b, long c, long d) {
    return static_cast<long>(_pdep_u32(a, 0x0303) | _pdep_u32(b, 0x0c0c) |
                             _pdep_u32(c, 0x3030) | _pdep_u32(d, 0xc0c0));
  }

  static V shuffle_epi8(V a, V idx) { return _mm256_shuffle_epi8(a, idx); }
  static V blendv_epi8(V a, V b, V m) { return _mm256_blendv_epi8(a, b, m); }
  static V unpacklo(V a, V b) { return _mm256_unpacklo_epi8(a, b); }
  static V unpackhi(V a, V b) { return _mm256_unpackhi_epi8(a, b); }
  template <int Bytes>
  static V bslli(V a) { return _mm256_slli_si256(a, Bytes); }  // per half
  static V slli_1(V a) { return bslli<1>(a); }
  static V slli_2(V a) { return bslli<2>(a); }
  static V slli_3(V a) { return bslli<3>(a); }
  static V slli_epi64(V a, int n) { return _mm256_slli_epi64(a, n); }
  static V srli_epi64(V a, int n) { return _mm256_srli_epi64(a, n); }

  static V setzero() { return _mm256_setzero_si256(); }
  static V ones() { return _mm256_set1_epi32(-1); }
  static V set1_epi8(char a) { return _mm256_set1_epi8(a); }
  static V set1_epi16(short a) { return _mm256_set1_epi16(a); }
  static V set1_epi32(int a) { return _mm256_set1_epi32(a); }
  static V set2_epi64(long long a, long long b) { return _mm256_set_epi64x(b, a, b, a); }
};

using AVX2 = BasicAVX2<>;

}  // namespace
}  // namespace sse_icc_lib

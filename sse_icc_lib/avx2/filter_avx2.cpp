// AVX2 body of the value-filter search: blocks of values are decoded by the group decoder into
// a stack buffer, then eight values at a time gather their filter words and test their bits.
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "sse_icc_lib/avx2/decode_avx2.hpp"
#include "sse_icc_lib/filter_kernels.hpp"

namespace sse_icc_lib::avx2 {
namespace {

constexpr std::size_t kBlock = 512;  // values per decode pass: 2 KiB of stack

inline bool filterHas(const unsigned char* filter, std::uint32_t v) {
  return (filter[v >> 3] >> (v & 7)) & 1u;
}

inline void setResult(unsigned char* result, std::size_t position) {
  std::uint64_t w;
  unsigned char* at = result + (position >> 6) * 8;
  std::memcpy(&w, at, 8);
  w |= std::uint64_t{1} << (position & 63);
  std::memcpy(at, &w, 8);
}

/// Hit bits of 64 decoded values: bit k set when the filter holds values[k]. Bit v of the filter
/// is bit v & 31 of its 32-bit word v >> 5 (little-endian words).
inline std::uint64_t testBlock64(const std::uint32_t* values, const int* filter32) {
  const __m256i low5 = _mm256_set1_epi32(31);
  std::uint64_t hits = 0;
  for (unsigned k = 0; k < 64; k += 8) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(values + k));
    const __m256i words = _mm256_i32gather_epi32(filter32, _mm256_srli_epi32(v, 5), 4);
    // Shift the tested bit to the sign: left by 31 - (v & 31), which is ~v & 31.
    const __m256i top = _mm256_sllv_epi32(words, _mm256_andnot_si256(v, low5));
    const auto m = static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(top)));
    hits |= std::uint64_t{m} << k;
  }
  return hits;
}

}  // namespace
}  // namespace sse_icc_lib::avx2

namespace sse_icc_lib {

void mgetSearchBvResBv_AVX2(std::size_t position, std::size_t count, const unsigned char* filter,
                            unsigned char* result, unsigned int theBits, const Word* theVector,
                            Word theMask) {
  using namespace avx2;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(theVector);
  // Head: singly up to a multiple of 64, where a value group and a result word begin.
  for (; count != 0 && (position & 63) != 0; ++position, --count) {
    if (filterHas(filter, scalarGet(position, theBits, bytes, theMask)))
      setResult(result, position);
  }
  alignas(32) std::uint32_t values[kBlock];
  const DecodeGroupsFn decode = Tables::groups[theBits];
  const auto* filter32 = reinterpret_cast<const int*>(filter);
  std::uint64_t* out = reinterpret_cast<std::uint64_t*>(result) + (position >> 6);
  while (count >= 64) {
    const std::size_t n = count >= kBlock ? kBlock : count & ~std::size_t{63};
    decode(bytes + (position >> 3) * theBits, values, n / 8);
    for (std::size_t k = 0; k < n; k += 64) *out++ |= testBlock64(values + k, filter32);
    position += n;
    count -= n;
  }
  for (; count != 0; ++position, --count) {
    if (filterHas(filter, scalarGet(position, theBits, bytes, theMask)))
      setResult(result, position);
  }
}

}  // namespace sse_icc_lib

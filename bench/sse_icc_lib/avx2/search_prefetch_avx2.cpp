// The AVX2 bit-vector search with other prefetch settings than the library's (2048 bytes ahead,
// temporal), so that the benchmark shows what the choice costs or gains. Built with the AVX2
// flags; run only after the benchmark has checked the processor.
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "sse_icc_lib/AVX2.hpp"
#include "sse_icc_lib/PrefetchVariants.hpp"
#include "sse_icc_lib/sse_generic.hpp"

namespace vorex_bench {

std::size_t searchAvx2Prefetch(PrefetchVariant v, std::size_t index, std::size_t count,
                               unsigned rangeFrom, unsigned rangeTo, unsigned char* out,
                               unsigned bits, const unsigned long* data) {
  using namespace sse_icc_lib;
  unsigned char* o = out + index / 8;
  switch (v) {
    case PrefetchVariant::k4096:
      return search_impl<BVWriter, BasicAVX2<4096>>(index, count, rangeFrom, rangeTo, bits, data, o);
    case PrefetchVariant::k8192:
      return search_impl<BVWriter, BasicAVX2<8192>>(index, count, rangeFrom, rangeTo, bits, data, o);
    case PrefetchVariant::kNta2048:
      return search_impl<BVWriter, BasicAVX2<2048, _MM_HINT_NTA>>(index, count, rangeFrom, rangeTo, bits, data, o);
    case PrefetchVariant::kNone:
      break;
  }
  return search_impl<BVWriter, BasicAVX2<0>>(index, count, rangeFrom, rangeTo, bits, data, o);
}

}  // namespace vorex_bench

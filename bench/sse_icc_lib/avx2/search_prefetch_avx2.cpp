// The AVX2 bit-vector search with other prefetch distances than the library's 2048 bytes, so
// that the benchmark can show what the choice costs or gains. Built with the AVX2 flags; run
// only after the benchmark has checked the processor.
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "sse_icc_lib/AVX2.hpp"
#include "sse_icc_lib/sse_generic.hpp"
#include "sse_icc_lib/PrefetchVariants.hpp"

namespace vorex_bench {

std::size_t searchAvx2Prefetch(unsigned distance, std::size_t index, std::size_t count,
                               unsigned rangeFrom, unsigned rangeTo, unsigned char* out,
                               unsigned bits, const unsigned long* data) {
  using namespace sse_icc_lib;
  if (distance == 4096)
    return search_impl<BVWriter, BasicAVX2<4096>>(index, count, rangeFrom, rangeTo, bits, data, out + index / 8);
  return search_impl<BVWriter, BasicAVX2<8192>>(index, count, rangeFrom, rangeTo, bits, data, out + index / 8);
}

}  // namespace vorex_bench

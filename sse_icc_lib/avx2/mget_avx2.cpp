// The AVX2 bulk-read kernel: one table entry per width, each a compile-time instance of the
// group decoder.
#include "sse_icc_lib/avx2/decode_avx2.hpp"
#include "sse_icc_lib/sse_icc_lib.hpp"

namespace sse_icc_lib {

void mgeti_AVX2(std::size_t index, std::size_t count, unsigned int* out, unsigned int theBits,
                const Word* theVector, Word theMask) {
  if (count == 0 || theBits > 32) return;
  avx2::Tables::mget[theBits](index, count, out, reinterpret_cast<const std::uint8_t*>(theVector),
                              theMask);
}

}  // namespace sse_icc_lib

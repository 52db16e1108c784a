// The SSE4 bulk-read kernel: one table entry per width, each a compile-time instance of the
// group decoder.
#include "sse_icc_lib/sse4/decode_sse4.hpp"
#include "sse_icc_lib/sse_icc_lib.hpp"

namespace sse_icc_lib {

void mgeti_SSE4(std::size_t index, std::size_t count, unsigned int* out, unsigned int theBits,
                const Word* theVector, Word theMask) {
  if (count == 0 || theBits > 32) return;
  sse4::Tables::mget[theBits](index, count, out, reinterpret_cast<const std::uint8_t*>(theVector),
                              theMask);
}

}  // namespace sse_icc_lib

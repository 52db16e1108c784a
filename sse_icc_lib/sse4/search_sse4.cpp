// The range search kernels instantiated for SSE42: 32 widths by two bound forms by two writers.
// Built with this unit's instruction-set flags; reached only through the exported functions.
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "sse_icc_lib/SSE42.hpp"
#include "sse_icc_lib/sse_generic.hpp"
#include "sse_icc_lib/sse_icc_lib.hpp"

namespace sse_icc_lib {

void mgetSearchi_SSE4impl(std::size_t& index, std::size_t count, unsigned int rangeFrom,
                          unsigned int rangeTo, VectorWrapperIfc& out, unsigned int theBits,
                          const Word* theVector, Word theMask, unsigned int& idx) {
  (void)theMask;  // the width decides the mask
  index += search_impl<BVVWriter, SSE42>(index, count, rangeFrom, rangeTo, theBits, theVector,
                                      BVVWriter::Args{out, static_cast<unsigned int>(index), idx});
}

void mgetSearchi_SSE4_bitVector(std::size_t& index, std::size_t count, unsigned int rangeFrom,
                                unsigned int rangeTo, unsigned char* out, unsigned int theBits,
                                const Word* theVector, Word theMask) {
  (void)theMask;
  index += search_impl<BVWriter, SSE42>(index, count, rangeFrom, rangeTo, theBits, theVector,
                                     out + index / 8);
}

}  // namespace sse_icc_lib

// Bodies of the value-filter search per instruction set, behind the baseline entry point
// sse_icc_lib::mgetSearchBvResBv, which picks one by what the processor offers. Declarations
// only, so the header is safe on both sides of the instruction-set firewall.
// Preconditions: 1 <= theBits <= 32; any position and count. Result bits are or-ed.
#pragma once

#include <cstddef>

#include "sse_icc_lib/sse_icc_lib.hpp"

namespace sse_icc_lib {

void mgetSearchBvResBv_AVX2(std::size_t position, std::size_t count, const unsigned char* filter,
                            unsigned char* result, unsigned int theBits, const Word* theVector,
                            Word theMask);
void mgetSearchBvResBv_SSE4(std::size_t position, std::size_t count, const unsigned char* filter,
                            unsigned char* result, unsigned int theBits, const Word* theVector,
                            Word theMask);

}  // namespace sse_icc_lib

// Instruction-set levels and the exported SIMD entry points. This header is built with baseline
// flags on both sides of the ISA firewall: declarations only, no inline code, no intrinsics.
// The kernels are reached only through the pointers that force_mgetSSE_C /
// force_mgetSearchSSE_C hand out, or after IndexVectorRef::configSSE has checked the processor.
#pragma once

#include <cstddef>

/// Instruction-set levels; the numbers are fixed.
enum SSE_VERSION {
  NOSSE = 0,
  AUTO_DETECT = 1,
  SSE2 = 2,
  SSSE3 = 3,
  SSE4_1 = 4,
  SSE4_2 = 5,
  AUTO_NO_EST = 6,
  AVX2 = 7,
  AVX512VL = 8,
};

class VectorWrapperIfc;

namespace sse_icc_lib {

using Word = unsigned long;

/// Bulk read frame: (index, count, out, theBits, theVector, theMask).
using MgetFn = void (*)(std::size_t, std::size_t, unsigned int*, unsigned int, const Word*, Word);
/// List search frame: (index, count, rangeFrom, rangeTo, out, theBits, theVector, theMask).
using MgetSearchFn = void (*)(std::size_t, std::size_t, unsigned int, unsigned int,
                              VectorWrapperIfc&, unsigned int, const Word*, Word);

/// mgeti_SSE4 for SSE4_1; mgeti_AVX2 for AVX2 and AVX512VL; null otherwise (SSE4_2 included).
MgetFn force_mgetSSE_C(SSE_VERSION version);
/// mgetSearchi_SSE4 / mgetSearchi_AVX2 by the same rule, or null.
MgetSearchFn force_mgetSearchSSE_C(SSE_VERSION version);

// Decode kernels: the same values as VorexUtils::mgetGeneric for every width, from and count.
void mgeti_SSE4(std::size_t index, std::size_t count, unsigned int* out, unsigned int theBits,
                const Word* theVector, Word theMask);
void mgeti_AVX2(std::size_t index, std::size_t count, unsigned int* out, unsigned int theBits,
                const Word* theVector, Word theMask);

// Full list searches (own prologue and epilogue); append behind the present size of out.
void mgetSearchi_SSE4(std::size_t index, std::size_t count, unsigned int rangeFrom,
                      unsigned int rangeTo, VectorWrapperIfc& out, unsigned int theBits,
                      const Word* theVector, Word theMask);
void mgetSearchi_AVX2(std::size_t index, std::size_t count, unsigned int rangeFrom,
                      unsigned int rangeTo, VectorWrapperIfc& out, unsigned int theBits,
                      const Word* theVector, Word theMask);

// Vector bodies of the list search: index a multiple of 128, theBits >= 1; idx is the number
// of entries of out in use, and index advances by the values consumed.
void mgetSearchi_SSE4impl(std::size_t& index, std::size_t count, unsigned int rangeFrom,
                          unsigned int rangeTo, VectorWrapperIfc& out, unsigned int theBits,
                          const Word* theVector, Word theMask, unsigned int& idx);
void mgetSearchi_AVX2impl(std::size_t& index, std::size_t count, unsigned int rangeFrom,
                          unsigned int rangeTo, VectorWrapperIfc& out, unsigned int theBits,
                          const Word* theVector, Word theMask, unsigned int& idx);

// Bit-vector bodies: out is the storage of a BitVector (bit i = position i). Same
// preconditions; index advances by the values consumed, the caller finishes the rest.
void mgetSearchi_SSE4_bitVector(std::size_t& index, std::size_t count, unsigned int rangeFrom,
                                unsigned int rangeTo, unsigned char* out, unsigned int theBits,
                                const Word* theVector, Word theMask);
void mgetSearchi_AVX2_bitVector(std::size_t& index, std::size_t count, unsigned int rangeFrom,
                                unsigned int rangeTo, unsigned char* out, unsigned int theBits,
                                const Word* theVector, Word theMask);

/// Value-filter search into bits: bit v of `filter` selects value v. Gives the bits of
/// VorexUtils::mgetSearchGenericBvResBv. The position is taken by value.
void mgetSearchBvResBv(std::size_t position, std::size_t count, const unsigned char* filter,
                       unsigned char* result, unsigned int theBits, const Word* theVector,
                       Word theMask);

}  // namespace sse_icc_lib

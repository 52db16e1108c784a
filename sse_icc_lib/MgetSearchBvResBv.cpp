// The value-filter search entry point. Baseline code: it asks the processor once per call which
// body may run (AVX2 with BMI2, since the AVX2 unit is built with both; else SSE4.1; else a
// plain loop) and hands over.
#include <cstdint>

#include "sse_icc_lib/ProcessorInfo.hpp"
#include "sse_icc_lib/filter_kernels.hpp"
#include "sse_icc_lib/getGeneric.hpp"
#include "sse_icc_lib/sse_icc_lib.hpp"

namespace sse_icc_lib {

namespace {

void setResult(unsigned char* result, std::size_t position) {
  reinterpret_cast<std::uint64_t*>(result)[position >> 6] |= std::uint64_t{1} << (position & 63);
}

}  // namespace

void mgetSearchBvResBv(std::size_t position, std::size_t count, const unsigned char* filter,
                       unsigned char* result, unsigned int theBits, const Word* theVector,
                       Word theMask) {
  if (count == 0) return;
  if (theBits == 0) {
    // Every value is 0: bit 0 of the filter decides all positions.
    if (filter[0] & 1u) {
      for (std::size_t end = position + count; position < end; ++position)
        setResult(result, position);
    }
    return;
  }
  if (theBits > 32) return;
  if (ltt::ProcessorInfo::hasAvx2() && ltt::ProcessorInfo::hasBmi2()) {
    mgetSearchBvResBv_AVX2(position, count, filter, result, theBits, theVector, theMask);
  } else if (ltt::ProcessorInfo::hasSse41()) {
    mgetSearchBvResBv_SSE4(position, count, filter, result, theBits, theVector, theMask);
  } else {
    for (std::size_t end = position + count; position < end; ++position) {
      const unsigned int v = getGeneric(position, theBits, theVector, theMask);
      if ((filter[v >> 3] >> (v & 7)) & 1u) setResult(result, position);
    }
  }
}

}  // namespace sse_icc_lib

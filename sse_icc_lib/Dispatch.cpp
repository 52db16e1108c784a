// Hands out kernel pointers by instruction-set level. Baseline code: it only returns
// addresses; whether the processor may run them is configSSE's question.
#include "sse_icc_lib/sse_icc_lib.hpp"

namespace sse_icc_lib {

MgetFn force_mgetSSE_C(SSE_VERSION version) {
  switch (version) {
    case SSE4_1:
      return &mgeti_SSE4;
    case AVX2:
    case AVX512VL:  // no kernels of its own
      return &mgeti_AVX2;
    default:  // SSE4_2 included: only configSSE maps it to SSE4_1
      return nullptr;
  }
}

MgetSearchFn force_mgetSearchSSE_C(SSE_VERSION version) {
  switch (version) {
    case SSE4_1:
      return &mgetSearchi_SSE4;
    case AVX2:
    case AVX512VL:
      return &mgetSearchi_AVX2;
    default:
      return nullptr;
  }
}

}  // namespace sse_icc_lib

// Which kernel each instruction-set level hands out. Only addresses are compared: nothing here
// runs a kernel, so the table holds on any processor.
#include <gtest/gtest.h>

#include "sse_icc_lib/sse_icc_lib.hpp"

namespace {

TEST(ForceKernels, MappingByLevel) {
  using namespace sse_icc_lib;
  const struct {
    SSE_VERSION version;
    MgetFn mget;
    MgetSearchFn search;
  } table[] = {
      {NOSSE, nullptr, nullptr},
      {AUTO_DETECT, nullptr, nullptr},
      {SSE2, nullptr, nullptr},
      {SSSE3, nullptr, nullptr},
      {SSE4_1, &mgeti_SSE4, &mgetSearchi_SSE4},
      {SSE4_2, nullptr, nullptr},  // only configSSE maps it to SSE4_1
      {AUTO_NO_EST, nullptr, nullptr},
      {AVX2, &mgeti_AVX2, &mgetSearchi_AVX2},
      {AVX512VL, &mgeti_AVX2, &mgetSearchi_AVX2},  // no kernels of its own
      {static_cast<SSE_VERSION>(9), nullptr, nullptr},
      {static_cast<SSE_VERSION>(15), nullptr, nullptr},
  };
  for (const auto& row : table) {
    EXPECT_EQ(force_mgetSSE_C(row.version), row.mget) << "version " << row.version;
    EXPECT_EQ(force_mgetSearchSSE_C(row.version), row.search) << "version " << row.version;
  }
}

}  // namespace

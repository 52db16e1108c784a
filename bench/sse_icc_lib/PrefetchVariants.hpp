// Bench-only AVX2 bit-vector search with other prefetch settings. Same contract as
// mgetSearchi_AVX2_bitVector; returns the values consumed.
#pragma once

#include <cstddef>

namespace vorex_bench {

enum class PrefetchVariant { k4096, k8192, kNta2048, kNone };

std::size_t searchAvx2Prefetch(PrefetchVariant v, std::size_t index, std::size_t count,
                               unsigned rangeFrom, unsigned rangeTo, unsigned char* out,
                               unsigned bits, const unsigned long* data);

}  // namespace vorex_bench

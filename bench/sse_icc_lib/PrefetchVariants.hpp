// Bench-only AVX2 bit-vector search with a prefetch distance of 4096 or 8192 bytes (any other
// value means 8192). Same contract as mgetSearchi_AVX2_bitVector; returns the values consumed.
#pragma once

#include <cstddef>

namespace vorex_bench {

std::size_t searchAvx2Prefetch(unsigned distance, std::size_t index, std::size_t count,
                               unsigned rangeFrom, unsigned rangeTo, unsigned char* out,
                               unsigned bits, const unsigned long* data);

}  // namespace vorex_bench

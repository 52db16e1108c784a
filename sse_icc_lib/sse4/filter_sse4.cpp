// SSE4 body of the value-filter search: blocks of values are decoded by the group decoder into
// a stack buffer, then each value's filter bit is tested singly (SSE has no gather).
#include <cstdint>
#include <cstring>

#include "sse_icc_lib/filter_kernels.hpp"
#include "sse_icc_lib/sse4/decode_sse4.hpp"

namespace sse_icc_lib::sse4 {
namespace {

constexpr std::size_t kBlock = 512;  // values per decode pass: 2 KiB of stack

inline std::uint64_t filterBit(const unsigned char* filter, std::uint32_t v) {
  return (filter[v >> 3] >> (v & 7)) & 1u;
}

/// Hit bits of 64 decoded values. Without BMI2 a shift by a variable count costs several
/// micro-ops, so each bit is taken with BT (count modulo 64 from a register) and shifted into
/// the hit word with ADC, last value first.
inline std::uint64_t testBlock64(const std::uint32_t* values, const std::uint64_t* filter64) {
  std::uint64_t hits = 0;
  for (int j = 63; j >= 0; --j) {
    const std::uint64_t v = values[j];
    __asm__("btq %2, %1\n\tadcq %0, %0" : "+r"(hits) : "r"(filter64[v >> 6]), "r"(v) : "cc");
  }
  return hits;
}

inline void setResult(unsigned char* result, std::size_t position) {
  std::uint64_t w;
  unsigned char* at = result + (position >> 6) * 8;
  std::memcpy(&w, at, 8);
  w |= std::uint64_t{1} << (position & 63);
  std::memcpy(at, &w, 8);
}

}  // namespace
}  // namespace sse_icc_lib::sse4

namespace sse_icc_lib {

void mgetSearchBvResBv_SSE4(std::size_t position, std::size_t count, const unsigned char* filter,
                            unsigned char* result, unsigned int theBits, const Word* theVector,
                            Word theMask) {
  using namespace sse4;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(theVector);
  // Head: singly up to a multiple of 64, where a value group and a result word begin.
  for (; count != 0 && (position & 63) != 0; ++position, --count) {
    if (filterBit(filter, scalarGet(position, theBits, bytes, theMask)))
      setResult(result, position);
  }
  alignas(16) std::uint32_t values[kBlock];
  const DecodeGroupsFn decode = Tables::groups[theBits];
  const auto* filter64 = reinterpret_cast<const std::uint64_t*>(filter);
  std::uint64_t* out = reinterpret_cast<std::uint64_t*>(result) + (position >> 6);
  while (count >= 64) {
    const std::size_t n = count >= kBlock ? kBlock : count & ~std::size_t{63};
    decode(bytes + (position >> 3) * theBits, values, n / 8);
    for (std::size_t k = 0; k < n; k += 64) *out++ |= testBlock64(values + k, filter64);
    position += n;
    count -= n;
  }
  for (; count != 0; ++position, --count) {
    if (filterBit(filter, scalarGet(position, theBits, bytes, theMask)))
      setResult(result, position);
  }
}

}  // namespace sse_icc_lib

// The list form of the SIMD range search around its vector body: the scalar prologue up to a
// multiple of 128 positions, the width-0 case, the scalar epilogue, and the accessors through
// which the instruction-set units grow the list. Built with baseline flags: only the vector body
// (mgetSearchi_*impl) runs instructions that the processor has to be checked for.
#include <cstdint>
#include <cstring>

#include "sse_icc_lib/search_list.hpp"

#include "VorexUtils/MgetBuffer.hpp"
#include "sse_icc_lib/sse_icc_lib.hpp"

namespace sse_icc_lib {

ListView searchListView(VectorWrapperIfc& out) { return {out.m_Ptr, out.size()}; }

ListView searchListGrow(VectorWrapperIfc& out, std::size_t need) {
  while (out.size() < need) out.vector_resize_noinit(2 * out.size());
  return {out.m_Ptr, out.size()};
}

namespace {

using ImplFn = void (*)(std::size_t&, std::size_t, unsigned int, unsigned int, VectorWrapperIfc&,
                        unsigned int, const Word*, Word, unsigned int&);

/// Value at `i`, read with word-aligned access (two words when it straddles them).
inline unsigned int valueAt(const Word* data, unsigned int bits, Word mask, std::size_t i) {
  const std::uint64_t p = std::uint64_t{i} * bits;
  const unsigned s = p & 63;
  std::uint64_t v = data[p >> 6] >> s;
  if (s + bits > 64) v |= data[(p >> 6) + 1] << (64 - s);
  return static_cast<unsigned int>(v & mask);
}

void listSearch(ImplFn impl, std::size_t index, std::size_t count, unsigned int rangeFrom,
                unsigned int rangeTo, VectorWrapperIfc& out, unsigned int theBits,
                const Word* theVector, Word theMask) {
  if (rangeFrom > theMask) return;
  unsigned int idx = static_cast<unsigned int>(out.size());
  out.vector_resize_noinit(std::size_t{idx} + 2048);
  const std::size_t end = index + count;
  for (; (index & 127) != 0 && index < end; ++index) {
    const unsigned int v = valueAt(theVector, theBits, theMask, index);
    if (v >= rangeFrom && v < rangeTo) {
      out[idx++] = static_cast<unsigned int>(index);
      if (idx == out.size()) out.vector_resize_noinit(2 * out.size());
    }
  }
  if (theMask < 0xffffffffu && rangeTo > theMask + 1) rangeTo = static_cast<unsigned int>(theMask + 1);
  if (end - index >= 128) {
    if (theBits == 0) {
      if (rangeFrom == 0 && rangeTo > 0) {
        for (; index < end; ++index) {
          if (idx == out.size()) out.vector_resize_noinit(2 * out.size());
          out[idx++] = static_cast<unsigned int>(index);
        }
      }
    } else {
      impl(index, end - index, rangeFrom, rangeTo, out, theBits, theVector, theMask, idx);
    }
  }
  for (; index < end; ++index) {
    const unsigned int v = valueAt(theVector, theBits, theMask, index);
    if (v >= rangeFrom && v < rangeTo) {
      if (idx == out.size()) out.vector_resize_noinit(2 * out.size());
      out[idx++] = static_cast<unsigned int>(index);
    }
  }
  out.vector_resize_noinit(idx);
}

}  // namespace

void mgetSearchi_SSE4(std::size_t index, std::size_t count, unsigned int rangeFrom,
                      unsigned int rangeTo, VectorWrapperIfc& out, unsigned int theBits,
                      const Word* theVector, Word theMask) {
  listSearch(&mgetSearchi_SSE4impl, index, count, rangeFrom, rangeTo, out, theBits, theVector, theMask);
}

void mgetSearchi_AVX2(std::size_t index, std::size_t count, unsigned int rangeFrom,
                      unsigned int rangeTo, VectorWrapperIfc& out, unsigned int theBits,
                      const Word* theVector, Word theMask) {
  listSearch(&mgetSearchi_AVX2impl, index, count, rangeFrom, rangeTo, out, theBits, theVector, theMask);
}

}  // namespace sse_icc_lib

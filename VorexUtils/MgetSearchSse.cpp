// Adapters from the bit-vector search slots to the SIMD kernels. The kernels want a start at a
// multiple of 128 positions (byte-exact in both the data and the result) and at least 128
// positions; the adapters read the rest singly with word-aligned access.
// Thread-compatible: a search only reads the vector; bits are or-ed without atomics, so
// concurrent searches into one BitVector must not share a 64-bit word.
#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/IndexVectorRef.hpp"
#include "sse_icc_lib/getGeneric.hpp"
#include "sse_icc_lib/sse_icc_lib.hpp"

namespace VorexUtils {

namespace {

constexpr unsigned long kKernelBlock = 128;

inline void setBit(std::uint64_t* words, unsigned long position) {
  words[position >> 6] |= std::uint64_t{1} << (position & 63);
}

inline bool inRange(unsigned int v, unsigned int rangeFrom, unsigned int rangeTo) {
  return rangeFrom <= v && v < rangeTo;
}

inline bool inFilter(const std::uint64_t* filter, unsigned int v) {
  return (filter[v >> 6] >> (v & 63)) & 1u;
}

}  // namespace

void mgetSearchSseResBv(unsigned long from, unsigned long count, unsigned int rangeFrom,
                        unsigned int rangeTo, BitVector& result, unsigned int bits,
                        const unsigned long* data, unsigned long mask) {
  if (rangeFrom > mask) return;  // no value can match
  std::uint64_t* out = result.wordsBegin();
  const unsigned long end = from + count;
  unsigned long position = from;

  if (position % kKernelBlock != 0) {
    const unsigned long aligned = (position / kKernelBlock + 1) * kKernelBlock;
    for (; position < aligned && position < end; ++position) {
      if (inRange(sse_icc_lib::getGeneric(position, bits, data, mask), rangeFrom, rangeTo)) {
        setBit(out, position);
      }
    }
    if (position == end) return;
  }

  if (end - position >= kKernelBlock) {
    if (bits == 0) {
      // Every value is 0: one test decides all remaining positions.
      if (rangeFrom == 0 && rangeTo != 0) {
        for (; position < end; ++position) setBit(out, position);
      }
      return;
    }
    void* storage;
    unsigned long bytes;
    result.readStorage(storage, bytes);
    std::size_t index = position;
    if (detail::gUseMgetSearchAVX2) {
      sse_icc_lib::mgetSearchi_AVX2_bitVector(index, end - position, rangeFrom, rangeTo,
                                              static_cast<unsigned char*>(storage), bits, data,
                                              mask);
    } else {
      sse_icc_lib::mgetSearchi_SSE4_bitVector(index, end - position, rangeFrom, rangeTo,
                                              static_cast<unsigned char*>(storage), bits, data,
                                              mask);
    }
    position = index;
  }

  for (; position < end; ++position) {
    if (inRange(sse_icc_lib::getGeneric(position, bits, data, mask), rangeFrom, rangeTo)) {
      setBit(out, position);
    }
  }
}

// Kept in its original shape: `from` is rounded down, so an unaligned start is searched singly
// to the end and the kernel gets a count of 0; the kernel takes the position by value, so the
// final loop repeats the kernel's range. Bits are only or-ed, so the result is the same.
void mgetSearchSseBvResBv(unsigned long from, unsigned long count, const BitVector& filter,
                          BitVector& result, unsigned int bits, const unsigned long* data,
                          unsigned long mask) {
  const std::uint64_t* filterWords = filter.wordsBegin();
  std::uint64_t* out = result.wordsBegin();
  const unsigned long end = from + count;
  unsigned long position = from;
  const unsigned long rounded = from / kKernelBlock * kKernelBlock;

  if (position != rounded) {
    for (; position != rounded && count != 0; ++position, --count) {
      if (inFilter(filterWords, sse_icc_lib::getGeneric(position, bits, data, mask))) {
        setBit(out, position);
      }
    }
  }

  void* filterStorage;
  void* resultStorage;
  unsigned long filterBytes, resultBytes;
  filter.readStorage(filterStorage, filterBytes);
  result.readStorage(resultStorage, resultBytes);
  sse_icc_lib::mgetSearchBvResBv(position, count, static_cast<const unsigned char*>(filterStorage),
                                 static_cast<unsigned char*>(resultStorage), bits, data, mask);

  for (; position < end; ++position) {
    if (inFilter(filterWords, sse_icc_lib::getGeneric(position, bits, data, mask))) {
      setBit(out, position);
    }
  }
}

}  // namespace VorexUtils

// The mgetSearch members of IndexVectorRef and the search slots. Members unpack the view into
// the frame (from, count, args..., bits, data, mask) and route: range searches through the slots
// that configSSE may point at SIMD kernels, value filters always to the generic code, position
// range lists pair by pair. The slots are constant-initialised, so they hold the generic code
// before any static initialiser of another unit can search.
#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/IndexVectorRef.hpp"
#include "VorexUtils/MgetBuffer.hpp"

namespace VorexUtils {

namespace detail {
constinit MgetSearchResBvFn gMgetSearchResBvPtr_C_Fn = &mgetSearchGenericResBv;
constinit MgetSearchFn gMgetSearchPtr_C_Fn = nullptr;  // read only while gUseMgetSearchSSE
constinit bool gUseMgetSearchSSE = false;
constinit bool gUseMgetSearchAVX2 = false;
}  // namespace detail

void IndexVectorRef::mgetSearch(unsigned long from, unsigned long count, unsigned int rangeFrom,
                                unsigned int rangeTo, ltt::vector<unsigned int>& result) const {
  if (detail::gUseMgetSearchSSE) {
    // The kernels grow the list through the wrapper; it appends behind the present size.
    VectorWrapper wrapper(result);
    detail::gMgetSearchPtr_C_Fn(from, count, rangeFrom, rangeTo, wrapper, m_bits, m_buffer, m_mask);
  } else {
    mgetSearchGeneric(from, count, rangeFrom, rangeTo, result, m_bits, m_buffer, m_mask);
  }
}

void IndexVectorRef::mgetSearch(unsigned long from, unsigned long count, unsigned int rangeFrom,
                                unsigned int rangeTo, BitVector& result) const {
  detail::gMgetSearchResBvPtr_C_Fn(from, count, rangeFrom, rangeTo, result, m_bits, m_buffer,
                                   m_mask);
}

// There is no SIMD path for a value filter, whatever configSSE has chosen.
void IndexVectorRef::mgetSearch(unsigned long from, unsigned long count, const BitVector& filter,
                                ltt::vector<unsigned int>& result) const {
  mgetSearchGenericBv(from, count, filter, result, m_bits, m_buffer, m_mask);
}

void IndexVectorRef::mgetSearch(unsigned long from, unsigned long count, const BitVector& filter,
                                BitVector& result) const {
  mgetSearchGenericBvResBv(from, count, filter, result, m_bits, m_buffer, m_mask);
}

// Position range lists hold flat (start, end) pairs. The walk stops only when the cursor meets
// the end of the list, so the list must have an even number of entries; the count of a pair is
// the 32-bit difference of its entries.
void IndexVectorRef::mgetSearch(ltt::vector<unsigned int>& positionRanges, unsigned int rangeFrom,
                                unsigned int rangeTo, ltt::vector<unsigned int>& result) const {
  const unsigned int* const end = positionRanges.data() + positionRanges.size();
  for (const unsigned int* p = positionRanges.data(); p != end; p += 2)
    mgetSearch(p[0], static_cast<unsigned int>(p[1] - p[0]), rangeFrom, rangeTo, result);
}

void IndexVectorRef::mgetSearch(ltt::vector<unsigned int>& positionRanges, unsigned int rangeFrom,
                                unsigned int rangeTo, BitVector& result) const {
  const unsigned int* const end = positionRanges.data() + positionRanges.size();
  for (const unsigned int* p = positionRanges.data(); p != end; p += 2)
    mgetSearch(p[0], static_cast<unsigned int>(p[1] - p[0]), rangeFrom, rangeTo, result);
}

// The ReadIterator twins ignore the iterator.
void IndexVectorRef::mgetSearch(ReadIterator&, unsigned long from, unsigned long count,
                                unsigned int rangeFrom, unsigned int rangeTo,
                                ltt::vector<unsigned int>& result) const {
  mgetSearch(from, count, rangeFrom, rangeTo, result);
}

void IndexVectorRef::mgetSearch(ReadIterator&, unsigned long from, unsigned long count,
                                unsigned int rangeFrom, unsigned int rangeTo,
                                BitVector& result) const {
  mgetSearch(from, count, rangeFrom, rangeTo, result);
}

void IndexVectorRef::mgetSearch(ReadIterator&, unsigned long from, unsigned long count,
                                const BitVector& filter, ltt::vector<unsigned int>& result) const {
  mgetSearch(from, count, filter, result);
}

void IndexVectorRef::mgetSearch(ReadIterator&, unsigned long from, unsigned long count,
                                const BitVector& filter, BitVector& result) const {
  mgetSearch(from, count, filter, result);
}

void IndexVectorRef::mgetSearch(ReadIterator&, ltt::vector<unsigned int>& positionRanges,
                                unsigned int rangeFrom, unsigned int rangeTo,
                                ltt::vector<unsigned int>& result) const {
  mgetSearch(positionRanges, rangeFrom, rangeTo, result);
}

void IndexVectorRef::mgetSearch(ReadIterator&, ltt::vector<unsigned int>& positionRanges,
                                unsigned int rangeFrom, unsigned int rangeTo,
                                BitVector& result) const {
  mgetSearch(positionRanges, rangeFrom, rangeTo, result);
}

}  // namespace VorexUtils

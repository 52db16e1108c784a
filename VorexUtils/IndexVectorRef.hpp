// IndexVectorRef: the non-owning view on a packed vector of unsigned values of 0 to 32 bits.
// Value i takes stream bits [i*bits, i*bits+bits) of an array of little-endian 64-bit words,
// least significant bit first, with no gap; one spare word lies behind the last used word so
// that single-value access may touch an 8-byte span at a 4-byte step. The view knows no size:
// callers pass positions and counts and guarantee they exist.
// Thread-compatible: concurrent readers are safe; writers must be serialised by the caller.
// Bulk operations go through process-wide slots chosen by configSSE before search traffic.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "VorexUtils/IndexVectorAllocator.hpp"
#include "VorexUtils/IvByteOrder.hpp"
#include "ltt/string.hpp"
#include "ltt/vector.hpp"
#include "sse_icc_lib/sse_icc_lib.hpp"

namespace VorexUtils {

class BitVector;
class MgetBuffer;

using Word = unsigned long;

class IndexVectorRef {
 public:
  /// Position cursor kept in the signatures of the forwarding search overloads (ignored there).
  struct ReadIterator {
    unsigned long position = 0;
  };

  /// A view that was never given a width: no buffer, 32 bits, mask 0xFFFFFFFF.
  IndexVectorRef() noexcept = default;
  /// A view over foreign words (with the spare-word allowance behind the last used one).
  IndexVectorRef(const Word* buffer, unsigned int bits, AllocatorGroup group = IVA_Single) noexcept
      : m_buffer(const_cast<Word*>(buffer)), m_group(group) {
    IndexVectorRef::setBits(bits);
  }

  /// The width needed for `range` distinct values 0..range-1 (0 and 1 give 0).
  static unsigned int getBits(unsigned int range) noexcept;
  /// Sets the width and the mask; touches no data (reinterprets the stream).
  void setBits(unsigned int bits) noexcept {
    m_bits = bits;
    m_mask = static_cast<std::uint32_t>((std::uint64_t{1} << bits) - 1);
  }
  static IvByteOrder getByteOrder() noexcept { return IV_LITTLE64l; }

  /// One unaligned 8-byte load at byte 4*(p>>5), one shift, one mask: no branch.
  unsigned int get(unsigned long i) const noexcept {
    const unsigned long p = i * m_bits;
    std::uint64_t span;
    std::memcpy(&span, reinterpret_cast<const char*>(m_buffer) + 4 * (p >> 5), 8);
    return static_cast<unsigned int>(span >> (p & 31)) & static_cast<unsigned int>(m_mask);
  }
  /// Read-modify-write of the same span. The value is not masked: a wider one spills over.
  void set(unsigned long i, unsigned int value) noexcept {
    const unsigned long p = i * m_bits;
    const unsigned s = p & 31;
    char* at = reinterpret_cast<char*>(m_buffer) + 4 * (p >> 5);
    std::uint64_t span;
    std::memcpy(&span, at, 8);
    span = (span & ~(m_mask << s)) | (std::uint64_t{value} << s);
    std::memcpy(at, &span, 8);
  }

  unsigned long wordSize(unsigned long n) const noexcept {
    return (m_bits == 0 && n != 0) ? 1 : (std::uint64_t{m_bits} * n + 63) >> 6;
  }
  unsigned long byteSize(unsigned long n) const noexcept { return 8 * wordSize(n); }

  /// First position in [first, last) whose value is not below `value` (non-descending range).
  long lowerBound(unsigned int value, long first, long last) const noexcept;
  void swap(IndexVectorRef& other) noexcept;

  // --- bulk read and write ---
  void mget(unsigned long from, unsigned long count, const MgetBuffer& dest) const;
  void mset(unsigned long from, unsigned long count, const unsigned int* values);
  void mset(unsigned long from, unsigned long count, unsigned int value);

  // --- range search: rangeFrom <= v < rangeTo, unsigned; lists append, bits are or-ed ---
  void mgetSearch(unsigned long from, unsigned long count, unsigned int rangeFrom,
                  unsigned int rangeTo, ltt::vector<unsigned int>& result) const;
  void mgetSearch(unsigned long from, unsigned long count, unsigned int rangeFrom,
                  unsigned int rangeTo, BitVector& result) const;
  void mgetSearch(unsigned long from, unsigned long count, const BitVector& filter,
                  ltt::vector<unsigned int>& result) const;
  void mgetSearch(unsigned long from, unsigned long count, const BitVector& filter,
                  BitVector& result) const;
  void mgetSearch(ltt::vector<unsigned int>& positionRanges, unsigned int rangeFrom,
                  unsigned int rangeTo, ltt::vector<unsigned int>& result) const;
  void mgetSearch(ltt::vector<unsigned int>& positionRanges, unsigned int rangeFrom,
                  unsigned int rangeTo, BitVector& result) const;
  void mgetSearch(ReadIterator& it, unsigned long from, unsigned long count,
                  unsigned int rangeFrom, unsigned int rangeTo,
                  ltt::vector<unsigned int>& result) const;
  void mgetSearch(ReadIterator& it, unsigned long from, unsigned long count,
                  unsigned int rangeFrom, unsigned int rangeTo, BitVector& result) const;
  void mgetSearch(ReadIterator& it, unsigned long from, unsigned long count,
                  const BitVector& filter, ltt::vector<unsigned int>& result) const;
  void mgetSearch(ReadIterator& it, unsigned long from, unsigned long count,
                  const BitVector& filter, BitVector& result) const;
  void mgetSearch(ReadIterator& it, ltt::vector<unsigned int>& positionRanges,
                  unsigned int rangeFrom, unsigned int rangeTo,
                  ltt::vector<unsigned int>& result) const;
  void mgetSearch(ReadIterator& it, ltt::vector<unsigned int>& positionRanges,
                  unsigned int rangeFrom, unsigned int rangeTo, BitVector& result) const;

  /// Rewrites `size` values stored in layout `order` in place to IV_LITTLE64l; false for an
  /// unknown layout. The width must be set.
  bool convertFromByteOrder(IvByteOrder order, unsigned long size);

  // --- instruction-set selection (call before search traffic) ---
  static void configSSE(const ltt::vector<ltt::string>& versions);
  static SSE_VERSION stringToVersion(const char* text);
  static const char* versionToString(SSE_VERSION version);
  /// Appends two ints: 1 if mget is not generic, then 1 if the list search uses SIMD.
  static void isSetSSE(ltt::vector<int>& result);

  static const char* const strNOSSE;
  static const char* const strAUTO;
  static const char* const strYES;
  static const char* const strON;
  static const char* const strTRUE;
  static const char* const str1;
  static const char* const strSSE2;
  static const char* const strSSSE3;
  static const char* const strSSE4_1;
  static const char* const strSSE4_2;
  static const char* const strAVX2;

  // --- plain accessors ---
  const Word* data() const noexcept { return m_buffer; }
  Word* data() noexcept { return m_buffer; }
  unsigned int bits() const noexcept { return m_bits; }
  Word mask() const noexcept { return m_mask; }
  AllocatorGroup group() const noexcept {
    return static_cast<AllocatorGroup>(m_group & ~static_cast<unsigned>(IVA_MappedFlag));
  }

 protected:
  Word* m_buffer = nullptr;
  Word m_mask = 0xFFFFFFFFu;
  unsigned int m_bits = 32;
  unsigned int m_group = 0;  // low 31 bits: AllocatorGroup; top bit: mapped (not owned)
};

// --- the slots and the generic functions, all in the frame (from, count, args..., bits, data,
// mask) so that generic code and kernels stand in for one another ---

using MgetFn = sse_icc_lib::MgetFn;
using MgetSearchFn = sse_icc_lib::MgetSearchFn;
using MgetSearchResBvFn = void (*)(std::size_t, std::size_t, unsigned int, unsigned int,
                                   BitVector&, unsigned int, const Word*, Word);

namespace detail {
// Process-wide selection state: written only by configSSE, read on every bulk call.
extern MgetFn gMgetPtr_C_Fn;
extern MgetSearchResBvFn gMgetSearchResBvPtr_C_Fn;
extern MgetSearchFn gMgetSearchPtr_C_Fn;
extern bool gUseMgetSearchSSE;
extern bool gUseMgetSearchAVX2;
}  // namespace detail

void mgetGeneric(unsigned long from, unsigned long count, unsigned int* dest, unsigned int bits,
                 const unsigned long* data, unsigned long mask);
void mgetSearchGeneric(unsigned long from, unsigned long count, unsigned int rangeFrom,
                       unsigned int rangeTo, ltt::vector<unsigned int>& result, unsigned int bits,
                       const unsigned long* data, unsigned long mask);
void mgetSearchGenericResBv(unsigned long from, unsigned long count, unsigned int rangeFrom,
                            unsigned int rangeTo, BitVector& result, unsigned int bits,
                            const unsigned long* data, unsigned long mask);
void mgetSearchGenericBvResBv(unsigned long from, unsigned long count, const BitVector& filter,
                              BitVector& result, unsigned int bits, const unsigned long* data,
                              unsigned long mask);
/// The filter search into a position list (the generic body behind that overload).
void mgetSearchGenericBv(unsigned long from, unsigned long count, const BitVector& filter,
                         ltt::vector<unsigned int>& result, unsigned int bits,
                         const unsigned long* data, unsigned long mask);
void mgetSearchSseResBv(unsigned long from, unsigned long count, unsigned int rangeFrom,
                        unsigned int rangeTo, BitVector& result, unsigned int bits,
                        const unsigned long* data, unsigned long mask);
void mgetSearchSseBvResBv(unsigned long from, unsigned long count, const BitVector& filter,
                          BitVector& result, unsigned int bits, const unsigned long* data,
                          unsigned long mask);

}  // namespace VorexUtils

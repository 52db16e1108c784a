// IndexVector64Ref / IndexVector64: packed unsigned values of 0 to 64 bits, in the same bit
// stream as the 32-bit family (little-endian 64-bit words, least significant bit first, no gap),
// but a family of its own: no spare word behind the last used word (a value that crosses a word
// is read and written in two parts), no mask field, no allocator groups, no dispatch slots and no
// persisted form. Bulk read, bulk write and the searches are resolved per width at compile time
// and picked from tables of 65 entries.
//
// The view owns nothing. IndexVector64 owns its buffer, from the allocator it was given, unless
// the buffer is mapped; a mapped buffer is copied to an owned one as soon as the buffer is
// resized (copy-on-resize).
// Thread-compatible: concurrent readers are safe; every change needs exclusive access.
#pragma once

#include <cstddef>
#include <cstdint>

#include "VorexUtils/IvByteOrder.hpp"
#include "ltt/allocator.hpp"
#include "ltt/string.hpp"
#include "ltt/vector.hpp"

namespace MemoryManager {
class TransientMetadataNUMAInfo;
}

namespace VorexUtils {

class BitVector;

using Word = unsigned long;

class IndexVector64Ref {
 public:
  IndexVector64Ref() noexcept = default;
  /// A view over `wordSize(n)` foreign words holding values of `bits` bits.
  IndexVector64Ref(const Word* buffer, unsigned long bits) noexcept
      : m_buffer(const_cast<Word*>(buffer)), m_bits(bits) {}

  /// The number of significant bits of `value`, a largest value (not a count of values):
  /// 0 gives 0, 1 gives 1, 2 and 3 give 2.
  static unsigned long getBits(unsigned long value);

  unsigned long wordSize(unsigned long n) const noexcept { return (m_bits * n + 63) >> 6; }
  unsigned long byteSize(unsigned long n) const noexcept { return 8 * wordSize(n); }
  /// The value mask: the low `bits` bits set.
  Word mask() const noexcept { return m_bits == 0 ? 0 : ~Word{0} >> (64 - m_bits); }

  /// The value at position i; a value that crosses a word is joined from two reads. At width 0
  /// the buffer is not touched.
  Word get(unsigned long i) const noexcept {
    if (m_bits == 0) return 0;
    const unsigned long p = i * m_bits;
    const Word* w = m_buffer + (p >> 6);
    const unsigned o = p & 63;
    Word v = w[0] >> o;
    if (o + m_bits > 64) v |= w[1] << (64 - o);  // o >= 1 here
    return v & mask();
  }
  /// Stores `value` at position i in two parts when it crosses a word. The value is not masked:
  /// a wider one spills into the following values. At width 0 nothing is stored.
  void set(unsigned long i, Word value) noexcept {
    if (m_bits == 0) return;
    const unsigned long p = i * m_bits;
    Word* w = m_buffer + (p >> 6);
    const unsigned o = p & 63;
    w[0] = (w[0] & ~(mask() << o)) | (value << o);
    if (o + m_bits > 64) {
      const unsigned h = o + m_bits - 64;  // 1..63 bits in the next word
      w[1] = (w[1] & ~((Word{1} << h) - 1)) | (value >> (m_bits - h));
    }
  }

  void swap(IndexVector64Ref& other) noexcept;

  /// First position in [first, last) whose value is not below `value` (non-descending range);
  /// `last` if there is none. `last` 0 returns 0 at once.
  unsigned long lowerBound(unsigned long value, unsigned long first,
                           unsigned long last) const noexcept;

  // --- bulk read and write; positions must exist, `dest` must hold `count` values ---
  void mget(unsigned long from, unsigned long count, unsigned long* dest) const;
  /// Stores values[k] at from + k; values are not masked.
  void mset(unsigned long from, unsigned long count, const unsigned long* values);
  /// Stores `value` at every position of the range, one at a time.
  void mset(unsigned long from, unsigned long count, unsigned long value);

  // --- search: rangeFrom <= v < rangeTo, or bit v of a value filter ---
  // List forms write the matching values (not positions) from index 0 over whatever `result`
  // held and cut it to the number of hits. Exception: at width 0 the list keeps its content and
  // a match appends `count` zeros. Bit-vector forms or the bits of matching positions into
  // `result`, which has a bit for every position searched.
  void mgetSearch(unsigned long from, unsigned long count, unsigned long rangeFrom,
                  unsigned long rangeTo, ltt_adp::vector<unsigned long>& result) const;
  void mgetSearch(unsigned long from, unsigned long count, const BitVector& filter,
                  ltt_adp::vector<unsigned long>& result) const;
  void mgetSearch(unsigned long from, unsigned long count, unsigned long rangeFrom,
                  unsigned long rangeTo, BitVector& result) const;
  void mgetSearch(unsigned long from, unsigned long count, const BitVector& filter,
                  BitVector& result) const;
  /// For each pair (start, end) of the flat list, the range search over [start, end). The list
  /// form therefore keeps only the hits of the last pair. The list has an even length.
  void mgetSearch(const ltt_adp::vector<unsigned long>& positionRanges, unsigned long rangeFrom,
                  unsigned long rangeTo, ltt_adp::vector<unsigned long>& result) const;
  void mgetSearch(const ltt_adp::vector<unsigned long>& positionRanges, unsigned long rangeFrom,
                  unsigned long rangeTo, BitVector& result) const;

  /// No conversion exists in this family: true only for the running layout; nothing changes.
  bool convertFromByteOrder(IvByteOrder order, unsigned long size);

  const Word* data() const noexcept { return m_buffer; }
  Word* data() noexcept { return m_buffer; }
  unsigned long bits() const noexcept { return m_bits; }

 protected:
  Word* m_buffer = nullptr;
  unsigned long m_bits = 64;  // 0 to 64
};

class IndexVector64 : public IndexVector64Ref {
 public:
  /// An empty vector of width 64 with no buffer.
  explicit IndexVector64(ltt::allocator& alloc = getDefaultAllocator()) noexcept
      : m_allocator(&alloc) {}
  /// An empty vector on `alloc` with the width of `other`, then assigned from it.
  IndexVector64(const IndexVector64& other, ltt::allocator& alloc);
  // A copy always names its allocator.
  IndexVector64(const IndexVector64&) = delete;
  /// Shares a mapped `other`; copies an owned one into a buffer of this vector's allocator.
  /// Before sharing, the caller releases any owned buffer of this vector: it is not given back.
  IndexVector64& operator=(const IndexVector64& other);
  ~IndexVector64() { resizeBuffer(0); }

  /// The allocator "IndexVector64", a child of the global allocator, built once in static
  /// storage and never destroyed.
  static ltt::allocator& getDefaultAllocator();
  void setNullAllocator() noexcept { m_allocator = &ltt::allocator::null_allocator(); }
  ltt::allocator& getAllocator() const noexcept { return *m_allocator; }

  // --- lifetime and content ---
  void clear() noexcept { m_size = 0; }
  void release() {
    resizeBuffer(0);
    m_size = 0;
  }
  /// Equal allocators exchange all fields; otherwise both contents are deep-copied so that each
  /// buffer stays with its allocator. Strong guarantee.
  void swap(IndexVector64& other);

  // --- size and capacity; a failed allocation throws ltt::bad_alloc and changes nothing ---
  /// Reallocates to exactly `words` words, keeping the common prefix. A mapped buffer always
  /// gets a private copy, even at an equal word count.
  void resizeBuffer(unsigned long words);
  void reserve(unsigned long n) {
    if (capacity() < n) resizeBuffer(wordSize(n));
  }
  /// New values have undefined content; no growth factor.
  void resize(unsigned long n);
  /// Doubles the words when full.
  void append(unsigned long value);
  void compact() {
    if (wordSize(m_size) < m_capacity) resizeBuffer(wordSize(m_size));
  }
  /// Prepares the buffer for `bytes` bytes of raw stream; the size becomes what they hold.
  void resizeBytes(unsigned long bytes);
  /// Re-encodes the content at the new width (values wider than it are not detected). A mapped
  /// vector ends up owned.
  void setBits(unsigned long bits);

  // --- queries ---
  unsigned long size() const noexcept { return m_size; }
  /// In values: the size at width 0.
  unsigned long capacity() const noexcept {
    return m_bits == 0 ? m_size : (m_capacity * 64) / m_bits;
  }
  unsigned long capacityWords() const noexcept { return m_capacity; }
  void getData(void*& data, unsigned long& bytes) const noexcept {
    data = m_buffer;
    bytes = byteSize(m_size);
  }
  unsigned long getMemorySize() const noexcept { return byteSize(m_size); }
  /// The allocator's block size when it is a block allocator, else 8 bytes per word.
  unsigned long getAllocatedMemorySize() const noexcept;
  unsigned long getSizeOfMemoryIntersection(void* begin, void* end) const noexcept;
  /// Records on which NUMA nodes the pages of the buffer lie.
  void getPageNumaLocationMap(MemoryManager::TransientMetadataNUMAInfo& info) const;
  /// All words but the last are 0, and the used bits of the last one.
  bool isZeroOnly() const noexcept;

  // --- mapped data ---
  /// Gives back an owned buffer, then maps `data` holding `size` values (wordSize(size) words).
  void setMappedData(unsigned long size, void* data);
  bool isMapped() const noexcept { return m_mapped; }
  bool isMappedTo(const void* begin, const void* end) const noexcept;

  ltt::basic_ostream<char>& toStream(ltt::basic_ostream<char>& os) const;
  ltt::basic_ostream<char>& printInternals(ltt::basic_ostream<char>& os) const;

 private:
  void swapFields(IndexVector64& other) noexcept;

  unsigned long m_size = 0;
  unsigned long m_capacity = 0;  // words; the buffer has exactly 8 * m_capacity bytes
  ltt::allocator* m_allocator;
  bool m_mapped = false;
};

}  // namespace VorexUtils

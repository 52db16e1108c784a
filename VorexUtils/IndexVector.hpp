// IndexVector: the owning packed vector of values of at most 32 bits. Adds a size, a capacity in
// 64-bit words (the spare word not counted), memory from an allocator group, and mapped data
// that somebody else owns (the top bit of m_group). Capacity is exact except for growth by one
// value, which doubles. A failed allocation leaves the vector as it was.
// Thread-compatible: concurrent readers are safe; every change needs exclusive access.
#pragma once

#include <ostream>

#include "VorexUtils/IndexVectorRef.hpp"

namespace MemoryManager {
class TransientMetadataNUMAInfo;
}

namespace VorexUtils {

class Serializer;
class Deserializer;

class IndexVector : public IndexVectorRef {
 public:
  explicit IndexVector(AllocatorGroup group = IVA_Single) noexcept { m_group = group; }
  IndexVector(const IndexVector& other);
  IndexVector& operator=(const IndexVector& other);
  ~IndexVector();

  // --- memory primitives, through the group's allocator ---
  static unsigned long* checkedMalloc(unsigned long bytes, AllocatorGroup group);
  static unsigned long* checkedRealloc(unsigned long*& buffer, unsigned long oldWords,
                                       unsigned long newBytes, AllocatorGroup group);
  static void checkedFree(unsigned long*& buffer, AllocatorGroup group);

  // --- lifetime and content ---
  void clear() noexcept { m_size = 0; }
  void release();
  void swap(IndexVector& other) noexcept;
  void init(unsigned long n) noexcept;

  // --- size and capacity ---
  void reserve(unsigned long n);
  void resize(unsigned long n);
  void resize(unsigned long n, unsigned int fill);
  void resizeBuffer(unsigned long bytes);
  void resizeBytes(unsigned long bytes);
  void append(unsigned int value);
  void compact();
  /// Re-encodes the content at the new width (values wider than it are not detected).
  void setBits(unsigned int bits);

  // --- queries ---
  unsigned long size() const noexcept { return m_size; }
  void getData(void*& data, unsigned long& bytes) const noexcept {
    data = m_buffer;
    bytes = byteSize(m_size);
  }
  unsigned int getRange() const noexcept;
  unsigned long capacity() const noexcept;
  unsigned long capacityInBytes() const noexcept { return 8 * m_capacity; }
  unsigned long getMemorySize() const noexcept { return byteSize(m_size); }
  unsigned long getAllocatedMemorySize() const noexcept { return 8 * m_capacity; }
  unsigned long getSizeOfMemoryIntersection(void* begin, void* end) const noexcept;
  void getPageNumaLocationMap(MemoryManager::TransientMetadataNUMAInfo& info) const;
  bool isZeroOnly() const noexcept;
  ltt::basic_ostream<char>& toStream(ltt::basic_ostream<char>& os) const;

  // --- mapped data ---
  void setMappedData(unsigned long size, void* data);
  bool isMapped() const noexcept { return (m_group & IVA_MappedFlag) != 0; }
  void* getMappedPtr() const noexcept { return isMapped() ? m_buffer : nullptr; }
  bool isMappedTo(const void* begin, const void* end) const noexcept;

  // --- persisted form ---
  void serialize(Serializer& s) const;
  void deserialize(Deserializer& d);
  bool convertFromByteOrder(IvByteOrder order) {
    return IndexVectorRef::convertFromByteOrder(order, m_size);
  }

  /// Capacity in words (for tests and statistics).
  unsigned long capacityWords() const noexcept { return m_capacity; }

 private:
  void grow(unsigned long n);  // the growth rule of append and resize

  unsigned long m_size = 0;
  unsigned long m_capacity = 0;
};

}  // namespace VorexUtils

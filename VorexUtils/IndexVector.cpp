// The owning packed vector: memory of its allocator group, exact capacity in words (plus one
// spare word behind it), growth, re-encoding, copies and mapped data. Every allocation comes
// before the release of what it replaces, so a failed allocation leaves the vector as it was.
#include "VorexUtils/IndexVector.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "MemoryManager/TransientMetadataNUMAInfo.hpp"
#include "VorexUtils/MgetBuffer.hpp"

namespace VorexUtils {

namespace {
constexpr unsigned kMapped = IVA_MappedFlag;

AllocatorGroup ownedGroup(unsigned group) noexcept {
  return static_cast<AllocatorGroup>(group & ~kMapped);
}
}  // namespace

// --- memory primitives ---------------------------------------------------------------------

unsigned long* IndexVector::checkedMalloc(unsigned long bytes, AllocatorGroup group) {
  return static_cast<unsigned long*>(getIndexVectorAllocator(ownedGroup(group)).allocate(bytes));
}

unsigned long* IndexVector::checkedRealloc(unsigned long*& buffer, unsigned long oldWords,
                                           unsigned long newBytes, AllocatorGroup group) {
  ltt::allocator& alloc = getIndexVectorAllocator(ownedGroup(group));
  unsigned long* fresh = nullptr;
  if (newBytes != 0) {
    fresh = static_cast<unsigned long*>(alloc.allocate(newBytes));
    // The old spare word travels with the data.
    if (buffer) std::memcpy(fresh, buffer, std::min(8 * oldWords + 8, newBytes));
  }
  alloc.deallocate(buffer);
  buffer = nullptr;
  return fresh;
}

void IndexVector::checkedFree(unsigned long*& buffer, AllocatorGroup group) {
  if ((group & kMapped) == 0) getIndexVectorAllocator(group).deallocate(buffer);
  buffer = nullptr;
}

// --- lifetime --------------------------------------------------------------------------------

IndexVector::IndexVector(const IndexVector& other)
    : IndexVectorRef(other), m_size(other.m_size), m_capacity(other.m_capacity) {
  // A mapped source is shared; an owned one is copied with its capacity, without the spare word.
  if (m_buffer && !other.isMapped()) {
    m_buffer = checkedMalloc(8 * m_capacity + 8, ownedGroup(m_group));
    std::memcpy(m_buffer, other.m_buffer, 8 * m_capacity);
  }
}

IndexVector& IndexVector::operator=(const IndexVector& other) {
  if (isMapped() && other.isMapped()) {
    // Deliberately takes the view only: size, capacity and group of this vector stay.
    m_buffer = other.m_buffer;
    m_mask = other.m_mask;
    m_bits = other.m_bits;
    return *this;
  }
  // A mapped target drops its pointer without freeing it and starts from nothing.
  const bool wasMapped = isMapped();
  Word* buffer = wasMapped ? nullptr : m_buffer;
  unsigned long capacity = wasMapped ? 0 : m_capacity;
  const unsigned long words = other.wordSize(other.m_size);
  if (words != capacity) {
    // Any other capacity, larger ones included, is replaced by an exact block.
    Word* fresh = checkedMalloc(8 * words + 8, ownedGroup(m_group));
    if (buffer) checkedFree(buffer, ownedGroup(m_group));
    buffer = fresh;
    capacity = words;
  }
  m_buffer = buffer;
  m_capacity = capacity;
  m_group = ownedGroup(m_group);
  m_bits = other.m_bits;
  m_mask = other.m_mask;
  m_size = other.m_size;
  if (words != 0) std::memmove(m_buffer, other.m_buffer, 8 * words);
  return *this;
}

IndexVector::~IndexVector() {
  if (m_buffer) checkedFree(m_buffer, static_cast<AllocatorGroup>(m_group));
}

void IndexVector::release() {
  m_size = 0;
  if (m_buffer) checkedFree(m_buffer, static_cast<AllocatorGroup>(m_group));
  m_group = ownedGroup(m_group);
  m_capacity = 0;
}

void IndexVector::swap(IndexVector& other) noexcept {
  IndexVectorRef::swap(other);
  std::swap(m_size, other.m_size);
  std::swap(m_capacity, other.m_capacity);
}

void IndexVector::init(unsigned long n) noexcept {
  m_size = n;
  m_capacity = std::max(m_capacity, wordSize(n));
}

// --- size and capacity -------------------------------------------------------------------------

void IndexVector::grow(unsigned long n) {
  const unsigned long needed = wordSize(n);
  if (m_capacity >= needed) return;
  // Only growth by exactly one value is amortised, by doubling the values (not the words).
  const unsigned long words = (n == m_size + 1 && m_size != 0) ? wordSize(2 * m_size) : needed;
  resizeBuffer(8 * words + 8);
  m_capacity = words;
}

void IndexVector::reserve(unsigned long n) {
  const unsigned long words = wordSize(n);
  if (m_capacity >= words) return;
  resizeBuffer(8 * words + 8);
  m_capacity = words;
}

void IndexVector::resize(unsigned long n) {
  if (!isMapped()) grow(n);
  m_size = n;
}

void IndexVector::resize(unsigned long n, unsigned int fill) {
  grow(n);
  if (n > m_size) mset(m_size, n - m_size, fill);
  m_size = n;
}

void IndexVector::resizeBuffer(unsigned long bytes) {
  if (m_buffer) {
    m_buffer = checkedRealloc(m_buffer, m_capacity, bytes, static_cast<AllocatorGroup>(m_group));
  } else if (bytes != 0) {
    m_buffer = checkedMalloc(bytes, static_cast<AllocatorGroup>(m_group));
  }
}

void IndexVector::resizeBytes(unsigned long bytes) {
  const unsigned long words = (bytes + 7) >> 3;
  const unsigned long rounded = (bytes + 7) & ~7UL;
  if (words > m_capacity) {
    resizeBuffer(rounded + 8);
    m_capacity = words;
  }
  // Provisional: the capacity in values; the caller sets the true size afterwards.
  if (m_bits != 0) m_size = (rounded * 8) / m_bits;
}

void IndexVector::append(unsigned int value) {
  grow(m_size + 1);
  set(m_size, value);
  ++m_size;
}

void IndexVector::compact() {
  const unsigned long words = wordSize(m_size);
  if (m_capacity <= words || !m_buffer) return;
  m_buffer = checkedRealloc(m_buffer, m_capacity, words ? 8 * words + 8 : 0, ownedGroup(m_group));
  m_capacity = words;
}

void IndexVector::setBits(unsigned int bits) {
  if (bits == m_bits) return;
  if (m_size == 0 || isMapped()) {
    IndexVectorRef::setBits(bits);
    return;
  }
  // Re-encode into a fresh vector; this one is touched only by the final swap.
  IndexVector other(ownedGroup(m_group));
  other.IndexVectorRef::setBits(bits);
  other.resize(m_size);
  MgetStackBuffer<256, unsigned int> chunk;
  for (unsigned long pos = 0; pos < m_size;) {
    const unsigned long n = std::min<unsigned long>(256, m_size - pos);
    mget(pos, n, chunk);
    other.mset(pos, n, chunk.getPtr());
    pos += n;
  }
  swap(other);
}

// --- queries -----------------------------------------------------------------------------------

unsigned int IndexVector::getRange() const noexcept {
  return m_bits >= 32 ? 0xFFFFFFFFu : 1u << m_bits;
}

unsigned long IndexVector::capacity() const noexcept {
  return m_bits == 0 ? m_size : (m_capacity * 64) / m_bits;
}

unsigned long IndexVector::getSizeOfMemoryIntersection(void* begin, void* end) const noexcept {
  const auto lo =
      std::max(reinterpret_cast<std::uintptr_t>(begin), reinterpret_cast<std::uintptr_t>(m_buffer));
  const auto hi = std::min(reinterpret_cast<std::uintptr_t>(end),
                           reinterpret_cast<std::uintptr_t>(m_buffer) + 8 * m_capacity);
  return hi > lo ? hi - lo : 0;
}

void IndexVector::getPageNumaLocationMap(MemoryManager::TransientMetadataNUMAInfo& info) const {
  info.calculatePageCountAndNodeId(m_buffer, getAllocatedMemorySize());
}

bool IndexVector::isZeroOnly() const noexcept {
  // Whole words: bits behind the last value count too.
  const unsigned long words = wordSize(m_size);
  for (unsigned long i = 0; i < words; ++i) {
    if (m_buffer[i] != 0) return false;
  }
  return true;
}

ltt::basic_ostream<char>& IndexVector::toStream(ltt::basic_ostream<char>& os) const {
  // "Size" is the capacity in words; the label is kept as the text that readers know.
  os << "[IndexVector: "
     << "Addr: " << static_cast<const void*>(m_buffer) << ", Size: " << m_capacity << "]";
  return os;
}

// --- mapped data ---------------------------------------------------------------------------------

void IndexVector::setMappedData(unsigned long size, void* data) {
  // An owned buffer is deliberately neither freed nor reported: the caller releases it first.
  if (m_buffer && isMapped()) checkedFree(m_buffer, static_cast<AllocatorGroup>(m_group));
  m_buffer = static_cast<Word*>(data);
  m_size = size;
  m_group |= kMapped;
}

bool IndexVector::isMappedTo(const void* begin, const void* end) const noexcept {
  const auto* p = reinterpret_cast<const char*>(m_buffer);
  return m_buffer != nullptr && static_cast<const char*>(begin) <= p &&
         p < static_cast<const char*>(end) && isMapped();
}

}  // namespace VorexUtils

#include "VorexUtils/IndexVector64.hpp"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <functional>
#include <new>

#include "Execution/RunOnce.hpp"
#include "MemoryManager/TransientMetadataNUMAInfo.hpp"
#include "VorexUtils/IndexVectorRef.hpp"
#include "ltt/exception.hpp"

namespace VorexUtils {

// --- the view ---------------------------------------------------------------------------------

unsigned long IndexVector64Ref::getBits(unsigned long value) {
  const unsigned long bits = std::bit_width(value);
  if (bits > 64) throw ltt::logic_error("not enough bits");  // kept for wider value types
  return bits;
}

void IndexVector64Ref::swap(IndexVector64Ref& other) noexcept {
  std::swap(m_buffer, other.m_buffer);
  std::swap(m_bits, other.m_bits);
}

unsigned long IndexVector64Ref::lowerBound(unsigned long value, unsigned long first,
                                           unsigned long last) const noexcept {
  if (last == 0) return 0;
  // The right end is inclusive; `mid - 1` cannot wrap because left < mid when it is taken.
  unsigned long left = first;
  unsigned long right = last - 1;
  while (left < right) {
    const unsigned long mid = left + ((right - left) >> 1);
    if (value > get(mid)) {
      if (mid >= right) {
        left = right;
        break;
      }
      left = mid + 1;
    } else {
      if (left >= mid) break;
      right = mid - 1;
    }
  }
  if (left >= last) return left;
  return value > get(left) ? left + 1 : left;
}

void IndexVector64Ref::mgetSearch(const ltt_adp::vector<unsigned long>& positionRanges,
                                  unsigned long rangeFrom, unsigned long rangeTo,
                                  ltt_adp::vector<unsigned long>& result) const {
  for (auto it = positionRanges.begin(); it != positionRanges.end(); it += 2)
    mgetSearch(it[0], it[1] - it[0], rangeFrom, rangeTo, result);
}

void IndexVector64Ref::mgetSearch(const ltt_adp::vector<unsigned long>& positionRanges,
                                  unsigned long rangeFrom, unsigned long rangeTo,
                                  BitVector& result) const {
  for (auto it = positionRanges.begin(); it != positionRanges.end(); it += 2)
    mgetSearch(it[0], it[1] - it[0], rangeFrom, rangeTo, result);
}

bool IndexVector64Ref::convertFromByteOrder(IvByteOrder order, unsigned long) {
  return order == IndexVectorRef::getByteOrder();
}

// --- the owning vector --------------------------------------------------------------------------

ltt::allocator& IndexVector64::getDefaultAllocator() {
  // Built in static storage and never destroyed, so that vectors in other static objects may
  // give their buffers back at any point of the shutdown.
  alignas(ltt::ChildAllocator) static unsigned char storage[sizeof(ltt::ChildAllocator)];
  static std::atomic<ltt::allocator*> published{nullptr};
  static Execution::OnceFlag once;
  if (ltt::allocator* a = published.load(std::memory_order_acquire)) return *a;
  Execution::runOnceUnchecked(once, [] {
    auto* a = new (storage)
        ltt::ChildAllocator("IndexVector64", ltt::allocator::global_allocator(), true);
    published.store(a, std::memory_order_release);
  });
  return *published.load(std::memory_order_acquire);
}

IndexVector64::IndexVector64(const IndexVector64& other, ltt::allocator& alloc)
    : m_allocator(&alloc) {
  m_bits = other.m_bits;
  *this = other;
}

IndexVector64& IndexVector64::operator=(const IndexVector64& other) {
  if (other.m_mapped) {
    // Share the foreign data; an owned buffer of this vector is not given back here.
    m_mapped = true;
    m_buffer = other.m_buffer;
    m_bits = other.m_bits;
    m_size = other.m_size;
    m_capacity = other.m_capacity;
    return *this;
  }
  m_mapped = false;
  resizeBuffer(other.m_capacity);
  m_bits = other.m_bits;
  m_size = other.m_size;
  if (m_capacity != 0) std::memcpy(m_buffer, other.m_buffer, 8 * m_capacity);
  return *this;
}

void IndexVector64::swapFields(IndexVector64& other) noexcept {
  IndexVector64Ref::swap(other);
  std::swap(m_size, other.m_size);
  std::swap(m_capacity, other.m_capacity);
  std::swap(m_allocator, other.m_allocator);
  std::swap(m_mapped, other.m_mapped);
}

void IndexVector64::swap(IndexVector64& other) {
  if (m_allocator == other.m_allocator) {
    swapFields(other);
    return;
  }
  // Both copies are made before anything changes; each then takes the place of the original
  // on the same allocator, and the originals' buffers go back to their own allocators.
  IndexVector64 mineOnTheirs(*this, *other.m_allocator);
  IndexVector64 theirsOnMine(other, *m_allocator);
  swapFields(theirsOnMine);
  other.swapFields(mineOnTheirs);
}

void IndexVector64::resizeBuffer(unsigned long words) {
  if (words == m_capacity && !m_mapped) return;
  if (words == 0) {
    if (!m_mapped) m_allocator->deallocate(m_buffer);
    m_buffer = nullptr;
    m_capacity = 0;
    m_mapped = false;
    return;
  }
  auto* fresh = static_cast<Word*>(m_allocator->allocateNoThrow(8 * words));
  if (fresh == nullptr) throw ltt::bad_alloc(8 * words);
  const unsigned long keep = std::min(m_capacity, words);
  if (keep != 0) std::memcpy(fresh, m_buffer, 8 * keep);
  if (!m_mapped) m_allocator->deallocate(m_buffer);
  m_buffer = fresh;
  m_capacity = words;
  m_mapped = false;
}

void IndexVector64::resize(unsigned long n) {
  if (n == m_size) return;
  if (n > capacity()) resizeBuffer(wordSize(n));
  m_size = n;
}

void IndexVector64::append(unsigned long value) {
  const unsigned long needed = wordSize(m_size + 1);
  if (needed > m_capacity) resizeBuffer(2 * needed);
  set(m_size, value);
  ++m_size;
}

void IndexVector64::resizeBytes(unsigned long bytes) {
  if (m_bits == 0) return;
  resizeBuffer((bytes + 7) >> 3);
  m_size = (m_capacity * 64) / m_bits;
}

void IndexVector64::setBits(unsigned long bits) {
  if (bits == m_bits) return;
  if (m_size == 0) {
    m_bits = bits;
    return;
  }
  // Re-encode into a new vector; this one is touched only by the final exchange, so a failed
  // allocation leaves it as it was. A mapped buffer stays with its owner.
  IndexVector64 target(*m_allocator);
  target.m_bits = bits;
  target.resize(m_size);
  constexpr unsigned long kChunk = 1024;
  unsigned long chunk[kChunk];
  for (unsigned long i = 0; i < m_size; i += kChunk) {
    const unsigned long n = std::min(kChunk, m_size - i);
    mget(i, n, chunk);
    target.mset(i, n, chunk);
  }
  swapFields(target);
}

unsigned long IndexVector64::getAllocatedMemorySize() const noexcept {
  if (m_allocator->isBlockAllocator())
    return m_buffer == nullptr ? 0 : m_allocator->getBlockSize(m_buffer);
  return 8 * m_capacity;
}

unsigned long IndexVector64::getSizeOfMemoryIntersection(void* begin, void* end) const noexcept {
  const auto lo =
      std::max(reinterpret_cast<std::uintptr_t>(begin), reinterpret_cast<std::uintptr_t>(m_buffer));
  const auto hi = std::min(reinterpret_cast<std::uintptr_t>(end),
                           reinterpret_cast<std::uintptr_t>(m_buffer) + getAllocatedMemorySize());
  return hi > lo ? hi - lo : 0;
}

void IndexVector64::getPageNumaLocationMap(MemoryManager::TransientMetadataNUMAInfo& info) const {
  info.calculatePageCountAndNodeId(m_buffer, getAllocatedMemorySize());
}

bool IndexVector64::isZeroOnly() const noexcept {
  const unsigned long words = wordSize(m_size);
  if (words == 0) return true;
  for (unsigned long i = 0; i + 1 < words; ++i)
    if (m_buffer[i] != 0) return false;
  // Only the used bits of the last word count.
  const unsigned used = (m_bits * m_size) & 63;
  const Word last = used == 0 ? ~Word{0} : (Word{1} << used) - 1;
  return (m_buffer[words - 1] & last) == 0;
}

void IndexVector64::setMappedData(unsigned long size, void* data) {
  if (!m_mapped) resizeBuffer(0);
  m_size = size;
  m_buffer = static_cast<Word*>(data);
  m_mapped = true;
  m_capacity = wordSize(size);
}

bool IndexVector64::isMappedTo(const void* begin, const void* end) const noexcept {
  const void* p = m_buffer;
  return p != nullptr && std::less_equal<const void*>()(begin, p) &&
         std::less<const void*>()(p, end) && m_mapped;
}

ltt::basic_ostream<char>& IndexVector64::toStream(ltt::basic_ostream<char>& os) const {
  os << "[IndexVector64: "
     << "[m_buffer: bytes Addr: " << static_cast<const void*>(m_buffer)
     << ", Size: " << getAllocatedMemorySize() << "]";
  return os;
}

ltt::basic_ostream<char>& IndexVector64::printInternals(ltt::basic_ostream<char>& os) const {
  os << "bits: " << m_bits << ", "
     << "size: " << m_size << ", "
     << "buffer length: " << m_capacity << ", values:";
  for (unsigned long i = 0; i < m_size; ++i) os << ' ' << get(i);
  return os;
}

}  // namespace VorexUtils

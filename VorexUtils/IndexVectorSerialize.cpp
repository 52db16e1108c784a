// The persisted form of IndexVector (size, width and layout, data length, raw words) and the
// conversion of the eight persisted layouts to the running one. The form has no magic number,
// no checksum and no version; the reader trusts its length and width fields, and the data
// length is 32 bits, so a stream of 4 GiB or more is written with a wrong length.
#include <cstdint>
#include <cstring>

#include "VOREX_ERROR/VorexError.hpp"
#include "VorexBase/TraceTopics.hpp"
#include "VorexUtils/IndexVector.hpp"
#include "VorexUtils/Serializer.hpp"
#include "ltt/exception.hpp"

namespace VorexUtils {

namespace {

const char* const byteOrderNames[] = {
    "IV_LITTLE32",  "IV_BIG32",  "IV_LITTLE64",  "IV_BIG64",
    "IV_LITTLE32l", "IV_BIG32l", "IV_LITTLE64l", "IV_BIG64l",
};

const char* getByteOrderName(IvByteOrder order) {
  return order > IV_BIG64l ? "UNKNOWN_BYTEORDER" : byteOrderNames[order];
}

// Bit 0 of a layout number: big-endian words; bit 1: 64-bit words; bit 2: packed from the bottom.
constexpr unsigned kBigEndian = 1, kWide = 2, kFromBottom = 4;

template <class Unit>
void swapUnits(void* data, std::size_t bytes) noexcept {
  auto* p = static_cast<unsigned char*>(data);
  for (std::size_t i = 0; i + sizeof(Unit) <= bytes; i += sizeof(Unit)) {
    Unit u;
    std::memcpy(&u, p + i, sizeof u);
    if constexpr (sizeof(Unit) == 4) {
      u = __builtin_bswap32(u);
    } else {
      u = __builtin_bswap64(u);
    }
    std::memcpy(p + i, &u, sizeof u);
  }
}

// Value i of a stream of W-bit words (already in machine byte order), packed from the bottom
// (least significant bit of a value first) or from the top (most significant bit first).
template <class Unit, bool FromBottom>
unsigned readValue(const Unit* w, unsigned long i, unsigned bits, Unit mask) noexcept {
  constexpr unsigned W = 8 * sizeof(Unit);
  const std::uint64_t p = std::uint64_t{i} * bits;
  const std::uint64_t k = p / W;
  const unsigned o = static_cast<unsigned>(p % W);
  const unsigned e = o + bits;
  Unit v;
  if constexpr (FromBottom) {
    v = e <= W ? Unit(w[k] >> o) : Unit((w[k + 1] << (W - o)) | (w[k] >> o));
  } else {
    v = e <= W ? Unit(w[k] >> (W - e)) : Unit((w[k] << (e - W)) | (w[k + 1] >> (2 * W - e)));
  }
  return static_cast<unsigned>(v & mask);
}

template <class Unit, bool FromBottom>
void repack(IndexVectorRef& v, const void* copy, unsigned long size, unsigned bits, Word mask) {
  const auto* w = static_cast<const Unit*>(copy);
  for (unsigned long i = 0; i < size; ++i) {
    v.set(i, readValue<Unit, FromBottom>(w, i, bits, static_cast<Unit>(mask)));
  }
}

}  // namespace

bool IndexVectorRef::convertFromByteOrder(IvByteOrder order, unsigned long size) {
  const IvByteOrder native = getByteOrder();
  if (order == native) return true;
  DIAG_TRACE(TRACE_INDEXVECTOR, 3)
      << "converting from byteorder " << getByteOrderName(order) << " to "
      << getByteOrderName(native) << ", " << m_bits << " bits, size " << size;
  const unsigned long bytes = 8 * wordSize(size);
  const bool known = order <= IV_BIG64l;
  if (known && ((order ^ native) & kBigEndian) != 0) {
    if (order & kWide) {
      swapUnits<std::uint64_t>(m_buffer, bytes);
    } else {
      swapUnits<std::uint32_t>(m_buffer, bytes);
    }
  }
  if (size == 0 || m_bits == 0) return true;
  if ((order ^ native) == kBigEndian) return true;  // the swap was all it needed

  ltt::allocator& alloc = ltt::allocator::adaptor_allocator();
  void* copy = alloc.allocate(bytes);
  std::memcpy(copy, m_buffer, bytes);
  if (!known) {
    DIAG_TRACE(TRACE_INDEXVECTOR, 1)
        << "found no way to convert byteorder " << getByteOrderName(order) << " to "
        << getByteOrderName(native) << ", " << m_bits << " bits, size " << size;
    alloc.deallocate(copy);
    return false;
  }
  // Reads are masked, so the unmasked store of set() cannot reach a neighbour.
  const bool wide = order & kWide, bottom = order & kFromBottom;
  if (wide && bottom) {
    repack<std::uint64_t, true>(*this, copy, size, m_bits, m_mask);
  } else if (wide) {
    repack<std::uint64_t, false>(*this, copy, size, m_bits, m_mask);
  } else if (bottom) {
    repack<std::uint32_t, true>(*this, copy, size, m_bits, m_mask);
  } else {
    repack<std::uint32_t, false>(*this, copy, size, m_bits, m_mask);
  }
  alloc.deallocate(copy);
  return true;
}

void IndexVector::serialize(Serializer& s) const {
  void* data;
  unsigned long bytes;
  getData(data, bytes);
  s << m_size << ((static_cast<unsigned>(getByteOrder()) << 8) | m_bits)
    << static_cast<unsigned int>(bytes);
  s.write(data, bytes);
}

void IndexVector::deserialize(Deserializer& d) {
  unsigned long size = 0;
  unsigned int widthAndOrder = 0, length = 0;
  d >> size >> widthAndOrder >> length;
  const unsigned bits = widthAndOrder & 0xFF;
  const auto order = static_cast<IvByteOrder>(widthAndOrder >> 8);

  release();  // the old content is gone from here on, whatever follows
  setBits(bits);
  resizeBytes(length);  // room for the data; the size is provisional
  void* data;
  unsigned long bytes;
  getData(data, bytes);
  if (d.hasDefaultExactRead()) {
    unsigned long done = 0;
    d.read(data, length, &done);
    if (done < length) throwInsufficientData();
  } else {
    d.readStringExactSize(static_cast<char*>(data), length);
  }
  // Converts the provisional size: bits behind the last value are harmlessly rewritten too.
  if (!convertFromByteOrder(order)) throw ltt::ios_base::failure("unknown IndexVector byte order");
  resize(size);
}

}  // namespace VorexUtils

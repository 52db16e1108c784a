// Deserializes arbitrary bytes as a persisted IndexVector. Any input must end in a vector or in
// an ltt::exception (short data, unknown layout, exhausted memory), never in a crash. A vector
// that loads must read back the same through get and mget, and survive a second round trip.
#include <cstdint>
#include <cstring>
#include <string>

#include "VorexUtils/IndexVector.hpp"
#include "VorexUtils/MgetBuffer.hpp"
#include "VorexUtils/Serializer.hpp"
#include "ltt/exception.hpp"

namespace {

constexpr std::size_t kHeader = 8 + 4 + 4;      // size, width and layout, data length
constexpr unsigned __int128 kSlack = 1u << 20;  // growth allowed beyond the data, in bytes
constexpr unsigned long kChecked = 4096;        // values compared per input

// The persisted form trusts its fields: a data length or a size far beyond the input is a real
// allocation of that size, which the library makes as told (and which the allocator refuses
// only when the machine cannot serve it). Such inputs test the machine, not the code, so they
// are skipped here; a length a little beyond the input still reaches the short-read path.
// Widths above 32 lie outside the contract of the view and are skipped too.
bool plausible(const std::uint8_t* data, std::size_t size) {
  if (size < kHeader) return true;  // fails inside the header read
  std::uint64_t n;
  std::uint32_t field, length;
  std::memcpy(&n, data, 8);
  std::memcpy(&field, data + 8, 4);
  std::memcpy(&length, data + 12, 4);
  const unsigned bits = field & 0xFF;
  if (bits > 32 || length > size - kHeader + kSlack) return false;
  const unsigned __int128 need =
      bits == 0 ? (n != 0) * 8 : (static_cast<unsigned __int128>(bits) * n + 63) / 64 * 8;
  return need <= length + kSlack;
}

[[noreturn]] void mismatch() { __builtin_trap(); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (!plausible(data, size)) return 0;
  VorexUtils::IndexVector v;
  try {
    VorexUtils::BinaryDeserializer d(data, size);
    v.deserialize(d);
  } catch (const ltt::exception&) {
    return 0;
  }
  const unsigned long n = v.size() < kChecked ? v.size() : kChecked;
  VorexUtils::MgetStackBuffer<kChecked, unsigned int> buf;
  v.mget(0, n, buf);
  for (unsigned long i = 0; i < n; ++i) {
    if (buf.getPtr()[i] != v.get(i) || (v.get(i) & ~v.mask()) != 0) mismatch();
  }
  std::string again;
  VorexUtils::BinarySerializer s(again);
  v.serialize(s);
  VorexUtils::IndexVector w;
  VorexUtils::BinaryDeserializer d2(again.data(), again.size());
  w.deserialize(d2);  // our own output must load: an exception here is a finding
  if (w.size() != v.size() || w.bits() != v.bits()) mismatch();
  for (unsigned long i = 0; i < n; ++i) {
    if (w.get(i) != v.get(i)) mismatch();
  }
  return 0;
}

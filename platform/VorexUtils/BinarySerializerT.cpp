#include "VorexUtils/BinarySerializerT.hpp"

#include <cstring>

#include "VOREX_ERROR/VorexError.hpp"
#include "ltt/exception.hpp"

namespace VorexUtils {

void throwInsufficientData() {
  throw ltt::exception(70000000 + VOREX_ERROR::VOREX_KLTRC_INSUFFICIENT_DATA,
                       VOREX_ERROR::GetMsg(VOREX_ERROR::VOREX_KLTRC_INSUFFICIENT_DATA));
}

namespace binary {

namespace {
// Byte by byte, so the image is little-endian whatever the host order.
template <unsigned N>
void putLE(std::string& out, std::uint64_t v) {
  char b[N];
  for (unsigned i = 0; i < N; ++i) b[i] = static_cast<char>((v >> (8 * i)) & 0xFF);
  out.append(b, N);
}
template <unsigned N>
std::uint64_t getLE(const unsigned char* p) {
  std::uint64_t v = 0;
  for (unsigned i = 0; i < N; ++i) v |= std::uint64_t{p[i]} << (8 * i);
  return v;
}
}  // namespace

void putU8(std::string& out, std::uint8_t v) { out.push_back(static_cast<char>(v)); }
void putU32(std::string& out, std::uint32_t v) { putLE<4>(out, v); }
void putU64(std::string& out, std::uint64_t v) { putLE<8>(out, v); }

void putString(std::string& out, const std::string& v) {
  if (v.size() > UINT32_MAX) throw ltt::logic_error("string too long for a u32 length");
  putLE<4>(out, v.size());
  out.append(v);
}

void putRaw(std::string& out, const void* data, std::size_t bytes) {
  if (bytes) out.append(static_cast<const char*>(data), bytes);
}

const unsigned char* Reader::take(std::size_t n) {
  if (n > remaining()) {
    m_pos = m_size;
    throwInsufficientData();
  }
  const unsigned char* p = m_data + m_pos;
  m_pos += n;
  return p;
}

std::uint8_t Reader::getU8() { return *take(1); }
std::uint32_t Reader::getU32() { return static_cast<std::uint32_t>(getLE<4>(take(4))); }
std::uint64_t Reader::getU64() { return getLE<8>(take(8)); }

void Reader::getString(std::string& v) {
  const std::uint32_t n = getU32();
  const unsigned char* p = take(n);
  v.assign(reinterpret_cast<const char*>(p), n);
}

std::size_t Reader::getRaw(void* data, std::size_t bytes) noexcept {
  const std::size_t n = bytes < remaining() ? bytes : remaining();
  if (n) std::memcpy(data, m_data + m_pos, n);
  m_pos += n;
  return n;
}

}  // namespace binary
}  // namespace VorexUtils

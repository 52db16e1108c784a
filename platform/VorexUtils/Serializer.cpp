#include "VorexUtils/Serializer.hpp"

#include <cstring>

#include "VOREX_ERROR/VorexError.hpp"
#include "ltt/exception.hpp"

namespace VorexUtils {

void throwInsufficientData() {
  throw ltt::exception(70000000 + VOREX_ERROR::VOREX_KLTRC_INSUFFICIENT_DATA,
                       VOREX_ERROR::GetMsg(VOREX_ERROR::VOREX_KLTRC_INSUFFICIENT_DATA));
}

void Deserializer::readStringExactSize(char* data, unsigned long bytes) {
  unsigned long done = 0;
  read(data, bytes, &done);
  if (done < bytes) throwInsufficientData();
}

// --- binary encoding: little-endian fixed widths ----------------------------------------------

namespace {
template <class T>
void putLE(std::string& out, T v) {
  using U = std::make_unsigned_t<T>;
  auto u = static_cast<U>(v);
  char b[sizeof(T)];
  for (std::size_t i = 0; i < sizeof(T); ++i) b[i] = static_cast<char>((u >> (8 * i)) & 0xFF);
  out.append(b, sizeof(T));
}
template <class T>
T getLE(const unsigned char* p) {
  using U = std::make_unsigned_t<T>;
  U u = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) u |= static_cast<U>(U{p[i]} << (8 * i));
  return static_cast<T>(u);
}
}  // namespace

BinarySerializer& BinarySerializer::operator<<(unsigned char v) { putLE(m_out, v); return *this; }
BinarySerializer& BinarySerializer::operator<<(char v) { putLE(m_out, v); return *this; }
BinarySerializer& BinarySerializer::operator<<(int v) { putLE(m_out, v); return *this; }
BinarySerializer& BinarySerializer::operator<<(unsigned int v) { putLE(m_out, v); return *this; }
BinarySerializer& BinarySerializer::operator<<(long v) { putLE(m_out, v); return *this; }
BinarySerializer& BinarySerializer::operator<<(unsigned long v) { putLE(m_out, v); return *this; }
BinarySerializer& BinarySerializer::operator<<(const std::string& v) {
  putLE(m_out, static_cast<unsigned int>(v.size()));
  m_out.append(v);
  return *this;
}
void BinarySerializer::write(const void* data, unsigned long bytes) {
  if (bytes) m_out.append(static_cast<const char*>(data), bytes);
}

void BinaryDeserializer::take(void* dst, std::size_t n) {
  if (n > m_size - m_pos) {
    m_pos = m_size;
    throwInsufficientData();
  }
  std::memcpy(dst, m_data + m_pos, n);
  m_pos += n;
}

#define VOREX_BINARY_READ(T)                                        \
  BinaryDeserializer& BinaryDeserializer::operator>>(T& v) {        \
    unsigned char b[sizeof(T)];                                     \
    take(b, sizeof b);                                              \
    v = getLE<T>(b);                                                \
    return *this;                                                   \
  }
VOREX_BINARY_READ(unsigned char)
VOREX_BINARY_READ(char)
VOREX_BINARY_READ(int)
VOREX_BINARY_READ(unsigned int)
VOREX_BINARY_READ(long)
VOREX_BINARY_READ(unsigned long)
#undef VOREX_BINARY_READ

BinaryDeserializer& BinaryDeserializer::operator>>(std::string& v) {
  unsigned int n = 0;
  *this >> n;
  if (n > remaining()) {
    m_pos = m_size;
    throwInsufficientData();
  }
  v.assign(reinterpret_cast<const char*>(m_data + m_pos), n);
  m_pos += n;
  return *this;
}

void BinaryDeserializer::read(void* data, unsigned long bytes, unsigned long* done) {
  const std::size_t n = bytes < remaining() ? bytes : remaining();
  if (n) std::memcpy(data, m_data + m_pos, n);
  m_pos += n;
  if (done) *done = n;
}

// --- text-like stream output --------------------------------------------------------------------

StreamOutput& StreamOutput::operator<<(unsigned char v) {
  m_os.put(static_cast<char>(v)).put(' ');
  return *this;
}
StreamOutput& StreamOutput::operator<<(char v) {
  m_os.put(v);
  return *this;
}
StreamOutput& StreamOutput::operator<<(int v) { m_os << v << ' '; return *this; }
StreamOutput& StreamOutput::operator<<(unsigned int v) { m_os << v << ' '; return *this; }
StreamOutput& StreamOutput::operator<<(long v) { m_os << v << ' '; return *this; }
StreamOutput& StreamOutput::operator<<(unsigned long v) { m_os << v << ' '; return *this; }
StreamOutput& StreamOutput::operator<<(const std::string& v) {
  m_os << v.size() << ' ';
  m_os.write(v.data(), static_cast<std::streamsize>(v.size()));
  return *this;
}
void StreamOutput::write(const void* data, unsigned long bytes) {
  m_os.write(static_cast<const char*>(data), static_cast<std::streamsize>(bytes));
}

}  // namespace VorexUtils

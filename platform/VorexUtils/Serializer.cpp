#include "VorexUtils/Serializer.hpp"

#include <charconv>

namespace VorexUtils {

void Deserializer::readStringExactSize(char* data, unsigned long bytes) {
  unsigned long done = 0;
  read(data, bytes, &done);
  if (done < bytes) throwInsufficientData();
}

template class BinarySerializerT<Serializer>;
template class BinaryDeserializerT<Deserializer>;

// --- text-like stream output --------------------------------------------------------------------

namespace {
// Decimal through to_chars, so the caller's stream flags (hex, width, locale) cannot change
// the form.
template <class T>
void putDecimal(std::ostream& os, T v) {
  char buf[24];
  const auto res = std::to_chars(buf, buf + sizeof buf - 1, v);
  *res.ptr = ' ';
  os.write(buf, res.ptr + 1 - buf);
}
}  // namespace

StreamOutput& StreamOutput::operator<<(unsigned char v) {
  m_os.put(static_cast<char>(v)).put(' ');
  return *this;
}
StreamOutput& StreamOutput::operator<<(char v) {
  m_os.put(v);
  return *this;
}
StreamOutput& StreamOutput::operator<<(int v) {
  putDecimal(m_os, v);
  return *this;
}
StreamOutput& StreamOutput::operator<<(unsigned int v) {
  putDecimal(m_os, v);
  return *this;
}
StreamOutput& StreamOutput::operator<<(long v) {
  putDecimal(m_os, v);
  return *this;
}
StreamOutput& StreamOutput::operator<<(unsigned long v) {
  putDecimal(m_os, v);
  return *this;
}
StreamOutput& StreamOutput::operator<<(const std::string& v) {
  putDecimal(m_os, v.size());
  m_os.write(v.data(), static_cast<std::streamsize>(v.size()));
  return *this;
}
void StreamOutput::write(const void* data, unsigned long bytes) {
  m_os.write(static_cast<const char*>(data), static_cast<std::streamsize>(bytes));
}

}  // namespace VorexUtils

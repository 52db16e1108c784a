// The one binary encoding behind every byte serializer family: integers little-endian at fixed
// width (u8, char: 1 byte; int, unsigned int: 4; long, unsigned long: 8), a string as a u32
// length and its bytes, raw data verbatim. BinarySerializerT<Iface> and
// BinaryDeserializerT<Iface> implement an interface family's virtual primitives on top of it,
// so that VorexUtils:: and Streaming:: objects written through either give one byte image.
// The serializer appends to a string owned by the caller; the deserializer reads memory that
// the caller keeps alive. A short typed read throws ltt::exception with code
// 70000000 + VOREX_KLTRC_INSUFFICIENT_DATA; a short raw read reports what it got.
// Thread-compatible.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace VorexUtils {

/// Throws the insufficient-data exception (shared by every short typed read).
[[noreturn]] void throwInsufficientData();

namespace binary {

void putU8(std::string& out, std::uint8_t v);
void putU32(std::string& out, std::uint32_t v);
void putU64(std::string& out, std::uint64_t v);
/// A u32 length and the bytes; throws ltt::logic_error above 2^32 - 1 bytes.
void putString(std::string& out, const std::string& v);
void putRaw(std::string& out, const void* data, std::size_t bytes);

/// A cursor over caller-owned bytes. Typed reads are exact or throw insufficient data; a failed
/// read consumes the rest of the input.
class Reader {
 public:
  Reader(const void* data, std::size_t bytes) noexcept
      : m_data(static_cast<const unsigned char*>(data)), m_size(bytes) {}
  std::uint8_t getU8();
  std::uint32_t getU32();
  std::uint64_t getU64();
  /// Leaves `v` unchanged on failure.
  void getString(std::string& v);
  /// Copies up to `bytes` bytes; returns how many came.
  std::size_t getRaw(void* data, std::size_t bytes) noexcept;
  std::size_t remaining() const noexcept { return m_size - m_pos; }

 private:
  const unsigned char* take(std::size_t n);
  const unsigned char* m_data;
  std::size_t m_size;
  std::size_t m_pos = 0;
};

}  // namespace binary

template <class Iface>
class BinarySerializerT : public Iface {
 public:
  explicit BinarySerializerT(std::string& out) noexcept : m_out(out) {}
  BinarySerializerT& operator<<(unsigned char v) override {
    binary::putU8(m_out, v);
    return *this;
  }
  BinarySerializerT& operator<<(char v) override {
    binary::putU8(m_out, static_cast<std::uint8_t>(v));
    return *this;
  }
  BinarySerializerT& operator<<(int v) override {
    binary::putU32(m_out, static_cast<std::uint32_t>(v));
    return *this;
  }
  BinarySerializerT& operator<<(unsigned int v) override {
    binary::putU32(m_out, v);
    return *this;
  }
  BinarySerializerT& operator<<(long v) override {
    binary::putU64(m_out, static_cast<std::uint64_t>(v));
    return *this;
  }
  BinarySerializerT& operator<<(unsigned long v) override {
    binary::putU64(m_out, v);
    return *this;
  }
  BinarySerializerT& operator<<(const std::string& v) override {
    binary::putString(m_out, v);
    return *this;
  }
  void write(const void* data, unsigned long bytes) override { binary::putRaw(m_out, data, bytes); }

 private:
  std::string& m_out;
};

template <class Iface>
class BinaryDeserializerT : public Iface {
 public:
  BinaryDeserializerT(const void* data, std::size_t bytes) noexcept : m_in(data, bytes) {}
  BinaryDeserializerT& operator>>(unsigned char& v) override {
    v = m_in.getU8();
    return *this;
  }
  BinaryDeserializerT& operator>>(char& v) override {
    v = static_cast<char>(m_in.getU8());
    return *this;
  }
  BinaryDeserializerT& operator>>(int& v) override {
    v = static_cast<int>(m_in.getU32());
    return *this;
  }
  BinaryDeserializerT& operator>>(unsigned int& v) override {
    v = m_in.getU32();
    return *this;
  }
  BinaryDeserializerT& operator>>(long& v) override {
    v = static_cast<long>(m_in.getU64());
    return *this;
  }
  BinaryDeserializerT& operator>>(unsigned long& v) override {
    v = m_in.getU64();
    return *this;
  }
  BinaryDeserializerT& operator>>(std::string& v) override {
    m_in.getString(v);
    return *this;
  }
  void read(void* data, unsigned long bytes, unsigned long* done) override {
    const std::size_t n = m_in.getRaw(data, bytes);
    if (done) *done = n;
  }
  /// Bytes not yet read.
  std::size_t remaining() const noexcept { return m_in.remaining(); }

 private:
  binary::Reader m_in;
};

}  // namespace VorexUtils

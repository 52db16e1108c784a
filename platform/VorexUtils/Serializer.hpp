// Typed byte sinks and sources of persisted objects. The interfaces are virtual; the integer
// operations return *this for chaining. BinarySerializer/BinaryDeserializer encode fixed-width
// little-endian integers and a string as a u32 length plus its bytes (docs/serializer.md); the
// Streaming:: family shares that encoding. StreamOutput is a text-like serializer over an
// ostream. Thread-compatible.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

#include "VorexUtils/BinarySerializerT.hpp"

namespace VorexUtils {

class SerializerInterface {
 public:
  virtual ~SerializerInterface() = default;
  virtual SerializerInterface& operator<<(unsigned char v) = 0;
  virtual SerializerInterface& operator<<(char v) = 0;
  virtual SerializerInterface& operator<<(int v) = 0;
  virtual SerializerInterface& operator<<(unsigned int v) = 0;
  virtual SerializerInterface& operator<<(long v) = 0;
  virtual SerializerInterface& operator<<(unsigned long v) = 0;
  virtual SerializerInterface& operator<<(const std::string& v) = 0;
  virtual void write(const void* data, unsigned long bytes) = 0;
};

class DeserializerInterface {
 public:
  virtual ~DeserializerInterface() = default;
  virtual DeserializerInterface& operator>>(unsigned char& v) = 0;
  virtual DeserializerInterface& operator>>(char& v) = 0;
  virtual DeserializerInterface& operator>>(int& v) = 0;
  virtual DeserializerInterface& operator>>(unsigned int& v) = 0;
  virtual DeserializerInterface& operator>>(long& v) = 0;
  virtual DeserializerInterface& operator>>(unsigned long& v) = 0;
  virtual DeserializerInterface& operator>>(std::string& v) = 0;
  /// Reads up to `bytes` bytes; `*done` gets the number really read.
  virtual void read(void* data, unsigned long bytes, unsigned long* done) = 0;
};

/// Abstract serializer: the interface plus covariant chaining.
class Serializer : public SerializerInterface {
 public:
  Serializer& operator<<(unsigned char v) override = 0;
  Serializer& operator<<(char v) override = 0;
  Serializer& operator<<(int v) override = 0;
  Serializer& operator<<(unsigned int v) override = 0;
  Serializer& operator<<(long v) override = 0;
  Serializer& operator<<(unsigned long v) override = 0;
  Serializer& operator<<(const std::string& v) override = 0;
};

/// Abstract deserializer. readStringExactSize reads exactly `bytes` bytes or throws
/// ltt::exception(70000000 + VOREX_KLTRC_INSUFFICIENT_DATA).
class Deserializer : public DeserializerInterface {
 public:
  Deserializer& operator>>(unsigned char& v) override = 0;
  Deserializer& operator>>(char& v) override = 0;
  Deserializer& operator>>(int& v) override = 0;
  Deserializer& operator>>(unsigned int& v) override = 0;
  Deserializer& operator>>(long& v) override = 0;
  Deserializer& operator>>(unsigned long& v) override = 0;
  Deserializer& operator>>(std::string& v) override = 0;
  virtual void readStringExactSize(char* data, unsigned long bytes);
  /// True when this object keeps the default readStringExactSize (callers may inline it).
  virtual bool hasDefaultExactRead() const noexcept { return true; }
};

extern template class BinarySerializerT<Serializer>;
extern template class BinaryDeserializerT<Deserializer>;

/// The binary encoding (see BinarySerializerT.hpp) into a string owned by the caller.
class BinarySerializer : public BinarySerializerT<Serializer> {
 public:
  using BinarySerializerT::BinarySerializerT;
};

/// Reads the encoding of BinarySerializer from memory the caller keeps alive.
class BinaryDeserializer : public BinaryDeserializerT<Deserializer> {
 public:
  using BinaryDeserializerT::BinaryDeserializerT;
};

/// Text-like serializer: char -> the byte; unsigned char -> the byte and a blank;
/// unsigned int and every other integer -> decimal and a blank; a string -> its length, a
/// blank, the bytes; raw -> the bytes verbatim.
class StreamOutput : public Serializer {
 public:
  explicit StreamOutput(std::ostream& os) : m_os(os) {}
  StreamOutput& operator<<(unsigned char v) override;
  StreamOutput& operator<<(char v) override;
  StreamOutput& operator<<(int v) override;
  StreamOutput& operator<<(unsigned int v) override;
  StreamOutput& operator<<(long v) override;
  StreamOutput& operator<<(unsigned long v) override;
  StreamOutput& operator<<(const std::string& v) override;
  void write(const void* data, unsigned long bytes) override;

 private:
  std::ostream& m_os;
};

}  // namespace VorexUtils

// The Streaming:: serializer family: the same primitives as VorexUtils' serializers in types of
// their own, so that an object can overload serialize() for both families without ambiguity.
// Both binary implementations come from one template and give one byte image (see
// VorexUtils/BinarySerializerT.hpp). Thread-compatible.
#pragma once

#include <cstddef>
#include <string>

#include "VorexUtils/BinarySerializerT.hpp"

namespace Streaming {

class Serializer {
 public:
  virtual ~Serializer() = default;
  virtual Serializer& operator<<(unsigned char v) = 0;
  virtual Serializer& operator<<(char v) = 0;
  virtual Serializer& operator<<(int v) = 0;
  virtual Serializer& operator<<(unsigned int v) = 0;
  virtual Serializer& operator<<(long v) = 0;
  virtual Serializer& operator<<(unsigned long v) = 0;
  virtual Serializer& operator<<(const std::string& v) = 0;
  virtual void write(const void* data, unsigned long bytes) = 0;
};

class Deserializer {
 public:
  virtual ~Deserializer() = default;
  virtual Deserializer& operator>>(unsigned char& v) = 0;
  virtual Deserializer& operator>>(char& v) = 0;
  virtual Deserializer& operator>>(int& v) = 0;
  virtual Deserializer& operator>>(unsigned int& v) = 0;
  virtual Deserializer& operator>>(long& v) = 0;
  virtual Deserializer& operator>>(unsigned long& v) = 0;
  virtual Deserializer& operator>>(std::string& v) = 0;
  /// Reads up to `bytes` bytes; `*done` gets the number really read.
  virtual void read(void* data, unsigned long bytes, unsigned long* done) = 0;
};

/// An object with a persisted form in this family.
class Serializable {
 public:
  virtual ~Serializable() = default;
  virtual void serialize(Serializer& s) const = 0;
  virtual void deserialize(Deserializer& d) = 0;

 protected:
  Serializable() = default;
  Serializable(const Serializable&) = default;
  Serializable& operator=(const Serializable&) = default;
};

}  // namespace Streaming

namespace VorexUtils {
extern template class BinarySerializerT<Streaming::Serializer>;
extern template class BinaryDeserializerT<Streaming::Deserializer>;
}  // namespace VorexUtils

namespace Streaming {

/// The shared binary encoding into a string owned by the caller.
class BinarySerializer : public VorexUtils::BinarySerializerT<Serializer> {
 public:
  using BinarySerializerT::BinarySerializerT;
};

/// Reads the shared binary encoding from memory the caller keeps alive.
class BinaryDeserializer : public VorexUtils::BinaryDeserializerT<Deserializer> {
 public:
  using BinaryDeserializerT::BinaryDeserializerT;
};

}  // namespace Streaming

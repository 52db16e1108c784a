#include "Streaming/Serializer.hpp"

namespace VorexUtils {
template class BinarySerializerT<Streaming::Serializer>;
template class BinaryDeserializerT<Streaming::Deserializer>;
}  // namespace VorexUtils

// Arbitrary bytes into BitVector::deserialize. A bit vector must come back consistent (bits
// beyond its size clear, counts agree) or the deserializer must throw ltt::exception; the
// counting allocator bounds what a forged size may cost.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/Serializer.hpp"
#include "ltt/exception.hpp"
#include "ltt/testing/CountingAllocator.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static ltt::testing::CountingAllocator alloc("fuzz");
  {
    VorexUtils::BitVector bv(alloc);
    VorexUtils::BinaryDeserializer d(data, size);
    try {
      bv.deserialize(d);
    } catch (const ltt::exception&) {
      if (bv.size() != 0) std::abort();  // a failed read leaves the target as it was
    }
    // Storage never exceeds twice the input plus the first 64 KiB chunk.
    if (alloc.liveBytes() > 2 * size + 64 * 1024) std::abort();
    const std::size_t words = bv.wordCount();
    if (words != (bv.size() + 63) / 64) std::abort();
    if (words != 0 && (bv.size() & 63) != 0 &&
        (bv.wordsBegin()[words - 1] >> (bv.size() & 63)) != 0) {
      std::abort();
    }
    if (bv.numSetGeneric() != bv.numSetPopcnt()) std::abort();
    std::size_t iterated = 0;
    for (auto it = bv.beginAt(0); !it.atEnd(); ++it) {
      if (!bv.test(*it)) std::abort();
      ++iterated;
    }
    if (iterated != bv.countSet()) std::abort();
    if (bv.size() != 0) {
      const unsigned long last = bv.findLastSetInRange(0, bv.size());
      if (last < bv.size() && !bv.test(last)) std::abort();
    }
  }
  if (!alloc.checkNoLeaks()) std::abort();
  return 0;
}

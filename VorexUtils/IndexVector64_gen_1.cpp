// Bulk read of the 64-bit packed vectors: one loop per width, chosen from a table of 65.
#include <algorithm>

#include "VorexUtils/IndexVector64Kernels.hpp"

namespace VorexUtils {
namespace {

template <unsigned Bits>
struct Mget {
  static void run(unsigned long from, unsigned long count, Word* dest, const Word* data) {
    if constexpr (Bits == 0) {
      std::fill_n(dest, count, Word{0});  // no stream exists at width 0
    } else if constexpr (Bits == 64) {
      std::copy_n(data + from, count, dest);  // a value is a word
    } else {
      iv64::walk<Bits>(
          from, count, [&](unsigned long i) { *dest++ = iv64::getAt<Bits>(data, i); },
          [&](unsigned long, unsigned long w) {
            iv64::forEachInGroup<Bits>(data + w, [&](unsigned k, Word v) { dest[k] = v; });
            dest += iv64::kGroup<Bits>;
          });
    }
  }
};

constexpr auto kMget = iv64::makeWidthTable<Mget>();

}  // namespace

void IndexVector64Ref::mget(unsigned long from, unsigned long count, unsigned long* dest) const {
  kMget[m_bits](from, count, dest, m_buffer);
}

}  // namespace VorexUtils

// Bulk write of the 64-bit packed vectors: one loop per width, chosen from a table of 65. The
// head and tail keep their neighbours; the body assembles whole words and stores each once.
#include "VorexUtils/IndexVector64Kernels.hpp"

namespace VorexUtils {
namespace {

template <unsigned Bits>
struct Mset {
  static void run(unsigned long from, unsigned long count, const Word* values, Word* data) {
    if constexpr (Bits != 0) {  // width 0 has no stream to store into
      const Word* v = values;
      iv64::walk<Bits>(
          from, count, [&](unsigned long i) { iv64::setAt<Bits>(data, i, *v++); },
          [&](unsigned long, unsigned long w) {
            iv64::encodeGroup<Bits>(v, data + w);
            v += iv64::kGroup<Bits>;
          });
    }
  }
};

constexpr auto kMset = iv64::makeWidthTable<Mset>();

}  // namespace

void IndexVector64Ref::mset(unsigned long from, unsigned long count, const unsigned long* values) {
  kMset[m_bits](from, count, values, m_buffer);
}

void IndexVector64Ref::mset(unsigned long from, unsigned long count, unsigned long value) {
  for (unsigned long i = from; i < from + count; ++i) set(i, value);
}

}  // namespace VorexUtils

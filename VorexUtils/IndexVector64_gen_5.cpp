// Range search of the 64-bit packed vectors into a bit vector over positions: one loop per
// width, chosen from a table of 65.
#include "VorexUtils/IndexVector64Kernels.hpp"

namespace VorexUtils {
namespace {

template <unsigned Bits>
struct SearchRangePositions {
  static void run(unsigned long from, unsigned long count, Word rangeFrom, Word rangeTo,
                  BitVector& result, const Word* data) {
    iv64::searchPositions<Bits>(from, count, iv64::RangeTest(rangeFrom, rangeTo), result, data);
  }
};

constexpr auto kSearch = iv64::makeWidthTable<SearchRangePositions>();

}  // namespace

void IndexVector64Ref::mgetSearch(unsigned long from, unsigned long count, unsigned long rangeFrom,
                                  unsigned long rangeTo, BitVector& result) const {
  kSearch[m_bits](from, count, rangeFrom, rangeTo, result, m_buffer);
}

}  // namespace VorexUtils

// Value-filter search of the 64-bit packed vectors into a bit vector over positions: one loop
// per width, chosen from a table of 65.
#include "VorexUtils/IndexVector64Kernels.hpp"

namespace VorexUtils {
namespace {

template <unsigned Bits>
struct SearchFilterPositions {
  static void run(unsigned long from, unsigned long count, const BitVector& filter,
                  BitVector& result, const Word* data) {
    iv64::searchPositions<Bits>(from, count, iv64::FilterTest(filter), result, data);
  }
};

constexpr auto kSearch = iv64::makeWidthTable<SearchFilterPositions>();

}  // namespace

void IndexVector64Ref::mgetSearch(unsigned long from, unsigned long count, const BitVector& filter,
                                  BitVector& result) const {
  kSearch[m_bits](from, count, filter, result, m_buffer);
}

}  // namespace VorexUtils

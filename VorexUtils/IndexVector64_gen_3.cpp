// Range search of the 64-bit packed vectors into a list of the matching values: one loop per
// width, chosen from a table of 65.
#include "VorexUtils/IndexVector64Kernels.hpp"

namespace VorexUtils {
namespace {

template <unsigned Bits>
struct SearchRangeValues {
  static void run(unsigned long from, unsigned long count, Word rangeFrom, Word rangeTo,
                  ltt::vector<Word>& result, const Word* data) {
    iv64::searchValues<Bits>(from, count, iv64::RangeTest(rangeFrom, rangeTo), result, data);
  }
};

constexpr auto kSearch = iv64::makeWidthTable<SearchRangeValues>();

}  // namespace

void IndexVector64Ref::mgetSearch(unsigned long from, unsigned long count, unsigned long rangeFrom,
                                  unsigned long rangeTo,
                                  ltt_adp::vector<unsigned long>& result) const {
  kSearch[m_bits](from, count, rangeFrom, rangeTo, result, m_buffer);
}

}  // namespace VorexUtils

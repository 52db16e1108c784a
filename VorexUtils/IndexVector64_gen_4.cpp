// Value-filter search of the 64-bit packed vectors into a list of the matching values: one loop
// per width, chosen from a table of 65.
#include "VorexUtils/IndexVector64Kernels.hpp"

namespace VorexUtils {
namespace {

template <unsigned Bits>
struct SearchFilterValues {
  static void run(unsigned long from, unsigned long count, const BitVector& filter,
                  ltt::vector<Word>& result, const Word* data) {
    iv64::searchValues<Bits>(from, count, iv64::FilterTest(filter), result, data);
  }
};

constexpr auto kSearch = iv64::makeWidthTable<SearchFilterValues>();

}  // namespace

void IndexVector64Ref::mgetSearch(unsigned long from, unsigned long count, const BitVector& filter,
                                  ltt_adp::vector<unsigned long>& result) const {
  kSearch[m_bits](from, count, filter, result, m_buffer);
}

}  // namespace VorexUtils

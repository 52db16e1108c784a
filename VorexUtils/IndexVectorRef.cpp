// Scalar members of the packed view: width from a range, binary search, swap, and the bulk read
// entry, which only reads the slot.
#include "VorexUtils/IndexVectorRef.hpp"

#include <utility>

#include "VorexUtils/MgetBuffer.hpp"

namespace VorexUtils {

namespace detail {
// Constant-initialised, so a bulk read from any static initialiser already finds the generic
// decoder; configSSE may later replace it.
constinit MgetFn gMgetPtr_C_Fn = &mgetGeneric;
}  // namespace detail

namespace {

// Smallest b in [Lo, Hi] with 2^b >= range, as a balanced tree of constant comparisons:
// six compares for any range, no loop and no bit scan.
template <unsigned Lo, unsigned Hi>
inline unsigned widthTree(unsigned range) noexcept {
  if constexpr (Lo == Hi) {
    return Lo;
  } else {
    constexpr unsigned mid = (Lo + Hi) / 2;
    if (std::uint64_t{range} <= (std::uint64_t{1} << mid)) return widthTree<Lo, mid>(range);
    return widthTree<mid + 1, Hi>(range);
  }
}

}  // namespace

unsigned int IndexVectorRef::getBits(unsigned int range) noexcept {
  return widthTree<0, 32>(range);
}

long IndexVectorRef::lowerBound(unsigned int value, long first, long last) const noexcept {
  // The right end stays inclusive; the last step decides between `left` and its successor.
  long left = first;
  long right = last - 1;
  while (left < right) {
    const long mid = left + ((right - left) >> 1);
    if (value > get(static_cast<unsigned long>(mid))) {
      if (mid >= right) {
        left = right;
        break;
      }
      left = mid + 1;
    } else {
      if (left >= mid) break;
      right = mid - 1;
    }
  }
  if (left >= last) return left;
  return value > get(static_cast<unsigned long>(left)) ? left + 1 : left;
}

void IndexVectorRef::swap(IndexVectorRef& other) noexcept {
  std::swap(m_buffer, other.m_buffer);
  std::swap(m_mask, other.m_mask);
  std::swap(m_bits, other.m_bits);
  std::swap(m_group, other.m_group);
}

void IndexVectorRef::mget(unsigned long from, unsigned long count, const MgetBuffer& dest) const {
  detail::gMgetPtr_C_Fn(from, count, dest.getPtr(), m_bits, m_buffer, m_mask);
}

}  // namespace VorexUtils

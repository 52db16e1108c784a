// Value tests shared by the parallel search jobs. Values are compared as signed 32-bit numbers,
// unlike mgetSearch, which compares unsigned: the two differ only for values of 0x80000000 and
// above, which occur only at width 32. Pure functions; thread-safe.
#pragma once

#include <algorithm>
#include <cstddef>

#include "ltt/vector.hpp"

namespace VorexUtils {

/// True when `v` occurs in the ascending list `values`.
inline bool valueInSortedList(const ltt::vector<int>& values, int v) noexcept {
  const auto it = std::lower_bound(values.begin(), values.end(), v);
  return it != values.end() && *it == v;
}

/// True when start <= v < end for one of the sorted, disjoint pairs of the flat list `r` of `n`
/// entries (start, end, start, end, ...). Short lists are scanned; longer ones are searched.
inline bool valueInRanges(const int* r, std::size_t n, int v) noexcept {
  if (n <= 9) {
    for (std::size_t i = 0; i + 1 < n; i += 2) {
      if (v < r[i]) return false;
      if (v < r[i + 1]) return true;
    }
    return false;
  }
  const std::size_t at = static_cast<std::size_t>(std::lower_bound(r, r + n, v) - r);
  if (at == n) return false;
  const std::size_t k = at & ~std::size_t{1};
  if (k + 1 < n && r[k] <= v && v < r[k + 1]) return true;
  // The entry found may be the end of a pair equal to v, with the next pair starting at v.
  return k + 3 < n && r[k + 2] <= v && v < r[k + 3];
}

}  // namespace VorexUtils

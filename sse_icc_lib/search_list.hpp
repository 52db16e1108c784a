// How the instruction-set units reach a result list: declarations only, built on both sides of
// the ISA firewall. The units see VectorWrapperIfc only as a declaration, so none of its inline
// code is ever compiled with their flags; these functions are built with baseline flags
// (search_list.cpp).
#pragma once

#include <cstddef>

class VectorWrapperIfc;

namespace sse_icc_lib {

/// The storage of a result list as the kernels see it.
struct ListView {
  unsigned int* ptr;
  std::size_t size;
};

ListView searchListView(VectorWrapperIfc& out);
/// Doubles the size of `out` until it holds at least `need` entries.
ListView searchListGrow(VectorWrapperIfc& out, std::size_t need);

}  // namespace sse_icc_lib

#include "VorexUtils/MgetBuffer.hpp"

// Exact growth (no factor): the kernels grow by what they need. On failure the vector is
// unchanged and so are m_Ptr and m_Size.
void VectorWrapper::vector_resize_noinit(std::size_t n) {
  m_vector->rawResize_(n);
  refresh();
}

#include "ltt/exception.hpp"

namespace ltt {

bad_alloc::bad_alloc(std::size_t bytes)
    : exception(ENOMEM, "allocation of " + std::to_string(bytes) + " bytes failed"),
      m_bytes(bytes) {}

void impl::throwBadAllocation(std::size_t bytes) { throw bad_alloc(bytes); }

}  // namespace ltt

#include "Basis/String.hpp"

namespace Basis {

int strcasecmp(const char* a, const char* b) noexcept {
  auto lower = [](unsigned char c) -> int { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; };
  for (;; ++a, ++b) {
    const int d = lower(static_cast<unsigned char>(*a)) - lower(static_cast<unsigned char>(*b));
    if (d != 0 || *a == '\0') return d;
  }
}

}  // namespace Basis

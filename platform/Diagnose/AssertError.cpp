#include "Diagnose/AssertError.hpp"

#include <cstdio>
#include <cstdlib>

namespace Diagnose {

void AssertError::triggerAssert(const char* condition, const char* file, int line) {
  std::fprintf(stderr, "assertion failed: %s at %s:%d\n", condition, file, line);
  std::fflush(stderr);
  std::abort();
}

}  // namespace Diagnose

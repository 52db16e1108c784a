// Fatal assertion: one line to stderr (and the trace sink), then abort.
#pragma once

namespace Diagnose {
struct AssertError {
  [[noreturn]] static void triggerAssert(const char* condition, const char* file, int line);
};
}  // namespace Diagnose

#define DIAG_ASSERT(cond) \
  ((cond) ? (void)0 : ::Diagnose::AssertError::triggerAssert(#cond, __FILE__, __LINE__))

#include "Diagnose/AssertError.hpp"

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Diagnose/TraceTopic.hpp"

namespace Diagnose {

void AssertError::triggerAssert(const char* condition, const char* file, int line) {
  // stderr first: it needs no allocation and survives whatever state the sink is in.
  std::fprintf(stderr, "assertion failed: %s at %s:%d\n", condition, file, line);
  std::fflush(stderr);
  // An assertion raised while the sink itself asserts must not recurse.
  static thread_local bool inSink = false;
  if (!inSink) {
    inSink = true;
    try {
      const auto now = std::chrono::system_clock::now().time_since_epoch();
      TraceRecord r{nullptr,
                    1,
                    file,
                    line,
                    static_cast<std::uint64_t>(::syscall(SYS_gettid)),
                    std::chrono::duration_cast<std::chrono::microseconds>(now).count(),
                    std::string("assertion failed: ") + condition};
      TraceSink::current().write(r);
    } catch (...) {
      // The process stops either way.
    }
  }
  std::abort();
}

}  // namespace Diagnose

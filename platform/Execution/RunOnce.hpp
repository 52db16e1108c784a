// Run-once: the first caller runs the function; every other caller, concurrent or later, waits
// for it and then sees everything it wrote (std::call_once publishes the result behind the
// required fences). If the function throws, the flag stays unset and the next caller retries.
// Thread-safe.
#pragma once

#include <mutex>
#include <utility>

namespace Execution {

using OnceFlag = std::once_flag;

template <class F>
void runOnceUnchecked(OnceFlag& flag, F&& f) {
  std::call_once(flag, std::forward<F>(f));
}

}  // namespace Execution

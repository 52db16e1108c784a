// The process's trace directory and the rule that places trace files in it. The directory is
// the one set by the host (setTraceDirectory), else $VOREX_TRACE_DIR, else "./trace"; it is
// created on first use. Thread-safe.
#pragma once

#include <string>

namespace VorexUtils {

class VorexEnvironment {
 public:
  /// Sets the trace directory; an empty path returns to the environment and the default.
  static void setTraceDirectory(const std::string& path);
  /// The trace directory without a trailing slash (not created by this call).
  static std::string getTraceDirectory();
  /// As getTraceDirectory, but "" when neither the host nor $VOREX_TRACE_DIR has set one.
  static std::string getSetTraceDirectory();
  /// The full path of trace file `name` under the trace directory, which is created if needed.
  /// A leading "trace/" is dropped first. Returns "" for a name that is empty, absolute, or
  /// holds "/" or "..", and when the directory cannot be created.
  static std::string makeStandardFullTracePath(const std::string& name);
};

}  // namespace VorexUtils

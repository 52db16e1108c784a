// The call stack of the current thread as text, one frame per line:
//   "#<n> <address> <function>+0x<offset> (<module>)"
// with C++ names demangled. Function names come from the dynamic symbol table, so binaries link
// with -rdynamic; frames without a symbol show the module only.
// Thread-safe: every thread has its own saved stack.
#pragma once

#include <ostream>

namespace Diagnose {

class CallStackManager {
 public:
  /// Writes the caller's stack, leaving out its `skip` innermost frames (0: the caller first).
  static void showStack(std::ostream& os, unsigned long skip = 0);
  /// Keeps the caller's stack for this thread, tagged with `key`; replaces the last one.
  static void saveStack(const void* key);
  /// The key of this thread's saved stack, or null when none was saved.
  static const void* savedStackKey() noexcept;
  /// Writes this thread's saved stack; nothing when none was saved.
  static void showSavedStack(std::ostream& os);
};

}  // namespace Diagnose

#include "Diagnose/CallStackManager.hpp"

#include <cxxabi.h>
#include <execinfo.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace Diagnose {

namespace {

constexpr int kMaxFrames = 128;

struct SavedStack {
  const void* key = nullptr;
  void* frames[kMaxFrames];
  int count = 0;
};
thread_local SavedStack t_saved;

// backtrace_symbols gives "module(symbol+0xoff) [0xaddr]"; symbol may be empty or missing.
void writeFrame(std::ostream& os, int index, void* address, const char* symbolText) {
  char head[48];
  std::snprintf(head, sizeof head, "#%d %p ", index, address);
  os << head;
  if (!symbolText) {
    os << "??\n";
    return;
  }
  const char* open = std::strchr(symbolText, '(');
  const char* close = open ? std::strchr(open, ')') : nullptr;
  if (!open || !close) {
    os << symbolText << '\n';
    return;
  }
  const std::string module(symbolText, open);
  std::string inner(open + 1, close);
  std::string offset;
  if (const auto plus = inner.rfind('+'); plus != std::string::npos) {
    offset = inner.substr(plus);
    inner.resize(plus);
  }
  if (inner.empty()) {
    os << "?? " << '(' << module << ")\n";
    return;
  }
  int status = -1;
  char* demangled = abi::__cxa_demangle(inner.c_str(), nullptr, nullptr, &status);
  os << (status == 0 && demangled ? demangled : inner.c_str()) << offset << " (" << module
     << ")\n";
  std::free(demangled);
}

// Index of the caller's frame: the one holding `returnAddress`. Sanitizers may put frames of
// their own before ours, so the position is searched, not assumed.
int callerFrame(void* const* frames, int count, const void* returnAddress) noexcept {
  for (int i = 0; i < count; ++i)
    if (frames[i] == returnAddress) return i;
  return count > 0 ? 1 : 0;
}

void writeFrames(std::ostream& os, void* const* frames, int count) {
  if (count <= 0) return;
  char** symbols = backtrace_symbols(frames, count);
  for (int i = 0; i < count; ++i) writeFrame(os, i, frames[i], symbols ? symbols[i] : nullptr);
  std::free(symbols);
}

}  // namespace

// Not inlined, so that the return address names the caller's frame.
__attribute__((noinline)) void CallStackManager::showStack(std::ostream& os, unsigned long skip) {
  void* frames[kMaxFrames];
  const int n = backtrace(frames, kMaxFrames);
  const unsigned long first =
      static_cast<unsigned long>(callerFrame(frames, n, __builtin_return_address(0))) + skip;
  if (static_cast<unsigned long>(n) <= first) return;
  writeFrames(os, frames + first, n - static_cast<int>(first));
}

__attribute__((noinline)) void CallStackManager::saveStack(const void* key) {
  void* frames[kMaxFrames];
  const int n = backtrace(frames, kMaxFrames);
  const int first = callerFrame(frames, n, __builtin_return_address(0));
  SavedStack& s = t_saved;
  s.key = key;
  s.count = n - first;
  for (int i = 0; i < s.count; ++i) s.frames[i] = frames[first + i];
}

const void* CallStackManager::savedStackKey() noexcept { return t_saved.key; }

void CallStackManager::showSavedStack(std::ostream& os) {
  const SavedStack& s = t_saved;
  writeFrames(os, s.frames, s.count);
}

}  // namespace Diagnose

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

void writeFrames(std::ostream& os, void* const* frames, int count) {
  if (count <= 0) return;
  char** symbols = backtrace_symbols(frames, count);
  for (int i = 0; i < count; ++i) writeFrame(os, i, frames[i], symbols ? symbols[i] : nullptr);
  std::free(symbols);
}

}  // namespace

// Not inlined, so that frame 0 is always this function and `skip` counts the caller's frames.
__attribute__((noinline)) void CallStackManager::showStack(std::ostream& os, unsigned long skip) {
  void* frames[kMaxFrames];
  const int n = backtrace(frames, kMaxFrames);
  const unsigned long drop = skip + 1;
  if (static_cast<unsigned long>(n) <= drop) return;
  writeFrames(os, frames + drop, n - static_cast<int>(drop));
}

__attribute__((noinline)) void CallStackManager::saveStack(const void* key) {
  void* frames[kMaxFrames];
  const int n = backtrace(frames, kMaxFrames);
  SavedStack& s = t_saved;
  s.key = key;
  s.count = n > 1 ? n - 1 : 0;
  for (int i = 0; i < s.count; ++i) s.frames[i] = frames[i + 1];
}

const void* CallStackManager::savedStackKey() noexcept { return t_saved.key; }

void CallStackManager::showSavedStack(std::ostream& os) {
  const SavedStack& s = t_saved;
  writeFrames(os, s.frames, s.count);
}

}  // namespace Diagnose

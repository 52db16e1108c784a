// Small helpers shared by the commands of the vorex tool: strict number parsing, options of the
// form "--name value" or "--name=value", whole-file input and output, and error reporting.
#pragma once

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>

namespace vorex_cli {

/// Decimal digits only, at most `max`; anything else (sign, blank, suffix, overflow) is false.
inline bool parseNumber(std::string_view text, unsigned long max, unsigned long& out) {
  if (text.empty()) return false;
  unsigned long v = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
  if (ec != std::errc() || end != text.data() + text.size() || v > max) return false;
  out = v;
  return true;
}

/// Prints "vorex <command>: <message>" to stderr and returns `status`.
inline int fail(const char* command, int status, const std::string& message) {
  std::cerr << "vorex " << command << ": " << message << '\n';
  return status;
}

/// If argv[i] is option `name` ("--bits 5" or "--bits=5"), stores its value, advances i past
/// it and returns true. A missing value leaves `value` null.
inline bool takeOption(int argc, char** argv, int& i, const char* name, const char*& value) {
  const std::size_t n = std::strlen(name);
  if (std::strncmp(argv[i], name, n) != 0) return false;
  if (argv[i][n] == '=') {
    value = argv[i] + n + 1;
  } else if (argv[i][n] == '\0') {
    value = i + 1 < argc ? argv[++i] : nullptr;
  } else {
    return false;
  }
  return true;
}

inline bool readFile(const char* path, std::string& out, std::string& error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    error = std::string("cannot open '") + path + "': " + std::strerror(errno);
    return false;
  }
  std::ostringstream s;
  s << in.rdbuf();
  if (in.bad()) {
    error = std::string("cannot read '") + path + "'";
    return false;
  }
  out = std::move(s).str();
  return true;
}

inline bool writeFile(const char* path, const std::string& data, std::string& error) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (out) out.write(data.data(), static_cast<std::streamsize>(data.size()));
  if (out) out.flush();
  if (!out) {
    error = std::string("cannot write '") + path + "': " + std::strerror(errno);
    return false;
  }
  return true;
}

}  // namespace vorex_cli

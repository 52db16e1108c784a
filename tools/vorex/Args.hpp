// Small helpers shared by the commands of the vorex tool: strict number parsing and its option
// check, whole-file input and output, and error reporting.
#pragma once

#include <CLI/CLI.hpp>
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

/// An option check for decimal integers in 0..max. CLI11 alone would also take "0x10", "010"
/// (octal) and "-1" (wrapped to the largest value).
inline CLI::Validator upTo(unsigned long max) {
  return CLI::Validator(
      [max](std::string& text) -> std::string {
        unsigned long v;
        return parseNumber(text, max, v) ? std::string()
                                         : "not a decimal integer in 0.." + std::to_string(max);
      },
      "0.." + std::to_string(max));
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

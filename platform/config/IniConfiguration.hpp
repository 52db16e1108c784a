// Configuration read from INI text: "[section]" headers, "key = value" lines, ';' and '#'
// comments, indented continuation lines (joined with '\n', as are repeated keys). Section and
// key names are case-insensitive; values are kept as written, without surrounding blanks.
// Immutable after construction. Thread-safe for concurrent readers.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "config/Configuration.hpp"

class INIReader;

namespace config {

class IniConfiguration final : public Configuration {
 public:
  /// Parses the file at `path`; a file that cannot be read gives an empty configuration with
  /// parseError() == -1.
  static IniConfiguration fromFile(const std::string& path);
  /// Parses INI text held in memory; `name` only labels error messages.
  static IniConfiguration fromBuffer(std::string_view text, std::string name = "<buffer>");

  IniConfiguration(IniConfiguration&&) noexcept;
  IniConfiguration& operator=(IniConfiguration&&) noexcept;
  ~IniConfiguration() override;

  bool getValue(std::string_view section, std::string_view key, std::string& out) const override;

  /// 0 when the text parsed cleanly, the number of the first bad line (from 1) otherwise, or -1
  /// when the file could not be read. Lines after a bad one are still read.
  int parseError() const noexcept { return m_parseError; }
  /// The path or name the configuration was read from.
  const std::string& source() const noexcept { return m_source; }

 private:
  IniConfiguration(std::unique_ptr<INIReader> reader, std::string source);

  std::unique_ptr<INIReader> m_reader;
  std::string m_source;
  int m_parseError = 0;
};

}  // namespace config

#include "config/IniConfiguration.hpp"

#include <INIReader.h>

#include "Diagnose/EngineTopics.hpp"

namespace config {

IniConfiguration::IniConfiguration(std::unique_ptr<INIReader> reader, std::string source)
    : m_reader(std::move(reader)), m_source(std::move(source)),
      m_parseError(m_reader->ParseError()) {
  if (m_parseError < 0) {
    DIAG_TRACE(TRACE_CONFIG, 2) << "cannot read configuration file \"" << m_source << '"';
  } else if (m_parseError > 0) {
    DIAG_TRACE(TRACE_CONFIG, 2) << "configuration \"" << m_source << "\": syntax error in line "
                                << m_parseError;
  }
}

IniConfiguration IniConfiguration::fromFile(const std::string& path) {
  return IniConfiguration(std::make_unique<INIReader>(path), path);
}

IniConfiguration IniConfiguration::fromBuffer(std::string_view text, std::string name) {
  return IniConfiguration(std::make_unique<INIReader>(text.data(), text.size()), std::move(name));
}

IniConfiguration::IniConfiguration(IniConfiguration&&) noexcept = default;
IniConfiguration& IniConfiguration::operator=(IniConfiguration&&) noexcept = default;
IniConfiguration::~IniConfiguration() = default;

bool IniConfiguration::getValue(std::string_view section, std::string_view key,
                                std::string& out) const {
  if (!m_reader) return false;
  const std::string s(section), k(key);
  if (!m_reader->HasValue(s, k)) return false;
  out = m_reader->Get(s, k, std::string());
  return true;
}

}  // namespace config

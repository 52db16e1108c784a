#include "config/testing/ScopedConfiguration.hpp"

#include <stdexcept>

namespace config::testing {

ScopedConfiguration::ScopedConfiguration(std::initializer_list<Entry> entries)
    : m_previous(getActiveConfiguration()), m_map(std::make_shared<MapConfiguration>()) {
  for (const Entry& e : entries) m_map->set(e.section, e.key, e.value);
  setActiveConfiguration(m_map);
}

ScopedConfiguration::ScopedConfiguration(std::shared_ptr<const Configuration> cfg)
    : m_previous(getActiveConfiguration()) {
  setActiveConfiguration(std::move(cfg));
}

ScopedConfiguration::~ScopedConfiguration() { setActiveConfiguration(std::move(m_previous)); }

MapConfiguration& ScopedConfiguration::map() {
  if (!m_map) throw std::logic_error("ScopedConfiguration holds no in-memory configuration");
  return *m_map;
}

}  // namespace config::testing

// Test hook: makes a configuration the active one for a scope and reinstalls the previous one
// at the end, so typed values see a new configuration time on both edges.
//
//   config::testing::ScopedConfiguration cfg({{"attributes", "mgetSearch_numa_threshold", "10"}});
//
// Scopes nest and must end in reverse order. Not for concurrent use from several threads.
#pragma once

#include <initializer_list>
#include <memory>
#include <string>

#include "config/Configuration.hpp"

namespace config::testing {

struct Entry {
  std::string section;
  std::string key;
  std::string value;
};

class ScopedConfiguration {
 public:
  /// Installs an in-memory configuration holding `entries`; values can be changed through map().
  explicit ScopedConfiguration(std::initializer_list<Entry> entries = {});
  /// Installs `cfg` (null: no configuration, every value gives its default).
  explicit ScopedConfiguration(std::shared_ptr<const Configuration> cfg);
  ~ScopedConfiguration();
  ScopedConfiguration(const ScopedConfiguration&) = delete;
  ScopedConfiguration& operator=(const ScopedConfiguration&) = delete;

  /// The in-memory configuration of the first constructor; setting a value moves the time.
  MapConfiguration& map();

 private:
  std::shared_ptr<const Configuration> m_previous;
  std::shared_ptr<MapConfiguration> m_map;
};

}  // namespace config::testing

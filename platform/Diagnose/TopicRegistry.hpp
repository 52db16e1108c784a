// The registry of trace topics: every topic registers by name when its owner initialises it and
// leaves at unload. Hosts set levels by name, from their configuration or from the environment.
//
// Level values, in configuration and environment alike: a decimal number from -128 to 127, or a
// name: "off"/"none" = 0, "error" = 1, "warning" = 2, "info" = 3, "debug" = 5 (any case).
// Level 0 still passes messages of level 0; a negative level silences everything at or above it.
//
// Thread-safe: one lock guards the list, the global levels and the session scopes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Diagnose/TraceTopic.hpp"

namespace config {
class Configuration;
}

namespace Diagnose {

class TopicRegistry {
 public:
  TopicRegistry() = delete;

  /// Registered topic of that name (ASCII case-insensitive), or null.
  static DiagTopic* find(std::string_view name) noexcept;
  /// Sets the global level of the named topic; false when no such topic is registered.
  static bool setLevel(std::string_view name, TraceLevel level) noexcept;
  /// Registered topics, in registration order.
  static std::vector<DiagTopic*> topics();
  /// Every registered topic back to its default level.
  static void resetLevels() noexcept;

  /// Parses a level value as described above; false for anything else.
  static bool parseLevel(std::string_view text, TraceLevel& level) noexcept;

  /// For each registered topic, reads key <topic name> of section "trace" and sets the level.
  /// Values that do not parse are skipped and reported on TRACE_CONFIG. Returns how many
  /// topics were set.
  static std::size_t applyConfiguration(const config::Configuration& cfg);

  /// Applies "name=level" entries separated by ',' ';' or blanks, e.g.
  /// "indexvector=5,getserver=debug". The name "*" sets every registered topic. Entries with an
  /// unknown topic or a bad level are skipped and, when `rejected` is given, appended to it.
  /// Returns how many entries were applied.
  static std::size_t applySettings(std::string_view settings,
                                   std::vector<std::string>* rejected = nullptr);

  /// Explicit host call: applies the levels of $VOREX_TRACE (as applySettings) and sends the
  /// default sink to $VOREX_TRACE_FILE when that is set. Returns how many entries were applied.
  static std::size_t applyEnvironment(std::vector<std::string>* rejected = nullptr);

 private:
  friend class DiagTopic;
  friend class TraceTopic;
  friend class ScopedSessionLevel;
  static void add(DiagTopic& topic) noexcept;
  static void remove(DiagTopic& topic) noexcept;
  static void recomputeLocked(DiagTopic& topic) noexcept;
};

}  // namespace Diagnose

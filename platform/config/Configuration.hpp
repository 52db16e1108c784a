// Configuration: lookup by section and key, an in-memory source, the active configuration, a
// configuration time that moves whenever values may have changed, and typed values that cache
// against that time so an unchanged configuration costs one compare.
// Thread-safe: the active configuration is swapped atomically; cached values use relaxed atomics.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace config {

class Configuration {
 public:
  virtual ~Configuration() = default;
  /// True and the value in `out` when section/key is present.
  virtual bool getValue(std::string_view section, std::string_view key, std::string& out) const = 0;
  /// Trims blanks; "1", "true", "yes", "on" (any case) are true, everything else false.
  static bool stringToBool(const std::string& text);
};

/// In-memory configuration; sections and keys compare case-insensitively.
class MapConfiguration : public Configuration {
 public:
  MapConfiguration() = default;
  bool getValue(std::string_view section, std::string_view key, std::string& out) const override;
  /// Sets a value; bumps the configuration time when this is the active configuration.
  void set(std::string_view section, std::string_view key, std::string value);
  void erase(std::string_view section, std::string_view key);

 private:
  mutable std::mutex m_mutex;
  std::map<std::pair<std::string, std::string>, std::string> m_values;
};

/// Installs the configuration that ConfigValue reads (null: none, every value is its default).
void setActiveConfiguration(std::shared_ptr<const Configuration> cfg);
std::shared_ptr<const Configuration> getActiveConfiguration();

struct ConfigTimeBasedValue {
  /// Starts at 1 and moves on every install and every set on the active configuration.
  static std::uint64_t getConfigTime() noexcept;
  static void bump() noexcept;
};

/// A typed value of the active configuration with a default. Integers parse as decimal (leading
/// blanks and trailing blanks allowed; no sign for unsigned types); a value that is absent, has
/// trailing garbage or is out of range for T gives the default. bool reads through stringToBool.
template <class T>
class ConfigValue {
  static_assert(std::is_integral_v<T>, "ConfigValue holds integers or bool");

 public:
  constexpr ConfigValue(const char* section, const char* key, T defaultValue) noexcept
      : m_section(section), m_key(key), m_default(defaultValue) {}
  T getValueFromConfig() const;
  T getDefault() const noexcept { return m_default; }
  const char* section() const noexcept { return m_section; }
  const char* key() const noexcept { return m_key; }

 private:
  const char* m_section;
  const char* m_key;
  T m_default;
};

/// Parses an unsigned decimal number as ConfigValue does; false for a sign, garbage or a value
/// above `max`.
bool parseUnsigned(const std::string& text, std::uint64_t max, std::uint64_t& out) noexcept;
/// The same for a signed decimal number in [min, max].
bool parseSigned(const std::string& text, std::int64_t min, std::int64_t max,
                 std::int64_t& out) noexcept;

template <class T>
T ConfigValue<T>::getValueFromConfig() const {
  auto cfg = getActiveConfiguration();
  std::string text;
  if (!cfg || !cfg->getValue(m_section, m_key, text)) return m_default;
  if constexpr (std::is_same_v<T, bool>) {
    return Configuration::stringToBool(text);
  } else if constexpr (std::is_signed_v<T>) {
    std::int64_t v = 0;
    if (parseSigned(text, std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), v))
      return static_cast<T>(v);
  } else {
    std::uint64_t v = 0;
    if (parseUnsigned(text, std::numeric_limits<T>::max(), v)) return static_cast<T>(v);
  }
  return m_default;
}

/// A ConfigValue cached against the configuration time; re-read only when the time moved.
/// Racing threads can only store the same value.
template <class T>
class CachedConfigValue {
 public:
  constexpr CachedConfigValue(const char* section, const char* key, T defaultValue) noexcept
      : m_value(section, key, defaultValue), m_cached(defaultValue) {}
  T get() const {
    const std::uint64_t now = ConfigTimeBasedValue::getConfigTime();
    if (m_time.load(std::memory_order_acquire) != now) {
      m_cached.store(m_value.getValueFromConfig(), std::memory_order_relaxed);
      m_time.store(now, std::memory_order_release);  // publishes the value read for `now`
    }
    return m_cached.load(std::memory_order_relaxed);
  }
  const ConfigValue<T>& value() const noexcept { return m_value; }

 private:
  ConfigValue<T> m_value;
  mutable std::atomic<T> m_cached;
  mutable std::atomic<std::uint64_t> m_time{0};
};

/// [attributes] mgetSearch_numa_threshold, default 512000.
const CachedConfigValue<unsigned long>& mgetSearchNumaThreshold() noexcept;
/// [olap] max_trace_values, default 150.
const CachedConfigValue<unsigned long>& maxTraceValues() noexcept;

}  // namespace config

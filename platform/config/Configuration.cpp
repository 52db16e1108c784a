#include "config/Configuration.hpp"

#include <cerrno>
#include <cstdlib>

namespace config {

namespace {

std::string lowerAscii(std::string_view s) {
  std::string r(s);
  for (char& c : r)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  return r;
}

std::atomic<std::uint64_t> g_configTime{1};
std::mutex g_activeMutex;
std::shared_ptr<const Configuration> g_active;

}  // namespace

bool Configuration::stringToBool(const std::string& text) {
  const auto b = text.find_first_not_of(" \t\r\n");
  if (b == std::string::npos) return false;
  const auto e = text.find_last_not_of(" \t\r\n");
  const std::string t = lowerAscii(std::string_view(text).substr(b, e - b + 1));
  return t == "1" || t == "true" || t == "yes" || t == "on";
}

bool MapConfiguration::getValue(std::string_view section, std::string_view key,
                                std::string& out) const {
  std::lock_guard<std::mutex> lock(m_mutex);
  auto it = m_values.find({lowerAscii(section), lowerAscii(key)});
  if (it == m_values.end()) return false;
  out = it->second;
  return true;
}

void MapConfiguration::set(std::string_view section, std::string_view key, std::string value) {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_values[{lowerAscii(section), lowerAscii(key)}] = std::move(value);
  }
  if (getActiveConfiguration().get() == this) ConfigTimeBasedValue::bump();
}

void MapConfiguration::erase(std::string_view section, std::string_view key) {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_values.erase({lowerAscii(section), lowerAscii(key)});
  }
  if (getActiveConfiguration().get() == this) ConfigTimeBasedValue::bump();
}

void setActiveConfiguration(std::shared_ptr<const Configuration> cfg) {
  {
    std::lock_guard<std::mutex> lock(g_activeMutex);
    g_active = std::move(cfg);
  }
  ConfigTimeBasedValue::bump();
}

std::shared_ptr<const Configuration> getActiveConfiguration() {
  std::lock_guard<std::mutex> lock(g_activeMutex);
  return g_active;
}

std::uint64_t ConfigTimeBasedValue::getConfigTime() noexcept {
  return g_configTime.load(std::memory_order_acquire);
}
void ConfigTimeBasedValue::bump() noexcept { g_configTime.fetch_add(1, std::memory_order_acq_rel); }

bool parseUnsigned(const std::string& text, std::uint64_t max, std::uint64_t& out) noexcept {
  const char* s = text.c_str();
  while (*s == ' ' || *s == '\t') ++s;
  if (*s < '0' || *s > '9') return false;  // strtoull would accept a sign
  errno = 0;
  char* end = nullptr;
  const unsigned long long v = std::strtoull(s, &end, 10);
  while (*end == ' ' || *end == '\t' || *end == '\r' || *end == '\n') ++end;
  if (errno == ERANGE || *end != '\0' || v > max) return false;
  out = v;
  return true;
}

bool parseSigned(const std::string& text, std::int64_t min, std::int64_t max,
                 std::int64_t& out) noexcept {
  const char* s = text.c_str();
  while (*s == ' ' || *s == '\t') ++s;
  const char* digits = (*s == '-' || *s == '+') ? s + 1 : s;
  if (*digits < '0' || *digits > '9') return false;
  errno = 0;
  char* end = nullptr;
  const long long v = std::strtoll(s, &end, 10);
  while (*end == ' ' || *end == '\t' || *end == '\r' || *end == '\n') ++end;
  if (errno == ERANGE || *end != '\0' || v < min || v > max) return false;
  out = v;
  return true;
}

const CachedConfigValue<unsigned long>& mgetSearchNumaThreshold() noexcept {
  static const CachedConfigValue<unsigned long> v("attributes", "mgetSearch_numa_threshold",
                                                  512000);
  return v;
}

const CachedConfigValue<unsigned long>& maxTraceValues() noexcept {
  static const CachedConfigValue<unsigned long> v("olap", "max_trace_values", 150);
  return v;
}

}  // namespace config

#include "Diagnose/TopicRegistry.hpp"

#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <type_traits>

#include "Diagnose/EngineTopics.hpp"
#include "config/Configuration.hpp"

namespace Diagnose {

namespace {

// Constant-initialised and trivially destructible, so topics may register from any static
// initialiser and leave from any static destructor, in whatever order units run.
struct RegistryState {
  std::mutex mutex;
  DiagTopic* head = nullptr;
  DiagTopic* tail = nullptr;
  ScopedSessionLevel* sessions = nullptr;  // every live scope, on any thread
};
static_assert(std::is_trivially_destructible_v<RegistryState>);

RegistryState& state() noexcept {
  static RegistryState s;
  return s;
}

thread_local ScopedSessionLevel* t_innermost = nullptr;

char lowerAscii(char c) noexcept { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c; }

bool equalsIgnoreCase(std::string_view a, const char* b) noexcept {
  std::size_t i = 0;
  for (; i < a.size(); ++i)
    if (b[i] == '\0' || lowerAscii(a[i]) != lowerAscii(b[i])) return false;
  return b[i] == '\0';
}

std::string_view trim(std::string_view s) noexcept {
  const auto b = s.find_first_not_of(" \t\r\n");
  if (b == std::string_view::npos) return {};
  const auto e = s.find_last_not_of(" \t\r\n");
  return s.substr(b, e - b + 1);
}

}  // namespace

// --- topics -------------------------------------------------------------------------------

void DiagTopic::init() noexcept {
  // Hosts test the first byte of a topic directly; nothing may precede the level.
  static_assert(std::is_standard_layout_v<DiagTopic>);
  static_assert(offsetof(DiagTopic, m_level) == 0);
  static_assert(sizeof(m_level) == 1 && std::atomic<signed char>::is_always_lock_free);
  TopicRegistry::add(*this);
}

bool DiagTopic::isRegistered() const noexcept {
  std::lock_guard<std::mutex> lock(state().mutex);
  return m_registered;
}

void TraceTopic::destroy() noexcept { TopicRegistry::remove(*this); }

void DiagTopic::setLevel(TraceLevel level) noexcept {
  std::lock_guard<std::mutex> lock(state().mutex);
  m_globalLevel.store(level, std::memory_order_relaxed);
  TopicRegistry::recomputeLocked(*this);
}

bool DiagTopic::checkSessionLevel(TraceLevel level) const noexcept {
  if (level <= m_globalLevel.load(std::memory_order_relaxed)) return true;
  // The count covers every thread's scopes; a thread always sees its own, so zero means none.
  if (m_sessions.load(std::memory_order_relaxed) == 0) return false;
  TraceLevel session = 0;
  return ScopedSessionLevel::threadLevel(*this, session) && level <= session;
}

// --- session scopes -----------------------------------------------------------------------

ScopedSessionLevel::ScopedSessionLevel(DiagTopic& topic, TraceLevel level) noexcept
    : m_topic(topic), m_level(level), m_threadPrev(t_innermost) {
  RegistryState& st = state();
  std::lock_guard<std::mutex> lock(st.mutex);
  m_next = st.sessions;
  if (m_next) m_next->m_prev = this;
  st.sessions = this;
  m_topic.m_sessions.fetch_add(1, std::memory_order_relaxed);
  TopicRegistry::recomputeLocked(m_topic);
  t_innermost = this;
}

ScopedSessionLevel::~ScopedSessionLevel() {
  // Unlink from this thread's chain first; scopes may end out of order.
  for (ScopedSessionLevel** p = &t_innermost; *p; p = &(*p)->m_threadPrev) {
    if (*p == this) {
      *p = m_threadPrev;
      break;
    }
  }
  RegistryState& st = state();
  std::lock_guard<std::mutex> lock(st.mutex);
  if (m_prev) m_prev->m_next = m_next;
  else st.sessions = m_next;
  if (m_next) m_next->m_prev = m_prev;
  m_topic.m_sessions.fetch_sub(1, std::memory_order_relaxed);
  TopicRegistry::recomputeLocked(m_topic);
}

bool ScopedSessionLevel::threadLevel(const DiagTopic& topic, TraceLevel& level) noexcept {
  for (const ScopedSessionLevel* s = t_innermost; s; s = s->m_threadPrev) {
    if (&s->m_topic == &topic) {
      level = s->m_level;
      return true;
    }
  }
  return false;
}

// --- registry -----------------------------------------------------------------------------

void TopicRegistry::recomputeLocked(DiagTopic& topic) noexcept {
  TraceLevel effective = topic.m_globalLevel.load(std::memory_order_relaxed);
  for (const ScopedSessionLevel* s = state().sessions; s; s = s->m_next)
    if (&s->m_topic == &topic && s->m_level > effective) effective = s->m_level;
  topic.m_level.store(effective, std::memory_order_relaxed);
}

void TopicRegistry::add(DiagTopic& topic) noexcept {
  RegistryState& st = state();
  std::lock_guard<std::mutex> lock(st.mutex);
  if (topic.m_registered) return;
  topic.m_next = nullptr;
  if (st.tail) st.tail->m_next = &topic;
  else st.head = &topic;
  st.tail = &topic;
  topic.m_registered = true;
}

void TopicRegistry::remove(DiagTopic& topic) noexcept {
  RegistryState& st = state();
  std::lock_guard<std::mutex> lock(st.mutex);
  if (!topic.m_registered) return;
  DiagTopic* prev = nullptr;
  for (DiagTopic* t = st.head; t; prev = t, t = t->m_next) {
    if (t != &topic) continue;
    if (prev) prev->m_next = t->m_next;
    else st.head = t->m_next;
    if (st.tail == t) st.tail = prev;
    break;
  }
  topic.m_next = nullptr;
  topic.m_registered = false;
}

DiagTopic* TopicRegistry::find(std::string_view name) noexcept {
  RegistryState& st = state();
  std::lock_guard<std::mutex> lock(st.mutex);
  for (DiagTopic* t = st.head; t; t = t->m_next)
    if (equalsIgnoreCase(name, t->name())) return t;
  return nullptr;
}

bool TopicRegistry::setLevel(std::string_view name, TraceLevel level) noexcept {
  DiagTopic* t = find(name);
  if (!t) return false;
  t->setLevel(level);
  return true;
}

std::vector<DiagTopic*> TopicRegistry::topics() {
  std::vector<DiagTopic*> all;
  RegistryState& st = state();
  std::lock_guard<std::mutex> lock(st.mutex);
  for (DiagTopic* t = st.head; t; t = t->m_next) all.push_back(t);
  return all;
}

void TopicRegistry::resetLevels() noexcept {
  RegistryState& st = state();
  std::lock_guard<std::mutex> lock(st.mutex);
  for (DiagTopic* t = st.head; t; t = t->m_next) {
    t->m_globalLevel.store(t->m_defaultLevel, std::memory_order_relaxed);
    recomputeLocked(*t);
  }
}

bool TopicRegistry::parseLevel(std::string_view text, TraceLevel& level) noexcept {
  const std::string_view t = trim(text);
  static constexpr struct {
    const char* name;
    TraceLevel level;
  } kNames[] = {{"off", 0}, {"none", 0}, {"error", 1}, {"warning", 2}, {"info", 3}, {"debug", 5}};
  for (const auto& n : kNames) {
    if (equalsIgnoreCase(t, n.name)) {
      level = n.level;
      return true;
    }
  }
  std::size_t i = 0;
  const bool negative = !t.empty() && t[0] == '-';
  if (!t.empty() && (t[0] == '-' || t[0] == '+')) ++i;
  if (i == t.size()) return false;
  int value = 0;
  for (; i < t.size(); ++i) {
    if (t[i] < '0' || t[i] > '9') return false;
    value = value * 10 + (t[i] - '0');
    if (value > 128) return false;
  }
  if (negative) value = -value;
  if (value < -128 || value > 127) return false;
  level = static_cast<TraceLevel>(value);
  return true;
}

std::size_t TopicRegistry::applyConfiguration(const config::Configuration& cfg) {
  std::size_t applied = 0;
  std::string value;
  // The configuration is read outside the registry lock: a source may trace or lock itself.
  for (DiagTopic* topic : topics()) {
    if (!cfg.getValue("trace", topic->name(), value)) continue;
    TraceLevel level = 0;
    if (!parseLevel(value, level)) {
      DIAG_TRACE(TRACE_CONFIG, 2) << "[trace] " << topic->name() << ": not a trace level: \""
                                  << value << '"';
      continue;
    }
    topic->setLevel(level);
    ++applied;
  }
  return applied;
}

std::size_t TopicRegistry::applySettings(std::string_view settings,
                                         std::vector<std::string>* rejected) {
  std::size_t applied = 0;
  while (!settings.empty()) {
    const auto cut = settings.find_first_of(",; \t\r\n");
    const std::string_view entry = settings.substr(0, cut);
    settings = cut == std::string_view::npos ? std::string_view{} : settings.substr(cut + 1);
    if (entry.empty()) continue;
    const auto eq = entry.find('=');
    TraceLevel level = 0;
    bool ok = eq != std::string_view::npos && parseLevel(entry.substr(eq + 1), level);
    if (ok) {
      const std::string_view name = trim(entry.substr(0, eq));
      if (name == "*") {
        for (DiagTopic* t : topics()) t->setLevel(level);
      } else {
        ok = setLevel(name, level);
      }
    }
    if (ok) {
      ++applied;
    } else {
      DIAG_TRACE(TRACE_CONFIG, 2) << "trace setting ignored: \"" << entry << '"';
      if (rejected) rejected->emplace_back(entry);
    }
  }
  return applied;
}

std::size_t TopicRegistry::applyEnvironment(std::vector<std::string>* rejected) {
  std::size_t applied = 0;
  if (const char* levels = std::getenv("VOREX_TRACE")) applied = applySettings(levels, rejected);
  if (const char* file = std::getenv("VOREX_TRACE_FILE"); file && *file) {
    if (!setTraceFile(file)) {
      DIAG_TRACE(TRACE_CONFIG, 1) << "cannot open trace file \"" << file << '"';
      if (rejected) rejected->emplace_back(std::string("VOREX_TRACE_FILE=") + file);
    }
  }
  return applied;
}

}  // namespace Diagnose

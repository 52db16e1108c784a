// Trace topics. The first byte of a topic is its level: a message at level n passes the fast
// guard when that byte, read as signed, is above n - 1, so a message that is off costs one
// compare. Topics are constant-initialised and valid before any static constructor runs.
// The byte is max(global level, every active session level); checkSessionLevel then decides
// whether this thread really wants the message.
// Thread-safe: levels are relaxed atomics written under the registry lock; emission goes
// through the current TraceSink.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <sstream>
#include <string>

namespace Diagnose {

using TraceLevel = signed char;

class DiagTopic {
 public:
  constexpr DiagTopic(const char* name, const char* description, TraceLevel defaultLevel = 1)
      : m_level(defaultLevel), m_name(name), m_description(description),
        m_defaultLevel(defaultLevel) {}
  DiagTopic(const DiagTopic&) = delete;
  DiagTopic& operator=(const DiagTopic&) = delete;

  /// The fast guard: one relaxed load and a signed compare.
  bool isActive(TraceLevel level) const noexcept {
    return m_level.load(std::memory_order_relaxed) > level - 1;
  }
  /// The second guard: true when the global level, or this thread's session level for the
  /// topic, wants messages of `level`.
  bool checkSessionLevel(TraceLevel level) const noexcept;

  TraceLevel getLevel() const noexcept { return m_level.load(std::memory_order_relaxed); }
  /// Sets the global level of the topic.
  void setLevel(TraceLevel level) noexcept;
  TraceLevel getGlobalLevel() const noexcept {
    return m_globalLevel.load(std::memory_order_relaxed);
  }
  const char* name() const noexcept { return m_name; }
  const char* description() const noexcept { return m_description; }
  TraceLevel defaultLevel() const noexcept { return m_defaultLevel; }

  /// Registers the topic by name (idempotent); run from the static initialiser of its owner.
  void init() noexcept;
  bool isRegistered() const noexcept;

 protected:
  // The effective level byte: max(global level, any active session level). Must stay first.
  std::atomic<signed char> m_level;
  const char* m_name;
  const char* m_description;
  TraceLevel m_defaultLevel;
  std::atomic<signed char> m_globalLevel{m_defaultLevel};
  std::atomic<int> m_sessions{0};  // live session scopes of the topic, on any thread
  DiagTopic* m_next = nullptr;  // registration order; guarded by the registry lock
  bool m_registered = false;     // guarded by the registry lock

  friend class TopicRegistry;
  friend class ScopedSessionLevel;
};

/// Raises a topic to `level` for the calling thread while in scope. Other threads see the raised
/// byte but are turned away by checkSessionLevel, so they pay one extra call, never a message.
/// The innermost scope of a thread wins for its topic. Must end on the thread that made it.
class ScopedSessionLevel {
 public:
  ScopedSessionLevel(DiagTopic& topic, TraceLevel level) noexcept;
  ~ScopedSessionLevel();
  ScopedSessionLevel(const ScopedSessionLevel&) = delete;
  ScopedSessionLevel& operator=(const ScopedSessionLevel&) = delete;

  /// The session level of the calling thread's innermost scope for `topic`, if any.
  static bool threadLevel(const DiagTopic& topic, TraceLevel& level) noexcept;

 private:
  DiagTopic& m_topic;
  TraceLevel m_level;
  ScopedSessionLevel* m_threadPrev;           // this thread's scopes, innermost first
  ScopedSessionLevel* m_prev = nullptr;       // all live scopes; guarded by the registry lock
  ScopedSessionLevel* m_next = nullptr;

  friend class TopicRegistry;
};

class TraceTopic : public DiagTopic {
 public:
  using DiagTopic::DiagTopic;
  /// Sets up the message counter.
  void initStat() noexcept { m_messages.store(0, std::memory_order_relaxed); }
  /// Unregisters the topic (run at unload).
  void destroy() noexcept;
  std::uint64_t messageCount() const noexcept {
    return m_messages.load(std::memory_order_relaxed);
  }
  void countMessage() const noexcept { m_messages.fetch_add(1, std::memory_order_relaxed); }

 private:
  mutable std::atomic<std::uint64_t> m_messages{0};
};

/// One emitted message.
struct TraceRecord {
  const TraceTopic* topic;
  TraceLevel level;
  const char* file;
  int line;
  std::uint64_t threadId;
  std::int64_t timeMicros;  // since the epoch
  std::string text;
  bool endLine = true;  // false: the text continues the line of the next record
};

/// Where records go. current() is the default sink unless one was installed.
class TraceSink {
 public:
  virtual ~TraceSink() = default;
  virtual void write(const TraceRecord& record) = 0;
  static TraceSink& current() noexcept;
  /// Installs a sink (null restores the default); returns the previous one (null if default).
  static TraceSink* install(TraceSink* sink) noexcept;
};

/// The default sink's line for a record, without the line end:
/// "2024-05-01 12:00:00.000042 <thread> <level> <topic> <file>:<line> <text>" (UTC, file
/// without its directories).
std::string formatTraceLine(const TraceRecord& record);

/// Sends the default sink's lines to `path` (appended). An empty path returns to the default
/// target: "vorex.trc" in the trace directory when the host (VorexEnvironment::setTraceDirectory)
/// or $VOREX_TRACE_DIR has set one, otherwise stderr. False, and no change, when the file cannot
/// be opened.
bool setTraceFile(const std::string& path) noexcept;
/// The file the default sink writes to, or "" for stderr.
std::string getTraceFile();

/// An output stream whose destructor emits one record to the current sink.
class TraceStream : public std::ostream {
 public:
  TraceStream(const TraceTopic& topic, TraceLevel level, const char* file, int line,
              bool endLine = true);
  ~TraceStream() override;
  TraceStream(TraceStream&&) = delete;

 private:
  std::stringbuf m_buf;
  const TraceTopic& m_topic;
  TraceLevel m_level;
  const char* m_file;
  int m_line;
  bool m_endLine;
};

}  // namespace Diagnose

/// The guard of every trace message: one compare, then the session check, then the stream.
#define DIAG_TRACE(topic, lvl)                                              \
  if (!((topic).isActive(lvl) && (topic).checkSessionLevel(lvl))) {        \
  } else                                                                   \
    ::Diagnose::TraceStream((topic), (lvl), __FILE__, __LINE__)

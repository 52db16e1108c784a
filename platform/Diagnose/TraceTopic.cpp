#include "Diagnose/TraceTopic.hpp"

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <mutex>

namespace Diagnose {

bool DiagTopic::checkSessionLevel(TraceLevel level) const noexcept {
  return level <= m_globalLevel.load(std::memory_order_relaxed);
}

void DiagTopic::setLevel(TraceLevel level) noexcept {
  m_globalLevel.store(level, std::memory_order_relaxed);
  m_level.store(level, std::memory_order_relaxed);
}

void DiagTopic::init() noexcept { m_registered = true; }
void TraceTopic::destroy() noexcept { m_registered = false; }

namespace {

class StderrSink final : public TraceSink {
 public:
  void write(const TraceRecord& r) override {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::fprintf(stderr, "[%llu] %d %s %s:%d %s\n", static_cast<unsigned long long>(r.threadId),
                 static_cast<int>(r.level), r.topic->name(), r.file, r.line, r.text.c_str());
  }

 private:
  std::mutex m_mutex;
};

std::atomic<TraceSink*> g_installed{nullptr};

TraceSink& defaultSink() {
  static auto* sink = new StderrSink();  // immortal: traces may come from static destructors
  return *sink;
}

}  // namespace

TraceSink& TraceSink::current() noexcept {
  TraceSink* s = g_installed.load(std::memory_order_acquire);
  return s ? *s : defaultSink();
}

TraceSink* TraceSink::install(TraceSink* sink) noexcept {
  return g_installed.exchange(sink, std::memory_order_acq_rel);
}

TraceStream::TraceStream(const TraceTopic& topic, TraceLevel level, const char* file, int line,
                         bool endLine)
    : std::ostream(nullptr), m_topic(topic), m_level(level), m_file(file), m_line(line),
      m_endLine(endLine) {
  rdbuf(&m_buf);
}

TraceStream::~TraceStream() {
  try {
    m_topic.countMessage();
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    TraceRecord r{&m_topic,
                  m_level,
                  m_file,
                  m_line,
                  static_cast<std::uint64_t>(::syscall(SYS_gettid)),
                  std::chrono::duration_cast<std::chrono::microseconds>(now).count(),
                  m_buf.str()};
    TraceSink::current().write(r);
  } catch (...) {
    // A trace problem never stops the program.
  }
}

}  // namespace Diagnose

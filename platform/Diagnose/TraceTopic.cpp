#include "Diagnose/TraceTopic.hpp"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>

namespace Diagnose {

namespace {

// Writes whole lines with one fwrite each, so records of different threads never interleave.
// Never throws: a trace problem must not reach the caller.
class DefaultSink final : public TraceSink {
 public:
  void write(const TraceRecord& r) override {
    std::string line = formatTraceLine(r);
    if (r.endLine && (line.empty() || line.back() != '\n')) line.push_back('\n');
    std::lock_guard<std::mutex> lock(m_mutex);
    std::FILE* out = m_file ? m_file : stderr;
    std::fwrite(line.data(), 1, line.size(), out);
    std::fflush(out);
  }

  bool setFile(const std::string& path) noexcept {
    std::FILE* f = nullptr;
    if (!path.empty()) {
      f = std::fopen(path.c_str(), "a");
      if (!f) return false;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_file) std::fclose(m_file);
    m_file = f;
    try {
      m_path = path;
    } catch (...) {
      m_path.clear();
    }
    return true;
  }

  std::string path() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_path;
  }

 private:
  std::mutex m_mutex;
  std::FILE* m_file = nullptr;
  std::string m_path;
};

std::atomic<TraceSink*> g_installed{nullptr};

DefaultSink& defaultSink() {
  static auto* sink = new DefaultSink();  // immortal: traces may come from static destructors
  return *sink;
}

const char* baseName(const char* file) {
  if (!file) return "?";
  const char* slash = std::strrchr(file, '/');
  return slash ? slash + 1 : file;
}

}  // namespace

std::string formatTraceLine(const TraceRecord& r) {
  const std::time_t secs = static_cast<std::time_t>(r.timeMicros / 1000000);
  const long micros = static_cast<long>(r.timeMicros % 1000000);
  std::tm tm{};
  gmtime_r(&secs, &tm);
  char head[160];
  const int n = std::snprintf(head, sizeof head, "%04d-%02d-%02d %02d:%02d:%02d.%06ld %llu %d %s %s:%d ",
                              tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min,
                              tm.tm_sec, micros, static_cast<unsigned long long>(r.threadId),
                              static_cast<int>(r.level), r.topic ? r.topic->name() : "?",
                              baseName(r.file), r.line);
  std::string line(head, n > 0 ? std::min<std::size_t>(static_cast<std::size_t>(n), sizeof head - 1) : 0);
  line += r.text;
  return line;
}

bool setTraceFile(const std::string& path) noexcept { return defaultSink().setFile(path); }

std::string getTraceFile() { return defaultSink().path(); }

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
                  m_buf.str(),
                  m_endLine};
    TraceSink::current().write(r);
  } catch (...) {
    // A trace problem never stops the program.
  }
}

}  // namespace Diagnose

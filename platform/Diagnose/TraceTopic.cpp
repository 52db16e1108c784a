#include "Diagnose/TraceTopic.hpp"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>

#include "VorexUtils/VorexEnvironment.hpp"

namespace Diagnose {

namespace {

// Writes whole lines with one fwrite each, so records of different threads never interleave.
// The target is the file set by setTraceFile, else "vorex.trc" in the trace directory when the
// host or the environment has set one (looked up at each record, so a directory set later takes
// effect at once), else stderr. Never throws: a trace problem must not reach the caller.
class DefaultSink final : public TraceSink {
 public:
  void write(const TraceRecord& r) override {
    try {
      std::string line = formatTraceLine(r);
      if (r.endLine && (line.empty() || line.back() != '\n')) line.push_back('\n');
      std::lock_guard<std::mutex> lock(m_mutex);
      std::FILE* out = target();
      std::fwrite(line.data(), 1, line.size(), out);
      std::fflush(out);
    } catch (...) {
    }
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
    if (m_file) return m_path;
    target();
    return m_dirFile ? m_dirPath : std::string();
  }

 private:
  // Called with m_mutex held.
  std::FILE* target() {
    if (m_file) return m_file;
    std::string dir = VorexUtils::VorexEnvironment::getSetTraceDirectory();
    if (dir != m_dir) {
      if (m_dirFile) std::fclose(m_dirFile);
      m_dirFile = nullptr;
      m_dirPath.clear();
      m_dir = std::move(dir);
      if (!m_dir.empty()) {
        m_dirPath = VorexUtils::VorexEnvironment::makeStandardFullTracePath(kDirFileName);
        if (!m_dirPath.empty()) m_dirFile = std::fopen(m_dirPath.c_str(), "a");
      }
    }
    return m_dirFile ? m_dirFile : stderr;
  }

  static constexpr const char* kDirFileName = "vorex.trc";
  std::mutex m_mutex;
  std::FILE* m_file = nullptr;  // set by setTraceFile
  std::string m_path;
  std::string m_dir;               // the trace directory m_dirFile belongs to; "" for none
  std::FILE* m_dirFile = nullptr;  // <m_dir>/vorex.trc, or null if it could not be opened
  std::string m_dirPath;
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

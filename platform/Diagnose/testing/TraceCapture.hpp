// Test hook: captures trace records for a scope.
//
//   Diagnose::testing::TraceCapture cap({{TRACE_INDEXVECTOR, 5}});
//   ... code under test ...
//   EXPECT_TRUE(cap.contains("SSE version set to")) << cap.dump();
//
// While alive it is the current sink and the listed topics have the given global levels (so
// messages from every thread are seen). At the end it restores the global level of every
// registered topic and of each listed one, and reinstalls the previous sink. Captures nest;
// they must end in reverse order of creation.
// Thread-safe: records may arrive from any thread; threads that trace into the capture must be
// joined before it ends.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Diagnose/TraceTopic.hpp"

namespace Diagnose::testing {

/// A topic and the level a capture gives it.
struct TopicLevel {
  TopicLevel(DiagTopic& t, int l) noexcept : topic(&t), level(static_cast<TraceLevel>(l)) {}
  DiagTopic* topic;
  TraceLevel level;
};

class TraceCapture final : public TraceSink {
 public:
  explicit TraceCapture(std::initializer_list<TopicLevel> levels = {});
  ~TraceCapture() override;
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  void write(const TraceRecord& record) override;

  /// A copy of every record so far, in arrival order.
  std::vector<TraceRecord> records() const;
  /// Texts of the records of one topic (or of all), in arrival order.
  std::vector<std::string> texts(const DiagTopic& topic) const;
  std::vector<std::string> texts() const;
  /// Records of one topic at exactly `level`.
  std::size_t count(const DiagTopic& topic, TraceLevel level) const;
  std::size_t count(const DiagTopic& topic) const;
  std::size_t size() const;
  /// True when some record's text holds `substring`.
  bool contains(std::string_view substring) const;
  bool contains(const DiagTopic& topic, std::string_view substring) const;
  void clear();
  /// One "<topic> <level> <text>" line per record, for failure messages.
  std::string dump() const;

 private:
  mutable std::mutex m_mutex;
  std::vector<TraceRecord> m_records;
  std::vector<std::pair<DiagTopic*, TraceLevel>> m_savedLevels;
  TraceSink* m_previous;
};

}  // namespace Diagnose::testing

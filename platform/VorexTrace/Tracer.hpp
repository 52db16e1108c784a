// A tracer bound to one topic, for classes that keep one tracer for all their messages.
// Constant-initialisable, so a class-wide static tracer is usable from static initialisers.
// Thread-safe: it holds only the topic.
#pragma once

#include "Diagnose/TraceTopic.hpp"

namespace VorexTrace {

class Tracer {
 public:
  constexpr explicit Tracer(const Diagnose::TraceTopic& topic) noexcept : m_topic(&topic) {}

  const Diagnose::TraceTopic& topic() const noexcept { return *m_topic; }
  /// Both guards of a message at `level` on the bound topic.
  bool isActive(Diagnose::TraceLevel level) const noexcept {
    return m_topic->isActive(level) && m_topic->checkSessionLevel(level);
  }
  /// A stream whose destruction emits one record; the caller has already passed the guards.
  Diagnose::TraceStream createContextLocalStream(const Diagnose::TraceTopic& topic,
                                                 Diagnose::TraceLevel level, const char* file,
                                                 int line) const {
    return Diagnose::TraceStream(topic, level, file, line);
  }

 private:
  const Diagnose::TraceTopic* m_topic;
};

}  // namespace VorexTrace

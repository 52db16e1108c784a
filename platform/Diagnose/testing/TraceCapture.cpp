#include "Diagnose/testing/TraceCapture.hpp"

#include "Diagnose/TopicRegistry.hpp"

namespace Diagnose::testing {

TraceCapture::TraceCapture(std::initializer_list<TopicLevel> levels) {
  for (DiagTopic* t : TopicRegistry::topics()) m_savedLevels.emplace_back(t, t->getGlobalLevel());
  // A listed topic need not be registered (a test's own topic); save it too. Restoring runs in
  // reverse, so the first saved level of a topic is the one that sticks.
  for (const TopicLevel& tl : levels) m_savedLevels.emplace_back(tl.topic, tl.topic->getGlobalLevel());
  for (const TopicLevel& tl : levels) tl.topic->setLevel(tl.level);
  m_previous = TraceSink::install(this);
}

TraceCapture::~TraceCapture() {
  TraceSink::install(m_previous);
  for (auto it = m_savedLevels.rbegin(); it != m_savedLevels.rend(); ++it)
    it->first->setLevel(it->second);
}

void TraceCapture::write(const TraceRecord& record) {
  std::lock_guard<std::mutex> lock(m_mutex);
  m_records.push_back(record);
}

std::vector<TraceRecord> TraceCapture::records() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_records;
}

std::vector<std::string> TraceCapture::texts(const DiagTopic& topic) const {
  std::vector<std::string> out;
  std::lock_guard<std::mutex> lock(m_mutex);
  for (const TraceRecord& r : m_records)
    if (r.topic == &topic) out.push_back(r.text);
  return out;
}

std::vector<std::string> TraceCapture::texts() const {
  std::vector<std::string> out;
  std::lock_guard<std::mutex> lock(m_mutex);
  for (const TraceRecord& r : m_records) out.push_back(r.text);
  return out;
}

std::size_t TraceCapture::count(const DiagTopic& topic, TraceLevel level) const {
  std::lock_guard<std::mutex> lock(m_mutex);
  std::size_t n = 0;
  for (const TraceRecord& r : m_records) n += (r.topic == &topic && r.level == level);
  return n;
}

std::size_t TraceCapture::count(const DiagTopic& topic) const {
  std::lock_guard<std::mutex> lock(m_mutex);
  std::size_t n = 0;
  for (const TraceRecord& r : m_records) n += (r.topic == &topic);
  return n;
}

std::size_t TraceCapture::size() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_records.size();
}

bool TraceCapture::contains(std::string_view substring) const {
  std::lock_guard<std::mutex> lock(m_mutex);
  for (const TraceRecord& r : m_records)
    if (r.text.find(substring) != std::string::npos) return true;
  return false;
}

bool TraceCapture::contains(const DiagTopic& topic, std::string_view substring) const {
  std::lock_guard<std::mutex> lock(m_mutex);
  for (const TraceRecord& r : m_records)
    if (r.topic == &topic && r.text.find(substring) != std::string::npos) return true;
  return false;
}

void TraceCapture::clear() {
  std::lock_guard<std::mutex> lock(m_mutex);
  m_records.clear();
}

std::string TraceCapture::dump() const {
  std::string out;
  std::lock_guard<std::mutex> lock(m_mutex);
  for (const TraceRecord& r : m_records) {
    out += r.topic ? r.topic->name() : "?";
    out += ' ';
    out += std::to_string(static_cast<int>(r.level));
    out += ' ';
    out += r.text;
    if (out.empty() || out.back() != '\n') out += '\n';
  }
  return out;
}

}  // namespace Diagnose::testing

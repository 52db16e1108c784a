// Test hook: collects what is written to a standard stream (std::cout by default) for a scope,
// by swapping the stream's buffer, and puts the old buffer back at the end.
// Not thread-safe: no other thread may write to the stream while a capture begins or ends.
#pragma once

#include <iostream>
#include <sstream>
#include <string>

namespace platform::testing {

class CaptureStream {
 public:
  explicit CaptureStream(std::ostream& stream = std::cout);
  ~CaptureStream();
  CaptureStream(const CaptureStream&) = delete;
  CaptureStream& operator=(const CaptureStream&) = delete;

  /// Everything written since the start or the last clear().
  std::string str() const { return m_buf.str(); }
  void clear() { m_buf.str({}); }

 private:
  std::ostream& m_stream;
  std::stringbuf m_buf;
  std::streambuf* m_previous;
};

}  // namespace platform::testing

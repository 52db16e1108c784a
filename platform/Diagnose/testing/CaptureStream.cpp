#include "Diagnose/testing/CaptureStream.hpp"

namespace platform::testing {

CaptureStream::CaptureStream(std::ostream& stream)
    : m_stream(stream), m_previous(stream.rdbuf(&m_buf)) {}

CaptureStream::~CaptureStream() {
  m_stream.flush();
  m_stream.rdbuf(m_previous);
}

}  // namespace platform::testing

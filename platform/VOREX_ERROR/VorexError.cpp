#include "VOREX_ERROR/VorexError.hpp"

namespace VOREX_ERROR {

const char* GetMsg(int code) noexcept {
  switch (code) {
    case VOREX_OK: return "no error";
    case VOREX_KLTRC_INSUFFICIENT_DATA: return "insufficient data";
    case VOREX_KLTRC_INVALIDARG: return "invalid argument";
    case VOREX_KLTRC_INVALID_SERVICE_LOCATION: return "invalid service location";
    case NAMESERVER_MULTI_FUNC_ONLY: return "operation only allowed in multi-function mode";
    case NAMESERVER_NO_SPLIT_PART: return "index has no split part";
    case NAMESERVER_SERVICE_NOT_FOUND: return "service not found";
    case NAMESERVER_NOT_AVAILABLE: return "name server not available";
    case NAMESERVER_REQUEST_FAILED: return "name server request failed";
    default: return "unknown error";
  }
}

void VorexError::setCode(int code, bool appendDefaultText) {
  m_code = code;
  m_msg.clear();
  if (appendDefaultText) m_msg = GetMsg(code);
}

void VorexError::appendMsg(std::string_view text) {
  if (!m_msg.empty() && !text.empty()) m_msg += ' ';
  m_msg += text;
}

std::ostream& operator<<(std::ostream& os, const VorexError& e) {
  return os << "error " << e.getCode() << ": " << e.getMsg();
}

}  // namespace VOREX_ERROR

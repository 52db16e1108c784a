// Error codes of the library and the error object through which the metadata client reports.
// Codes VOREX_KLTRC_* lie in 2000-2099, NAMESERVER_* in 4000-4099; GetMsg gives each a text.
// Copyable; thread-compatible.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

namespace VOREX_ERROR {

enum : int {
  VOREX_OK = 0,
  VOREX_KLTRC_INSUFFICIENT_DATA = 2001,
  VOREX_KLTRC_INVALIDARG = 2002,
  VOREX_KLTRC_INVALID_SERVICE_LOCATION = 2003,
  NAMESERVER_MULTI_FUNC_ONLY = 4001,
  NAMESERVER_NO_SPLIT_PART = 4002,
  NAMESERVER_SERVICE_NOT_FOUND = 4003,
  NAMESERVER_NOT_AVAILABLE = 4004,
  NAMESERVER_REQUEST_FAILED = 4005,
};

/// The text of a code; "unknown error" for a code without one.
const char* GetMsg(int code) noexcept;

class VorexError {
 public:
  /// Sets the code; with appendDefaultText the message becomes GetMsg(code).
  void setCode(int code, bool appendDefaultText);
  void appendMsg(std::string_view text);
  int getCode() const noexcept { return m_code; }
  const std::string& getMsg() const noexcept { return m_msg; }
  void clear() noexcept {
    m_code = 0;
    m_msg.clear();
  }
  explicit operator bool() const noexcept { return m_code != 0; }

 private:
  int m_code = 0;
  std::string m_msg;
};

std::ostream& operator<<(std::ostream& os, const VorexError& e);

}  // namespace VOREX_ERROR

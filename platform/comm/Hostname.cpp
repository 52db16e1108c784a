#include "comm/Hostname.hpp"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>

namespace comm {

int get_hostname(char* buf, unsigned len) noexcept {
  if (buf == nullptr || len == 0) return -1;
  // gethostname leaves a cut name unterminated on glibc, so read into a full-sized buffer.
  char name[HOST_NAME_MAX + 1];
  if (gethostname(name, sizeof name) != 0) {
    buf[0] = '\0';
    return -1;
  }
  name[HOST_NAME_MAX] = '\0';
  const std::size_t n = std::min<std::size_t>(std::strlen(name), len - 1);
  std::memcpy(buf, name, n);
  buf[n] = '\0';
  return 0;
}

}  // namespace comm

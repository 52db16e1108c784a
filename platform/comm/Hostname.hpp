// The host name, for trace file names ($HOST). Thread-safe.
#pragma once

namespace comm {

/// Writes the host name into `buf`, always NUL-terminated and cut to `len - 1` characters.
/// Returns 0, or -1 when `len` is 0 or the name cannot be read (then `buf` holds "" if len > 0).
int get_hostname(char* buf, unsigned len) noexcept;

}  // namespace comm

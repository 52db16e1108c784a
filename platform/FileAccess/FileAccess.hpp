// File facts for the trace file manager. Never throw: a path that cannot be examined does not
// exist and has size 0. Thread-safe.
#pragma once

namespace FileAccess {

/// True when something exists at `path` (a file or a directory); false for null.
bool fileExists(const char* path) noexcept;
/// The size in bytes of the regular file at `path`; 0 when it is missing, not a regular file,
/// or null.
long fileSize(const char* path) noexcept;

}  // namespace FileAccess

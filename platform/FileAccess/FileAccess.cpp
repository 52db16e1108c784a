#include "FileAccess/FileAccess.hpp"

#include <cstdint>
#include <filesystem>
#include <system_error>

namespace FileAccess {

bool fileExists(const char* path) noexcept {
  if (path == nullptr || *path == '\0') return false;
  std::error_code ec;
  return std::filesystem::exists(path, ec) && !ec;
}

long fileSize(const char* path) noexcept {
  if (path == nullptr || *path == '\0') return 0;
  std::error_code ec;
  if (!std::filesystem::is_regular_file(path, ec) || ec) return 0;
  const std::uintmax_t size = std::filesystem::file_size(path, ec);
  return ec ? 0 : static_cast<long>(size);
}

}  // namespace FileAccess

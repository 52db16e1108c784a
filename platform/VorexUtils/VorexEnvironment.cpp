#include "VorexUtils/VorexEnvironment.hpp"

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string_view>
#include <system_error>

namespace VorexUtils {

namespace {
std::mutex& dirMutex() {
  static std::mutex m;
  return m;
}
std::string& explicitDir() {
  static std::string dir;
  return dir;
}
std::string withoutTrailingSlashes(std::string dir) {
  while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
  return dir;
}
}  // namespace

void VorexEnvironment::setTraceDirectory(const std::string& path) {
  std::lock_guard<std::mutex> lock(dirMutex());
  explicitDir() = withoutTrailingSlashes(path);
}

std::string VorexEnvironment::getSetTraceDirectory() {
  {
    std::lock_guard<std::mutex> lock(dirMutex());
    if (!explicitDir().empty()) return explicitDir();
  }
  const char* env = std::getenv("VOREX_TRACE_DIR");
  if (env != nullptr && *env != '\0') return withoutTrailingSlashes(env);
  return std::string();
}

std::string VorexEnvironment::getTraceDirectory() {
  std::string dir = getSetTraceDirectory();
  return dir.empty() ? "./trace" : dir;
}

std::string VorexEnvironment::makeStandardFullTracePath(const std::string& name) {
  std::string_view file(name);
  if (file.starts_with("trace/")) file.remove_prefix(6);
  if (file.empty() || file.front() == '/' || file.find('/') != std::string_view::npos ||
      file.find("..") != std::string_view::npos) {
    return std::string();
  }
  const std::string dir = getTraceDirectory();
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (!std::filesystem::is_directory(dir, ec)) return std::string();
  std::string path = dir == "/" ? std::string() : dir;
  path += '/';
  path += file;
  return path;
}

}  // namespace VorexUtils

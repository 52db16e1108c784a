#include "FileAccess/FileAccess.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

// Anything that is not an existing file or directory has size 0; so have directories.
TEST(FileAccess, ExistenceAndSize) {
  const fs::path dir = fs::path(testing::TempDir()) / "vorex_fileaccess";
  fs::create_directories(dir);
  const std::string file = (dir / "t.trc").string(), empty = (dir / "empty.trc").string();
  std::ofstream(file, std::ios::binary) << std::string(123, 'x');
  std::ofstream(empty).close();
  const struct {
    const char* path;
    bool exists;
    long size;
  } cases[] = {{file.c_str(), true, 123},
               {empty.c_str(), true, 0},
               {dir.c_str(), true, 0},
               {nullptr, false, 0},
               {"", false, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path ? c.path : "nullptr");
    EXPECT_EQ(FileAccess::fileExists(c.path), c.exists);
    EXPECT_EQ(FileAccess::fileSize(c.path), c.size);
  }
  fs::remove_all(dir);  // deleted behind the manager's back
  EXPECT_FALSE(FileAccess::fileExists(file.c_str()));
  EXPECT_EQ(FileAccess::fileSize(file.c_str()), 0);
}

}  // namespace

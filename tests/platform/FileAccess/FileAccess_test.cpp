#include "FileAccess/FileAccess.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

TEST(FileAccess, ExistenceAndSize) {
  const fs::path dir = fs::path(testing::TempDir()) / "vorex_fileaccess";
  fs::create_directories(dir);
  const std::string file = (dir / "t.trc").string();
  std::ofstream(file, std::ios::binary) << std::string(123, 'x');
  const std::string empty = (dir / "empty.trc").string();
  std::ofstream(empty).close();
  const std::string missing = (dir / "missing.trc").string();

  EXPECT_TRUE(FileAccess::fileExists(file.c_str()));
  EXPECT_EQ(FileAccess::fileSize(file.c_str()), 123);
  EXPECT_TRUE(FileAccess::fileExists(empty.c_str()));
  EXPECT_EQ(FileAccess::fileSize(empty.c_str()), 0);
  EXPECT_FALSE(FileAccess::fileExists(missing.c_str()));
  EXPECT_EQ(FileAccess::fileSize(missing.c_str()), 0);  // a missing file has size 0
  EXPECT_TRUE(FileAccess::fileExists(dir.c_str()));
  EXPECT_EQ(FileAccess::fileSize(dir.c_str()), 0);
  EXPECT_FALSE(FileAccess::fileExists(nullptr));
  EXPECT_EQ(FileAccess::fileSize(nullptr), 0);
  EXPECT_FALSE(FileAccess::fileExists(""));

  fs::remove(file);  // deleted behind the manager's back
  EXPECT_FALSE(FileAccess::fileExists(file.c_str()));
  EXPECT_EQ(FileAccess::fileSize(file.c_str()), 0);
  fs::remove_all(dir);
}

}  // namespace

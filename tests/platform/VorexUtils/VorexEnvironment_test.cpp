#include "VorexUtils/VorexEnvironment.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

using VorexUtils::VorexEnvironment;
namespace fs = std::filesystem;

class VorexEnvironmentTest : public testing::Test {
 protected:
  void SetUp() override {
    // Per process: ctest runs the cases of this suite in parallel processes.
    m_dir =
        (fs::path(testing::TempDir()) / ("vorex_env_trace_" + std::to_string(getpid()))).string();
    fs::remove_all(m_dir);
    VorexEnvironment::setTraceDirectory(m_dir);
  }
  void TearDown() override {
    VorexEnvironment::setTraceDirectory("");
    unsetenv("VOREX_TRACE_DIR");
    fs::remove_all(m_dir);
  }
  std::string m_dir;
};

TEST_F(VorexEnvironmentTest, PathRules) {
  struct Case {
    const char* name;
    const char* file;  // nullptr: rejected
  };
  const Case cases[] = {
      {"indexserver.py", "indexserver.py"},
      {"trace/indexserver.py", "indexserver.py"},  // one leading "trace/" is dropped
      {"trace_$HOST.py", "trace_$HOST.py"},
      {"a.b.py", "a.b.py"},
      {"", nullptr},
      {"trace/", nullptr},
      {"/tmp/x.py", nullptr},
      {"sub/x.py", nullptr},
      {"trace/trace/x.py", nullptr},
      {"..", nullptr},
      {"x..py", nullptr},
      {"../x.py", nullptr},
      {"Trace/x.py", nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string path = VorexEnvironment::makeStandardFullTracePath(c.name);
    EXPECT_EQ(path, c.file ? m_dir + "/" + c.file : std::string());
  }
}

TEST_F(VorexEnvironmentTest, DirectoryIsCreatedOnDemand) {
  EXPECT_EQ(VorexEnvironment::makeStandardFullTracePath(""), "");
  EXPECT_FALSE(fs::exists(m_dir));  // a rejected name creates nothing
  VorexEnvironment::setTraceDirectory(m_dir + "/a/b/");
  EXPECT_EQ(VorexEnvironment::makeStandardFullTracePath("x.py"), m_dir + "/a/b/x.py");
  EXPECT_TRUE(fs::is_directory(m_dir + "/a/b"));
  std::ofstream(m_dir + "/f") << "a file where the directory should be";
  VorexEnvironment::setTraceDirectory(m_dir + "/f");
  EXPECT_EQ(VorexEnvironment::makeStandardFullTracePath("x.py"), "");
}

TEST_F(VorexEnvironmentTest, SourcesInOrderHostThenEnvironmentThenDefault) {
  setenv("VOREX_TRACE_DIR", (m_dir + "/env").c_str(), 1);
  EXPECT_EQ(VorexEnvironment::getTraceDirectory(), m_dir);
  VorexEnvironment::setTraceDirectory("");
  EXPECT_EQ(VorexEnvironment::getTraceDirectory(), m_dir + "/env");
  EXPECT_EQ(VorexEnvironment::makeStandardFullTracePath("t.py"), m_dir + "/env/t.py");
  unsetenv("VOREX_TRACE_DIR");
  EXPECT_EQ(VorexEnvironment::getTraceDirectory(), "./trace");
}

}  // namespace

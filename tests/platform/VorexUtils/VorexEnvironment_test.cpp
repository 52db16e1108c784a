#include "VorexUtils/VorexEnvironment.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "Diagnose/TraceTopic.hpp"

namespace {

using VorexUtils::VorexEnvironment;
namespace fs = std::filesystem;

class VorexEnvironmentTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(m_dir);  // per process: ctest runs the cases in parallel processes
    VorexEnvironment::setTraceDirectory(m_dir);
  }
  void TearDown() override {
    VorexEnvironment::setTraceDirectory("");
    unsetenv("VOREX_TRACE_DIR");
    fs::remove_all(m_dir);
  }
  const std::string m_dir =
      (fs::path(testing::TempDir()) / ("vorex_env_trace_" + std::to_string(getpid()))).string();
};

TEST_F(VorexEnvironmentTest, PathRulesAndDirectoryCreation) {
  const std::pair<const char*, const char*> accepted[] = {
      {"indexserver.py", "indexserver.py"},
      {"trace/indexserver.py", "indexserver.py"},
      {"trace_$HOST.py", "trace_$HOST.py"},
      {"a.b.py", "a.b.py"}};
  for (const auto& [name, file] : accepted) {
    EXPECT_EQ(VorexEnvironment::makeStandardFullTracePath(name), m_dir + "/" + file) << name;
  }
  for (const char* name : {"", "trace/", "/tmp/x.py", "sub/x.py", "trace/trace/x.py", "..", "x..py",
                           "../x.py", "Trace/x.py"}) {
    EXPECT_EQ(VorexEnvironment::makeStandardFullTracePath(name), "") << name;
  }
  VorexEnvironment::setTraceDirectory(m_dir + "/a/b/");
  EXPECT_EQ(VorexEnvironment::makeStandardFullTracePath("x.py"), m_dir + "/a/b/x.py");
  EXPECT_TRUE(fs::is_directory(m_dir + "/a/b"));
  std::ofstream(m_dir + "/f") << "a file where the directory should be";
  VorexEnvironment::setTraceDirectory(m_dir + "/f");
  EXPECT_EQ(VorexEnvironment::makeStandardFullTracePath("x.py"), "");
}

TEST_F(VorexEnvironmentTest, SourcesInOrderHostThenEnvironmentThenDefault) {
  EXPECT_EQ(VorexEnvironment::makeStandardFullTracePath(""), "");
  EXPECT_FALSE(fs::exists(m_dir));  // a rejected name creates nothing
  setenv("VOREX_TRACE_DIR", (m_dir + "/env").c_str(), 1);
  EXPECT_EQ(VorexEnvironment::getTraceDirectory(), m_dir);
  VorexEnvironment::setTraceDirectory("");
  EXPECT_EQ(VorexEnvironment::getTraceDirectory(), m_dir + "/env");
  EXPECT_EQ(VorexEnvironment::makeStandardFullTracePath("t.py"), m_dir + "/env/t.py");
  unsetenv("VOREX_TRACE_DIR");
  EXPECT_EQ(VorexEnvironment::getTraceDirectory(), "./trace");
}

std::string fileText(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST_F(VorexEnvironmentTest, DefaultTraceSinkFollowsTheTraceDirectoryUnlessAFileIsSet) {
  // The test main silences traces with a sink of its own; the default one is under test here.
  struct DefaultSinkInScope {
    Diagnose::TraceSink* previous = Diagnose::TraceSink::install(nullptr);
    ~DefaultSinkInScope() { Diagnose::TraceSink::install(previous); }
  } scope;
  auto emit = [](const char* text) {
    Diagnose::TraceSink::current().write({nullptr, Diagnose::TraceLevel(2), "f.cpp", 7, 1, 0, text});
  };
  emit("into the host's directory");
  const std::string first = m_dir + "/vorex.trc";
  EXPECT_EQ(Diagnose::getTraceFile(), first);
  VorexEnvironment::setTraceDirectory("");
  setenv("VOREX_TRACE_DIR", (m_dir + "/env").c_str(), 1);
  emit("into the environment's directory");
  EXPECT_EQ(Diagnose::getTraceFile(), m_dir + "/env/vorex.trc");
  ASSERT_TRUE(Diagnose::setTraceFile(m_dir + "/chosen.trc"));
  emit("into the chosen file");
  EXPECT_EQ(Diagnose::getTraceFile(), m_dir + "/chosen.trc");
  ASSERT_TRUE(Diagnose::setTraceFile(""));
  unsetenv("VOREX_TRACE_DIR");
  EXPECT_EQ(Diagnose::getTraceFile(), "");  // stderr again

  EXPECT_EQ(fileText(first), "1970-01-01 00:00:00.000000 1 2 ? f.cpp:7 into the host's directory\n");
  const std::string env = fileText(m_dir + "/env/vorex.trc");
  EXPECT_NE(env.find("into the environment's directory\n"), std::string::npos);
  EXPECT_EQ(env.find("chosen"), std::string::npos);
  EXPECT_NE(fileText(m_dir + "/chosen.trc").find("into the chosen file"), std::string::npos);
}

}  // namespace

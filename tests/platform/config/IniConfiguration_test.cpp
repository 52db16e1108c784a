#include "config/IniConfiguration.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "Diagnose/EngineTopics.hpp"
#include "Diagnose/testing/TraceCapture.hpp"
#include "config/testing/ScopedConfiguration.hpp"

namespace {

using Diagnose::testing::TraceCapture;

constexpr const char* kIni =
    "; a comment\n"
    "# another comment\n"
    "[Attributes]\n"
    "mgetSearch_numa_threshold = 10   ; inline comment\n"
    "\n"
    "[olap]\n"
    "MAX_TRACE_VALUES=3\n"
    "empty =\n"
    "path = /a/b c\n"
    "[trace]\n"
    "indexvector = debug\n";

std::string lookup(const config::Configuration& c, const char* s, const char* k) {
  std::string v;
  return c.getValue(s, k, v) ? v : std::string("<absent>");
}

TEST(IniConfiguration, SectionsAndKeysIgnoreCase) {
  const auto cfg = config::IniConfiguration::fromBuffer(kIni);
  EXPECT_EQ(cfg.parseError(), 0);
  EXPECT_EQ(lookup(cfg, "attributes", "mgetsearch_numa_threshold"), "10");
  EXPECT_EQ(lookup(cfg, "ATTRIBUTES", "mgetSearch_numa_threshold"), "10");
  EXPECT_EQ(lookup(cfg, "olap", "max_trace_values"), "3");
  EXPECT_EQ(lookup(cfg, "olap", "empty"), "");
  EXPECT_EQ(lookup(cfg, "olap", "path"), "/a/b c");
  EXPECT_EQ(lookup(cfg, "olap", "missing"), "<absent>");
  EXPECT_EQ(lookup(cfg, "attributes", "max_trace_values"), "<absent>");
  EXPECT_EQ(lookup(cfg, "nosection", "x"), "<absent>");
}

TEST(IniConfiguration, FeedsTypedValues) {
  auto ini = std::make_shared<config::IniConfiguration>(config::IniConfiguration::fromBuffer(kIni));
  config::testing::ScopedConfiguration scope(ini);
  EXPECT_EQ(config::mgetSearchNumaThreshold().get(), 10u);
  EXPECT_EQ(config::maxTraceValues().get(), 3u);
}

struct BadCase {
  const char* text;
  int line;
};

class IniErrors : public ::testing::TestWithParam<BadCase> {};

// The first bad line is reported and traced at level 2; later good lines are still read.
TEST_P(IniErrors, FirstBadLine) {
  TraceCapture cap({{TRACE_CONFIG, 2}});
  const auto cfg = config::IniConfiguration::fromBuffer(GetParam().text, "bad.ini");
  EXPECT_EQ(cfg.parseError(), GetParam().line);
  EXPECT_EQ(lookup(cfg, "late", "ok"), "yes");
  EXPECT_EQ(cap.count(TRACE_CONFIG, 2), 1u) << cap.dump();
  EXPECT_TRUE(cap.contains(TRACE_CONFIG, "\"bad.ini\": syntax error in line " +
                                             std::to_string(GetParam().line)))
      << cap.dump();
}

INSTANTIATE_TEST_SUITE_P(Texts, IniErrors,
                         ::testing::Values(BadCase{"no equals sign\n[late]\nok=yes\n", 1},
                                           BadCase{"[a]\nx=1\n[unclosed\ny\n[late]\nok=yes\n", 3},
                                           BadCase{"[a]\nx=1\nz\nw\n[late]\nok=yes\n", 3}));

TEST(IniConfiguration, CleanTextTracesNothing) {
  TraceCapture cap({{TRACE_CONFIG, 5}});
  const auto cfg = config::IniConfiguration::fromBuffer("[a]\nx=1\n");
  EXPECT_EQ(cap.size(), 0u);
}

TEST(IniConfiguration, FromFile) {
  const auto path = std::filesystem::temp_directory_path() /
                    ("vorex_cfg_" + std::to_string(::getpid()) + ".ini");
  {
    std::ofstream out(path);
    out << kIni;
  }
  const auto cfg = config::IniConfiguration::fromFile(path.string());
  EXPECT_EQ(cfg.parseError(), 0);
  EXPECT_EQ(cfg.source(), path.string());
  EXPECT_EQ(lookup(cfg, "trace", "IndexVector"), "debug");
  std::filesystem::remove(path);

  TraceCapture cap({{TRACE_CONFIG, 2}});
  const auto missing = config::IniConfiguration::fromFile(path.string());
  EXPECT_EQ(missing.parseError(), -1);
  EXPECT_EQ(lookup(missing, "trace", "indexvector"), "<absent>");
  EXPECT_TRUE(cap.contains(TRACE_CONFIG, "cannot read configuration file")) << cap.dump();
}

}  // namespace

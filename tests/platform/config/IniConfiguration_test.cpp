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
    "; a comment\n# another comment\n"
    "[Attributes]\nmgetSearch_numa_threshold = 10   ; inline comment\n\n"
    "[olap]\nMAX_TRACE_VALUES=3\nempty =\npath = /a/b c\n"
    "[trace]\nindexvector = debug\n";

std::string lookup(const config::Configuration& c, const char* s, const char* k) {
  std::string v;
  return c.getValue(s, k, v) ? v : std::string("<absent>");
}

TEST(IniConfiguration, ReadsFromFileOrBufferIgnoringCase) {
  const auto path =
      std::filesystem::temp_directory_path() / ("vorex_cfg_" + std::to_string(::getpid()) + ".ini");
  std::ofstream(path) << kIni;
  TraceCapture cap({{TRACE_CONFIG, 5}});
  const auto file = std::make_shared<const config::IniConfiguration>(
      config::IniConfiguration::fromFile(path.string()));
  const auto buffer = config::IniConfiguration::fromBuffer(kIni);
  std::filesystem::remove(path);
  EXPECT_EQ(file->source(), path.string());
  EXPECT_EQ(cap.size(), 0u);  // clean text traces nothing
  for (const config::IniConfiguration* cfgp : {file.get(), &buffer}) {
    const auto& cfg = *cfgp;
    EXPECT_EQ(cfg.parseError(), 0);
    EXPECT_EQ(lookup(cfg, "attributes", "mgetsearch_numa_threshold"), "10");
    EXPECT_EQ(lookup(cfg, "ATTRIBUTES", "mgetSearch_numa_threshold"), "10");
    EXPECT_EQ(lookup(cfg, "olap", "max_trace_values"), "3");
    EXPECT_EQ(lookup(cfg, "olap", "empty"), "");
    EXPECT_EQ(lookup(cfg, "olap", "path"), "/a/b c");
    EXPECT_EQ(lookup(cfg, "trace", "IndexVector"), "debug");
    EXPECT_EQ(lookup(cfg, "olap", "missing"), "<absent>");
    EXPECT_EQ(lookup(cfg, "attributes", "max_trace_values"), "<absent>");
    EXPECT_EQ(lookup(cfg, "nosection", "x"), "<absent>");
  }
  config::testing::ScopedConfiguration scope(file);
  EXPECT_EQ(config::mgetSearchNumaThreshold().get(), 10u);
  EXPECT_EQ(config::maxTraceValues().get(), 3u);

  const auto missing = config::IniConfiguration::fromFile(path.string());
  EXPECT_EQ(missing.parseError(), -1);
  EXPECT_EQ(lookup(missing, "trace", "indexvector"), "<absent>");
  EXPECT_TRUE(cap.contains(TRACE_CONFIG, "cannot read configuration file")) << cap.dump();
}

// The first bad line is reported and traced at level 2; later good lines are still read.
TEST(IniConfiguration, ReportsTheFirstBadLine) {
  const std::pair<const char*, int> texts[] = {{"no equals sign\n[late]\nok=yes\n", 1},
                                               {"[a]\nx=1\n[unclosed\ny\n[late]\nok=yes\n", 3},
                                               {"[a]\nx=1\nz\nw\n[late]\nok=yes\n", 3}};
  for (const auto& [text, line] : texts) {
    SCOPED_TRACE(text);
    TraceCapture cap({{TRACE_CONFIG, 2}});
    const auto cfg = config::IniConfiguration::fromBuffer(text, "bad.ini");
    EXPECT_EQ(cfg.parseError(), line);
    EXPECT_EQ(lookup(cfg, "late", "ok"), "yes");
    EXPECT_EQ(cap.count(TRACE_CONFIG, 2), 1u) << cap.dump();
    EXPECT_TRUE(
        cap.contains(TRACE_CONFIG, "\"bad.ini\": syntax error in line " + std::to_string(line)))
        << cap.dump();
  }
}

}  // namespace

#include "Diagnose/TopicRegistry.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "Diagnose/EngineTopics.hpp"
#include "Diagnose/testing/TraceCapture.hpp"
#include "VorexBase/TraceTopics.hpp"
#include "config/Configuration.hpp"

namespace {

using Diagnose::DiagTopic;
using Diagnose::TopicRegistry;
using Diagnose::TraceLevel;
using Diagnose::testing::TraceCapture;

std::vector<std::string> registeredNames() {
  std::vector<std::string> names;
  for (const DiagTopic* t : TopicRegistry::topics()) names.emplace_back(t->name());
  return names;
}

TEST(TopicRegistry, LibraryTopicsRegisterInDefinitionOrder) {
  const std::vector<std::string> expected = {
      "BasisClient", "PersistenceLayer", "DiskEventCallback", "getserver_trans",      "assign",
      "ha_provider", "lob_store",        "ha_dr_provider",    "indexvector"};
  std::vector<std::string> library;
  for (const std::string& n : registeredNames())
    if (std::find(expected.begin(), expected.end(), n) != expected.end()) library.push_back(n);
  EXPECT_EQ(library, expected);
  EXPECT_STREQ(TRACE_PERSITENCELAYER.name(), "PersistenceLayer");
  EXPECT_STREQ(TRACE_GETSERVER_TRANS.description(), "nameserver getserver transactions");
}

TEST(TopicRegistry, EngineTopicsAreRegisteredAtLevelOne) {
  const std::pair<const char*, const Diagnose::TraceTopic*> engine[] = {
      {"pythontrace", &TRACE_PYTHON}, {"getserver", &TRACE_GETSERVER},
      {"getserver_stack", &TRACE_GETSERVER_STACK}, {"tns", &TRACE_TNS},
      {"tns_ddl", &TRACE_TNS_DDL}};
  for (const auto& [name, topic] : engine) {
    SCOPED_TRACE(name);
    EXPECT_EQ(TopicRegistry::find(name), topic);
    EXPECT_EQ(topic->defaultLevel(), 1);
  }
}

TEST(TopicRegistry, FindIgnoresCaseAndNeedsTheWholeName) {
  EXPECT_EQ(TopicRegistry::find("INDEXVECTOR"), &TRACE_INDEXVECTOR);
  EXPECT_EQ(TopicRegistry::find("basisclient"), &TRACE_BASISCLIENT);
  EXPECT_EQ(TopicRegistry::find("indexvecto"), nullptr);
  EXPECT_EQ(TopicRegistry::find("indexvectorx"), nullptr);
  EXPECT_EQ(TopicRegistry::find(""), nullptr);
}

TEST(TopicRegistry, InitIsIdempotentAndDestroyUnregisters) {
  static Diagnose::TraceTopic local("registry_local", "local");
  const auto before = TopicRegistry::topics().size();
  local.init();
  local.init();
  EXPECT_TRUE(local.isRegistered());
  EXPECT_EQ(TopicRegistry::topics().size(), before + 1);
  EXPECT_EQ(TopicRegistry::topics().back(), &local);
  EXPECT_EQ(TopicRegistry::find("registry_local"), &local);
  local.destroy();
  EXPECT_FALSE(local.isRegistered());
  EXPECT_EQ(TopicRegistry::find("registry_local"), nullptr);
  EXPECT_EQ(TopicRegistry::topics().size(), before);
  local.destroy();  // leaving twice is harmless
  EXPECT_EQ(TopicRegistry::topics().size(), before);
}

TEST(TopicRegistry, SetLevelByName) {
  TraceCapture cap;  // restores every level at the end
  EXPECT_TRUE(TopicRegistry::setLevel("TNS", 4));
  EXPECT_EQ(TRACE_TNS.getLevel(), 4);
  EXPECT_EQ(TRACE_TNS.getGlobalLevel(), 4);
  EXPECT_FALSE(TopicRegistry::setLevel("no_such_topic", 4));
  TopicRegistry::resetLevels();
  EXPECT_EQ(TRACE_TNS.getLevel(), 1);
}

struct LevelCase {
  const char* text;
  bool ok;
  int level;
};

class ParseLevel : public ::testing::TestWithParam<LevelCase> {};

TEST_P(ParseLevel, Table) {
  const LevelCase c = GetParam();
  TraceLevel level = 99;
  EXPECT_EQ(TopicRegistry::parseLevel(c.text, level), c.ok);
  EXPECT_EQ(level, c.ok ? c.level : 99);
}

INSTANTIATE_TEST_SUITE_P(
    Values, ParseLevel,
    ::testing::Values(LevelCase{"0", true, 0}, LevelCase{"5", true, 5}, LevelCase{" 7 ", true, 7},
                      LevelCase{"-1", true, -1}, LevelCase{"+3", true, 3},
                      LevelCase{"127", true, 127}, LevelCase{"-128", true, -128},
                      LevelCase{"128", false, 0}, LevelCase{"-129", false, 0},
                      LevelCase{"99999999999", false, 0}, LevelCase{"", false, 0},
                      LevelCase{"-", false, 0}, LevelCase{"3x", false, 0},
                      LevelCase{"3 4", false, 0}, LevelCase{"off", true, 0},
                      LevelCase{"None", true, 0}, LevelCase{"error", true, 1},
                      LevelCase{"WARNING", true, 2}, LevelCase{"info", true, 3},
                      LevelCase{"Debug", true, 5}, LevelCase{"debugging", false, 0},
                      LevelCase{"warn", false, 0}));

TEST(TopicRegistry, ApplyConfigurationReadsTheTraceSection) {
  TraceCapture cap({{TRACE_CONFIG, 2}});
  config::MapConfiguration cfg;
  cfg.set("trace", "indexvector", "5");
  cfg.set("TRACE", "BasisClient", "debug");  // sections and keys are case-insensitive
  cfg.set("trace", "tns", "-1");
  cfg.set("trace", "getserver", "loud");     // not a level: left alone, reported
  cfg.set("other", "assign", "4");           // another section: ignored
  cfg.set("trace", "no_such_topic", "3");    // nobody asks for it

  EXPECT_EQ(TopicRegistry::applyConfiguration(cfg), 3u);
  EXPECT_EQ(TRACE_INDEXVECTOR.getLevel(), 5);
  EXPECT_EQ(TRACE_BASISCLIENT.getLevel(), 5);
  EXPECT_EQ(TRACE_TNS.getLevel(), -1);
  EXPECT_EQ(TRACE_GETSERVER.getLevel(), 1);
  EXPECT_EQ(TRACE_ASSIGN.getLevel(), 1);
  EXPECT_TRUE(cap.contains(TRACE_CONFIG, "getserver")) << cap.dump();
  EXPECT_TRUE(cap.contains(TRACE_CONFIG, "\"loud\"")) << cap.dump();
}

TEST(TopicRegistry, ApplySettingsEnvironmentForm) {
  TraceCapture cap;
  std::vector<std::string> rejected;
  EXPECT_EQ(TopicRegistry::applySettings("indexvector=5,getserver=3;tns=warning  assign=0,,",
                                         &rejected),
            4u);
  EXPECT_TRUE(rejected.empty());
  EXPECT_EQ(TRACE_INDEXVECTOR.getLevel(), 5);
  EXPECT_EQ(TRACE_GETSERVER.getLevel(), 3);
  EXPECT_EQ(TRACE_TNS.getLevel(), 2);
  EXPECT_EQ(TRACE_ASSIGN.getLevel(), 0);

  EXPECT_EQ(TopicRegistry::applySettings("nosuch=3,indexvector,lob_store=x,ha_provider=4",
                                         &rejected),
            1u);
  EXPECT_EQ(rejected, (std::vector<std::string>{"nosuch=3", "indexvector", "lob_store=x"}));
  EXPECT_EQ(TRACE_HA_PROVIDER.getLevel(), 4);
  EXPECT_EQ(TRACE_LOB_STORE.getLevel(), 1);
}

TEST(TopicRegistry, ApplySettingsStarSetsEveryTopic) {
  TraceCapture cap;
  EXPECT_EQ(TopicRegistry::applySettings("*=info,tns=1"), 2u);
  for (const DiagTopic* t : TopicRegistry::topics()) {
    SCOPED_TRACE(t->name());
    EXPECT_EQ(t->getLevel(), t == &TRACE_TNS ? 1 : 3);
  }
}

TEST(TopicRegistry, ApplyEnvironmentReadsVorexTrace) {
  TraceCapture cap;
  ::setenv("VOREX_TRACE", "tns_ddl=4,pythontrace=2,bad", 1);
  ::setenv("VOREX_TRACE_FILE", "/nonexistent-dir/t.trc", 1);
  std::vector<std::string> rejected;
  EXPECT_EQ(TopicRegistry::applyEnvironment(&rejected), 2u);
  ::unsetenv("VOREX_TRACE");
  ::unsetenv("VOREX_TRACE_FILE");
  EXPECT_EQ(TRACE_TNS_DDL.getLevel(), 4);
  EXPECT_EQ(TRACE_PYTHON.getLevel(), 2);
  EXPECT_EQ(rejected,
            (std::vector<std::string>{"bad", "VOREX_TRACE_FILE=/nonexistent-dir/t.trc"}));
  EXPECT_EQ(Diagnose::getTraceFile(), "");  // the sink stays where it was
  EXPECT_EQ(TopicRegistry::applyEnvironment(), 0u);  // unset: nothing changes
}

TEST(TraceCapture, RestoresLevelsAndSink) {
  Diagnose::TraceSink& before = Diagnose::TraceSink::current();
  {
    TraceCapture cap({{TRACE_INDEXVECTOR, 5}});
    EXPECT_EQ(&Diagnose::TraceSink::current(), &cap);
    TopicRegistry::setLevel("assign", 6);  // changed inside the scope, restored too
    {
      TraceCapture inner({{TRACE_INDEXVECTOR, 2}});
      DIAG_TRACE(TRACE_INDEXVECTOR, 2) << "inner";
      DIAG_TRACE(TRACE_INDEXVECTOR, 3) << "too detailed";
    }
    EXPECT_EQ(&Diagnose::TraceSink::current(), &cap);
    EXPECT_EQ(TRACE_INDEXVECTOR.getLevel(), 5);
    DIAG_TRACE(TRACE_INDEXVECTOR, 5) << "outer";
    EXPECT_EQ(cap.texts(), std::vector<std::string>{"outer"});
  }
  EXPECT_EQ(&Diagnose::TraceSink::current(), &before);
  EXPECT_EQ(TRACE_INDEXVECTOR.getLevel(), 1);
  EXPECT_EQ(TRACE_ASSIGN.getLevel(), 1);
}

TEST(TraceCapture, QueriesByTopicAndText) {
  TraceCapture cap({{TRACE_INDEXVECTOR, 5}, {TRACE_TNS, 3}});
  DIAG_TRACE(TRACE_INDEXVECTOR, 3) << "SSE version set to 2";
  DIAG_TRACE(TRACE_TNS, 1) << "FIX YOUR CODE";
  DIAG_TRACE(TRACE_INDEXVECTOR, 5) << "sseVersionMget=2";
  EXPECT_EQ(cap.size(), 3u);
  EXPECT_EQ(cap.texts(TRACE_INDEXVECTOR),
            (std::vector<std::string>{"SSE version set to 2", "sseVersionMget=2"}));
  EXPECT_EQ(cap.count(TRACE_INDEXVECTOR), 2u);
  EXPECT_EQ(cap.count(TRACE_INDEXVECTOR, 5), 1u);
  EXPECT_EQ(cap.count(TRACE_TNS, 3), 0u);
  EXPECT_TRUE(cap.contains("YOUR"));
  EXPECT_TRUE(cap.contains(TRACE_TNS, "FIX"));
  EXPECT_FALSE(cap.contains(TRACE_INDEXVECTOR, "FIX"));
  EXPECT_EQ(cap.dump(),
            "indexvector 3 SSE version set to 2\ntns 1 FIX YOUR CODE\nindexvector 5 sseVersionMget=2\n");
  cap.clear();
  EXPECT_EQ(cap.size(), 0u);
}

}  // namespace

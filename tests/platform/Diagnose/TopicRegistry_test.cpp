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

TEST(TopicRegistry, LibraryAndEngineTopicsAreRegisteredAndFound) {
  const std::vector<std::string> expected = {
      "BasisClient", "PersistenceLayer", "DiskEventCallback", "getserver_trans", "assign",
      "ha_provider", "lob_store",        "ha_dr_provider",    "indexvector"};
  std::vector<std::string> library;
  for (const DiagTopic* t : TopicRegistry::topics())
    if (std::find(expected.begin(), expected.end(), t->name()) != expected.end())
      library.emplace_back(t->name());
  EXPECT_EQ(library, expected);  // in definition order
  EXPECT_STREQ(TRACE_GETSERVER_TRANS.description(), "nameserver getserver transactions");

  const std::pair<const char*, const DiagTopic*> engine[] = {
      {"pythontrace", &TRACE_PYTHON},
      {"getserver", &TRACE_GETSERVER},
      {"tns", &TRACE_TNS},
      {"getserver_stack", &TRACE_GETSERVER_STACK},
      {"tns_ddl", &TRACE_TNS_DDL}};
  for (const auto& [name, topic] : engine) {
    EXPECT_EQ(TopicRegistry::find(name), topic) << name;
    EXPECT_EQ(topic->defaultLevel(), 1) << name;
  }
  EXPECT_EQ(TopicRegistry::find("INDEXVECTOR"), &TRACE_INDEXVECTOR);  // case-insensitive
  EXPECT_EQ(TopicRegistry::find("basisclient"), &TRACE_BASISCLIENT);
  for (const char* partial : {"indexvecto", "indexvectorx", ""}) {
    EXPECT_EQ(TopicRegistry::find(partial), nullptr) << partial;
  }
}

TEST(TopicRegistry, InitIsIdempotentAndDestroyUnregisters) {
  static Diagnose::TraceTopic local("registry_local", "local");
  const auto before = TopicRegistry::topics().size();
  local.init();
  local.init();
  EXPECT_TRUE(local.isRegistered());
  EXPECT_EQ(TopicRegistry::topics().size(), before + 1);
  EXPECT_EQ(TopicRegistry::find("registry_local"), &local);
  local.destroy();
  local.destroy();  // leaving twice is harmless
  EXPECT_FALSE(local.isRegistered());
  EXPECT_EQ(TopicRegistry::find("registry_local"), nullptr);
  EXPECT_EQ(TopicRegistry::topics().size(), before);
}

TEST(TopicRegistry, ParseLevel) {
  struct Case {
    const char* text;
    int level;  // 99: rejected
  };
  const Case cases[] = {
      {"0", 0},          {"5", 5},       {" 7 ", 7},     {"-1", -1},   {"+3", 3},
      {"127", 127},      {"-128", -128}, {"128", 99},    {"-129", 99}, {"99999999999", 99},
      {"", 99},          {"-", 99},      {"3x", 99},     {"3 4", 99},  {"off", 0},
      {"None", 0},       {"error", 1},   {"WARNING", 2}, {"info", 3},  {"Debug", 5},
      {"debugging", 99}, {"warn", 99}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    TraceLevel level = 99;
    EXPECT_EQ(TopicRegistry::parseLevel(c.text, level), c.level != 99);
    EXPECT_EQ(level, c.level);
  }
}

TEST(TopicRegistry, SetLevelAndApplyConfiguration) {
  TraceCapture cap({{TRACE_CONFIG, 2}});  // restores every level at the end
  config::MapConfiguration cfg;
  cfg.set("trace", "indexvector", "5");
  cfg.set("TRACE", "BasisClient", "debug");  // sections and keys are case-insensitive
  cfg.set("trace", "tns", "-1");
  cfg.set("trace", "getserver", "loud");  // not a level: left alone, reported
  cfg.set("other", "assign", "4");
  cfg.set("trace", "no_such_topic", "3");
  EXPECT_EQ(TopicRegistry::applyConfiguration(cfg), 3u);
  EXPECT_EQ(TRACE_INDEXVECTOR.getLevel(), 5);
  EXPECT_EQ(TRACE_BASISCLIENT.getLevel(), 5);
  EXPECT_EQ(TRACE_TNS.getLevel(), -1);
  EXPECT_EQ(TRACE_GETSERVER.getLevel(), 1);
  EXPECT_EQ(TRACE_ASSIGN.getLevel(), 1);
  EXPECT_TRUE(cap.contains(TRACE_CONFIG, "getserver")) << cap.dump();
  EXPECT_TRUE(cap.contains(TRACE_CONFIG, "\"loud\"")) << cap.dump();

  EXPECT_TRUE(TopicRegistry::setLevel("TNS", 4));
  EXPECT_EQ(TRACE_TNS.getGlobalLevel(), 4);
  EXPECT_FALSE(TopicRegistry::setLevel("no_such_topic", 4));
  TopicRegistry::resetLevels();
  EXPECT_EQ(TRACE_TNS.getLevel(), 1);
  EXPECT_EQ(TRACE_INDEXVECTOR.getLevel(), 1);
}

TEST(TopicRegistry, ApplySettingsEnvironmentForm) {
  TraceCapture cap;
  std::vector<std::string> rejected;
  EXPECT_EQ(
      TopicRegistry::applySettings("indexvector=5,getserver=3;tns=warning  assign=0,,", &rejected),
      4u);
  EXPECT_TRUE(rejected.empty());
  EXPECT_EQ(TRACE_INDEXVECTOR.getLevel(), 5);
  EXPECT_EQ(TRACE_GETSERVER.getLevel(), 3);
  EXPECT_EQ(TRACE_TNS.getLevel(), 2);
  EXPECT_EQ(TRACE_ASSIGN.getLevel(), 0);

  EXPECT_EQ(
      TopicRegistry::applySettings("nosuch=3,indexvector,lob_store=x,ha_provider=4", &rejected),
      1u);
  EXPECT_EQ(rejected, (std::vector<std::string>{"nosuch=3", "indexvector", "lob_store=x"}));
  EXPECT_EQ(TRACE_HA_PROVIDER.getLevel(), 4);
  EXPECT_EQ(TRACE_LOB_STORE.getLevel(), 1);

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
  EXPECT_EQ(rejected, (std::vector<std::string>{"bad", "VOREX_TRACE_FILE=/nonexistent-dir/t.trc"}));
  EXPECT_EQ(Diagnose::getTraceFile(), "");  // the sink stays where it was
  EXPECT_EQ(TopicRegistry::applyEnvironment(), 0u);
}

TEST(TraceCapture, RestoresLevelsAndSinkAndAnswersQueries) {
  Diagnose::TraceSink& before = Diagnose::TraceSink::current();
  {
    TraceCapture cap({{TRACE_INDEXVECTOR, 5}, {TRACE_TNS, 3}});
    TopicRegistry::setLevel("assign", 6);  // changed inside the scope, restored too
    {
      TraceCapture inner({{TRACE_INDEXVECTOR, 2}});
      DIAG_TRACE(TRACE_INDEXVECTOR, 2) << "inner";
    }
    EXPECT_EQ(&Diagnose::TraceSink::current(), &cap);
    DIAG_TRACE(TRACE_INDEXVECTOR, 5) << "SSE version set to 2";
    DIAG_TRACE(TRACE_TNS, 1) << "FIX YOUR CODE";
    EXPECT_EQ(cap.texts(TRACE_INDEXVECTOR), std::vector<std::string>{"SSE version set to 2"});
    EXPECT_EQ(cap.count(TRACE_TNS, 1), 1u);
    EXPECT_EQ(cap.count(TRACE_TNS, 3), 0u);
    EXPECT_FALSE(cap.contains(TRACE_INDEXVECTOR, "FIX"));
    EXPECT_EQ(cap.dump(), "indexvector 5 SSE version set to 2\ntns 1 FIX YOUR CODE\n");
  }
  EXPECT_EQ(&Diagnose::TraceSink::current(), &before);
  EXPECT_EQ(TRACE_INDEXVECTOR.getLevel(), 1);
  EXPECT_EQ(TRACE_ASSIGN.getLevel(), 1);
}

}  // namespace

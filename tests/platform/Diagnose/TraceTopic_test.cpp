#include "Diagnose/TraceTopic.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "Diagnose/testing/TraceCapture.hpp"
#include "VorexBase/TraceTopics.hpp"
#include "VorexTrace/Tracer.hpp"

namespace {

using Diagnose::TraceLevel;
using Diagnose::testing::TraceCapture;

// Topics private to these tests, never registered.
constinit Diagnose::TraceTopic g_topic("test_topic", "guard tests");

struct GuardCase {
  int topicLevel;
  int messageLevel;
  bool passes;
};

class TraceGuard : public ::testing::TestWithParam<GuardCase> {};

// The byte is compared signed: a message at level n passes when the byte is above n - 1.
TEST_P(TraceGuard, FirstByteDecides) {
  const GuardCase c = GetParam();
  TraceCapture cap({{g_topic, c.topicLevel}});
  EXPECT_EQ(g_topic.isActive(static_cast<TraceLevel>(c.messageLevel)), c.passes);
  EXPECT_EQ(g_topic.checkSessionLevel(static_cast<TraceLevel>(c.messageLevel)), c.passes);
  DIAG_TRACE(g_topic, static_cast<TraceLevel>(c.messageLevel)) << "m";
  EXPECT_EQ(cap.size(), c.passes ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(Levels, TraceGuard,
                         ::testing::Values(GuardCase{1, 1, true}, GuardCase{1, 2, false},
                                           GuardCase{0, 1, false}, GuardCase{0, 0, true},
                                           GuardCase{-1, 0, false}, GuardCase{-1, -1, true},
                                           GuardCase{-128, -127, false},
                                           GuardCase{-128, -128, true}, GuardCase{5, 3, true},
                                           GuardCase{5, 6, false}, GuardCase{127, 127, true},
                                           GuardCase{3, -5, true}));

TEST(TraceTopic, LevelIsTheFirstByte) {
  TraceCapture cap({{TRACE_INDEXVECTOR, 7}, {TRACE_BASISCLIENT, -3}});
  EXPECT_EQ(*reinterpret_cast<const signed char*>(&TRACE_INDEXVECTOR), 7);
  EXPECT_EQ(*reinterpret_cast<const signed char*>(&TRACE_BASISCLIENT), -3);
}

TEST(TraceTopic, GuardedMessageIsNotEvaluatedWhenOff) {
  TraceCapture cap({{g_topic, 2}});
  int evaluated = 0;
  auto sideEffect = [&] { return ++evaluated; };
  DIAG_TRACE(g_topic, 3) << sideEffect();
  EXPECT_EQ(evaluated, 0);
  DIAG_TRACE(g_topic, 2) << sideEffect();
  EXPECT_EQ(evaluated, 1);
  EXPECT_EQ(cap.texts(g_topic), std::vector<std::string>{"1"});
}

TEST(TraceStream, EmitsOneRecordOnDestruction) {
  TraceCapture cap;
  const auto before = g_topic.messageCount();
  const int line = __LINE__ + 2;
  {
    Diagnose::TraceStream s(g_topic, 4, __FILE__, line);
    s << "value=" << 42 << ' ' << 1.5;
    EXPECT_EQ(cap.size(), 0u);  // nothing until the stream ends
  }
  const auto recs = cap.records();
  ASSERT_EQ(recs.size(), 1u);
  EXPECT_EQ(recs[0].topic, &g_topic);
  EXPECT_EQ(recs[0].level, 4);
  EXPECT_STREQ(recs[0].file, __FILE__);
  EXPECT_EQ(recs[0].line, line);
  EXPECT_EQ(recs[0].text, "value=42 1.5");
  EXPECT_TRUE(recs[0].endLine);
  EXPECT_GT(recs[0].threadId, 0u);
  EXPECT_GT(recs[0].timeMicros, 0);
  EXPECT_EQ(g_topic.messageCount(), before + 1);
}

TEST(TraceStream, MacroRecordsItsOwnLineAndKeepsTheLineFlag) {
  TraceCapture cap({{g_topic, 3}});
  const int line = __LINE__ + 1;
  DIAG_TRACE(g_topic, 3) << "a" << "b";
  { Diagnose::TraceStream(g_topic, 1, "x.cpp", 9, false) << "open"; }
  const auto recs = cap.records();
  ASSERT_EQ(recs.size(), 2u);
  EXPECT_EQ(recs[0].line, line);
  EXPECT_EQ(recs[0].text, "ab");
  EXPECT_FALSE(recs[1].endLine);
}

TEST(Tracer, StreamCarriesTopicLevelAndPlace) {
  TraceCapture cap({{TRACE_BASISCLIENT, 3}});
  constexpr VorexTrace::Tracer tracer(TRACE_BASISCLIENT);
  EXPECT_EQ(&tracer.topic(), &TRACE_BASISCLIENT);
  EXPECT_TRUE(tracer.isActive(3));
  EXPECT_FALSE(tracer.isActive(4));
  { tracer.createContextLocalStream(TRACE_BASISCLIENT, 3, "w.cpp", 77) << "written"; }
  const auto recs = cap.records();
  ASSERT_EQ(recs.size(), 1u);
  EXPECT_EQ(recs[0].topic, &TRACE_BASISCLIENT);
  EXPECT_EQ(recs[0].level, 3);
  EXPECT_STREQ(recs[0].file, "w.cpp");
  EXPECT_EQ(recs[0].line, 77);
  EXPECT_EQ(recs[0].text, "written");
}

TEST(TraceSink, LineFormat) {
  // 2021-03-04 05:06:07 UTC = 1614834367 s.
  Diagnose::TraceRecord r{&TRACE_INDEXVECTOR, 3, "/src/VorexUtils/IndexVector.cpp", 120, 4242,
                          1614834367LL * 1000000 + 42, "SSE version set to 2"};
  EXPECT_EQ(Diagnose::formatTraceLine(r),
            "2021-03-04 05:06:07.000042 4242 3 indexvector IndexVector.cpp:120 SSE version set to 2");
}

TEST(TraceSink, DefaultSinkWritesToTheTraceFile) {
  const auto path = std::filesystem::temp_directory_path() /
                    ("vorex_trace_" + std::to_string(::getpid()) + ".trc");
  std::filesystem::remove(path);
  ASSERT_TRUE(Diagnose::setTraceFile(path.string()));
  EXPECT_EQ(Diagnose::getTraceFile(), path.string());
  {
    Diagnose::TraceSink* previous = Diagnose::TraceSink::install(nullptr);  // the default sink
    { Diagnose::TraceStream(g_topic, 1, "f.cpp", 1) << "first"; }
    { Diagnose::TraceStream(g_topic, 2, "f.cpp", 2) << "second\n"; }  // no doubled line end
    Diagnose::TraceSink::install(previous);
  }
  ASSERT_TRUE(Diagnose::setTraceFile(""));
  EXPECT_EQ(Diagnose::getTraceFile(), "");

  std::ifstream in(path);
  std::string l1, l2, l3;
  ASSERT_TRUE(std::getline(in, l1));
  ASSERT_TRUE(std::getline(in, l2));
  EXPECT_FALSE(std::getline(in, l3));
  EXPECT_NE(l1.find(" 1 test_topic f.cpp:1 first"), std::string::npos) << l1;
  EXPECT_NE(l2.find(" 2 test_topic f.cpp:2 second"), std::string::npos) << l2;
  std::filesystem::remove(path);
}

TEST(TraceSink, UnopenableFileKeepsTheOldTarget) {
  EXPECT_FALSE(Diagnose::setTraceFile("/nonexistent-dir/x/y.trc"));
  EXPECT_EQ(Diagnose::getTraceFile(), "");
}

}  // namespace

#include "Diagnose/TraceTopic.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "Diagnose/testing/TraceCapture.hpp"
#include "VorexBase/TraceTopics.hpp"
#include "VorexTrace/Tracer.hpp"

namespace {

using Diagnose::TraceLevel;
using Diagnose::testing::TraceCapture;

constinit Diagnose::TraceTopic g_topic("test_topic", "guard tests");  // never registered

// The level is the topic's first byte, compared signed: a message at level n passes when the
// byte is above n - 1. A message that does not pass is not even evaluated.
TEST(TraceTopic, FirstByteDecides) {
  struct Case {
    int topicLevel, messageLevel;
    bool passes;
  };
  const Case cases[] = {{1, 1, true},   {1, 2, false},  {0, 1, false},       {0, 0, true},
                        {-1, 0, false}, {-1, -1, true}, {-128, -127, false}, {-128, -128, true},
                        {5, 3, true},   {5, 6, false},  {127, 127, true},    {3, -5, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.topicLevel << " vs " << c.messageLevel);
    TraceCapture cap({{g_topic, c.topicLevel}, {TRACE_BASISCLIENT, c.topicLevel}});
    EXPECT_EQ(*reinterpret_cast<const signed char*>(&TRACE_BASISCLIENT), c.topicLevel);
    const auto level = static_cast<TraceLevel>(c.messageLevel);
    EXPECT_EQ(g_topic.isActive(level), c.passes);
    EXPECT_EQ(g_topic.checkSessionLevel(level), c.passes);
    int evaluated = 0;
    DIAG_TRACE(g_topic, level) << ++evaluated;
    EXPECT_EQ(evaluated, c.passes ? 1 : 0);
    EXPECT_EQ(cap.size(), c.passes ? 1u : 0u);
  }
}

TEST(TraceStream, EmitsOneRecordOnDestruction) {
  TraceCapture cap({{g_topic, 3}, {TRACE_BASISCLIENT, 3}});
  const auto before = g_topic.messageCount();
  const int line = __LINE__ + 2;
  {
    Diagnose::TraceStream s(g_topic, 4, __FILE__, line);
    s << "value=" << 42 << ' ' << 1.5;
    EXPECT_EQ(cap.size(), 0u);  // nothing until the stream ends
  }
  const int macroLine = __LINE__ + 1;
  DIAG_TRACE(g_topic, 3) << "a" << 1;
  { Diagnose::TraceStream(g_topic, 1, "x.cpp", 9, false) << "open"; }
  constexpr VorexTrace::Tracer tracer(TRACE_BASISCLIENT);
  EXPECT_TRUE(tracer.isActive(3));
  EXPECT_FALSE(tracer.isActive(4));
  { tracer.createContextLocalStream(TRACE_BASISCLIENT, 3, "w.cpp", 77) << "written"; }

  const auto recs = cap.records();
  ASSERT_EQ(recs.size(), 4u);
  EXPECT_EQ(recs[0].topic, &g_topic);
  EXPECT_EQ(recs[0].level, 4);
  EXPECT_STREQ(recs[0].file, __FILE__);
  EXPECT_EQ(recs[0].line, line);
  EXPECT_EQ(recs[0].text, "value=42 1.5");
  EXPECT_TRUE(recs[0].endLine);
  EXPECT_GT(recs[0].threadId, 0u);
  EXPECT_GT(recs[0].timeMicros, 0);
  EXPECT_EQ(g_topic.messageCount(), before + 3);
  EXPECT_EQ(recs[1].line, macroLine);
  EXPECT_EQ(recs[1].text, "a1");
  EXPECT_FALSE(recs[2].endLine);
  EXPECT_EQ(recs[3].topic, &TRACE_BASISCLIENT);
  EXPECT_EQ(recs[3].level, 3);
  EXPECT_STREQ(recs[3].file, "w.cpp");
  EXPECT_EQ(recs[3].line, 77);
  EXPECT_EQ(recs[3].text, "written");
}

TEST(TraceSink, LineFormat) {
  // 2021-03-04 05:06:07 UTC = 1614834367 s.
  Diagnose::TraceRecord r{&TRACE_INDEXVECTOR,
                          3,
                          "/src/VorexUtils/IndexVector.cpp",
                          120,
                          4242,
                          1614834367LL * 1000000 + 42,
                          "SSE version set to 2"};
  EXPECT_EQ(
      Diagnose::formatTraceLine(r),
      "2021-03-04 05:06:07.000042 4242 3 indexvector IndexVector.cpp:120 SSE version set to 2");
}

TEST(TraceSink, DefaultSinkWritesToTheTraceFile) {
  EXPECT_FALSE(Diagnose::setTraceFile("/nonexistent-dir/x/y.trc"));
  EXPECT_EQ(Diagnose::getTraceFile(), "");  // the old target stays
  const auto path = std::filesystem::temp_directory_path() /
                    ("vorex_trace_" + std::to_string(::getpid()) + ".trc");
  std::filesystem::remove(path);
  ASSERT_TRUE(Diagnose::setTraceFile(path.string()));
  EXPECT_EQ(Diagnose::getTraceFile(), path.string());
  Diagnose::TraceSink* previous = Diagnose::TraceSink::install(nullptr);  // the default sink
  { Diagnose::TraceStream(g_topic, 1, "f.cpp", 1) << "first"; }
  { Diagnose::TraceStream(g_topic, 2, "f.cpp", 2) << "second\n"; }  // no doubled line end
  Diagnose::TraceSink::install(previous);
  ASSERT_TRUE(Diagnose::setTraceFile(""));

  std::ifstream in(path);
  std::string l1, l2, l3;
  ASSERT_TRUE(std::getline(in, l1));
  ASSERT_TRUE(std::getline(in, l2));
  EXPECT_FALSE(std::getline(in, l3));
  EXPECT_NE(l1.find(" 1 test_topic f.cpp:1 first"), std::string::npos) << l1;
  EXPECT_NE(l2.find(" 2 test_topic f.cpp:2 second"), std::string::npos) << l2;
  std::filesystem::remove(path);
}

}  // namespace

#include "Diagnose/AssertError.hpp"

#include <gtest/gtest.h>

#include <cstdio>

#include "Diagnose/TraceTopic.hpp"

namespace {

// Echoes on stderr so that the death test can see that the sink got the record too.
class StderrEchoSink final : public Diagnose::TraceSink {
 public:
  void write(const Diagnose::TraceRecord& r) override {
    std::fprintf(stderr, "sink: %s line %d\n", r.text.c_str(), r.line);
  }
};

TEST(AssertErrorDeathTest, FailedAssertionReportsToStderrAndTheSinkThenAborts) {
  int calls = 0;
  DIAG_ASSERT(++calls == 1);  // a passing assertion is evaluated once and continues
  EXPECT_EQ(calls, 1);
  const int answer = 41;
  EXPECT_DEATH(
      {
        static StderrEchoSink echo;
        Diagnose::TraceSink::install(&echo);
        DIAG_ASSERT(answer == 42);
      },
      "assertion failed: answer == 42 at .*AssertError_test.cpp:[0-9]+\n"
      "sink: assertion failed: answer == 42 line [0-9]+");
}

}  // namespace

#include "Diagnose/AssertError.hpp"

#include <gtest/gtest.h>

namespace {

TEST(AssertErrorDeathTest, FailedAssertionPrintsTheConditionAndAborts) {
  const int answer = 41;
  EXPECT_DEATH(DIAG_ASSERT(answer == 42), "assertion failed: answer == 42 at .*AssertError_test");
}

TEST(AssertError, PassingAssertionEvaluatesOnceAndContinues) {
  int calls = 0;
  DIAG_ASSERT(++calls == 1);
  EXPECT_EQ(calls, 1);
}

}  // namespace

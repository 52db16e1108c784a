// Test main: installs a silent trace sink so that tests print only what they capture.
#include <gtest/gtest.h>

#include "Diagnose/TraceTopic.hpp"

namespace {
class SilentSink final : public Diagnose::TraceSink {
 public:
  void write(const Diagnose::TraceRecord&) override {}
};
}  // namespace

int main(int argc, char** argv) {
  static SilentSink silent;
  Diagnose::TraceSink::install(&silent);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

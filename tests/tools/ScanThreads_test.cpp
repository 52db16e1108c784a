// vorex scan --threads: the parallel search runs beside the single-threaded one and is checked
// against the same reference.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Diagnose/testing/CaptureStream.hpp"
#include "tools/vorex/Commands.hpp"

namespace {

int scan(std::vector<std::string> args, std::string& printed, std::string& errors) {
  args.insert(args.begin(), "scan");
  platform::testing::CaptureStream out(std::cout), err(std::cerr);
  const int status = vorex_cli::run(std::move(args));
  printed = out.str();
  errors = err.str();
  return status;
}

TEST(ScanThreads, ParallelResultsAreCheckedAndReported) {
  std::string printed, errors;
  ASSERT_EQ(scan({"--n", "300001", "--bits", "13", "--threads", "3"}, printed, errors), 0)
      << errors;
  EXPECT_NE(printed.find("parallel x3 -> BitVector"), std::string::npos) << printed;
  EXPECT_NE(printed.find("parallel x3 -> positions"), std::string::npos) << printed;
  EXPECT_NE(printed.find("ok: every result equals the reference"), std::string::npos) << printed;

  ASSERT_EQ(scan({"--n", "1000", "--threads=0"}, printed, errors), 0) << errors;
  EXPECT_NE(printed.find("parallel x0 -> positions"), std::string::npos) << printed;

  EXPECT_EQ(scan({"--threads", "5000"}, printed, errors), 2);
  EXPECT_NE(errors.find("--threads"), std::string::npos) << errors;
}

}  // namespace

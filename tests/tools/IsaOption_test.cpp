// vorex info and vorex scan with --isa: the word reaches configSSE and the report names what the
// slots then run. The selection is put back afterwards.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Diagnose/testing/CaptureStream.hpp"
#include "VorexUtils/IndexVectorRef.hpp"
#include "sse_icc_lib/ProcessorInfo.hpp"
#include "tools/vorex/Commands.hpp"

namespace {

int run(const char* command, std::vector<std::string> args, std::string& printed,
        std::string& errors) {
  args.insert(args.begin(), command);
  platform::testing::CaptureStream out(std::cout), err(std::cerr);
  const int status = vorex_cli::run(std::move(args));
  printed = out.str();
  errors = err.str();
  return status;
}

// Each run starts from the load state: the AVX2 bit-vector flag is never cleared by configSSE.
class IsaOption : public ::testing::Test {
 protected:
  void SetUp() override {
    using namespace VorexUtils::detail;
    m_mget = gMgetPtr_C_Fn, m_resBv = gMgetSearchResBvPtr_C_Fn, m_list = gMgetSearchPtr_C_Fn;
    m_sse = gUseMgetSearchSSE, m_avx2 = gUseMgetSearchAVX2;
    fresh();
  }
  void TearDown() override {
    using namespace VorexUtils::detail;
    gMgetPtr_C_Fn = m_mget, gMgetSearchResBvPtr_C_Fn = m_resBv, gMgetSearchPtr_C_Fn = m_list;
    gUseMgetSearchSSE = m_sse, gUseMgetSearchAVX2 = m_avx2;
  }
  static void fresh() {
    using namespace VorexUtils::detail;
    gMgetPtr_C_Fn = &VorexUtils::mgetGeneric;
    gMgetSearchResBvPtr_C_Fn = &VorexUtils::mgetSearchGenericResBv;
    gMgetSearchPtr_C_Fn = nullptr;
    gUseMgetSearchSSE = gUseMgetSearchAVX2 = false;
  }

 private:
  VorexUtils::MgetFn m_mget{};
  VorexUtils::MgetSearchResBvFn m_resBv{};
  VorexUtils::MgetSearchFn m_list{};
  bool m_sse = false, m_avx2 = false;
};

std::string expectedLine(const char* word) {
  const bool avx2 = ltt::ProcessorInfo::hasAvx2(), sse4 = ltt::ProcessorInfo::hasSse41();
  const std::string w = word;
  std::string level = "nosse";
  if (w == "avx2" && avx2) level = "avx2";
  if (w == "sse4_1" && sse4) level = "sse4_1";
  if (w == "auto") level = avx2 ? "avx2" : sse4 ? "sse4_1" : "nosse";
  const int on = level != "nosse";
  std::string line = "isa: mget " + level + ", mgetSearch " + level;
  if (on) line += std::string(" (bit vectors: ") + (level == "avx2" ? "avx2" : "sse4_1") + ")";
  return line + ", isSetSSE " + std::to_string(on) + " " + std::to_string(on) + "\n";
}

TEST_F(IsaOption, InfoReportsTheSelection) {
  std::string printed, errors;
  ASSERT_EQ(run("info", {}, printed, errors), 0) << errors;
  EXPECT_NE(printed.find(expectedLine("nosse")), std::string::npos) << printed;
  for (const char* word : {"sse4_1", "auto", "nosse"}) {
    SCOPED_TRACE(word);
    fresh();
    ASSERT_EQ(run("info", {"--isa", word}, printed, errors), 0) << errors;
    EXPECT_NE(printed.find(expectedLine(word)), std::string::npos) << printed;
  }
  EXPECT_EQ(run("info", {"--isa=sse4"}, printed, errors), 2);
  EXPECT_NE(errors.find("--isa"), std::string::npos) << errors;
}

TEST_F(IsaOption, ScanSearchesWithTheChosenKernels) {
  for (const char* word : {"avx2", "sse4_1", "nosse"}) {
    SCOPED_TRACE(word);
    fresh();
    std::string printed, errors;
    ASSERT_EQ(run("scan", {"--n", "5000", "--bits", "11", "--isa", word}, printed, errors), 0)
        << errors;
    EXPECT_NE(printed.find(expectedLine(word)), std::string::npos) << printed;
    EXPECT_NE(printed.find("ok: every result equals the reference"), std::string::npos) << printed;
  }
  std::string printed, errors;
  EXPECT_EQ(run("scan", {"--isa"}, printed, errors), 2);
}

TEST_F(IsaOption, ReportShowsTheKeptAvx2BitVectorForm) {
  if (!ltt::ProcessorInfo::hasAvx2()) GTEST_SKIP() << "needs AVX2";
  std::string printed, errors;
  ASSERT_EQ(run("info", {"--isa", "avx2"}, printed, errors), 0) << errors;
  ASSERT_EQ(run("info", {"--isa", "sse4_1"}, printed, errors), 0) << errors;
  EXPECT_NE(printed.find("isa: mget sse4_1, mgetSearch sse4_1 (bit vectors: avx2), isSetSSE 1 1"),
            std::string::npos)
      << printed;
}

}  // namespace

// Instruction-set selection: the host's words, the processor's answer, the slots that result
// and the trace lines on TRACE_INDEXVECTOR. Every test puts the selection back as it found it,
// the never-cleared AVX2 flag included, so the order of tests does not matter.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "Diagnose/testing/TraceCapture.hpp"
#include "VorexBase/TraceTopics.hpp"
#include "VorexUtils/IndexVectorRef.hpp"
#include "VorexUtils/MgetBuffer.hpp"
#include "sse_icc_lib/ProcessorInfo.hpp"

namespace VorexUtils {
namespace {

using Diagnose::testing::TraceCapture;

bool hasAvx2() { return ltt::ProcessorInfo::hasAvx2(); }
bool hasSse41() { return ltt::ProcessorInfo::hasSse41(); }

ltt::vector<ltt::string> words(std::initializer_list<const char*> list) {
  ltt::vector<ltt::string> v;
  for (const char* s : list) v.emplace_back(s);
  return v;
}

struct Selection {
  MgetFn mget;
  MgetSearchResBvFn resBv;
  MgetSearchFn list;
  bool useSse;
  bool useAvx2;

  static Selection current() {
    return {detail::gMgetPtr_C_Fn, detail::gMgetSearchResBvPtr_C_Fn, detail::gMgetSearchPtr_C_Fn,
            detail::gUseMgetSearchSSE, detail::gUseMgetSearchAVX2};
  }
  void install() const {
    detail::gMgetPtr_C_Fn = mget;
    detail::gMgetSearchResBvPtr_C_Fn = resBv;
    detail::gMgetSearchPtr_C_Fn = list;
    detail::gUseMgetSearchSSE = useSse;
    detail::gUseMgetSearchAVX2 = useAvx2;
  }
};

/// The state of a process that never called configSSE.
constexpr Selection kAtLoad = {&mgetGeneric, &mgetSearchGenericResBv, nullptr, false, false};

class ConfigSSETest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_saved = Selection::current();
    kAtLoad.install();
  }
  void TearDown() override { m_saved.install(); }

  // Trace lines of one configSSE call, in order, as "<level> <text>".
  static std::vector<std::string> lines(const TraceCapture& cap) {
    std::vector<std::string> out;
    for (const auto& r : cap.records()) {
      if (r.topic == &TRACE_INDEXVECTOR) out.push_back(std::to_string(r.level) + " " + r.text);
    }
    return out;
  }

  // Expected slots for an effective (mget, search) pair: NOSSE, SSE4_1 or AVX2.
  static void expectSelection(SSE_VERSION mget, SSE_VERSION search) {
    EXPECT_EQ(detail::gMgetPtr_C_Fn, mget == AVX2     ? &sse_icc_lib::mgeti_AVX2
                                     : mget == SSE4_1 ? &sse_icc_lib::mgeti_SSE4
                                                      : &mgetGeneric);
    EXPECT_EQ(detail::gUseMgetSearchSSE, search != NOSSE);
    EXPECT_EQ(detail::gMgetSearchResBvPtr_C_Fn,
              search != NOSSE ? &mgetSearchSseResBv : &mgetSearchGenericResBv);
    if (search == AVX2) {
      EXPECT_EQ(detail::gMgetSearchPtr_C_Fn, &sse_icc_lib::mgetSearchi_AVX2);
    } else if (search == SSE4_1) {
      EXPECT_EQ(detail::gMgetSearchPtr_C_Fn, &sse_icc_lib::mgetSearchi_SSE4);
    }
    EXPECT_EQ(detail::gUseMgetSearchAVX2, search == AVX2);
  }

  Selection m_saved{};
};

SSE_VERSION best() { return hasAvx2() ? AVX2 : hasSse41() ? SSE4_1 : NOSSE; }
std::string name(SSE_VERSION v) { return IndexVectorRef::versionToString(v); }

TEST(StringToVersion, WholeWordsWithoutRegardToCase) {
  for (const char* t : {"auto", "Auto", "yes", "ON", "TRUE", "1"}) {
    EXPECT_EQ(IndexVectorRef::stringToVersion(t), AUTO_DETECT) << '"' << t << '"';
  }
  EXPECT_EQ(IndexVectorRef::stringToVersion("sse2"), SSE2);
  EXPECT_EQ(IndexVectorRef::stringToVersion("SSSE3"), SSSE3);
  EXPECT_EQ(IndexVectorRef::stringToVersion("sse4_1"), SSE4_1);
  EXPECT_EQ(IndexVectorRef::stringToVersion("Sse4_2"), SSE4_2);
  EXPECT_EQ(IndexVectorRef::stringToVersion("AVX2"), AVX2);
  // Everything else is NOSSE, never an error; the whole word must match.
  for (const char* t : {"nosse", "no", "off", "0", "", "avx", "sse4", "avx512vl", " avx2", "avx2 ",
                        "sse4_1x", "autodetect", "11"}) {
    EXPECT_EQ(IndexVectorRef::stringToVersion(t), NOSSE) << '"' << t << '"';
  }
}

TEST(VersionToString, EveryLevelAndBeyond) {
  const char* expected[] = {"nosse",  "auto",  "sse2", "ssse3", "sse4_1",
                            "sse4_2", "nosse", "avx2", "nosse", "nosse"};
  for (int v = 0; v < 10; ++v) {
    EXPECT_STREQ(IndexVectorRef::versionToString(static_cast<SSE_VERSION>(v)), expected[v]) << v;
  }
  EXPECT_STREQ(IndexVectorRef::versionToString(static_cast<SSE_VERSION>(15)), "nosse");
}

TEST_F(ConfigSSETest, IsSetSSEAppendsTwoFlags) {
  ltt::vector<int> flags = {42};
  IndexVectorRef::isSetSSE(flags);
  EXPECT_EQ(flags, (ltt::vector<int>{42, 0, 0}));
  if (!hasSse41()) return;
  IndexVectorRef::configSSE(words({"ignored", "sse4_1", "nosse"}));
  IndexVectorRef::isSetSSE(flags);
  IndexVectorRef::configSSE(words({"ignored", "nosse", "sse4_1"}));
  IndexVectorRef::isSetSSE(flags);
  EXPECT_EQ(flags, (ltt::vector<int>{42, 0, 0, 1, 0, 0, 1}));
}

TEST_F(ConfigSSETest, EmptyListIsTracedAndChangesNothing) {
  TraceCapture cap({{TRACE_INDEXVECTOR, 5}});
  detail::gUseMgetSearchAVX2 = true;  // any state at all must survive
  IndexVectorRef::configSSE(words({}));
  EXPECT_EQ(lines(cap), std::vector<std::string>{"3 Error sseVersion vector to small.0"});
  EXPECT_EQ(detail::gMgetPtr_C_Fn, &mgetGeneric);
  EXPECT_EQ(detail::gMgetSearchResBvPtr_C_Fn, &mgetSearchGenericResBv);
  EXPECT_TRUE(detail::gUseMgetSearchAVX2);
  EXPECT_FALSE(detail::gUseMgetSearchSSE);
  TraceCapture quiet({{TRACE_INDEXVECTOR, 2}});  // the complaint is a level-3 line
  IndexVectorRef::configSSE(words({}));
  EXPECT_TRUE(lines(quiet).empty()) << quiet.dump();
}

TEST_F(ConfigSSETest, OneEntryChoosesBothPaths) {
  TraceCapture cap({{TRACE_INDEXVECTOR, 5}});
  IndexVectorRef::configSSE(words({"auto"}));
  const SSE_VERSION v = best();
  expectSelection(v, v);
  EXPECT_EQ(lines(cap),
            (std::vector<std::string>{"5 sseVersionMget=1 sseVersionMgetSearch=1",
                                      "3 SSE version set to: " + name(v),
                                      "3 SSE version for mgetSearch() set to: " + name(v)}));
}

TEST_F(ConfigSSETest, OnlyAListOfThreeSeparatesThePaths) {
  if (!hasSse41()) GTEST_SKIP() << "needs SSE4.1";
  {
    SCOPED_TRACE("three: the first entry is not read");
    TraceCapture cap({{TRACE_INDEXVECTOR, 5}});
    IndexVectorRef::configSSE(words({"avx2", "nosse", "sse4_1"}));
    expectSelection(NOSSE, SSE4_1);
    EXPECT_EQ(lines(cap),
              (std::vector<std::string>{"5 sseVersionMget=0 sseVersionMgetSearch=4",
                                        "3 SSE version set to: nosse",
                                        "3 SSE version for mgetSearch() set to: sse4_1"}));
  }
  {
    SCOPED_TRACE("two: the second entry is ignored");
    kAtLoad.install();
    IndexVectorRef::configSSE(words({"nosse", "avx2"}));
    expectSelection(NOSSE, NOSSE);
  }
  {
    SCOPED_TRACE("four: only the first counts");
    kAtLoad.install();
    IndexVectorRef::configSSE(words({"sse4_1", "nosse", "nosse", "nosse"}));
    expectSelection(SSE4_1, SSE4_1);
  }
}

TEST_F(ConfigSSETest, NamedSetsWithoutKernelsGoGenericSilently) {
  for (const char* word : {"sse2", "ssse3", "nosse", "whatever"}) {
    SCOPED_TRACE(word);
    kAtLoad.install();
    IndexVectorRef::configSSE(words({"sse4_1"}));  // a SIMD choice to be switched off again
    TraceCapture cap({{TRACE_INDEXVECTOR, 5}});
    IndexVectorRef::configSSE(words({word}));
    expectSelection(NOSSE, NOSSE);
    const std::string n = std::to_string(IndexVectorRef::stringToVersion(word));
    EXPECT_EQ(lines(cap),
              (std::vector<std::string>{"5 sseVersionMget=" + n + " sseVersionMgetSearch=" + n,
                                        "3 SSE version set to: nosse",
                                        "3 SSE version for mgetSearch() set to: nosse"}));
  }
}

TEST_F(ConfigSSETest, Sse42RequestSelectsTheSse41Kernels) {
  if (!hasSse41()) GTEST_SKIP() << "needs SSE4.1";
  TraceCapture cap({{TRACE_INDEXVECTOR, 3}});
  IndexVectorRef::configSSE(words({"SSE4_2"}));
  expectSelection(SSE4_1, SSE4_1);
  EXPECT_EQ(lines(cap),
            (std::vector<std::string>{"3 SSE version set to: sse4_1",
                                      "3 SSE version for mgetSearch() set to: sse4_1"}));
}

// Natively this takes the AVX2 branch; under an emulated processor without AVX2 it takes the
// fallback: generic code for both paths (never SSE4) and one level-2 line per path.
TEST_F(ConfigSSETest, Avx2RequestHeldAgainstTheProcessor) {
  TraceCapture cap({{TRACE_INDEXVECTOR, 5}});
  IndexVectorRef::configSSE(words({"Avx2"}));
  if (hasAvx2()) {
    expectSelection(AVX2, AVX2);
    EXPECT_EQ(cap.count(TRACE_INDEXVECTOR, 2), 0u) << cap.dump();
    return;
  }
  expectSelection(NOSSE, NOSSE);
  EXPECT_EQ(lines(cap),
            (std::vector<std::string>{
                "5 sseVersionMget=7 sseVersionMgetSearch=7",
                "2 IndexVector/mget: avx2 instruction set requested, but not available. Using "
                "generic instruction set.",
                "3 SSE version set to: nosse",
                "2 IndexVector/mgetSearch: avx2 instruction set requested, but not available. "
                "Using generic instruction set.",
                "3 SSE version for mgetSearch() set to: nosse"}));
}

TEST_F(ConfigSSETest, AutoTakesTheBestTheProcessorOffers) {
  IndexVectorRef::configSSE(words({"TRUE"}));
  expectSelection(best(), best());
  // On a processor with SSE4.1 but no AVX2 the automatic choice is SSE4, not generic.
  if (!hasAvx2() && hasSse41()) {
    EXPECT_EQ(detail::gMgetPtr_C_Fn, &sse_icc_lib::mgeti_SSE4);
  }
}

TEST_F(ConfigSSETest, Avx2SearchFlagIsNeverCleared) {
  if (!hasAvx2()) GTEST_SKIP() << "needs AVX2";
  IndexVectorRef::configSSE(words({"avx2"}));
  ASSERT_TRUE(detail::gUseMgetSearchAVX2);
  IndexVectorRef::configSSE(words({"sse4_1"}));
  // The list search moves to SSE4, the bit-vector search stays on the AVX2 form.
  EXPECT_EQ(detail::gMgetSearchPtr_C_Fn, &sse_icc_lib::mgetSearchi_SSE4);
  EXPECT_TRUE(detail::gUseMgetSearchAVX2);
  IndexVectorRef::configSSE(words({"nosse"}));
  EXPECT_FALSE(detail::gUseMgetSearchSSE);
  EXPECT_TRUE(detail::gUseMgetSearchAVX2);
  // Switching off keeps the list slot: the flag guards it.
  EXPECT_EQ(detail::gMgetSearchPtr_C_Fn, &sse_icc_lib::mgetSearchi_SSE4);
}

// The selected slots really run, and they agree with the generic code through the public API.
TEST_F(ConfigSSETest, SelectedBulkReadAgreesWithGeneric) {
  std::vector<unsigned long> data(200);
  unsigned long x = 0x9E3779B97F4A7C15ul;
  for (auto& w : data) w = (x ^= x << 13, x ^= x >> 7, x ^= x << 17);
  for (const char* word : {"nosse", "sse4_1", "avx2", "auto"}) {
    SCOPED_TRACE(word);
    IndexVectorRef::configSSE(words({word}));
    for (unsigned bits : {1u, 7u, 13u, 27u, 32u}) {
      const IndexVectorRef v(data.data(), bits);
      MgetStackBuffer<256, unsigned int> got;
      std::vector<unsigned int> want(250);
      v.mget(3, 250, got);
      mgetGeneric(3, 250, want.data(), bits, data.data(), v.mask());
      for (std::size_t k = 0; k < 250; ++k) ASSERT_EQ(got.getPtr()[k], want[k]) << bits << " " << k;
    }
  }
}

}  // namespace
}  // namespace VorexUtils

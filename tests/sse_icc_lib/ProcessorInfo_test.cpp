// ltt::ProcessorInfo against the compiler's own CPUID reading, and its lock-free fill racing
// on several threads.
#include "sse_icc_lib/ProcessorInfo.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using ltt::ProcessorInfo;

TEST(ProcessorInfoTest, AgreesWithCompilerBuiltins) {
  __builtin_cpu_init();
  EXPECT_EQ(ProcessorInfo::hasSse41(), __builtin_cpu_supports("sse4.1") != 0);
  EXPECT_EQ((ProcessorInfo::sseMask() & ProcessorInfo::kSse42) != 0,
            __builtin_cpu_supports("sse4.2") != 0);
  EXPECT_EQ((ProcessorInfo::sseMask() & ProcessorInfo::kSse2) != 0,
            __builtin_cpu_supports("sse2") != 0);
  EXPECT_EQ((ProcessorInfo::sseMask() & ProcessorInfo::kSsse3) != 0,
            __builtin_cpu_supports("ssse3") != 0);
  // The builtin also checks the OS-saved YMM state; so does the OSXSAVE bit of the mask.
  EXPECT_EQ(ProcessorInfo::hasAvx2(), __builtin_cpu_supports("avx2") != 0);
  EXPECT_EQ(ProcessorInfo::hasBmi2(), __builtin_cpu_supports("bmi2") != 0);
  EXPECT_EQ(ProcessorInfo::is_intel_, __builtin_cpu_is("intel") != 0);
  EXPECT_EQ(ProcessorInfo::is_amd_, __builtin_cpu_is("amd") != 0);
}

TEST(ProcessorInfoTest, FieldsAreConsistent) {
  ProcessorInfo::ensure();
  EXPECT_NE(ProcessorInfo::ecx_01_, 0u);
  EXPECT_EQ(std::strlen(ProcessorInfo::vendor_id_), 12u);
  EXPECT_GE(ProcessorInfo::max_ext_, 0x80000000u);
  // AMD-only bits stay clear on anything else.
  constexpr std::uint32_t kAmdOnly = ProcessorInfo::kAmdMmxExt | ProcessorInfo::kMisalignedSse |
                                     ProcessorInfo::k3dNow | ProcessorInfo::k3dNowExt |
                                     ProcessorInfo::kSse4a;
  if (!ProcessorInfo::is_amd_) {
    EXPECT_EQ(ProcessorInfo::sse_msk_ & kAmdOnly, 0u);
  }
  // XCR0 is read exactly when AVX with OSXSAVE holds; then the OS saves at least x87 and SSE.
  if (ProcessorInfo::sse_msk_ & ProcessorInfo::kAvxOsxsave) {
    EXPECT_EQ(ProcessorInfo::xcr_0_ & 3u, 3u);
  } else {
    EXPECT_EQ(ProcessorInfo::xcr_0_, 0u);
  }
  // Every x86-64 processor has SSE2 and CMPXCHG8B.
  EXPECT_NE(ProcessorInfo::sse_msk_ & ProcessorInfo::kSse2, 0u);
  EXPECT_NE(ProcessorInfo::sse_msk_ & ProcessorInfo::kCmpxchg8b, 0u);
}

using PI = ProcessorInfo;

// Every field, comparable as a whole.
auto snapshot() {
  return std::make_tuple(PI::is_amd_, PI::is_intel_, std::string(PI::vendor_id_, 13),
                         std::string(PI::brand_string_, 48), PI::sse_msk_, PI::xcr_0_, PI::ecx_01_,
                         PI::edx_01_, PI::edx_87_, PI::ebx_07_, PI::ecx_81_, PI::edx_81_,
                         PI::max_ext_, PI::max_base_);
}

void clearAll() {
  PI::is_amd_ = PI::is_intel_ = false;
  std::memset(PI::vendor_id_, 0, sizeof PI::vendor_id_);
  std::memset(PI::brand_string_, 0, sizeof PI::brand_string_);
  PI::sse_msk_ = PI::ecx_01_ = PI::edx_01_ = PI::edx_87_ = PI::ebx_07_ = PI::ecx_81_ = 0;
  PI::edx_81_ = PI::max_ext_ = PI::max_base_ = 0;
  PI::xcr_0_ = 0;
}

// Cleared fields, then many threads that all start by filling them: every reader that sees the
// "filled" word must see the same complete picture as a quiet single fill.
TEST(ProcessorInfoTest, RacingFillsAgree) {
  ProcessorInfo::ensure();
  const auto expected = snapshot();
  for (int round = 0; round < 20; ++round) {
    clearAll();
    ASSERT_FALSE(ProcessorInfo::initialised());
    constexpr int kThreads = 6;
    // What each thread reads right after its own fill (or after seeing another's).
    std::vector<std::tuple<std::uint32_t, std::uint32_t, std::uint64_t>> seen(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&seen, t] { seen[t] = {PI::sseMask(), PI::ebx07(), PI::xcr0()}; });
    }
    for (auto& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t) {
      EXPECT_EQ(seen[t], std::make_tuple(PI::sse_msk_, PI::ebx_07_, PI::xcr_0_)) << "thread " << t;
    }
    EXPECT_TRUE(snapshot() == expected) << "round " << round;
    if (HasFailure()) return;
  }
}

}  // namespace

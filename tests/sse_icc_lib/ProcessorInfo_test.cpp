// ltt::ProcessorInfo against the compiler's own CPUID reading, and its lock-free fill racing
// on several threads.
#include "sse_icc_lib/ProcessorInfo.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
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

struct Snapshot {
  bool amd, intel;
  char vendor[13], brand[48];
  std::uint32_t msk, ecx01, edx01, edx87, ebx07, ecx81, edx81, maxExt, maxBase;
  std::uint64_t xcr0;

  static Snapshot take() {
    Snapshot s;
    s.amd = ProcessorInfo::is_amd_;
    s.intel = ProcessorInfo::is_intel_;
    std::memcpy(s.vendor, ProcessorInfo::vendor_id_, sizeof s.vendor);
    std::memcpy(s.brand, ProcessorInfo::brand_string_, sizeof s.brand);
    s.msk = ProcessorInfo::sse_msk_;
    s.ecx01 = ProcessorInfo::ecx_01_;
    s.edx01 = ProcessorInfo::edx_01_;
    s.edx87 = ProcessorInfo::edx_87_;
    s.ebx07 = ProcessorInfo::ebx_07_;
    s.ecx81 = ProcessorInfo::ecx_81_;
    s.edx81 = ProcessorInfo::edx_81_;
    s.maxExt = ProcessorInfo::max_ext_;
    s.maxBase = ProcessorInfo::max_base_;
    s.xcr0 = ProcessorInfo::xcr_0_;
    return s;
  }
  static void clear() {
    ProcessorInfo::is_amd_ = ProcessorInfo::is_intel_ = false;
    std::memset(ProcessorInfo::vendor_id_, 0, sizeof ProcessorInfo::vendor_id_);
    std::memset(ProcessorInfo::brand_string_, 0, sizeof ProcessorInfo::brand_string_);
    ProcessorInfo::sse_msk_ = ProcessorInfo::ecx_01_ = ProcessorInfo::edx_01_ = 0;
    ProcessorInfo::edx_87_ = ProcessorInfo::ebx_07_ = ProcessorInfo::ecx_81_ = 0;
    ProcessorInfo::edx_81_ = ProcessorInfo::max_ext_ = ProcessorInfo::max_base_ = 0;
    ProcessorInfo::xcr_0_ = 0;
  }
  bool operator==(const Snapshot& o) const {
    return amd == o.amd && intel == o.intel && std::memcmp(vendor, o.vendor, 13) == 0 &&
           std::memcmp(brand, o.brand, 48) == 0 && msk == o.msk && ecx01 == o.ecx01 &&
           edx01 == o.edx01 && edx87 == o.edx87 && ebx07 == o.ebx07 && ecx81 == o.ecx81 &&
           edx81 == o.edx81 && maxExt == o.maxExt && maxBase == o.maxBase && xcr0 == o.xcr0;
  }
};

// Cleared fields, then many threads that all start by filling them: every reader that sees the
// "filled" word must see the same complete picture as a quiet single fill.
TEST(ProcessorInfoTest, RacingFillsAgree) {
  ProcessorInfo::ensure();
  const Snapshot expected = Snapshot::take();
  for (int round = 0; round < 20; ++round) {
    Snapshot::clear();
    ASSERT_FALSE(ProcessorInfo::initialised());
    constexpr int kThreads = 6;
    std::vector<Snapshot> seen(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&seen, t] {
        ProcessorInfo::ensure();
        seen[t].msk = ProcessorInfo::sseMask();
        seen[t].ebx07 = ProcessorInfo::ebx07();
        seen[t].xcr0 = ProcessorInfo::xcr0();
      });
    }
    for (auto& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t) {
      EXPECT_EQ(seen[t].msk, expected.msk) << "thread " << t;
      EXPECT_EQ(seen[t].ebx07, expected.ebx07) << "thread " << t;
      EXPECT_EQ(seen[t].xcr0, expected.xcr0) << "thread " << t;
    }
    EXPECT_TRUE(Snapshot::take() == expected) << "round " << round;
    if (HasFailure()) return;
  }
}

}  // namespace

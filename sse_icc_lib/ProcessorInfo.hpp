// ltt::ProcessorInfo: what the processor reports through CPUID and XGETBV, read once per
// process into static fields. Built with baseline flags: it is what decides whether any SIMD
// unit may run at all.
// Thread-safe: init_ may run on several threads at once; every numeric field is published by a
// compare-and-swap from 0, and ecx_01_ goes last with release order, so a reader who sees
// ecx_01_ non-zero sees every other field complete.
#pragma once

#include <cstdint>

namespace ltt {

class ProcessorInfo {
 public:
  // Bits of sse_msk_.
  static constexpr std::uint32_t kCmpxchg8b = 1u << 0;
  static constexpr std::uint32_t kMmx = 1u << 1;
  static constexpr std::uint32_t kAmdMmxExt = 1u << 2;
  static constexpr std::uint32_t kSse = 1u << 3;
  static constexpr std::uint32_t kMisalignedSse = 1u << 4;
  static constexpr std::uint32_t kSse2 = 1u << 5;
  static constexpr std::uint32_t k3dNow = 1u << 6;
  static constexpr std::uint32_t k3dNowExt = 1u << 7;
  static constexpr std::uint32_t kSse3 = 1u << 8;
  static constexpr std::uint32_t kSsse3 = 1u << 9;
  static constexpr std::uint32_t kCmpxchg16b = 1u << 10;
  static constexpr std::uint32_t kSse41 = 1u << 11;
  static constexpr std::uint32_t kSse42 = 1u << 12;
  static constexpr std::uint32_t kSse4a = 1u << 13;
  static constexpr std::uint32_t kAes = 1u << 14;
  static constexpr std::uint32_t kAvxOsxsave = 1u << 15;
  /// Leaf 7 EBX bits.
  static constexpr std::uint32_t kLeaf7Avx2 = 1u << 5;
  static constexpr std::uint32_t kLeaf7Bmi2 = 1u << 8;
  /// Leaf 1 ECX bit 31: running under a hypervisor (also set when only leaf 0x40000000 says so).
  static constexpr std::uint32_t kHypervisor = 1u << 31;

  /// Fills every field; idempotent, lock-free, safe to race.
  static void init_() noexcept;

  /// True once init_ has completed on some thread (acquire: the other fields are then visible).
  static bool initialised() noexcept { return __atomic_load_n(&ecx_01_, __ATOMIC_ACQUIRE) != 0; }
  static void ensure() noexcept {
    if (!initialised()) init_();
  }

  static std::uint32_t sseMask() noexcept { return (ensure(), sse_msk_); }
  static std::uint32_t ebx07() noexcept { return (ensure(), ebx_07_); }
  static std::uint32_t ecx01() noexcept { return (ensure(), ecx_01_); }
  static std::uint64_t xcr0() noexcept { return (ensure(), xcr_0_); }
  static const char* vendorId() noexcept { return (ensure(), vendor_id_); }
  static const char* brandString() noexcept { return (ensure(), brand_string_); }
  /// SSE4.1, the bit that admits the SSE kernels.
  static bool hasSse41() noexcept { return (sseMask() & kSse41) != 0; }
  /// AVX with OSXSAVE and the leaf-7 AVX2 bit: the test that admits the AVX2 kernels.
  static bool hasAvx2() noexcept {
    return (sseMask() & kAvxOsxsave) != 0 && (ebx07() & kLeaf7Avx2) != 0;
  }
  static bool hasBmi2() noexcept { return (ebx07() & kLeaf7Bmi2) != 0; }

  static bool is_amd_;
  static bool is_intel_;
  static char vendor_id_[13];
  static char brand_string_[48];
  static std::uint32_t sse_msk_;
  static std::uint64_t xcr_0_;
  static std::uint32_t ecx_01_;  // non-zero: all fields are filled; written last
  static std::uint32_t edx_01_;
  static std::uint32_t edx_87_;
  static std::uint32_t ebx_07_;
  static std::uint32_t ecx_81_;
  static std::uint32_t edx_81_;
  static std::uint32_t max_ext_;
  static std::uint32_t max_base_;
};

}  // namespace ltt

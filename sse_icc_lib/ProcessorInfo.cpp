#include "sse_icc_lib/ProcessorInfo.hpp"

#include <cpuid.h>

#include <cstring>

namespace ltt {

bool ProcessorInfo::is_amd_ = false;
bool ProcessorInfo::is_intel_ = false;
char ProcessorInfo::vendor_id_[13] = {};
char ProcessorInfo::brand_string_[48] = {};
std::uint32_t ProcessorInfo::sse_msk_ = 0;
std::uint64_t ProcessorInfo::xcr_0_ = 0;
std::uint32_t ProcessorInfo::ecx_01_ = 0;
std::uint32_t ProcessorInfo::edx_01_ = 0;
std::uint32_t ProcessorInfo::edx_87_ = 0;
std::uint32_t ProcessorInfo::ebx_07_ = 0;
std::uint32_t ProcessorInfo::ecx_81_ = 0;
std::uint32_t ProcessorInfo::edx_81_ = 0;
std::uint32_t ProcessorInfo::max_ext_ = 0;
std::uint32_t ProcessorInfo::max_base_ = 0;

namespace {

// First writer wins; every racer computes the same value, so a lost race changes nothing.
template <class T>
void publish(T& field, T value, int order = __ATOMIC_RELAXED) noexcept {
  T expected = 0;
  __atomic_compare_exchange_n(&field, &expected, value, false, order, __ATOMIC_RELAXED);
}

// Racers copy identical bytes; relaxed byte stores keep that a benign, well-defined overlap.
void copyText(char* to, const char* from, std::size_t n) noexcept {
  for (std::size_t i = 0; i < n; ++i) __atomic_store_n(&to[i], from[i], __ATOMIC_RELAXED);
}

std::uint64_t readXcr0() noexcept {
  std::uint32_t lo, hi;
  // Encoded as asm so the unit needs no -mxsave; only run when OSXSAVE is set.
  __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
  return (std::uint64_t{hi} << 32) | lo;
}

}  // namespace

void ProcessorInfo::init_() noexcept {
  unsigned a, b, c, d;

  __cpuid_count(0, 0, a, b, c, d);
  char vendor[13];
  std::memcpy(vendor + 0, &b, 4);
  std::memcpy(vendor + 4, &d, 4);
  std::memcpy(vendor + 8, &c, 4);
  vendor[12] = '\0';
  copyText(vendor_id_, vendor, sizeof vendor);
  const bool intel = std::memcmp(vendor, "GenuineIntel", 12) == 0;
  const bool amd = std::memcmp(vendor, "AuthenticAMD", 12) == 0;
  publish(is_intel_, intel);
  publish(is_amd_, amd);
  publish(max_base_, std::uint32_t{a});

  __cpuid_count(0x80000000u, 0, a, b, c, d);
  const std::uint32_t maxExt = a;
  publish(max_ext_, maxExt);
  if (maxExt > 0x80000003u) {
    char brand[48];
    for (unsigned leaf = 0; leaf < 3; ++leaf) {
      __cpuid_count(0x80000002u + leaf, 0, a, b, c, d);
      const unsigned regs[4] = {a, b, c, d};
      std::memcpy(brand + 16 * leaf, regs, 16);
    }
    copyText(brand_string_, brand, sizeof brand);
    if (maxExt > 0x80000006u) {
      __cpuid_count(0x80000007u, 0, a, b, c, d);
      publish(edx_87_, std::uint32_t{d});
    }
  }

  __cpuid_count(0x80000001u, 0, a, b, c, d);
  const std::uint32_t ecx81 = c, edx81 = d;
  publish(edx_81_, edx81);
  publish(ecx_81_, ecx81);

  // Leaf 7 is asked without a look at max_base_: an old processor answers with the data of its
  // highest leaf, and the AVX2 test below also needs AVX with OSXSAVE.
  __cpuid_count(7, 0, a, b, c, d);
  publish(ebx_07_, std::uint32_t{b});

  __cpuid_count(1, 0, a, b, c, d);
  const std::uint32_t ecx1 = c, edx1 = d;
  auto bit = [](std::uint32_t reg, unsigned n) { return (reg >> n) & 1u; };
  std::uint32_t msk = 0;
  msk |= bit(edx1, 8) << 0;
  msk |= bit(edx1, 23) << 1;
  msk |= bit(edx1, 25) << 3;
  msk |= bit(edx1, 26) << 5;
  msk |= bit(ecx1, 0) << 8;
  msk |= bit(ecx1, 9) << 9;
  msk |= bit(ecx1, 13) << 10;
  msk |= bit(ecx1, 19) << 11;
  msk |= bit(ecx1, 20) << 12;
  msk |= bit(ecx1, 25) << 14;
  if (amd) {
    msk |= bit(edx81, 22) << 2;
    msk |= bit(ecx81, 7) << 4;
    msk |= bit(edx81, 31) << 6;
    msk |= bit(edx81, 30) << 7;
    msk |= bit(ecx81, 6) << 13;
  }
  publish(edx_01_, edx1);

  // AVX counts only when the OS saves the YMM state (OSXSAVE, bit 27, with AVX, bit 28).
  constexpr std::uint32_t kOsxsaveAvx = (1u << 27) | (1u << 28);
  if ((ecx1 & kOsxsaveAvx) == kOsxsaveAvx) {
    msk |= kAvxOsxsave;
    publish(xcr_0_, readXcr0());
  }
  publish(sse_msk_, msk);

  std::uint32_t ecx01 = ecx1;
  if ((ecx1 & kHypervisor) == 0) {
    __cpuid_count(0x40000000u, 0, a, b, c, d);
    if (a >= 0x40000001u && a <= 0x400000FFu) ecx01 |= kHypervisor;
  }

  // Release on the last field orders every store above before it (a fence the thread sanitizer
  // can follow, unlike a stand-alone one).
  publish(ecx_01_, ecx01, __ATOMIC_RELEASE);
}

}  // namespace ltt

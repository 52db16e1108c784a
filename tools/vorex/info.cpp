// vorex info: what this build and this processor offer, and the instruction-set selection the
// library holds (after --isa, if given).
//   vorex info [--isa nosse|sse4_1|avx2|auto]
#include <iostream>
#include <string>

#include "VorexUtils/IndexVectorRef.hpp"
#include "sse_icc_lib/ProcessorInfo.hpp"
#include "tools/vorex/Args.hpp"
#include "tools/vorex/Isa.hpp"

namespace vorex_cli {

namespace {

constexpr const char* kUsage = "usage: vorex info [--isa nosse|sse4_1|avx2|auto]";

void yesNo(const char* name, bool on) { std::cout << ' ' << name << '=' << (on ? 1 : 0); }

}  // namespace

int runInfo(int argc, char** argv) {
  const char* isa = nullptr;
  for (int i = 0; i < argc; ++i) {
    const char* value = nullptr;
    if (takeOption(argc, argv, i, "--isa", value)) {
      if (!value || !isIsaWord(value)) {
        return fail("info", 2,
                    std::string("bad value for --isa (nosse, sse4_1, avx2 or auto)\n") + kUsage);
      }
      isa = value;
    } else {
      return fail("info", 2, "unknown argument '" + std::string(argv[i]) + "'\n" + kUsage);
    }
  }

  using ltt::ProcessorInfo;
  std::cout << "vorex 0.1.0\n";
  std::cout << "cpu: " << ProcessorInfo::vendorId() << ", " << ProcessorInfo::brandString() << '\n';
  const std::uint32_t m = ProcessorInfo::sseMask();
  std::cout << "cpu features:";
  yesNo("sse4.1", m & ProcessorInfo::kSse41);
  yesNo("sse4.2", m & ProcessorInfo::kSse42);
  yesNo("avx+osxsave", m & ProcessorInfo::kAvxOsxsave);
  yesNo("avx2", ProcessorInfo::hasAvx2());
  yesNo("bmi2", ProcessorInfo::hasBmi2());
  yesNo("hypervisor", ProcessorInfo::ecx01() & ProcessorInfo::kHypervisor);
  std::cout << '\n';

  // What "auto" resolves to here: the best level with kernels of its own.
  const SSE_VERSION best = ProcessorInfo::hasAvx2()    ? AVX2
                           : ProcessorInfo::hasSse41() ? SSE4_1
                                                       : NOSSE;
  std::cout << "auto selects: " << VorexUtils::IndexVectorRef::versionToString(best) << '\n';
  if (isa) selectIsa(isa);
  reportSelection(std::cout);
  return 0;
}

}  // namespace vorex_cli

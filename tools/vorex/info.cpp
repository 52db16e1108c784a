// vorex info: what this build and this processor offer, and the instruction-set selection the
// library holds (after --isa, if given).
//   vorex info [--isa nosse|sse4_1|avx2|auto]
#include <iostream>
#include <memory>
#include <string>

#include "VorexUtils/IndexVectorRef.hpp"
#include "sse_icc_lib/ProcessorInfo.hpp"
#include "tools/vorex/Args.hpp"
#include "tools/vorex/Isa.hpp"

namespace vorex_cli {

namespace {

void yesNo(const char* name, bool on) { std::cout << ' ' << name << '=' << (on ? 1 : 0); }

int info(const std::string& isa) {
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
  if (!isa.empty()) selectIsa(isa.c_str());
  reportSelection(std::cout);
  return 0;
}

}  // namespace

void addInfo(CLI::App& tool, int& status) {
  auto* cmd = tool.add_subcommand("info",
                                  "show the library version, the processor's instruction "
                                  "sets and the kernel selection");
  auto isa = std::make_shared<std::string>();
  addIsaOption(*cmd, *isa);
  cmd->callback([isa, &status] { status = info(*isa); });
}

}  // namespace vorex_cli

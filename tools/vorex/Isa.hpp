// The instruction-set option of the vorex tool (--isa nosse|sse4_1|avx2|auto) and the report
// of the selection that the library holds: what each slot runs and isSetSSE's two flags.
#pragma once

#include <CLI/CLI.hpp>
#include <ostream>
#include <string>
#include <string_view>

#include "VorexUtils/IndexVectorRef.hpp"
#include "ltt/string.hpp"
#include "ltt/vector.hpp"

namespace vorex_cli {

/// --isa with the words it accepts; configSSE itself would take any word (unknown ones mean
/// nosse), so the tool refuses typos instead.
inline void addIsaOption(CLI::App& cmd, std::string& word) {
  cmd.add_option("--isa", word, "kernel selection through configSSE (default: generic)")
      ->check(CLI::IsMember({"nosse", "sse4_1", "avx2", "auto"}));
}

/// Hands the word to the library's selection, for both bulk read and search.
inline void selectIsa(const char* word) {
  ltt::vector<ltt::string> versions;
  versions.emplace_back(word);
  VorexUtils::IndexVectorRef::configSSE(versions);
}

/// The level whose kernel a slot holds (NOSSE for generic code).
inline SSE_VERSION activeMget() {
  using namespace VorexUtils;
  if (detail::gMgetPtr_C_Fn == &sse_icc_lib::mgeti_AVX2) return AVX2;
  if (detail::gMgetPtr_C_Fn == &sse_icc_lib::mgeti_SSE4) return SSE4_1;
  return NOSSE;
}
inline SSE_VERSION activeSearch() {
  using namespace VorexUtils;
  if (!detail::gUseMgetSearchSSE) return NOSSE;
  return detail::gMgetSearchPtr_C_Fn == &sse_icc_lib::mgetSearchi_AVX2 ? AVX2 : SSE4_1;
}

/// One line: "isa: mget <level>, mgetSearch <level> (bit vectors: <form>), isSetSSE a b".
inline void reportSelection(std::ostream& os) {
  using VorexUtils::IndexVectorRef;
  ltt::vector<int> flags;
  IndexVectorRef::isSetSSE(flags);
  const SSE_VERSION search = activeSearch();
  os << "isa: mget " << IndexVectorRef::versionToString(activeMget()) << ", mgetSearch "
     << IndexVectorRef::versionToString(search);
  if (search != NOSSE) {
    os << " (bit vectors: " << (VorexUtils::detail::gUseMgetSearchAVX2 ? "avx2" : "sse4_1") << ")";
  }
  os << ", isSetSSE " << flags[0] << ' ' << flags[1] << '\n';
}

}  // namespace vorex_cli

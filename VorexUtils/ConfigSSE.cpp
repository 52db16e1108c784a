// Instruction-set selection: turns the host's words into SSE_VERSION requests, holds them against
// what the processor offers and installs generic code or kernels in the process-wide slots.
// Not synchronised: the host calls configSSE before search traffic; a concurrent reader sees the
// old or the new choice per slot, and both are correct.
#include "Basis/String.hpp"
#include "Diagnose/TraceTopic.hpp"
#include "VorexBase/TraceTopics.hpp"
#include "VorexUtils/IndexVectorRef.hpp"
#include "sse_icc_lib/ProcessorInfo.hpp"

namespace VorexUtils {

const char* const IndexVectorRef::strNOSSE = "nosse";
const char* const IndexVectorRef::strAUTO = "auto";
const char* const IndexVectorRef::strYES = "yes";
const char* const IndexVectorRef::strON = "on";
const char* const IndexVectorRef::strTRUE = "true";
const char* const IndexVectorRef::str1 = "1";
const char* const IndexVectorRef::strSSE2 = "sse2";
const char* const IndexVectorRef::strSSSE3 = "ssse3";
const char* const IndexVectorRef::strSSE4_1 = "sse4_1";
const char* const IndexVectorRef::strSSE4_2 = "sse4_2";
const char* const IndexVectorRef::strAVX2 = "avx2";

namespace {

// AVX2 rests on AVX with OSXSAVE plus the leaf-7 AVX2 bit, SSE4_1 on the SSE4.1 bit alone;
// XCR0, SSE4.2 and BMI2 play no part, although the kernels use the last two.
bool avx2Available() { return ltt::ProcessorInfo::hasAvx2(); }
bool sse41Available() { return ltt::ProcessorInfo::hasSse41(); }

// The best set with kernels of its own.
SSE_VERSION getHighestImplementedSSEVersion() {
  if (avx2Available()) return AVX2;
  if (sse41Available()) return SSE4_1;
  return NOSSE;
}

struct PathMessages {
  const char* avx2Missing;
  const char* sse4Missing;
};
constexpr PathMessages kMgetMessages = {
    "IndexVector/mget: avx2 instruction set requested, but not available. Using generic "
    "instruction set.",
    "IndexVector/mget: sse4 instruction set requested, but not available. Using generic "
    "instruction set."};
constexpr PathMessages kSearchMessages = {
    "IndexVector/mgetSearch: avx2 instruction set requested, but not available. Using generic "
    "instruction set.",
    "IndexVector/mgetSearch: sse4 instruction set requested, but not available. Using generic "
    "instruction set."};

// A request held against the processor: AVX2, SSE4_1 or NOSSE (generic). A set that is missing
// gives generic code, never a lesser SIMD set.
SSE_VERSION resolve(SSE_VERSION request, const PathMessages& messages) {
  switch (request) {
    case AVX2:
      if (avx2Available()) return AVX2;
      DIAG_TRACE(TRACE_INDEXVECTOR, 2) << messages.avx2Missing;
      return NOSSE;
    case SSE4_1:
    case SSE4_2:
      if (sse41Available()) return SSE4_1;
      DIAG_TRACE(TRACE_INDEXVECTOR, 2) << messages.sse4Missing;
      return NOSSE;
    case AUTO_DETECT:
      return getHighestImplementedSSEVersion();
    default:  // NOSSE, SSE2, SSSE3, AUTO_NO_EST, AVX512VL: no kernel of their own
      return NOSSE;
  }
}

}  // namespace

SSE_VERSION IndexVectorRef::stringToVersion(const char* text) {
  // Later matches override earlier ones; anything unmatched switches SIMD off.
  SSE_VERSION v = NOSSE;
  for (const char* word : {strAUTO, strYES, strON, strTRUE, str1}) {
    if (Basis::strcasecmp(text, word) == 0) v = AUTO_DETECT;
  }
  if (Basis::strcasecmp(text, strSSE2) == 0) v = SSE2;
  if (Basis::strcasecmp(text, strSSSE3) == 0) v = SSSE3;
  if (Basis::strcasecmp(text, strSSE4_1) == 0) v = SSE4_1;
  if (Basis::strcasecmp(text, strSSE4_2) == 0) v = SSE4_2;
  if (Basis::strcasecmp(text, strAVX2) == 0) v = AVX2;
  return v;
}

const char* IndexVectorRef::versionToString(SSE_VERSION version) {
  switch (version) {
    case AUTO_DETECT:
      return strAUTO;
    case SSE2:
      return strSSE2;
    case SSSE3:
      return strSSSE3;
    case SSE4_1:
      return strSSE4_1;
    case SSE4_2:
      return strSSE4_2;
    case AVX2:
      return strAVX2;
    default:  // NOSSE, AUTO_NO_EST, AVX512VL and anything above
      return strNOSSE;
  }
}

void IndexVectorRef::isSetSSE(ltt::vector<int>& result) {
  result.push_back(detail::gMgetPtr_C_Fn != &mgetGeneric ? 1 : 0);
  result.push_back(detail::gUseMgetSearchSSE ? 1 : 0);
}

void IndexVectorRef::configSSE(const ltt::vector<ltt::string>& versions) {
  const std::size_t n = versions.size();
  if (n == 0) {
    DIAG_TRACE(TRACE_INDEXVECTOR, 3) << "Error sseVersion vector to small." << n;
    return;
  }
  // Only a list of exactly three separates the two choices; its first entry is not read.
  const SSE_VERSION mgetRequest = stringToVersion((n == 3 ? versions[1] : versions[0]).c_str());
  const SSE_VERSION searchRequest = stringToVersion((n == 3 ? versions[2] : versions[0]).c_str());
  DIAG_TRACE(TRACE_INDEXVECTOR, 5) << "sseVersionMget=" << static_cast<int>(mgetRequest)
                                   << " sseVersionMgetSearch=" << static_cast<int>(searchRequest);

  const SSE_VERSION mgetVersion = resolve(mgetRequest, kMgetMessages);
  if (mgetVersion != NOSSE) {
    detail::gMgetPtr_C_Fn = sse_icc_lib::force_mgetSSE_C(mgetVersion);
  } else {
    detail::gMgetPtr_C_Fn = &mgetGeneric;
  }
  DIAG_TRACE(TRACE_INDEXVECTOR, 3) << "SSE version set to: " << versionToString(mgetVersion);

  const SSE_VERSION searchVersion = resolve(searchRequest, kSearchMessages);
  if (searchVersion != NOSSE) {
    detail::gUseMgetSearchSSE = true;
    detail::gMgetSearchPtr_C_Fn = sse_icc_lib::force_mgetSearchSSE_C(searchVersion);
    detail::gMgetSearchResBvPtr_C_Fn = &mgetSearchSseResBv;
    // Set, never cleared: a later SSE4 choice keeps the bit-vector search on the AVX2 form.
    if (searchVersion == AVX2) detail::gUseMgetSearchAVX2 = true;
  } else {
    // gMgetSearchPtr_C_Fn keeps its value; gUseMgetSearchSSE guards it.
    detail::gUseMgetSearchSSE = false;
    detail::gMgetSearchResBvPtr_C_Fn = &mgetSearchGenericResBv;
  }
  DIAG_TRACE(TRACE_INDEXVECTOR, 3)
      << "SSE version for mgetSearch() set to: " << versionToString(searchVersion);
}

}  // namespace VorexUtils

// Decode throughput of the bulk-read kernels per width, generic beside SSE4 and AVX2, in cache
// (64 Ki values) and out of cache (256 MiB of packed data), each beside the raw read of the same
// words. Values go through a 1024-entry buffer, as the search jobs use it. Also the value-filter
// kernel beside the generic filter search.
//   bench_sse_icc_lib --benchmark_filter='BM_Mget(Block)?/'
//   bench_sse_icc_lib --benchmark_filter=BM_Mget/avx2
//   bench_sse_icc_lib --benchmark_filter='BM_Mget/.*/1$'    (out of cache only)
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/IndexVectorRef.hpp"
#include "common/Baseline.hpp"
#include "sse_icc_lib/ProcessorInfo.hpp"
#include "sse_icc_lib/filter_kernels.hpp"
#include "sse_icc_lib/sse_icc_lib.hpp"

namespace {

constexpr unsigned long kInCache = 64 * 1024;
constexpr unsigned long kChunk = 1024;
constexpr unsigned long kOutOfCacheBytes = 256ul << 20;

// Pseudo-random words (xorshift), cheap to make at 256 MiB.
void fill(std::vector<std::uint64_t>& w, std::uint64_t seed) {
  std::uint64_t x = 0x9E3779B97F4A7C15ull ^ seed;
  for (auto& v : w) {
    x ^= x << 13, x ^= x >> 7, x ^= x << 17;
    v = x;
  }
}

// One stream serves every width: the values are whatever the bits say.
const std::vector<std::uint64_t>& stream(bool outOfCache) {
  static std::vector<std::uint64_t> small, large;
  auto& s = outOfCache ? large : small;
  if (s.empty()) {
    s.resize((outOfCache ? kOutOfCacheBytes : kInCache * 4) / 8 + 1);
    fill(s, outOfCache);
  }
  return s;
}

unsigned long valueCount(unsigned bits, bool outOfCache) {
  return outOfCache ? kOutOfCacheBytes * 8 / bits : kInCache;
}

bool haveSse4() { return ltt::ProcessorInfo::hasSse41(); }
bool haveAvx2() { return ltt::ProcessorInfo::hasAvx2() && ltt::ProcessorInfo::hasBmi2(); }

void BM_Mget(benchmark::State& state, sse_icc_lib::MgetFn fn, bool (*supported)()) {
  if (!supported()) {
    state.SkipWithError("instruction set not offered by this processor");
    return;
  }
  const auto bits = static_cast<unsigned>(state.range(0));
  const bool outOfCache = state.range(1) != 0;
  const unsigned long n = valueCount(bits, outOfCache);
  const auto& words = stream(outOfCache);
  const std::uint64_t mask = (std::uint64_t{1} << bits) - 1;
  const std::size_t used = (std::uint64_t{bits} * n + 63) / 64;
  alignas(64) unsigned int buf[kChunk];
  const double baseline = vorex_bench::baselineSecondsPerPass(words.data(), used);
  vorex_bench::LoopTimer timer;
  for (auto _ : state) {
    for (unsigned long pos = 0; pos < n; pos += kChunk) {
      fn(pos, std::min(kChunk, n - pos), buf, bits, words.data(), mask);
      benchmark::DoNotOptimize(buf[0]);
    }
    benchmark::ClobberMemory();
  }
  vorex_bench::reportAgainstBaseline(state, timer.secondsPerIteration(state), baseline, double(n),
                                     8.0 * double(used));
}

void mgetArgs(benchmark::internal::Benchmark* b) {
  b->ArgNames({"bits", "out_of_cache"});
  for (int cold : {0, 1}) {
    for (int bits = 1; bits <= 32; ++bits) b->Args({bits, cold});
  }
}

bool always();
BENCHMARK_CAPTURE(BM_Mget, generic, &VorexUtils::mgetGeneric, always)->Apply(mgetArgs);
BENCHMARK_CAPTURE(BM_Mget, sse4, &sse_icc_lib::mgeti_SSE4, haveSse4)->Apply(mgetArgs);
BENCHMARK_CAPTURE(BM_Mget, avx2, &sse_icc_lib::mgeti_AVX2, haveAvx2)->Apply(mgetArgs);

// One call over 4096 values into a 16 KiB buffer that stays in L1: the kernel's own rate, without
// the per-call cost of 1024-value chunks.
void BM_MgetBlock(benchmark::State& state, sse_icc_lib::MgetFn fn, bool (*supported)()) {
  if (!supported()) {
    state.SkipWithError("instruction set not offered by this processor");
    return;
  }
  const auto bits = static_cast<unsigned>(state.range(0));
  constexpr unsigned long n = 4096;
  const auto& words = stream(false);
  const std::uint64_t mask = (std::uint64_t{1} << bits) - 1;
  const std::size_t used = (std::uint64_t{bits} * n + 63) / 64;
  std::vector<unsigned int> out(n);
  const double baseline = vorex_bench::baselineSecondsPerPass(words.data(), used);
  vorex_bench::LoopTimer timer;
  for (auto _ : state) {
    fn(0, n, out.data(), bits, words.data(), mask);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  vorex_bench::reportAgainstBaseline(state, timer.secondsPerIteration(state), baseline, double(n),
                                     8.0 * double(used));
}

BENCHMARK_CAPTURE(BM_MgetBlock, generic, &VorexUtils::mgetGeneric, always)
    ->ArgName("bits")
    ->DenseRange(1, 32);
BENCHMARK_CAPTURE(BM_MgetBlock, sse4, &sse_icc_lib::mgeti_SSE4, haveSse4)
    ->ArgName("bits")
    ->DenseRange(1, 32);
BENCHMARK_CAPTURE(BM_MgetBlock, avx2, &sse_icc_lib::mgeti_AVX2, haveAvx2)
    ->ArgName("bits")
    ->DenseRange(1, 32);

// Value-filter search into bits over 64 Ki values; the filter has a bit for every value.
using FilterFn = void (*)(std::size_t, std::size_t, const unsigned char*, unsigned char*,
                          unsigned int, const sse_icc_lib::Word*, sse_icc_lib::Word);

void BM_FilterSearch(benchmark::State& state, FilterFn kernel, bool (*supported)()) {
  if (!supported()) {
    state.SkipWithError("instruction set not offered by this processor");
    return;
  }
  const auto bits = static_cast<unsigned>(state.range(0));
  const unsigned long n = kInCache;
  const auto& words = stream(false);
  const std::uint64_t mask = (std::uint64_t{1} << bits) - 1;
  const std::size_t used = (std::uint64_t{bits} * n + 63) / 64;
  VorexUtils::BitVector filter(1ul << bits, false), result(n, false);
  for (unsigned long v = 0; v < filter.size(); v += 3) filter.set(v);
  void* f;
  void* r;
  unsigned long fb, rb;
  filter.readStorage(f, fb);
  result.readStorage(r, rb);
  const double baseline = vorex_bench::baselineSecondsPerPass(words.data(), used);
  vorex_bench::LoopTimer timer;
  for (auto _ : state) {
    if (kernel) {
      kernel(0, n, static_cast<const unsigned char*>(f), static_cast<unsigned char*>(r), bits,
             words.data(), mask);
    } else {
      VorexUtils::mgetSearchGenericBvResBv(0, n, filter, result, bits, words.data(), mask);
    }
    benchmark::ClobberMemory();
  }
  vorex_bench::reportAgainstBaseline(state, timer.secondsPerIteration(state), baseline, double(n),
                                     8.0 * double(used));
}

bool always() { return true; }
BENCHMARK_CAPTURE(BM_FilterSearch, generic, nullptr, always)->ArgName("bits")->DenseRange(4, 24, 4);
BENCHMARK_CAPTURE(BM_FilterSearch, kernel, &sse_icc_lib::mgetSearchBvResBv, always)
    ->ArgName("bits")
    ->DenseRange(4, 24, 4);
BENCHMARK_CAPTURE(BM_FilterSearch, sse4_body, &sse_icc_lib::mgetSearchBvResBv_SSE4, haveSse4)
    ->ArgName("bits")
    ->DenseRange(4, 24, 4);
BENCHMARK_CAPTURE(BM_FilterSearch, avx2_body, &sse_icc_lib::mgetSearchBvResBv_AVX2, haveAvx2)
    ->ArgName("bits")
    ->DenseRange(4, 24, 4);

}  // namespace

BENCHMARK_MAIN();

// Decode throughput of the bulk-read kernels per width: generic, SSE4 and AVX2, in cache and
// out of cache, each beside a plain read of the same packed bytes in the same run.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "sse_icc_lib/ProcessorInfo.hpp"
#include "sse_icc_lib/sse_icc_lib.hpp"

namespace {

constexpr std::size_t kInCacheValues = 64 * 1024;

std::vector<std::uint64_t> randomWords(std::size_t n) {
  std::vector<std::uint64_t> w(n);
  std::mt19937_64 rng(42);
  for (auto& x : w) x = rng();
  return w;
}

void BM_MgetInCache(benchmark::State& state, sse_icc_lib::MgetFn fn, bool supported) {
  if (!supported) {
    state.SkipWithError("instruction set not offered by this processor");
    return;
  }
  const auto bits = static_cast<unsigned>(state.range(0));
  const auto n = static_cast<std::size_t>(state.range(1));
  const auto words = randomWords(n * bits / 64 + 2);
  std::vector<std::uint32_t> out(n);
  const std::uint64_t mask = (std::uint64_t{1} << bits) - 1;
  for (auto _ : state) {
    fn(0, n, out.data(), bits, words.data(), mask);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * n));
}

bool sse4() { return ltt::ProcessorInfo::hasSse41(); }
bool avx2() { return ltt::ProcessorInfo::hasAvx2() && ltt::ProcessorInfo::hasBmi2(); }

BENCHMARK_CAPTURE(BM_MgetInCache, sse4, &sse_icc_lib::mgeti_SSE4, sse4())->ArgsProduct({{1, 3, 7, 8, 13, 16, 17, 24, 27, 31, 32}, {4096, 65536}});
BENCHMARK_CAPTURE(BM_MgetInCache, avx2, &sse_icc_lib::mgeti_AVX2, avx2())->ArgsProduct({{1, 3, 7, 8, 13, 16, 17, 24, 27, 31, 32}, {4096, 65536}});

}  // namespace

BENCHMARK_MAIN();

// Bulk read and write of packed vectors per width, in cache (64 Ki values) and out of cache
// (256 MiB of packed data, at most 2^28 values), each beside the raw read of the same words.
// Values go through a 1024-entry stack buffer, as the search jobs use it.
//   bench_VorexUtils --benchmark_filter='BM_(Mget|Mset|GetLoop)'
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "VorexUtils/IndexVectorRef.hpp"
#include "VorexUtils/MgetBuffer.hpp"
#include "common/Baseline.hpp"

namespace {

using VorexUtils::IndexVectorRef;

constexpr unsigned long kInCache = 64 * 1024;
constexpr unsigned long kChunk = 1024;

unsigned long valueCount(unsigned bits, bool outOfCache) {
  if (!outOfCache) return kInCache;
  return std::min<unsigned long>(1ul << 28, (256ul << 23) / bits);  // 256 MiB of packed bits
}

// A stream of pseudo-random words (plus the spare word), cheap to make at 256 MiB.
std::vector<std::uint64_t> makeStream(unsigned bits, unsigned long n) {
  IndexVectorRef probe(nullptr, bits);
  std::vector<std::uint64_t> w(probe.wordSize(n) + 1);
  std::uint64_t x = 0x9E3779B97F4A7C15ull ^ bits;
  for (auto& v : w) {
    x ^= x << 13, x ^= x >> 7, x ^= x << 17;
    v = x;
  }
  return w;
}

void BM_Mget(benchmark::State& state) {
  const auto bits = static_cast<unsigned>(state.range(0));
  const unsigned long n = valueCount(bits, state.range(1) != 0);
  const auto stream = makeStream(bits, n);
  const IndexVectorRef v(stream.data(), bits);
  VorexUtils::MgetStackBuffer<kChunk, unsigned int> buf;
  const std::size_t words = v.wordSize(n);
  const double baseline = vorex_bench::baselineSecondsPerPass(stream.data(), words);
  vorex_bench::LoopTimer timer;
  for (auto _ : state) {
    for (unsigned long pos = 0; pos < n; pos += kChunk) {
      v.mget(pos, std::min(kChunk, n - pos), buf);
      benchmark::DoNotOptimize(buf.getPtr()[0]);
    }
    benchmark::ClobberMemory();
  }
  vorex_bench::reportAgainstBaseline(state, timer.secondsPerIteration(state), baseline, double(n),
                                     8.0 * double(words));
}

void BM_Mset(benchmark::State& state) {
  const auto bits = static_cast<unsigned>(state.range(0));
  const unsigned long n = valueCount(bits, state.range(1) != 0);
  auto stream = makeStream(bits, n);
  IndexVectorRef v(stream.data(), bits);
  std::vector<unsigned> in(kChunk);
  for (unsigned k = 0; k < kChunk; ++k) in[k] = (k * 2654435761u) & static_cast<unsigned>(v.mask());
  const std::size_t words = v.wordSize(n);
  const double baseline = vorex_bench::baselineSecondsPerPass(stream.data(), words);
  vorex_bench::LoopTimer timer;
  for (auto _ : state) {
    for (unsigned long pos = 0; pos < n; pos += kChunk)
      v.mset(pos, std::min(kChunk, n - pos), in.data());
    benchmark::ClobberMemory();
  }
  vorex_bench::reportAgainstBaseline(state, timer.secondsPerIteration(state), baseline, double(n),
                                     8.0 * double(words));
}

// The value-by-value loop that the bulk read replaces, for scale.
void BM_GetLoop(benchmark::State& state) {
  const auto bits = static_cast<unsigned>(state.range(0));
  const unsigned long n = valueCount(bits, state.range(1) != 0);
  const auto stream = makeStream(bits, n);
  const IndexVectorRef v(stream.data(), bits);
  std::vector<unsigned> out(kChunk);
  const std::size_t words = v.wordSize(n);
  const double baseline = vorex_bench::baselineSecondsPerPass(stream.data(), words);
  vorex_bench::LoopTimer timer;
  for (auto _ : state) {
    for (unsigned long pos = 0; pos < n; pos += kChunk) {
      const unsigned long c = std::min(kChunk, n - pos);
      for (unsigned long k = 0; k < c; ++k) out[k] = v.get(pos + k);
      benchmark::DoNotOptimize(out.data());
    }
    benchmark::ClobberMemory();
  }
  vorex_bench::reportAgainstBaseline(state, timer.secondsPerIteration(state), baseline, double(n),
                                     8.0 * double(words));
}

const std::vector<std::int64_t> kWidths = {1, 2, 3, 4, 7, 8, 12, 16, 17, 24, 31, 32};

}  // namespace

BENCHMARK(BM_Mget)
    ->ArgsProduct({kWidths, {0, 1}})
    ->ArgNames({"bits", "ooc"})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Mset)
    ->ArgsProduct({kWidths, {0, 1}})
    ->ArgNames({"bits", "ooc"})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GetLoop)
    ->ArgsProduct({kWidths, {0}})
    ->ArgNames({"bits", "ooc"})
    ->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();

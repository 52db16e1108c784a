// Generic range search per width, into a bit vector and into a position list, at a low (about
// 1 %) and a high (about 50 %) share of hits, in cache (64 Ki values) and out of cache (256 MiB
// of packed data, at most 2^28 values), each beside the raw read of the same words.
// Lists are searched in runs of 64 Ki positions and emptied between runs, as search jobs do.
// The generic functions are called directly, whatever instruction set another benchmark of this
// program has selected.
//   bench_VorexUtils --benchmark_filter='BM_Search'
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/IndexVectorRef.hpp"
#include "common/Baseline.hpp"

namespace {

using VorexUtils::IndexVectorRef;

constexpr unsigned long kInCache = 64 * 1024;
constexpr unsigned long kListRun = 64 * 1024;

unsigned long searchValueCount(unsigned bits, bool outOfCache) {
  if (!outOfCache) return kInCache;
  return std::min<unsigned long>(1ul << 28, (256ul << 23) / bits);
}

// Pseudo-random words (plus the spare word): every value of the width is equally likely.
std::vector<std::uint64_t> randomStream(unsigned bits, unsigned long n) {
  const IndexVectorRef probe(nullptr, bits);
  std::vector<std::uint64_t> w(probe.wordSize(n) + 1);
  std::uint64_t x = 0x2545F4914F6CDD1Dull ^ bits;
  for (auto& v : w) {
    x ^= x << 13, x ^= x >> 7, x ^= x << 17;
    v = x;
  }
  return w;
}

/// [rangeFrom, rangeTo) holding about `percent` % of the values (at least one value).
struct Range {
  unsigned from, to;
};
Range rangeFor(unsigned bits, int percent) {
  const std::uint64_t values = std::uint64_t{1} << bits;
  const std::uint64_t width = std::max<std::uint64_t>(1, values * unsigned(percent) / 100);
  const std::uint64_t from = (values - width) / 3;
  return {unsigned(from), unsigned(std::min<std::uint64_t>(from + width, 0xFFFFFFFFu))};
}

void BM_SearchBits(benchmark::State& state) {
  const auto bits = static_cast<unsigned>(state.range(0));
  const unsigned long n = searchValueCount(bits, state.range(1) != 0);
  const Range r = rangeFor(bits, static_cast<int>(state.range(2)));
  const auto stream = randomStream(bits, n);
  const IndexVectorRef v(stream.data(), bits);
  VorexUtils::BitVector result(n, false);
  const std::size_t words = v.wordSize(n);
  const double baseline = vorex_bench::baselineSecondsPerPass(stream.data(), words);
  vorex_bench::LoopTimer timer;
  for (auto _ : state) {
    VorexUtils::mgetSearchGenericResBv(0, n, r.from, r.to, result, bits, v.data(), v.mask());
    benchmark::ClobberMemory();
  }
  vorex_bench::reportAgainstBaseline(state, timer.secondsPerIteration(state), baseline, double(n),
                                     8.0 * double(words));
  result.clearAll();
  VorexUtils::mgetSearchGenericResBv(0, n, r.from, r.to, result, bits, v.data(), v.mask());
  state.counters["hit_rate"] = double(result.countSet()) / double(n);
}

void BM_SearchList(benchmark::State& state) {
  const auto bits = static_cast<unsigned>(state.range(0));
  const unsigned long n = searchValueCount(bits, state.range(1) != 0);
  const Range r = rangeFor(bits, static_cast<int>(state.range(2)));
  const auto stream = randomStream(bits, n);
  const IndexVectorRef v(stream.data(), bits);
  ltt::vector<unsigned> result;
  const std::size_t words = v.wordSize(n);
  const double baseline = vorex_bench::baselineSecondsPerPass(stream.data(), words);
  std::size_t hits = 0;
  vorex_bench::LoopTimer timer;
  for (auto _ : state) {
    hits = 0;
    for (unsigned long pos = 0; pos < n; pos += kListRun) {
      result.clear();
      VorexUtils::mgetSearchGeneric(pos, std::min(kListRun, n - pos), r.from, r.to, result, bits,
                                    v.data(), v.mask());
      hits += result.size();
    }
    benchmark::DoNotOptimize(hits);
  }
  vorex_bench::reportAgainstBaseline(state, timer.secondsPerIteration(state), baseline, double(n),
                                     8.0 * double(words));
  state.counters["hit_rate"] = double(hits) / double(n);
}

const std::vector<std::int64_t> kSearchWidths = {1, 2, 3, 4, 7, 8, 12, 16, 17, 24, 31, 32};

}  // namespace

BENCHMARK(BM_SearchBits)
    ->ArgsProduct({kSearchWidths, {0, 1}, {1, 50}})
    ->ArgNames({"bits", "ooc", "pct"})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SearchList)
    ->ArgsProduct({kSearchWidths, {0, 1}, {1, 50}})
    ->ArgNames({"bits", "ooc", "pct"})
    ->Unit(benchmark::kMillisecond);

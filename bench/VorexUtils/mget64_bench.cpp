// Bulk read of the 64-bit packed vectors per width, in cache and out of cache, each beside the
// raw read of the same words (common/Baseline.hpp). An iteration decodes 64 Ki values through a
// 1024-entry stack buffer. In cache, it is always the same 64 Ki values; out of cache, it is the
// next stretch of 256 MiB of packed words, so that every stretch has left the caches (105 MiB of
// L3 here) before it comes round again; the baseline walks the stretches in the same order.
//   bench_VorexUtils --benchmark_filter=BM_Mget64
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "VorexUtils/IndexVector64.hpp"
#include "common/Baseline.hpp"

namespace {

using Word = unsigned long;

constexpr unsigned long kPerIteration = 64 * 1024;  // values; a whole number of words at any width
constexpr unsigned long kChunk = 1024;
constexpr std::size_t kColdWords = (std::size_t{256} << 20) / 8;

// Pseudo-random words, cheap to make at 256 MiB.
std::vector<Word> makeWords(std::size_t n) {
  std::vector<Word> w(n);
  std::uint64_t x = 0x9E3779B97F4A7C15ull;
  for (auto& v : w) {
    x ^= x << 13, x ^= x >> 7, x ^= x << 17;
    v = x;
  }
  return w;
}

const std::vector<Word>& coldWords() {
  static const std::vector<Word> w = makeWords(kColdWords);
  return w;
}

/// Seconds per stretch of one sumWords walk over all stretches, best of two walks.
double coldBaseline(const Word* w, std::size_t stretchWords, std::size_t stretches) {
  double best = 1e300;
  for (int round = 0; round < 2; ++round) {
    const double t0 = vorex_bench::threadSeconds();
    for (std::size_t s = 0; s < stretches; ++s)
      benchmark::DoNotOptimize(vorex_bench::sumWords(w + s * stretchWords, stretchWords));
    best = std::min(best, (vorex_bench::threadSeconds() - t0) / double(stretches));
  }
  return best;
}

void BM_Mget64(benchmark::State& state) {
  const auto bits = static_cast<unsigned>(state.range(0));
  const bool outOfCache = state.range(1) != 0;
  const std::size_t stretchWords = kPerIteration * bits / 64;
  const std::vector<Word> hot = outOfCache ? std::vector<Word>() : makeWords(stretchWords);
  const std::vector<Word>& words = outOfCache ? coldWords() : hot;
  const std::size_t stretches = outOfCache ? words.size() / stretchWords : 1;
  const double baseline = outOfCache
                              ? coldBaseline(words.data(), stretchWords, stretches)
                              : vorex_bench::baselineSecondsPerPass(words.data(), stretchWords);

  const VorexUtils::IndexVector64Ref v(words.data(), bits);
  Word buf[kChunk];
  std::size_t stretch = 0;
  vorex_bench::LoopTimer timer;
  for (auto _ : state) {
    const unsigned long first = stretch * kPerIteration;
    for (unsigned long pos = 0; pos < kPerIteration; pos += kChunk) {
      v.mget(first + pos, kChunk, buf);
      benchmark::DoNotOptimize(buf[0]);
    }
    benchmark::ClobberMemory();
    if (++stretch == stretches) stretch = 0;
  }
  vorex_bench::reportAgainstBaseline(state, timer.secondsPerIteration(state), baseline,
                                     double(kPerIteration), 8.0 * double(stretchWords));
}

}  // namespace

BENCHMARK(BM_Mget64)
    ->ArgsProduct({{1, 7, 8, 13, 16, 31, 32, 33, 48, 63, 64}, {0, 1}})
    ->ArgNames({"bits", "ooc"})
    ->Unit(benchmark::kMicrosecond);

// Bulk read of the 64-bit packed vectors, per width, in cache and out of cache, each beside a read
// baseline of the same words in the same run: a vectorised sum of the words, the raw read speed
// of those bytes on this machine. "vs_baseline" is baseline time / mget time (1.0 = as fast as
// merely reading the packed bytes). Times are thread CPU time on both sides, so that time spent
// descheduled on a shared machine counts for neither.
//
//   bench_VorexUtils --benchmark_filter=Mget64
#include <benchmark/benchmark.h>
#include <emmintrin.h>
#include <time.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "VorexUtils/IndexVector64.hpp"

namespace {

using Word = unsigned long;

constexpr std::size_t kChunk = std::size_t{1} << 14;  // values per call; 128 KiB of output
constexpr std::size_t kColdWords = (std::size_t{256} << 20) / 8;  // well beyond the LLC

/// The baseline: sum of w[0..n) with four independent 2-lane accumulators (SSE2 is baseline
/// x86-64, no flag needed).
std::uint64_t sumWords(const Word* w, std::size_t n) noexcept {
  __m128i a0 = _mm_setzero_si128(), a1 = a0, a2 = a0, a3 = a0;
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const auto* p = reinterpret_cast<const __m128i*>(w + i);
    a0 = _mm_add_epi64(a0, _mm_loadu_si128(p));
    a1 = _mm_add_epi64(a1, _mm_loadu_si128(p + 1));
    a2 = _mm_add_epi64(a2, _mm_loadu_si128(p + 2));
    a3 = _mm_add_epi64(a3, _mm_loadu_si128(p + 3));
  }
  const __m128i s = _mm_add_epi64(_mm_add_epi64(a0, a1), _mm_add_epi64(a2, a3));
  std::uint64_t lanes[2];
  std::memcpy(lanes, &s, sizeof lanes);
  std::uint64_t sum = lanes[0] + lanes[1];
  for (; i < n; ++i) sum += w[i];
  return sum;
}

double threadSeconds() noexcept {
  timespec ts;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return double(ts.tv_sec) + 1e-9 * double(ts.tv_nsec);
}

std::vector<Word> randomWords(std::size_t n) {
  std::vector<Word> w(n);
  std::mt19937_64 rng(42);
  for (auto& x : w) x = rng();
  return w;
}

/// Random words shared by all out-of-cache runs; walked chunk by chunk, so each chunk has left
/// the caches before it comes round again.
const std::vector<Word>& coldWords() {
  static const std::vector<Word> w = randomWords(kColdWords);
  return w;
}

void BM_Mget64(benchmark::State& state) {
  const auto bits = static_cast<unsigned>(state.range(0));
  const bool cold = state.range(1) != 0;
  const std::size_t chunkWords = kChunk * bits / 64;  // kChunk values end on a word boundary
  static std::vector<Word> hot;
  hot = randomWords(chunkWords);
  const std::vector<Word>& words = cold ? coldWords() : hot;
  const std::size_t chunks = cold ? words.size() / chunkWords : 1;
  const VorexUtils::IndexVector64Ref v(words.data(), bits);
  std::vector<Word> dest(kChunk);

  // Baseline: the same chunks in the same order, best of three passes over the schedule.
  double baseline = 1e300;
  for (int round = 0; round < 3; ++round) {
    const std::size_t passes = cold ? chunks : 20000;
    const double t0 = threadSeconds();
    for (std::size_t c = 0; c < passes; ++c)
      benchmark::DoNotOptimize(sumWords(words.data() + (c % chunks) * chunkWords, chunkWords));
    baseline = std::min(baseline, (threadSeconds() - t0) / double(passes));
  }

  std::size_t c = 0;
  const double t0 = threadSeconds();
  for (auto _ : state) {
    v.mget(c * kChunk, kChunk, dest.data());
    benchmark::DoNotOptimize(dest.data());
    benchmark::ClobberMemory();
    if (++c == chunks) c = 0;
  }
  const double perIteration = (threadSeconds() - t0) / double(state.iterations());
  state.SetItemsProcessed(static_cast<std::int64_t>(kChunk * state.iterations()));
  state.SetBytesProcessed(static_cast<std::int64_t>(chunkWords * 8 * state.iterations()));
  state.counters["vs_baseline"] = baseline / perIteration;
  state.counters["baseline_Gvalues/s"] = double(kChunk) / baseline / 1e9;
}

BENCHMARK(BM_Mget64)
    ->ArgsProduct({{1, 7, 8, 13, 16, 31, 32, 33, 48, 63, 64}, {0, 1}})
    ->ArgNames({"bits", "cold"});

}  // namespace

// Weak, so that another benchmark unit of this folder may bring the main instead.
__attribute__((weak)) int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

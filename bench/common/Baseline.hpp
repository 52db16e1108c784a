// The read baseline of the packed-vector benchmarks: a vectorised sum of the same 64-bit words
// that the measured operation reads, i.e. the raw read bandwidth of those bytes on this machine
// in this run. Benchmarks time both and report the ratio, so figures survive a busy machine.
// SSE2 is part of x86-64 itself: no extra compiler flag is involved.
#pragma once

#include <benchmark/benchmark.h>
#include <emmintrin.h>
#include <time.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vorex_bench {

/// Sum of w[0..n): four independent 2-lane accumulators, 64 bytes per step, unaligned loads.
inline std::uint64_t sumWords(const std::uint64_t* w, std::size_t n) noexcept {
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

/// CPU time of the calling thread in seconds. Both sides of a ratio are measured in it, as
/// Google Benchmark measures items/s: time spent descheduled on a busy machine counts for neither.
inline double threadSeconds() noexcept {
  timespec ts;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return double(ts.tv_sec) + 1e-9 * double(ts.tv_nsec);
}

/// Seconds of one sumWords pass over w[0..n): the best of `rounds` batches of at least
/// `minSeconds` each (best-of filters out the neighbours' noise on a shared machine).
inline double baselineSecondsPerPass(const std::uint64_t* w, std::size_t n,
                                     double minSeconds = 0.02, int rounds = 3) {
  double best = 1e300;
  for (int r = 0; r < rounds; ++r) {
    std::size_t passes = 0;
    const double t0 = threadSeconds();
    double elapsed = 0;
    do {
      benchmark::DoNotOptimize(sumWords(w, n));
      benchmark::ClobberMemory();
      ++passes;
      elapsed = threadSeconds() - t0;
    } while (elapsed < minSeconds);
    best = std::min(best, elapsed / double(passes));
  }
  return best;
}

/// Thread CPU time of the benchmark loop, for the ratio against the baseline. Start it right
/// before the state loop.
class LoopTimer {
 public:
  LoopTimer() : m_t0(threadSeconds()) {}
  double secondsPerIteration(const benchmark::State& state) const {
    const double s = threadSeconds() - m_t0;
    return state.iterations() ? s / double(state.iterations()) : 0.0;
  }

 private:
  double m_t0;
};

/// Sets items/s and bytes/s for `items` values and `bytes` bytes per iteration, and the
/// counters "vs_baseline" (baseline time / measured time: 1.0 runs at raw read speed) and
/// "baseline_GBps" (the raw read bandwidth of the same bytes).
inline void reportAgainstBaseline(benchmark::State& state, double secondsPerIteration,
                                  double baselineSecondsPerPass, double items, double bytes) {
  state.SetItemsProcessed(static_cast<std::int64_t>(items * double(state.iterations())));
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes * double(state.iterations())));
  if (secondsPerIteration > 0)
    state.counters["vs_baseline"] = baselineSecondsPerPass / secondsPerIteration;
  state.counters["baseline_GBps"] = bytes / baselineSecondsPerPass / 1e9;
}

}  // namespace vorex_bench

// Scaling of parallelMgetSearch from one core to all of them on a column far beyond the caches
// (1 GiB packed at 17 bits, about 505 million values), beside two read baselines measured in the
// same rounds: one core summing the column's words, and the same sum split over the threads.
// Each iteration is one round of all four passes, interleaved so that a neighbour's load hits
// all of them alike; each figure is the best of its rounds, in wall-clock time. The search runs
// with the generic kernels (nosse) and with the processor's best ones (auto, through configSSE);
// the selection is put back to generic afterwards.
//   bench_VorexUtils --benchmark_filter=BM_ParallelMgetSearch
// Counters: GBps (packed bytes searched per second), read1_GBps and readT_GBps (the baselines),
// speedup (over the one-job search of the same round set), per_core (speedup / threads),
// vs_readT (search bandwidth / multi-core read bandwidth: 1.0 runs at the machine's read speed).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

#include "VorexUtils/IndexVectorRef.hpp"
#include "VorexUtils/ParallelMgetSearch.hpp"
#include "common/Baseline.hpp"

namespace {

using VorexUtils::IndexVectorRef;

constexpr unsigned kBits = 17;
constexpr unsigned long kValues = (1ul << 33) / kBits;  // 1 GiB of packed bits
// About 0.08 % of the values match: the result stays small, the scan dominates.
constexpr unsigned kRangeFrom = 1000, kRangeTo = 1100;

const std::vector<std::uint64_t>& column() {
  static const std::vector<std::uint64_t> words = [] {
    std::vector<std::uint64_t> w(IndexVectorRef(nullptr, kBits).wordSize(kValues) + 1);
    std::uint64_t x = 0x9E3779B97F4A7C15ull;
    for (auto& v : w) {
      x ^= x << 13, x ^= x >> 7, x ^= x << 17;
      v = x;
    }
    return w;
  }();
  return words;
}

double wallSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The read baseline on `threads` threads: each sums one contiguous slice of the words.
void sumOnThreads(const std::uint64_t* w, std::size_t n, unsigned threads) {
  if (threads == 1) {
    benchmark::DoNotOptimize(vorex_bench::sumWords(w, n));
    return;
  }
  std::vector<std::thread> pool;
  const std::size_t slice = (n + threads - 1) / threads;
  for (unsigned t = 0; t < threads; ++t) {
    const std::size_t from = std::min(n, t * slice), to = std::min(n, from + slice);
    pool.emplace_back(
        [w, from, to] { benchmark::DoNotOptimize(vorex_bench::sumWords(w + from, to - from)); });
  }
  for (auto& t : pool) t.join();
}

template <class F>
double timed(F&& f) {
  const double t0 = wallSeconds();
  f();
  return wallSeconds() - t0;
}

void selectIsa(const char* word) {
  ltt::vector<ltt::string> versions;
  versions.emplace_back(word);
  IndexVectorRef::configSSE(versions);
}

void BM_ParallelMgetSearch(benchmark::State& state, const char* isa) {
  const auto threads = static_cast<unsigned>(state.range(0));
  selectIsa(isa);
  const auto& words = column();
  const IndexVectorRef ref(words.data(), kBits);
  const std::size_t n = ref.wordSize(kValues);
  const double bytes = 8.0 * double(n);
  ltt::vector<unsigned int> hits;
  hits.reserve(1 << 20);
  auto search = [&](unsigned t) {
    hits.clear();
    VorexUtils::parallelMgetSearch(ref, 0, kValues, kRangeFrom, kRangeTo, hits, t);
    benchmark::DoNotOptimize(hits.data());
  };
  search(threads);  // touch every page once before timing

  double read1 = 1e300, readT = 1e300, search1 = 1e300, searchT = 1e300;
  for (auto _ : state) {
    read1 = std::min(read1, timed([&] { sumOnThreads(words.data(), n, 1); }));
    readT = std::min(readT, timed([&] { sumOnThreads(words.data(), n, threads); }));
    search1 = std::min(search1, timed([&] { search(1); }));
    const double t = timed([&] { search(threads); });
    searchT = std::min(searchT, t);
    state.SetIterationTime(t);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(double(kValues) * double(state.iterations())));
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes * double(state.iterations())));
  state.counters["threads"] = threads;
  state.counters["hits"] = double(hits.size());
  state.counters["GBps"] = bytes / searchT / 1e9;
  state.counters["read1_GBps"] = bytes / read1 / 1e9;
  state.counters["readT_GBps"] = bytes / readT / 1e9;
  state.counters["speedup"] = search1 / searchT;
  state.counters["per_core"] = search1 / searchT / threads;
  state.counters["vs_readT"] = readT / searchT;
  selectIsa("nosse");
}

void threadCounts(benchmark::internal::Benchmark* b) {
  const unsigned all = std::max(1u, std::thread::hardware_concurrency());
  for (unsigned t = 1; t <= all; ++t) b->Arg(t);
}

}  // namespace

BENCHMARK_CAPTURE(BM_ParallelMgetSearch, nosse, "nosse")
    ->Apply(threadCounts)
    ->ArgName("threads")
    ->Iterations(3)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ParallelMgetSearch, auto, "auto") -> Apply(threadCounts) -> ArgName("threads")
    -> Iterations(3) -> UseManualTime() -> Unit(benchmark::kMillisecond);

// Range search per width 1..32: generic, SSE4 and AVX2 kernels, into a bit vector and into a
// position list at 0.1% and 50% selectivity, in cache (64 Ki values) and out of cache (256 MiB
// of packed data), each beside the raw read of the same words (counter vs_baseline). The AVX2
// bit-vector search also runs with prefetch distances of 4096 and 8192 bytes in place of 2048,
// with a non-temporal prefetch in place of the temporal one, and with none. BM_ReadBaseline
// gives the read itself in values per second.
//
// Results go to a segment of 2^20 positions at a time, as a search job over a range does, so the
// result stays in cache and the figures are those of reading the packed data.
//   bench_sse_icc_lib --benchmark_min_time=0.05
//       --benchmark_out=docs/bench-search.json --benchmark_out_format=json
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/IndexVectorRef.hpp"
#include "VorexUtils/MgetBuffer.hpp"
#include "common/Baseline.hpp"
#include "sse_icc_lib/PrefetchVariants.hpp"
#include "sse_icc_lib/sse_icc_lib.hpp"

namespace {

constexpr std::size_t kInCache = 64 * 1024;
constexpr std::size_t kSegment = std::size_t{1} << 20;

enum Path { kGeneric, kSse4, kAvx2, kAvx2Pf4096, kAvx2Pf8192, kAvx2Nta, kAvx2NoPf };
enum Sink { kBitVector, kListRare, kListHalf };
const char* const kPathNames[] = {"generic",     "sse4",        "avx2",   "avx2_pf4096",
                                  "avx2_pf8192", "avx2_pf_nta", "avx2_nopf"};
const char* const kSinkNames[] = {"bv", "list0.1%", "list50%"};

bool supported(Path p) {
  if (p == kGeneric) return true;
  if (p == kSse4) return __builtin_cpu_supports("sse4.2");
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2");
}

/// The searched range of a width: the middle half of the values ([1, 2) at width 1).
struct Range {
  unsigned from, to;
};
Range rangeOf(unsigned bits) {
  if (bits == 1) return {1, 2};
  const std::uint64_t m = (std::uint64_t{1} << bits) - 1;
  const std::uint64_t lo = std::max<std::uint64_t>(1, m / 4);
  return {static_cast<unsigned>(lo), static_cast<unsigned>(lo + std::max<std::uint64_t>(1, m / 2))};
}

/// Packed data: a block of 64 Ki values in which each value hits with probability `p`,
/// repeated up to n values (a block is a whole number of words at every width).
struct Dataset {
  unsigned bits = 0;
  std::size_t n = 0;
  int sel = -1;
  std::vector<std::uint64_t> words;
};

const Dataset& dataset(unsigned bits, bool outOfCache, Sink sink) {
  static Dataset d;
  const std::size_t n = outOfCache ? ((std::size_t{256} << 23) / bits) & ~(kInCache - 1) : kInCache;
  const int sel = sink == kListRare ? 1 : 0;
  if (d.bits == bits && d.n == n && d.sel == sel) return d;
  d.words.clear();
  d.words.shrink_to_fit();
  d.bits = bits, d.n = n, d.sel = sel;
  d.words.assign(n * bits / 64 + 1, 0);
  const double p = sel ? 0.001 : 0.5;
  const Range r = rangeOf(bits);
  const std::uint64_t m = (std::uint64_t{1} << bits) - 1;
  std::mt19937_64 rng(bits);
  std::uniform_real_distribution<double> coin(0, 1);
  for (std::size_t i = 0; i < kInCache; ++i) {
    std::uint64_t v;
    if (coin(rng) < p) {
      v = r.from + rng() % (r.to - r.from);
    } else {
      do v = rng() & m;
      while (v >= r.from && v < r.to);
    }
    const std::size_t bit = i * bits;
    d.words[bit / 64] |= v << (bit % 64);
    if (bit % 64 + bits > 64) d.words[bit / 64 + 1] |= v >> (64 - bit % 64);
  }
  const std::size_t blockWords = kInCache * bits / 64;
  for (std::size_t w = blockWords; w < n * bits / 64; w += blockWords)
    std::memcpy(&d.words[w], d.words.data(), blockWords * 8);
  return d;
}

/// A position list over a std::vector that keeps its capacity between segments.
class ListSink : public VectorWrapperIfc {
 public:
  void vector_resize_noinit(std::size_t n) override {
    if (n > m_v.size()) m_v.resize(n);
    init(m_v.data(), n);
  }
  void clear() { init(m_v.data(), 0); }

 private:
  std::vector<unsigned> m_v;
};

/// One pass over the data, segment by segment; returns the number of hits (or set bits).
struct Runner {
  const Dataset& d;
  Path path;
  Sink sink;
  Range r;
  std::uint64_t mask;
  std::vector<unsigned char> bits;
  VorexUtils::BitVector bv;
  ListSink list;
  ltt::vector<unsigned> genericList;

  Runner(const Dataset& ds, Path p, Sink s)
      : d(ds), path(p), sink(s), r(rangeOf(ds.bits)), mask((std::uint64_t{1} << ds.bits) - 1),
        bits(kSegment / 8 + 64), bv(kSegment, false) {}

  std::size_t pass() {
    std::size_t result = 0;
    for (std::size_t seg = 0; seg < d.n; seg += kSegment) {
      const std::size_t count = std::min(kSegment, d.n - seg);
      const unsigned long* data = d.words.data() + seg * d.bits / 64;
      if (sink == kBitVector) {
        std::size_t index = 0;
        switch (path) {
          case kGeneric:
            VorexUtils::mgetSearchGenericResBv(0, count, r.from, r.to, bv, d.bits, data, mask);
            break;
          case kSse4:
            sse_icc_lib::mgetSearchi_SSE4_bitVector(index, count, r.from, r.to, bits.data(), d.bits, data, mask);
            break;
          case kAvx2:
            sse_icc_lib::mgetSearchi_AVX2_bitVector(index, count, r.from, r.to, bits.data(), d.bits, data, mask);
            break;
          case kAvx2Pf4096:
          case kAvx2Pf8192:
          case kAvx2Nta:
          case kAvx2NoPf: {
            using V = vorex_bench::PrefetchVariant;
            const V v = path == kAvx2Pf4096 ? V::k4096
                      : path == kAvx2Pf8192 ? V::k8192
                      : path == kAvx2Nta    ? V::kNta2048
                                            : V::kNone;
            index += vorex_bench::searchAvx2Prefetch(v, 0, count, r.from, r.to, bits.data(), d.bits, data);
            break;
          }
        }
        result += index;
      } else if (path == kGeneric) {
        genericList.clear();
        VorexUtils::mgetSearchGeneric(0, count, r.from, r.to, genericList, d.bits, data, mask);
        result += genericList.size();
      } else {
        list.clear();
        (path == kSse4 ? sse_icc_lib::mgetSearchi_SSE4 : sse_icc_lib::mgetSearchi_AVX2)(
            0, count, r.from, r.to, list, d.bits, data, mask);
        result += list.size();
      }
    }
    return result;
  }
};

void BM_Search(benchmark::State& state, Path path, Sink sink) {
  if (!supported(path)) {
    state.SkipWithError("instruction set not available");
    return;
  }
  const auto bits = static_cast<unsigned>(state.range(0));
  const Dataset& d = dataset(bits, state.range(1) != 0, sink);
  const std::size_t words = d.n * bits / 64;
  const double baseline = vorex_bench::baselineSecondsPerPass(d.words.data(), words);
  Runner run(d, path, sink);
  vorex_bench::LoopTimer timer;
  for (auto _ : state) benchmark::DoNotOptimize(run.pass());
  vorex_bench::reportAgainstBaseline(state, timer.secondsPerIteration(state), baseline, double(d.n),
                                     8.0 * double(words));
}

/// The read of the same words, in values per second: the line the searches are held against.
void BM_ReadBaseline(benchmark::State& state) {
  const auto bits = static_cast<unsigned>(state.range(0));
  const Dataset& d = dataset(bits, state.range(1) != 0, kBitVector);
  const std::size_t words = d.n * bits / 64;
  for (auto _ : state) benchmark::DoNotOptimize(vorex_bench::sumWords(d.words.data(), words));
  state.SetItemsProcessed(static_cast<std::int64_t>(d.n * state.iterations()));
  state.SetBytesProcessed(static_cast<std::int64_t>(8 * words * state.iterations()));
}

// Width outermost, then cache state, so one dataset serves all runs that need it.
const bool kRegistered = [] {
  for (int bits = 1; bits <= 32; ++bits)
    for (int out = 0; out <= 1; ++out) {
      benchmark::RegisterBenchmark("BM_ReadBaseline", BM_ReadBaseline)->Args({bits, out})->Unit(benchmark::kMicrosecond);
      for (Sink s : {kBitVector, kListHalf, kListRare})  // the 0.1% data last
        for (Path p : {kGeneric, kSse4, kAvx2, kAvx2Pf4096, kAvx2Pf8192, kAvx2Nta, kAvx2NoPf}) {
          if (p >= kAvx2Pf4096 && s != kBitVector) continue;
          const std::string name = std::string("BM_Search/") + kPathNames[p] + "/" + kSinkNames[s];
          benchmark::RegisterBenchmark(name.c_str(), BM_Search, p, s)->Args({bits, out})->Unit(benchmark::kMicrosecond);
        }
    }
  return true;
}();

}  // namespace

// main() comes from the other benchmark of this folder (one binary per folder).

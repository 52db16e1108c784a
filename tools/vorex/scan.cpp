// vorex scan: builds a column of random values and runs the library's range search over it,
// into a bit vector and into a position list, checking both against a plain loop over get().
// With --threads, also runs parallelMgetSearch on that many jobs (0: one per hardware thread).
// With --isa, hands that word to configSSE first. Prints the selection, the hits and the rates
// of each; exits with 1 when a result differs.
//   vorex scan [--n 33554432] [--bits 17] [--seed 1] [--from F] [--to T] [--threads J]
//              [--isa nosse|sse4_1|avx2|auto]
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iomanip>
#include <memory>
#include <random>
#include <string>

#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/IndexVector.hpp"
#include "VorexUtils/ParallelMgetSearch.hpp"
#include "ltt/exception.hpp"
#include "tools/vorex/Args.hpp"
#include "tools/vorex/Isa.hpp"

namespace vorex_cli {

namespace {

double threadSeconds() {
  timespec ts;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return double(ts.tv_sec) + 1e-9 * double(ts.tv_nsec);
}

double wallSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Best of three runs in CPU time of this thread for the single-threaded searches: on a shared
// machine, time spent waiting for a core says nothing about the code. Parallel searches can
// only be timed by the wall clock.
template <class F>
double bestSeconds(F&& run, double (*clock)() = threadSeconds) {
  double best = 1e300;
  for (int r = 0; r < 3; ++r) {
    const double t0 = clock();
    run();
    best = std::min(best, clock() - t0);
  }
  return best;
}

void report(const std::string& what, unsigned long hits, double seconds, unsigned long values,
            unsigned long bytes, const char* clock = "cpu time") {
  seconds = std::max(seconds, 1e-9);  // a tiny column may take less than the clock resolves
  std::cout << std::left << std::setw(26) << what << " hits " << std::setw(10) << hits << std::right
            << std::fixed << std::setprecision(4) << seconds << " s  " << std::setprecision(1)
            << std::setw(8) << values / seconds / 1e6 << " M values/s  " << std::setprecision(2)
            << std::setw(6) << bytes / seconds / 1e9 << " GB/s (" << clock << ")\n";
}

struct ScanOptions {
  unsigned long n = 1ul << 25, bits = 17, seed = 1, from = ~0ul, to = ~0ul, threads = ~0ul;
  std::string isa;
};

int scan(ScanOptions o) {
  const unsigned long n = o.n, bits = o.bits, seed = o.seed, threads = o.threads;
  unsigned long from = o.from, to = o.to;
  const char* isa = o.isa.empty() ? nullptr : o.isa.c_str();
  const unsigned long mask = bits == 32 ? 0xFFFFFFFFul : (1ul << bits) - 1;
  if (from == ~0ul) from = (mask + 1) / 4;
  if (to == ~0ul) to = std::max((mask + 1) / 2, from + 1) & 0xFFFFFFFFul;

  try {
    // Any bit pattern is a valid stream, so random words give uniformly random values.
    VorexUtils::IndexVector v;
    v.setBits(unsigned(bits));
    v.resize(n);
    std::mt19937_64 rng(seed);
    for (unsigned long k = 0; k < v.wordSize(n); ++k) v.data()[k] = rng();
    const unsigned long bytes = v.getMemorySize();
    std::cout << "scan: " << n << " values of " << bits << " bits (" << bytes << " bytes), range ["
              << from << ", " << to << "), seed " << seed << '\n';
    if (isa) selectIsa(isa);
    reportSelection(std::cout);

    VorexUtils::BitVector expect(n, false);
    unsigned long expectHits = 0;
    const double tRef = bestSeconds([&] {
      expectHits = 0;
      for (unsigned long i = 0; i < n; ++i) {
        const unsigned x = v.get(i);
        if (x >= from && x < to) expect.set(i), ++expectHits;
      }
    });
    report("reference get() loop", expectHits, tRef, n, bytes);

    VorexUtils::BitVector found(n, false);
    const double tBv = bestSeconds([&] {
      found.clearAll();
      v.mgetSearch(0, n, unsigned(from), unsigned(to), found);
    });
    report("mgetSearch -> BitVector", found.countSet(), tBv, n, bytes);

    ltt::vector<unsigned int> list;
    const double tList = bestSeconds([&] {
      list.clear();
      v.mgetSearch(0, n, unsigned(from), unsigned(to), list);
    });
    report("mgetSearch -> positions", list.size(), tList, n, bytes);

    auto sameAsReference = [&](const ltt::vector<unsigned int>& positions) {
      auto it = expect.beginAt(0);
      bool same = positions.size() == expectHits;
      for (std::size_t k = 0; same && k < positions.size(); ++k, ++it) same = *it == positions[k];
      return same;
    };
    bool ok = found == expect;
    if (!ok) std::cout << "MISMATCH: the bit vector differs from the reference\n";
    bool listOk = sameAsReference(list);
    if (!listOk) std::cout << "MISMATCH: the position list differs from the reference\n";

    if (threads != ~0ul) {
      const auto jobs = static_cast<unsigned>(threads);
      const std::string label = "parallel x" + std::to_string(jobs);
      const double tParBv = bestSeconds(
          [&] {
            found.clearAll();
            VorexUtils::parallelMgetSearch(v, 0, n, unsigned(from), unsigned(to), found, jobs);
          },
          wallSeconds);
      report(label + " -> BitVector", found.countSet(), tParBv, n, bytes, "wall clock");
      const double tParList = bestSeconds(
          [&] {
            list.clear();
            VorexUtils::parallelMgetSearch(v, 0, n, unsigned(from), unsigned(to), list, jobs);
          },
          wallSeconds);
      report(label + " -> positions", list.size(), tParList, n, bytes, "wall clock");
      if (!(found == expect)) {
        std::cout << "MISMATCH: the parallel bit vector differs from the reference\n";
        ok = false;
      }
      if (!sameAsReference(list)) {
        std::cout << "MISMATCH: the parallel position list differs from the reference\n";
        listOk = false;
      }
    }
    if (!(ok && listOk)) return 1;
    std::cout << "ok: every result equals the reference\n";
  } catch (const ltt::exception& e) {
    return fail("scan", 1, e.what());
  }
  return 0;
}

}  // namespace

void addScan(CLI::App& tool, int& status) {
  auto* cmd = tool.add_subcommand(
      "scan", "range-search a random column, check against get(), print rates (the main job)");
  auto o = std::make_shared<ScanOptions>();
  cmd->add_option("--n", o->n, "number of values")->check(upTo(1ul << 32))->capture_default_str();
  cmd->add_option("--bits", o->bits, "width of the values")->check(upTo(32))->capture_default_str();
  cmd->add_option("--seed", o->seed, "random seed")->check(upTo(~0ul))->capture_default_str();
  cmd->add_option("--from", o->from, "range start, inclusive (default: a quarter of the values)")
      ->check(upTo(0xFFFFFFFFul));
  cmd->add_option("--to", o->to, "range end, exclusive (default: half of the values)")
      ->check(upTo(0xFFFFFFFFul));
  cmd->add_option("--threads", o->threads,
                  "also search with this many parallel jobs (0: one per hardware thread)")
      ->check(upTo(1024));
  addIsaOption(*cmd, o->isa);
  cmd->callback([o, &status] { status = scan(*o); });
}

}  // namespace vorex_cli

#include "VorexUtils/ParallelMgetSearch.hpp"

#include <numa.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "Execution/JobExecutorSPI.hpp"
#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/JobParallelMgetSearch.hpp"

namespace VorexUtils {

namespace {

// Below this many positions per job the executor's round trip outweighs the split.
constexpr unsigned long kMinPositionsPerJob = 1ul << 16;

struct Piece {
  unsigned long from;
  unsigned long to;
};

// Cuts [from, from + count) into at most `threads` pieces of about equal size whose inner
// boundaries are multiples of 64, so that pieces never share a word of a result bit vector.
std::vector<Piece> cut(unsigned long from, unsigned long count, unsigned int threads) {
  if (threads == 0) threads = std::max(1u, std::thread::hardware_concurrency());
  const unsigned long end = from + count;
  const unsigned long wanted = std::min<unsigned long>(threads, count / kMinPositionsPerJob);
  std::vector<Piece> pieces;
  if (wanted <= 1) {
    pieces.push_back({from, end});
    return pieces;
  }
  const unsigned long step = ((count + wanted - 1) / wanted + 63) & ~63ul;
  unsigned long at = from;
  for (unsigned long bound = ((from + 63) & ~63ul) + step; at < end; bound += step) {
    const unsigned long to = std::min(bound, end);
    pieces.push_back({at, to});
    at = to;
  }
  return pieces;
}

// The node that holds the page of `address`, or -1 when unknown (no NUMA, page not yet touched).
int nodeOf(const void* address) {
  static const bool numa = numa_available() >= 0;
  if (!numa || !address) return -1;
  void* page = reinterpret_cast<void*>(reinterpret_cast<unsigned long>(address) & ~4095ul);
  int status = -1;
  if (numa_move_pages(0, 1, &page, nullptr, &status, 0) != 0) return -1;
  return status >= 0 ? status : -1;
}

int nodeOfPiece(const IndexVectorRef& vector, unsigned long from) {
  return nodeOf(vector.data() + ((from * vector.bits()) >> 6));
}

void runAll(std::vector<JobParallelMgetSearch>& jobs) {
  std::vector<Parallel::JobBase*> list;
  list.reserve(jobs.size());
  for (auto& job : jobs) list.push_back(&job);
  Execution::JobExecutorSPI::getSPIInstance().execute(list);
}

}  // namespace

void parallelMgetSearch(const IndexVectorRef& vector, unsigned long from, unsigned long count,
                        unsigned int rangeFrom, unsigned int rangeTo,
                        ltt::vector<unsigned int>& result, unsigned int threads) {
  const std::vector<Piece> pieces = cut(from, count, threads);
  if (pieces.size() == 1) {
    vector.mgetSearch(from, count, rangeFrom, rangeTo, result);
    return;
  }
  const std::size_t oldSize = result.size();
  // The first piece appends to `result` directly; the others fill lists of their own, which
  // follow in piece order, so the merged list ascends without sorting.
  std::vector<ltt::vector<unsigned int>> lists(pieces.size() - 1,
                                               ltt::vector<unsigned int>(result.getAllocator()));
  // The room the caller left in `result` is its guess of the hits; each piece's list starts with
  // its share of it, so that the lists need not regrow while the jobs run. Untouched room costs
  // no memory pages.
  const std::size_t share = (result.capacity() - result.size()) / pieces.size();
  for (std::size_t i = 0; i < lists.size(); ++i)
    lists[i].reserve(std::min<std::size_t>(share, pieces[i + 1].to - pieces[i + 1].from));
  std::vector<JobParallelMgetSearch> jobs;
  jobs.reserve(pieces.size());
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    JobParallelMgetSearch::Setup s;
    s.vector = &vector;
    s.from = pieces[i].from;
    s.docs = pieces[i].to - pieces[i].from;
    s.to = pieces[i].to;
    s.rangeFrom = static_cast<int>(rangeFrom);
    s.rangeTo = static_cast<int>(rangeTo);
    s.resultVec = i == 0 ? &result : &lists[i - 1];
    s.numaNode = nodeOfPiece(vector, pieces[i].from);
    jobs.emplace_back(s);
  }
  try {
    runAll(jobs);
    std::size_t total = result.size();
    for (const auto& list : lists) total += list.size();
    result.reserve(total);
    for (const auto& list : lists) result.insert(result.end(), list.begin(), list.end());
  } catch (...) {
    result.rawResize_(oldSize);
    throw;
  }
}

long parallelMgetSearch(const IndexVectorRef& vector, unsigned long from, unsigned long count,
                        unsigned int rangeFrom, unsigned int rangeTo, BitVector& result,
                        unsigned int threads) {
  const std::vector<Piece> pieces = cut(from, count, threads);
  const unsigned long end = from + count;
  if (pieces.size() == 1) {
    vector.mgetSearch(from, count, rangeFrom, rangeTo, result);
    const unsigned long last = result.findLastSetInRange(from, end);
    return last < end ? static_cast<long>(last) : -1;
  }
  std::atomic<long> maxHit{-1};
  std::vector<JobParallelMgetSearch> jobs;
  jobs.reserve(pieces.size());
  for (const Piece& piece : pieces) {
    JobParallelMgetSearch::Setup s;
    s.vector = &vector;
    s.from = piece.from;
    s.docs = piece.to - piece.from;
    s.to = piece.to;
    s.rangeFrom = static_cast<int>(rangeFrom);
    s.rangeTo = static_cast<int>(rangeTo);
    s.resultBv = &result;
    s.maxHit = &maxHit;
    s.numaNode = nodeOfPiece(vector, piece.from);
    jobs.emplace_back(s);
  }
  runAll(jobs);
  return maxHit.load();
}

}  // namespace VorexUtils

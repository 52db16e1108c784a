#include "VorexUtils/ParallelMgetSearch.hpp"

#include <numa.h>

#include <algorithm>
#include <atomic>
#include <cstring>
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

template <class Job>
void runAll(std::vector<Job>& jobs) {
  std::vector<Parallel::JobBase*> list;
  list.reserve(jobs.size());
  for (auto& job : jobs) list.push_back(&job);
  Execution::JobExecutorSPI::getSPIInstance().execute(list);
}

using List = ltt::vector<unsigned int>;

// Copies entries [from, to) of the pieces' lists, taken as one sequence, to `out` + from.
// Writing a large result touches fresh pages, whose faults cost as much as the copy itself, so
// a dense merge is split over the cores too.
class MergeJob final : public Parallel::JobBase {
 public:
  MergeJob(const std::vector<List>& lists, std::size_t from, std::size_t to,
           unsigned int* out) noexcept
      : m_lists(&lists), m_from(from), m_to(to), m_out(out) {}

  int run() override {
    std::size_t listStart = 0;
    for (const List& list : *m_lists) {
      const std::size_t listEnd = listStart + list.size();
      const std::size_t a = std::max(m_from, listStart);
      const std::size_t b = std::min(m_to, listEnd);
      if (a < b)
        std::memcpy(m_out + a, list.data() + (a - listStart), (b - a) * sizeof(unsigned int));
      listStart = listEnd;
    }
    return 2;
  }
  int getPreferredNumaNode() const override { return -1; }
  int getPreferredAffinityType() const override { return 0; }
  void getMethod(ltt::basic_ostream<char>& os) const override { os << "ParallelMgetSearchMerge"; }
  void getDetails(ltt::basic_ostream<char>& os) const override {
    os << "from=" << m_from << ", to=" << m_to;
  }

 private:
  const std::vector<List>* m_lists;
  std::size_t m_from;
  std::size_t m_to;
  unsigned int* m_out;
};

// Below this many entries one thread copies faster than the executor can hand out jobs.
constexpr std::size_t kMinEntriesPerMergeJob = std::size_t{1} << 17;

// Appends the lists behind `result`, in their order, with up to `jobs` threads.
void appendLists(List& result, const std::vector<List>& lists, std::size_t jobs) {
  std::size_t moved = 0;
  for (const List& list : lists) moved += list.size();
  const std::size_t at = result.size();
  result.rawResize_(at + moved);
  unsigned int* out = result.data() + at;
  jobs = std::min(jobs, moved / kMinEntriesPerMergeJob);
  if (jobs <= 1) {
    MergeJob(lists, 0, moved, out).run();
    return;
  }
  std::vector<MergeJob> merges;
  merges.reserve(jobs);
  for (std::size_t j = 0; j < jobs; ++j)
    merges.emplace_back(lists, moved * j / jobs, moved * (j + 1) / jobs, out);
  runAll(merges);
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
  std::vector<List> lists(pieces.size() - 1, List(result.getAllocator()));
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
    appendLists(result, lists, pieces.size());
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

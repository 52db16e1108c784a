// JobParallelMgetSearch: a search job over a range of positions of one packed vector, for the
// job executor (Execution::JobExecutorSPI). The predicate is one of four kinds, tried in this
// order: a sorted value list (VEC), a value bit vector (BV), a flat list of value ranges
// (RNGVEC), and the range [m_rangeFrom, m_rangeTo) (RNG). Hits go to a shared bit vector or to
// the job's own position list.
//
// Each run() does at most kPositionsPerRun positions and returns 1 while more remain, 2 when
// the range is done, so that long scans interleave with other jobs.
//
// Ownership: the job holds pointers only; the creator keeps every pointee alive.
// Concurrency: many jobs may search one vector at once. Jobs that share a result bit vector
// must have ranges that begin and end at multiples of 64 positions (bits are or-ed into words
// without atomics); m_maxHit is shared through compare-and-swap; a result list belongs to one
// job.
#pragma once

#include <atomic>

#include "VorexUtils/IndexVectorRef.hpp"
#include "VorexUtils/Parallel/JobBase.hpp"
#include "ltt/vector.hpp"

namespace VorexUtils {

class BitVector;

class JobParallelMgetSearch : public Parallel::JobBase {
 public:
  /// Positions done by one run().
  static constexpr unsigned long kPositionsPerRun = 0x100000;

  /// What a job is given, in the order of its fields. The first non-null of valueVec, valueBv,
  /// valueRanges is the predicate; with all three null it is [rangeFrom, rangeTo).
  struct Setup {
    const IndexVectorRef* vector = nullptr;
    unsigned long from = 0;                // first position
    unsigned long docs = 0;                // number of documents, for getDetails only
    unsigned long to = 0;                  // end of the range, exclusive
    const BitVector* docFilter = nullptr;  // positions to consider; null: all
    int rangeFrom = 0;
    int rangeTo = 0;
    const BitVector* valueBv = nullptr;
    const ltt::vector<int>* valueVec = nullptr;      // ascending
    const ltt::vector<int>* valueRanges = nullptr;   // sorted, disjoint start/end pairs
    BitVector* resultBv = nullptr;                   // where hits go, if set
    std::atomic<long>* maxHit = nullptr;             // required with resultBv
    ltt::vector<unsigned int>* resultVec = nullptr;  // where hits go otherwise
    int numaNode = -1;
  };

  explicit JobParallelMgetSearch(const Setup& setup) noexcept;

  /// Searches [m_from, min(m_from + kPositionsPerRun, m_to)); 1 = call again, 2 = done.
  int run() override;
  /// m_numaNode for a scan of at least the NUMA threshold ([attributes]
  /// mgetSearch_numa_threshold positions still to do) or when the executor reports more than
  /// one node; -1 otherwise.
  int getPreferredNumaNode() const override;
  /// 1 (stay on the node) when the executor has strict affinity, otherwise 0.
  int getPreferredAffinityType() const override;
  void getMethod(ltt::basic_ostream<char>& os) const override;
  void getDetails(ltt::basic_ostream<char>& os) const override;
  ~JobParallelMgetSearch() override;

 private:
  const IndexVectorRef* m_vector;
  unsigned long m_from;
  unsigned long m_docs;
  unsigned long m_to;
  const BitVector* m_docFilter;
  int m_rangeFrom;
  int m_rangeTo;
  const BitVector* m_valueBv;
  const ltt::vector<int>* m_valueVec;
  const ltt::vector<int>* m_valueRanges;
  BitVector* m_resultBv;
  std::atomic<long>* m_maxHit;
  ltt::vector<unsigned int>* m_resultVec;
  int m_numaNode;
};

}  // namespace VorexUtils

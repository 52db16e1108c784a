// JobParallelResultDocSearch: refines a set of positions in place. For every set position of
// m_docSet in [m_from, m_from + m_count) the value of the column is tested against one predicate
// (VEC, BV, RNGVEC or RNG, tried in that order, as in JobParallelMgetSearch, but every test in
// signed 32-bit comparisons); the bit is cleared when the outcome differs from m_keepHits. The
// whole range is done in one run().
//
// Ownership: the job holds pointers only; the creator keeps every pointee alive.
// Concurrency: jobs that share m_docSet must have ranges that meet at multiples of 64
// positions (bits are cleared with plain word writes). A range whose end is not a multiple of 64
// reads the set's words up to its end while looking for the next bit, so only the last range of
// the set may end there.
#pragma once

#include "VorexUtils/IndexVectorRef.hpp"
#include "VorexUtils/Parallel/JobBase.hpp"
#include "ltt/vector.hpp"

namespace VorexUtils {

class BitVector;

class JobParallelResultDocSearch : public Parallel::JobBase {
 public:
  /// What a job is given, in the order of its fields.
  struct Setup {
    const IndexVectorRef* vector = nullptr;
    BitVector* docSet = nullptr;  // refined in place
    bool keepHits = true;         // true: drop positions without a hit; false: drop hits
    unsigned long from = 0;
    unsigned long count = 0;
    int rangeFrom = 0;
    int rangeTo = 0;
    const BitVector* valueBv = nullptr;
    const ltt::vector<int>* valueVec = nullptr;     // ascending
    const ltt::vector<int>* valueRanges = nullptr;  // sorted, disjoint start/end pairs
    int numaNode = -1;
  };

  explicit JobParallelResultDocSearch(const Setup& setup) noexcept;

  /// Refines the whole range; returns 2.
  int run() override;
  int getPreferredNumaNode() const override;
  /// 1 (stay on the node) when the executor has strict affinity, otherwise 0.
  int getPreferredAffinityType() const override;
  void getMethod(ltt::basic_ostream<char>& os) const override;
  void getDetails(ltt::basic_ostream<char>& os) const override;
  ~JobParallelResultDocSearch() override;

 private:
  template <class Hit>
  void refine(Hit hit);

  const IndexVectorRef* m_vector;
  BitVector* m_docSet;
  bool m_keepHits;
  unsigned long m_from;
  unsigned long m_count;
  int m_rangeFrom;
  int m_rangeTo;
  const BitVector* m_valueBv;
  const ltt::vector<int>* m_valueVec;
  const ltt::vector<int>* m_valueRanges;
  int m_numaNode;
};

}  // namespace VorexUtils

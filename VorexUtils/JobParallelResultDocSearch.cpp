#include "VorexUtils/JobParallelResultDocSearch.hpp"

#include <algorithm>

#include "Execution/JobExecutorSPI.hpp"
#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/JobValuePredicates.hpp"

namespace VorexUtils {

JobParallelResultDocSearch::JobParallelResultDocSearch(const Setup& s) noexcept
    : m_vector(s.vector),
      m_docSet(s.docSet),
      m_keepHits(s.keepHits),
      m_from(s.from),
      m_count(s.count),
      m_rangeFrom(s.rangeFrom),
      m_rangeTo(s.rangeTo),
      m_valueBv(s.valueBv),
      m_valueVec(s.valueVec),
      m_valueRanges(s.valueRanges),
      m_numaNode(s.numaNode) {}

JobParallelResultDocSearch::~JobParallelResultDocSearch() = default;

template <class Hit>
void JobParallelResultDocSearch::refine(Hit hit) {
  const unsigned long end = m_from + m_count;
  BitVector::const_iterator it;
  if ((end & 63) == 0) {
    // Bounded by the range's own words, so the scan never looks at a neighbour's word.
    const std::uint64_t* words = m_docSet->wordsBegin();
    const std::size_t firstWord = m_from >> 6;
    const std::size_t endWord = std::min<std::size_t>(end >> 6, m_docSet->wordCount());
    if (firstWord < endWord) {
      it = {words + firstWord, words, words + endWord, m_from, words[firstWord] >> (m_from & 63)};
      it.settle();
    } else {
      it = {words + endWord, words, words + endWord, m_from, 0};  // nothing to visit
    }
  } else {
    it = m_docSet->beginAt(m_from);
  }
  // Clearing a bit behind the iterator is safe: it works on its own copy of the word.
  for (; !it.atEnd() && *it < end; ++it) {
    const unsigned long pos = *it;
    if (hit(static_cast<int>(m_vector->get(pos))) != m_keepHits) m_docSet->clear(pos);
  }
}

int JobParallelResultDocSearch::run() {
  if (m_valueVec) {
    const ltt::vector<int>& values = *m_valueVec;
    refine([&values](int v) { return valueInSortedList(values, v); });
  } else if (m_valueBv) {
    const BitVector& bv = *m_valueBv;
    refine([&bv](int v) { return bv.test(static_cast<unsigned int>(v)); });
  } else if (m_valueRanges) {
    const int* r = m_valueRanges->data();
    const std::size_t n = m_valueRanges->size();
    refine([r, n](int v) { return valueInRanges(r, n, v); });
  } else {
    const int lo = m_rangeFrom, hi = m_rangeTo;
    refine([lo, hi](int v) { return lo <= v && v < hi; });
  }
  return 2;
}

int JobParallelResultDocSearch::getPreferredNumaNode() const { return m_numaNode; }

int JobParallelResultDocSearch::getPreferredAffinityType() const {
  return Execution::JobExecutorSPI::getSPIInstance().getNumaFeatures() > 2 ? 1 : 0;
}

void JobParallelResultDocSearch::getMethod(ltt::basic_ostream<char>& os) const {
  os << "JobParallelResultDocSearch";
}

void JobParallelResultDocSearch::getDetails(ltt::basic_ostream<char>& os) const {
  os << "JobParallelResultDocSearch docs=" << m_count;
}

}  // namespace VorexUtils

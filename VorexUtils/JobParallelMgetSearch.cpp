#include "VorexUtils/JobParallelMgetSearch.hpp"

#include <algorithm>

#include "Execution/JobExecutorSPI.hpp"
#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/JobValuePredicates.hpp"
#include "VorexUtils/MgetBuffer.hpp"
#include "config/Configuration.hpp"

namespace VorexUtils {

namespace {

constexpr unsigned long kBlock = 1024;

bool passesFilter(const BitVector* filter, unsigned long pos) noexcept {
  return !filter || (pos < filter->size() && filter->test(pos));
}

// Decodes [from, stop) block by block through a stack buffer and stores the positions whose
// value passes `hit`: a plain or into the shared bit vector, or an append to the job's list.
template <class Hit>
void scanDecoded(const IndexVectorRef& vector, unsigned long from, unsigned long stop,
                 const BitVector* filter, BitVector* resultBv, ltt::vector<unsigned int>* resultVec,
                 Hit hit) {
  MgetStackBuffer<kBlock, unsigned int> buffer;
  const unsigned int* values = buffer.getPtr();
  for (unsigned long block = from; block < stop; block += kBlock) {
    const unsigned long n = std::min(kBlock, stop - block);
    vector.mget(block, n, buffer);
    for (unsigned long i = 0; i < n; ++i) {
      const unsigned long pos = block + i;
      if (!passesFilter(filter, pos) || !hit(static_cast<int>(values[i]))) continue;
      if (resultBv)
        resultBv->set(pos);
      else
        resultVec->push_back(static_cast<unsigned int>(pos));
    }
  }
}

// Keeps the entries behind `oldSize` whose position passes the filter, closing the gaps.
void filterAppended(ltt::vector<unsigned int>& list, std::size_t oldSize, const BitVector& filter) {
  std::size_t out = oldSize;
  for (std::size_t i = oldSize; i < list.size(); ++i)
    if (passesFilter(&filter, list[i])) list[out++] = list[i];
  list.rawResize_(out);
}

// mgetSearch sizes the list to its length plus 1024 (generic) or 2048 (kernels) entries and
// doubles that size whenever it fills up, each time to exactly the new size. Called once per run
// on a growing list, the first doubling of every run would reallocate and copy the whole list.
// Keeping the capacity at twice the length plus that head room, itself grown by doubling, lets a
// run double once in place; a list ends with at most about four times its entries reserved.
void makeRoom(ltt::vector<unsigned int>& list) {
  const std::size_t want = 2 * (list.size() + 2048);
  if (list.capacity() < want) list.reserve(std::max(want, 2 * list.capacity()));
}

}  // namespace

JobParallelMgetSearch::JobParallelMgetSearch(const Setup& s) noexcept
    : m_vector(s.vector),
      m_from(s.from),
      m_docs(s.docs),
      m_to(s.to),
      m_docFilter(s.docFilter),
      m_rangeFrom(s.rangeFrom),
      m_rangeTo(s.rangeTo),
      m_valueBv(s.valueBv),
      m_valueVec(s.valueVec),
      m_valueRanges(s.valueRanges),
      m_resultBv(s.resultBv),
      m_maxHit(s.maxHit),
      m_resultVec(s.resultVec),
      m_numaNode(s.numaNode) {}

JobParallelMgetSearch::~JobParallelMgetSearch() = default;

int JobParallelMgetSearch::run() {
  const unsigned long stop = std::min(m_from + kPositionsPerRun, m_to);
  const unsigned long n = stop - m_from;

  if (m_valueVec) {
    const ltt::vector<int>& values = *m_valueVec;
    scanDecoded(*m_vector, m_from, stop, m_docFilter, m_resultBv, m_resultVec,
                [&values](int v) { return valueInSortedList(values, v); });
  } else if (m_valueBv) {
    // With a bit-vector result the document filter is left to the caller.
    if (m_resultBv) {
      m_vector->mgetSearch(m_from, n, *m_valueBv, *m_resultBv);
    } else {
      const std::size_t oldSize = m_resultVec->size();
      makeRoom(*m_resultVec);
      m_vector->mgetSearch(m_from, n, *m_valueBv, *m_resultVec);
      if (m_docFilter) filterAppended(*m_resultVec, oldSize, *m_docFilter);
    }
  } else if (m_valueRanges) {
    if (!m_valueRanges->empty()) {
      const int* r = m_valueRanges->data();
      const std::size_t count = m_valueRanges->size();
      scanDecoded(*m_vector, m_from, stop, m_docFilter, m_resultBv, m_resultVec,
                  [r, count](int v) { return valueInRanges(r, count, v); });
    }
  } else {
    const auto lo = static_cast<unsigned int>(m_rangeFrom);
    const auto hi = static_cast<unsigned int>(m_rangeTo);
    if (m_resultBv) {
      m_vector->mgetSearch(m_from, n, lo, hi, *m_resultBv);
    } else {
      const std::size_t oldSize = m_resultVec->size();
      makeRoom(*m_resultVec);
      m_vector->mgetSearch(m_from, n, lo, hi, *m_resultVec);
      if (m_docFilter) filterAppended(*m_resultVec, oldSize, *m_docFilter);
    }
  }

  // Raise the shared highest hit, never lower it. Relaxed suffices: readers look at it only
  // after the executor has returned, which orders every job's writes before them.
  const unsigned long end = m_from + n;
  if (m_resultBv && static_cast<long>(end) > m_maxHit->load(std::memory_order_relaxed)) {
    const unsigned long last = m_resultBv->findLastSetInRange(m_from, end);
    if (last < end) {
      long seen = m_maxHit->load(std::memory_order_relaxed);
      while (seen < static_cast<long>(last) &&
             !m_maxHit->compare_exchange_weak(seen, static_cast<long>(last),
                                              std::memory_order_relaxed)) {
      }
    }
  }

  if (stop == m_to) return 2;
  m_from = stop;
  return 1;
}

int JobParallelMgetSearch::getPreferredNumaNode() const {
  const unsigned long remaining = m_to - m_from;
  if (remaining >= config::mgetSearchNumaThreshold().get()) return m_numaNode;
  if (Execution::JobExecutorSPI::getSPIInstance().getNumaFeatures() > 1) return m_numaNode;
  return -1;
}

int JobParallelMgetSearch::getPreferredAffinityType() const {
  return Execution::JobExecutorSPI::getSPIInstance().getNumaFeatures() > 2 ? 1 : 0;
}

void JobParallelMgetSearch::getMethod(ltt::basic_ostream<char>& os) const {
  os << "JobParallelMgetSearch";
}

void JobParallelMgetSearch::getDetails(ltt::basic_ostream<char>& os) const {
  os << "JobParallelMgetSearch docs=" << m_docs << "(" << (m_resultBv ? "BV" : "VEC") << ") vid=";
  if (m_valueVec) {
    os << m_valueVec->size() << "(VEC)";
  } else if (m_valueBv) {
    os << m_valueBv->size() << "(BV)";
  } else if (m_valueRanges) {
    long width = 0;
    const ltt::vector<int>& r = *m_valueRanges;
    for (std::size_t i = 0; i + 1 < r.size(); i += 2)
      width += static_cast<long>(r[i + 1]) - static_cast<long>(r[i]);
    os << width << " (RNGVEC)";
  } else {
    // 32-bit difference, wrapping as the fields do.
    os << static_cast<int>(static_cast<unsigned int>(m_rangeTo) -
                           static_cast<unsigned int>(m_rangeFrom))
       << "(RNG)";
  }
}

}  // namespace VorexUtils

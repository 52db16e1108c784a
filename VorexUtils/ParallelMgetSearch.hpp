// parallelMgetSearch: one call that searches a stretch of a packed vector for a value range on
// all cores. The stretch is cut into one JobParallelMgetSearch per thread, in pieces that meet
// at multiples of 64 positions, and the jobs run on the current job executor
// (Execution::JobExecutorSPI). The results are those of IndexVectorRef::mgetSearch with the same
// arguments: a value v matches when rangeFrom <= v < rangeTo, compared unsigned.
//
// Thread-safe: concurrent calls may search one vector, which nobody writes meanwhile; a result
// belongs to one call. Each call blocks until its jobs are done.
#pragma once

#include "VorexUtils/IndexVectorRef.hpp"
#include "ltt/vector.hpp"

namespace VorexUtils {

class BitVector;

/// Appends the positions of [from, from + count) whose value lies in [rangeFrom, rangeTo) to
/// `result`, in ascending order, behind what it holds (positions are truncated to 32 bits, as
/// mgetSearch stores them). `threads` is the number of jobs, so at most that many cores work at
/// once; 0 means one per hardware thread. Short stretches are searched on the calling thread.
/// If a job throws (memory), `result` is cut back to its old size and the exception propagates.
/// Every piece but the first collects into a list of its own, which is copied behind `result`
/// at the end: for dense results (a large share of the positions) the bit-vector form is cheaper.
/// Room reserved in `result` beforehand is taken as the expected number of hits: each piece's
/// list starts with its share of it.
void parallelMgetSearch(const IndexVectorRef& vector, unsigned long from, unsigned long count,
                        unsigned int rangeFrom, unsigned int rangeTo,
                        ltt::vector<unsigned int>& result, unsigned int threads = 0);

/// Sets the bits of the matching positions in `result`, which must have a bit for every position
/// searched; other bits are left as they are. Returns the highest set position of `result` in
/// [from, from + count) afterwards, or -1 when there is none.
long parallelMgetSearch(const IndexVectorRef& vector, unsigned long from, unsigned long count,
                        unsigned int rangeFrom, unsigned int rangeTo, BitVector& result,
                        unsigned int threads = 0);

}  // namespace VorexUtils

// Generic range and value-filter searches over packed values, into a position list or a bit
// vector. One skeleton for all four: single reads up to the next multiple of 64 positions, then
// whole groups of 64 through a loop specialised for the width (64 values of `bits` bits are
// exactly `bits` words, so a group starts at a word boundary and fills one result word), then
// single reads again. Each group yields a 64-bit hit mask without a branch per value.
#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/IndexVectorRef.hpp"
#include "sse_icc_lib/getGeneric.hpp"

namespace VorexUtils {
namespace {

using std::size_t;
using std::uint64_t;

constexpr size_t kGroup = 64;       // positions per group
constexpr size_t kHeadRoom = 1024;  // list entries made free before the head (63 at most used)

constexpr uint64_t lowMask(unsigned n) { return n >= 64 ? ~uint64_t{0} : (uint64_t{1} << n) - 1; }

// The per-group building blocks must melt into one loop body per width, whatever the inliner's
// budget says.
#define VOREX_INLINE inline __attribute__((always_inline))

/// Forces a constant expression to be folded at compile time in every build type.
template <uint64_t V>
inline constexpr uint64_t kConst = V;

/// What a search compares with; the range fields or the filter words, by probe.
struct SearchArgs {
  unsigned int rangeFrom;
  unsigned int rangeTo;
  const Word* filter;
};

// ---------------------------------------------------------------------------------------------
// Reading a group. All shifts and word indexes are constants of the instantiation.

/// Value J of a group that starts at a word boundary.
template <unsigned B, unsigned J>
VOREX_INLINE unsigned valueAt(const Word* w) noexcept {
  constexpr unsigned p = J * B, q = p / 64, s = p % 64;
  Word v = w[q] >> s;
  if constexpr (s + B > 64) v |= w[q + 1] << (64 - s);
  return static_cast<unsigned>(v & lowMask(B));
}

/// Hit mask of a group tested one value at a time: bit J is the test of value J.
template <unsigned B, class Probe, size_t... J>
VOREX_INLINE uint64_t perValueGroup(const Word* w, const Probe& probe,
                                    std::index_sequence<J...>) noexcept {
  return ((uint64_t{probe.single(valueAt<B, J>(w))} << J) | ...);
}

// ---------------------------------------------------------------------------------------------
// Range test on whole words (SWAR). A window holds K <= 64 / B fields from bit 0. Even fields and
// odd fields (shifted down by B) are tested apart, so that every field has a free guard bit just
// above it: (x | guard) - lo keeps the guard iff x >= lo, (hi | guard) - x keeps it iff x <= hi,
// and no borrow leaves a slot because lo and hi never exceed the value mask.
// The same code runs on one 64-bit lane (one group) or on two lanes of a 128-bit vector (two
// neighbouring groups, whose words have the same layout B words apart). The vector type is the
// compiler's generic one: at the baseline it becomes SSE2, which every x86-64 processor has.

using Pair = uint64_t __attribute__((vector_size(16)));

template <class V>
constexpr bool kIsPair = std::is_same_v<V, Pair>;

/// Word q of the group at w, and for a pair also word q of the group B words further.
template <class V, unsigned B>
VOREX_INLINE V loadWord(const Word* w, unsigned q) noexcept {
  if constexpr (kIsPair<V>)
    return Pair{w[q], w[q + B]};
  else
    return w[q];
}

/// Fields per window: at most 64 / B, fewer when that saves work. Costs are operations per
/// window: a window of several fields splits, tests two halves, joins and folds them; a window
/// of one field only tests it. (Checked against instruction counts: 7 bits take 8 fields, 22
/// bits and more take 1.)
constexpr unsigned chunkFields(unsigned bits) {
  unsigned best = 64 / bits, bestCost = ~0u;
  for (unsigned k = 64 / bits; k >= 1; --k) {
    unsigned cost = 0;
    for (unsigned first = 0; first < 64; first += k) {
      const unsigned fields = std::min(k, 64 - first);
      cost += fields == 1 ? 13 : 30 + 4 * std::bit_width(fields - 1);
    }
    if (cost < bestCost) best = k, bestCost = cost;
  }
  return best;
}

template <unsigned B>
struct Swar {
  static constexpr unsigned K = chunkFields(B);
  /// Bit 0 of each slot of 2B bits that holds a field of the window (even fields only).
  static constexpr uint64_t ONE = [] {
    uint64_t v = 0;
    for (unsigned j = 0; j < K; j += 2) v |= uint64_t{1} << (j * B);
    return v;
  }();
  static constexpr uint64_t FIELDS = ONE * lowMask(B);
  // The highest guard bit is (K - 1) B or K B, below 64: K B reaches 64 only for even K.
  static constexpr uint64_t GUARD = ONE << B;

  /// Bits j * B for the k fields of a chunk, where field j's flag ends up.
  static constexpr uint64_t flags(unsigned k) {
    uint64_t v = 0;
    for (unsigned j = 0; j < k; ++j) v |= uint64_t{1} << (j * B);
    return v;
  }

  /// Where the flag of field j sits after n folding steps: clusters of 2^n flags, stride 2^n B.
  static constexpr uint64_t foldMask(unsigned k, unsigned n) {
    uint64_t v = 0;
    for (unsigned j = 0; j < k; ++j)
      v |= uint64_t{1} << (((j >> n) << n) * B + (j & ((1u << n) - 1)));
    return v;
  }

  /// Moves k flags at stride B (bit j * B) to bits 0..k-1.
  template <unsigned k, class V>
  static VOREX_INLINE V gather(V f) noexcept {
    if constexpr (k == 1) {
      return f;
    } else if constexpr (k <= B && !kIsPair<V>) {
      // One multiply: with k <= B the shifted copies never meet, so no carry reaches the result.
      constexpr unsigned T = (k - 1) * (B - 1);
      constexpr uint64_t M = [] {
        uint64_t m = 0;
        for (unsigned j = 0; j < k; ++j) m |= uint64_t{1} << (T - j * (B - 1));
        return m;
      }();
      return ((f * M) >> T) & lowMask(k);
    } else {
      // Pairwise folding (no 64-bit vector multiply at the baseline).
      return fold<k>(f, std::make_integer_sequence<unsigned, std::bit_width(k - 1)>{});
    }
  }

  /// Step N + 1 joins neighbouring clusters of 2^N flags into clusters of 2^(N+1).
  template <unsigned k, class V, unsigned... N>
  static VOREX_INLINE V fold(V f, std::integer_sequence<unsigned, N...>) noexcept {
    ((f = (f | (f >> ((1u << N) * (B - 1)))) & kConst<foldMask(k, N + 1)>), ...);
    return f;
  }
};

/// Range test of fields J0 .. J0+k-1 of a group; their hit bits at J0 .. J0+k-1.
template <unsigned B, unsigned J0, class V>
VOREX_INLINE V rangeChunk(const Word* w, V lo, V hiGuard) noexcept {
  using S = Swar<B>;
  constexpr unsigned k = std::min(S::K, 64 - J0);
  constexpr unsigned p = J0 * B, q = p / 64, s = p % 64;
  V win = loadWord<V, B>(w, q) >> s;
  if constexpr (s != 0 && s + k * B > 64) win |= loadWord<V, B>(w, q + 1) << (64 - s);
  if constexpr (S::K == 1) {
    // One field: its guard bit is free once the window is masked, and the flag moves straight
    // from the guard bit to its place.
    const V x = win & S::FIELDS;
    const V f = ((x | S::GUARD) - lo) & (hiGuard - x) & S::GUARD;
    if constexpr (J0 >= B)
      return f << (J0 - B);
    else
      return f >> (B - J0);
  } else {
    const V x0 = win & S::FIELDS;
    const V x1 = (win >> B) & S::FIELDS;
    const V f0 = ((x0 | S::GUARD) - lo) & (hiGuard - x0) & S::GUARD;
    const V f1 = ((x1 | S::GUARD) - lo) & (hiGuard - x1) & S::GUARD;
    const V f = ((f0 >> B) | f1) & kConst<S::flags(k)>;
    return S::template gather<k>(f) << J0;
  }
}

template <unsigned B, class V, unsigned... C>
VOREX_INLINE V rangeChunks(const Word* w, V lo, V hiGuard,
                           std::integer_sequence<unsigned, C...>) noexcept {
  return (rangeChunk<B, C * Swar<B>::K>(w, lo, hiGuard) | ...);
}

/// Hit masks of one group (V = uint64_t) or of two neighbouring groups (V = Pair).
template <unsigned B, class V>
VOREX_INLINE V rangeGroup(const Word* w, V lo, V hiGuard) noexcept {
  constexpr unsigned K = Swar<B>::K;
  return rangeChunks<B>(w, lo, hiGuard,
                        std::make_integer_sequence<unsigned, (kGroup + K - 1) / K>{});
}

/// Widths tested on whole words; width 1 has its own test.
template <unsigned B>
constexpr bool kSwarWidth = B >= 2 && B <= 32;

/// Width 1: the values are the bits, so a set of matching values is a choice among word and
/// complement.
struct OneBitSets {
  Word ones = 0;   // all ones iff value 1 matches
  Word zeros = 0;  // all ones iff value 0 matches
  VOREX_INLINE uint64_t group(const Word* w) const noexcept {
    return (w[0] & ones) | (~w[0] & zeros);
  }
};

// ---------------------------------------------------------------------------------------------
// Probes: the test of one value and of one group, for width B.

template <unsigned B>
class RangeProbe {
 public:
  explicit RangeProbe(const SearchArgs& a) noexcept
      : m_from(a.rangeFrom), m_width(a.rangeFrom < a.rangeTo ? a.rangeTo - a.rangeFrom : 0) {
    if constexpr (B == 1) {
      m_bits.ones = single(1) ? ~Word{0} : 0;
      m_bits.zeros = single(0) ? ~Word{0} : 0;
    } else if constexpr (kSwarWidth<B>) {
      // An empty or unreachable range becomes lo 1, hi 0, which no value satisfies.
      uint64_t lo = 1, hi = 0;
      if (m_width != 0 && m_from <= lowMask(B)) {
        lo = m_from;
        hi = std::min<uint64_t>(a.rangeTo - 1u, lowMask(B));
      }
      m_lo = lo * Swar<B>::ONE;
      m_hiGuard = (hi * Swar<B>::ONE) | Swar<B>::GUARD;
    }
  }

  /// rangeFrom <= v < rangeTo as one unsigned compare; m_width 0 for an empty range.
  VOREX_INLINE bool single(unsigned v) const noexcept { return v - m_from < m_width; }

  /// Two groups per pass: the range test on whole words runs on two lanes.
  static constexpr bool kPairs = kSwarWidth<B>;

  VOREX_INLINE uint64_t group(const Word* w) const noexcept {
    if constexpr (B == 1)
      return m_bits.group(w);
    else
      return rangeGroup<B>(w, m_lo, m_hiGuard);
  }

  /// Hit masks of the groups at w and w + B (words).
  VOREX_INLINE Pair groupPair(const Word* w) const noexcept requires kSwarWidth<B> {
    return rangeGroup<B>(w, Pair{m_lo, m_lo}, Pair{m_hiGuard, m_hiGuard});
  }

 private:
  unsigned m_from;
  unsigned m_width;
  uint64_t m_lo = 0;
  uint64_t m_hiGuard = 0;
  OneBitSets m_bits;
};

template <unsigned B>
class FilterProbe {
 public:
  explicit FilterProbe(const SearchArgs& a) noexcept : m_filter(a.filter) {
    // Values below 64 only need the first filter word; keep it in a register.
    if constexpr (B <= 6) m_first = m_filter[0];
    if constexpr (B == 1) {
      m_bits.ones = single(1) ? ~Word{0} : 0;
      m_bits.zeros = single(0) ? ~Word{0} : 0;
    }
  }

  VOREX_INLINE bool single(unsigned v) const noexcept {
    if constexpr (B <= 6) return (m_first >> v) & 1;
    return (m_filter[v >> 6] >> (v & 63)) & 1;
  }

  static constexpr bool kPairs = false;

  VOREX_INLINE uint64_t group(const Word* w) const noexcept {
    if constexpr (B == 1) return m_bits.group(w);
    return perValueGroup<B>(w, *this, std::make_index_sequence<kGroup>{});
  }

 private:
  const Word* m_filter;
  Word m_first = 0;
  OneBitSets m_bits;
};

// ---------------------------------------------------------------------------------------------
// Group loops, one instantiation per width. They start at a multiple of 64 with at least 64
// positions left and return the first position they did not do.

using BitsBodyFn = size_t (*)(size_t pos, size_t end, const Word* data, Word* out,
                              const SearchArgs& a);
using ListBodyFn = size_t (*)(size_t pos, size_t end, const Word* data,
                              ltt::vector<unsigned int>& result, size_t& idx, const SearchArgs& a);

template <unsigned B, template <unsigned> class Probe>
size_t bitsBody(size_t pos, size_t end, const Word* data, Word* out, const SearchArgs& a) {
  const Probe<B> probe(a);
  Word* r = out + (pos >> 6);
  if constexpr (B == 0) {
    // No stream: every value is 0, so one test decides all groups.
    const size_t groups = (end - pos) / kGroup;
    if (probe.single(0))
      for (size_t g = 0; g < groups; ++g) r[g] = ~Word{0};
    return pos + groups * kGroup;
  } else {
    const Word* w = data + (pos >> 6) * B;
    if constexpr (Probe<B>::kPairs) {
      for (; end - pos >= 2 * kGroup; pos += 2 * kGroup, w += 2 * B, r += 2) {
        const Pair hits = probe.groupPair(w);
        r[0] |= hits[0];
        r[1] |= hits[1];
      }
    }
    for (; end - pos >= kGroup; pos += kGroup, w += B, ++r) *r |= probe.group(w);
    if constexpr (B == 32) {
      // Two values per word: go on by pairs; they all fall into the result word at r.
      for (; end - pos >= 2; pos += 2, ++w) {
        const Word pair = Word{probe.single(static_cast<unsigned>(*w))} |
                          Word{probe.single(static_cast<unsigned>(*w >> 32))} << 1;
        *r |= pair << (pos & 63);
      }
    }
    return pos;
  }
}

/// Set-bit positions of every byte value, in ascending order, and their number.
struct ByteExpansion {
  alignas(16) std::uint32_t offsets[256][8];  // 8 KiB: two plain loads per byte, no unpacking
  std::uint8_t count[256];
};
constexpr ByteExpansion kExpansion = [] {
  ByteExpansion e{};
  for (unsigned v = 0; v < 256; ++v) {
    unsigned n = 0;
    for (unsigned i = 0; i < 8; ++i)
      if ((v >> i) & 1) e.offsets[v][n++] = i;
    e.count[v] = static_cast<std::uint8_t>(n);
  }
  return e;
}();

/// Turns hit masks into positions base + i for every set bit i; the caller guarantees 64 free
/// entries. Dense masks expand a byte at a time from a table, storing eight candidates and
/// keeping as many as the byte has bits: a fixed cost without a branch per hit, and entries past
/// the kept ones are overwritten or cut off later. Sparse masks walk their set bits, which costs
/// a mispredicted loop exit about once per group. The mode follows a running average of hits
/// per group, which is stable for given data and range, so its own branch predicts well.
class PositionEmitter {
 public:
  VOREX_INLINE size_t operator()(unsigned* out, size_t idx, unsigned base, uint64_t m) noexcept {
    const size_t start = idx;
    if (m_load >= kDenseLoad) {
      idx = expandBytes(out, idx, base, m, std::make_integer_sequence<unsigned, 8>{});
    } else {
      for (; m != 0; m &= m - 1) out[idx++] = base + static_cast<unsigned>(std::countr_zero(m));
    }
    m_load = m_load - (m_load >> 2) + (idx - start);  // four times the average in steady state
    return idx;
  }

 private:
  using Lanes4 = std::uint32_t __attribute__((vector_size(16)));

  /// Byte b of m, at its place base + 8 b; constant shifts, no loop.
  template <unsigned... b>
  static VOREX_INLINE size_t expandBytes(unsigned* out, size_t idx, unsigned base, uint64_t m,
                                         std::integer_sequence<unsigned, b...>) noexcept {
    const Lanes4 first = Lanes4{} + base;
    ((idx = expandByte<b>(out, idx, first, static_cast<unsigned>(m >> (8 * b)) & 0xFF)), ...);
    return idx;
  }

  template <unsigned b>
  static VOREX_INLINE size_t expandByte(unsigned* out, size_t idx, Lanes4 first,
                                        unsigned byte) noexcept {
    Lanes4 lo, hi;
    std::memcpy(&lo, kExpansion.offsets[byte], 16);
    std::memcpy(&hi, kExpansion.offsets[byte] + 4, 16);
    lo += first + 8 * b;
    hi += first + 8 * b;
    std::memcpy(out + idx, &lo, 16);
    std::memcpy(out + idx + 4, &hi, 16);
    return idx + kExpansion.count[byte];
  }

  static constexpr size_t kDenseLoad = 4 * 12;  // measured: from about 12 hits per group
  size_t m_load = 0;
};

template <unsigned B, template <unsigned> class Probe>
size_t listBody(size_t pos, size_t end, const Word* data, ltt::vector<unsigned int>& result,
                size_t& idxInOut, const SearchArgs& a) {
  const Probe<B> probe(a);
  size_t idx = idxInOut;
  size_t raw = result.size();
  unsigned* out = result.data();
  if constexpr (B == 0) {
    const size_t stop = pos + (end - pos) / kGroup * kGroup;
    if (probe.single(0)) {
      // Every position is a hit; the list doubles from the write index whenever it is full.
      while (pos < stop) {
        if (idx == raw) {
          raw = 2 * idx;
          result.rawResize_(raw);
          out = result.data();
        }
        const size_t n = std::min(raw - idx, stop - pos);
        for (size_t i = 0; i < n; ++i) out[idx + i] = static_cast<unsigned>(pos + i);
        idx += n;
        pos += n;
      }
    }
    pos = stop;
  } else if constexpr (B == 32) {
    const Word* w = data + pos / 2;
    for (; end - pos >= 2; pos += 2, ++w) {
      if (raw - idx < 2) {
        raw *= 2;
        result.rawResize_(raw);
        out = result.data();
      }
      // Store unconditionally, keep the entry only on a hit.
      out[idx] = static_cast<unsigned>(pos);
      idx += probe.single(static_cast<unsigned>(*w));
      out[idx] = static_cast<unsigned>(pos + 1);
      idx += probe.single(static_cast<unsigned>(*w >> 32));
    }
  } else {
    // Room for a group is made before each group, as if they came one by one.
    auto room = [&] {
      if (raw - idx < kGroup) {
        raw *= 2;
        result.rawResize_(raw);
        out = result.data();
      }
    };
    PositionEmitter emit;
    const Word* w = data + (pos >> 6) * B;
    if constexpr (Probe<B>::kPairs) {
      for (; end - pos >= 2 * kGroup; pos += 2 * kGroup, w += 2 * B) {
        const Pair hits = probe.groupPair(w);
        room();
        idx = emit(out, idx, static_cast<unsigned>(pos), hits[0]);
        room();
        idx = emit(out, idx, static_cast<unsigned>(pos + kGroup), hits[1]);
      }
    }
    for (; end - pos >= kGroup; pos += kGroup, w += B) {
      room();
      idx = emit(out, idx, static_cast<unsigned>(pos), probe.group(w));
    }
  }
  idxInOut = idx;
  return pos;
}

template <template <unsigned> class Probe, size_t... B>
constexpr std::array<BitsBodyFn, 33> bitsTable(std::index_sequence<B...>) {
  return {&bitsBody<B, Probe>...};
}
template <template <unsigned> class Probe, size_t... B>
constexpr std::array<ListBodyFn, 33> listTable(std::index_sequence<B...>) {
  return {&listBody<B, Probe>...};
}

constexpr auto kRangeBits = bitsTable<RangeProbe>(std::make_index_sequence<33>{});
constexpr auto kRangeList = listTable<RangeProbe>(std::make_index_sequence<33>{});
constexpr auto kFilterBits = bitsTable<FilterProbe>(std::make_index_sequence<33>{});
constexpr auto kFilterList = listTable<FilterProbe>(std::make_index_sequence<33>{});

// ---------------------------------------------------------------------------------------------
// The skeleton: head, body, tail. Read yields a value, Test tests it.

/// End of the head: `from` rounded up to a multiple of 64, or the end if that comes first.
inline size_t headEnd(size_t from, size_t end) noexcept {
  return std::min(end, (from + kGroup - 1) & ~(kGroup - 1));
}

template <class Read, class Test>
void searchIntoBits(size_t from, size_t count, BitVector& result, unsigned bits, const Word* data,
                    const SearchArgs& a, const std::array<BitsBodyFn, 33>& table, Read read,
                    Test test) {
  void* storage = nullptr;
  unsigned long bytes = 0;
  result.readStorage(storage, bytes);
  Word* out = static_cast<Word*>(storage);

  size_t pos = from;
  const size_t end = from + count;
  // Or-ing a zero rewrites the word unchanged; it only touches words of searched positions.
  for (const size_t stop = headEnd(from, end); pos < stop; ++pos)
    out[pos >> 6] |= Word{test(read(pos))} << (pos & 63);
  if (bits <= 32 && end - pos >= kGroup) pos = table[bits](pos, end, data, out, a);
  for (; pos < end; ++pos) out[pos >> 6] |= Word{test(read(pos))} << (pos & 63);
}

template <class Read, class Test>
void searchIntoList(size_t from, size_t count, ltt::vector<unsigned int>& result, unsigned bits,
                    const Word* data, const SearchArgs& a, const std::array<ListBodyFn, 33>& table,
                    Read read, Test test) {
  // The loops store without a capacity test: room is made per group, and the vector is cut
  // back to the entries written at the end.
  size_t idx = result.size();
  result.rawResize_(idx + kHeadRoom);
  unsigned* out = result.data();

  size_t pos = from;
  const size_t end = from + count;
  for (const size_t stop = headEnd(from, end); pos < stop; ++pos) {
    out[idx] = static_cast<unsigned>(pos);
    idx += test(read(pos));
  }
  if (bits <= 32 && end - pos >= kGroup) {
    pos = table[bits](pos, end, data, result, idx, a);
    out = result.data();
  }
  for (; pos < end; ++pos) {
    if (result.size() - idx < kGroup) {
      result.rawResize_(result.size() + kGroup);
      out = result.data();
    }
    out[idx] = static_cast<unsigned>(pos);
    idx += test(read(pos));
  }
  result.rawResize_(idx);
}

/// rangeFrom <= v < rangeTo, unsigned; nothing for rangeFrom >= rangeTo.
struct RangeTest {
  unsigned from;
  unsigned width;
  RangeTest(unsigned rangeFrom, unsigned rangeTo) noexcept
      : from(rangeFrom), width(rangeFrom < rangeTo ? rangeTo - rangeFrom : 0) {}
  bool operator()(unsigned v) const noexcept { return v - from < width; }
};

struct FilterTest {
  const Word* filter;
  bool operator()(unsigned v) const noexcept { return (filter[v >> 6] >> (v & 63)) & 1; }
};

struct GenericRead {
  unsigned bits;
  const Word* data;
  Word mask;
  unsigned operator()(size_t i) const noexcept {
    return sse_icc_lib::getGeneric(i, bits, data, mask);
  }
};

}  // namespace

void mgetSearchGeneric(unsigned long from, unsigned long count, unsigned int rangeFrom,
                       unsigned int rangeTo, ltt::vector<unsigned int>& result, unsigned int bits,
                       const unsigned long* data, unsigned long mask) {
  searchIntoList(from, count, result, bits, data, SearchArgs{rangeFrom, rangeTo, nullptr},
                 kRangeList, GenericRead{bits, data, mask}, RangeTest(rangeFrom, rangeTo));
}

void mgetSearchGenericResBv(unsigned long from, unsigned long count, unsigned int rangeFrom,
                            unsigned int rangeTo, BitVector& result, unsigned int bits,
                            const unsigned long* data, unsigned long mask) {
  searchIntoBits(from, count, result, bits, data, SearchArgs{rangeFrom, rangeTo, nullptr},
                 kRangeBits, GenericRead{bits, data, mask}, RangeTest(rangeFrom, rangeTo));
}

void mgetSearchGenericBvResBv(unsigned long from, unsigned long count, const BitVector& filter,
                              BitVector& result, unsigned int bits, const unsigned long* data,
                              unsigned long mask) {
  const Word* words = filter.wordsBegin();
  searchIntoBits(from, count, result, bits, data, SearchArgs{0, 0, words}, kFilterBits,
                 GenericRead{bits, data, mask}, FilterTest{words});
}

void mgetSearchGenericBv(unsigned long from, unsigned long count, const BitVector& filter,
                         ltt::vector<unsigned int>& result, unsigned int bits,
                         const unsigned long* data, unsigned long /*mask*/) {
  // Single values go through the view's own read (the 8-byte span at a 4-byte step).
  const IndexVectorRef view(data, bits);
  const Word* words = filter.wordsBegin();
  searchIntoList(
      from, count, result, bits, data, SearchArgs{0, 0, words}, kFilterList,
      [&view](size_t i) { return view.get(i); }, FilterTest{words});
}

}  // namespace VorexUtils

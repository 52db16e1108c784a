// Width-specialised building blocks of the 64-bit packed vectors, included only by the
// IndexVector64_gen_* units. Every operation is one template over the width, instantiated for
// the 65 widths 0..64 by makeWidthTable; inside, masks and shift counts are constants.
//
// A bulk operation runs in three phases: single values up to the first position whose stream
// offset is a word boundary, then whole groups, then single values. A group is the values that
// fill a whole number of words: 64 values for odd widths, 32 for widths of 2 mod 4, 16 for
// multiples of 4 (at width 64 a value is a word). A group starting on a word boundary ends on
// one, so every value of a group has a fixed word and shift.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/IndexVector64.hpp"

namespace VorexUtils::iv64 {

inline constexpr unsigned kWidths = 65;

template <unsigned Bits>
inline constexpr Word kMask = [] {
  if constexpr (Bits == 64)
    return ~Word{0};
  else
    return (Word{1} << Bits) - 1;
}();

template <unsigned Bits>
inline constexpr unsigned kGroup = Bits % 2   ? 64
                                   : Bits % 4 ? 32
                                              : 16;
template <unsigned Bits>
inline constexpr unsigned kGroupWords = (Bits * kGroup<Bits>) / 64;

/// Value i of the stream at data (Bits >= 1); reads a second word only if the value crosses.
template <unsigned Bits>
inline Word getAt(const Word* data, unsigned long i) noexcept {
  if constexpr (Bits == 64) {
    return data[i];
  } else {
    const unsigned long p = i * Bits;
    const Word* w = data + (p >> 6);
    const unsigned o = p & 63;
    Word v = w[0] >> o;
    if (o + Bits > 64) v |= w[1] << (64 - o);
    return v & kMask<Bits>;
  }
}

/// Two-part store of value i (Bits >= 1); the value is not masked.
template <unsigned Bits>
inline void setAt(Word* data, unsigned long i, Word v) noexcept {
  if constexpr (Bits == 64) {
    data[i] = v;
  } else {
    const unsigned long p = i * Bits;
    Word* w = data + (p >> 6);
    const unsigned o = p & 63;
    w[0] = (w[0] & ~(kMask<Bits> << o)) | (v << o);
    if (o + Bits > 64) {
      const unsigned h = o + Bits - 64;
      w[1] = (w[1] & ~((Word{1} << h) - 1)) | (v >> (Bits - h));
    }
  }
}

/// Value K of a group whose words are `w`.
template <unsigned Bits, unsigned K>
inline Word decode(const Word* w) noexcept {
  constexpr unsigned long p = static_cast<unsigned long>(K) * Bits;
  constexpr unsigned i = p >> 6;
  constexpr unsigned o = p & 63;
  if constexpr (Bits == 64) {
    return w[i];
  } else if constexpr (Bits == 8 || Bits == 16 || Bits == 32) {
    // Whole bytes of little-endian words: one narrow load instead of a shift and a mask.
    using Narrow = std::conditional_t<Bits == 8, std::uint8_t,
                                      std::conditional_t<Bits == 16, std::uint16_t, std::uint32_t>>;
    Narrow v;
    std::memcpy(&v, reinterpret_cast<const char*>(w) + p / 8, sizeof v);
    return v;
  } else if constexpr (o + Bits > 64) {
    return ((w[i] >> o) | (w[i + 1] << (64 - o))) & kMask<Bits>;
  } else if constexpr (o + Bits == 64) {
    return w[i] >> o;
  } else {
    return (w[i] >> o) & kMask<Bits>;
  }
}

template <unsigned Bits, class F, unsigned... K>
inline void forEachInGroup(const Word* __restrict in, F&& f,
                           std::integer_sequence<unsigned, K...>) noexcept {
  (f(K, decode<Bits, K>(in)), ...);
}

/// Calls f(k, value) for the kGroup<Bits> values of the group at `in`. What f writes never
/// aliases the group (restrict), so each word is loaded once however f stores.
template <unsigned Bits, class F>
inline void forEachInGroup(const Word* in, F&& f) noexcept {
  forEachInGroup<Bits>(in, f, std::make_integer_sequence<unsigned, kGroup<Bits>>{});
}

/// Packs the group values[0..kGroup) into whole words at `out`; no word is read.
template <unsigned Bits>
inline void encodeGroup(const Word* values, Word* out) noexcept {
  Word w[kGroupWords<Bits>] = {};
  [&]<unsigned... K>(std::integer_sequence<unsigned, K...>) {
    (
        [&] {
          constexpr unsigned long p = static_cast<unsigned long>(K) * Bits;
          constexpr unsigned i = p >> 6;
          constexpr unsigned o = p & 63;
          const Word v = values[K];
          w[i] |= v << o;
          if constexpr (o + Bits > 64) w[i + 1] |= v >> (64 - o);
        }(),
        ...);
  }
  (std::make_integer_sequence<unsigned, kGroup<Bits>>{});
  std::memcpy(out, w, sizeof w);
}

/// Walks [from, from + count) in the three phases: single(i) for the head and the tail, and
/// group(i, w) for each whole group, whose first position is i and first word is word w.
template <unsigned Bits, class Single, class Group>
inline void walk(unsigned long from, unsigned long count, Single&& single, Group&& group) {
  unsigned long i = from;
  const unsigned long end = from + count;
  for (; i < end && ((i * Bits) & 63) != 0; ++i) single(i);
  unsigned long w = (i * Bits) >> 6;
  for (; end - i >= kGroup<Bits>; i += kGroup<Bits>, w += kGroupWords<Bits>) group(i, w);
  for (; i < end; ++i) single(i);
}

/// An array of 65 pointers, entry b being Op<b>::run.
template <template <unsigned> class Op>
constexpr auto makeWidthTable() {
  return []<unsigned... B>(std::integer_sequence<unsigned, B...>) {
    return std::array{&Op<B>::run...};
  }
  (std::make_integer_sequence<unsigned, kWidths>{});
}

// --- tests of the searches ---

/// rangeFrom <= v < rangeTo as one unsigned compare; an empty or inverted range has span 0.
struct RangeTest {
  Word lo, span;
  RangeTest(Word rangeFrom, Word rangeTo) noexcept
      : lo(rangeFrom), span(rangeFrom < rangeTo ? rangeTo - rangeFrom : 0) {}
  bool operator()(Word v) const noexcept { return v - lo < span; }
};

/// Bit v of a value filter; the filter has a bit for every value that can occur.
struct FilterTest {
  const Word* words;
  explicit FilterTest(const BitVector& filter) noexcept : words(filter.wordsBegin()) {}
  bool operator()(Word v) const noexcept { return (words[v >> 6] >> (v & 63)) & 1; }
};

// --- result sinks ---

/// Writes matching values from index 0 over the list. The list is grown without initialisation
/// (old size + 1024 at first, doubled before a group that might not fit, +64 before a single
/// value that might not fit) so that the group loops store without a capacity test, and cut to
/// the number of hits at the end.
class ValueListSink {
 public:
  explicit ValueListSink(ltt::vector<Word>& result) : m_result(result) {
    grow(result.size() + 1024);
  }
  void single(Word v, bool hit) {
    if (m_raw - m_count < 64) grow(m_raw + 64);
    m_out[m_count] = v;
    m_count += hit;
  }
  template <unsigned Bits, class Test>
  void group(const Word* in, const Test& test) {
    if (m_raw - m_count < kGroup<Bits>) grow(2 * m_raw);
    Word* out = m_out + m_count;
    unsigned long n = 0;
    forEachInGroup<Bits>(in, [&](unsigned, Word v) {
      out[n] = v;
      n += test(v);
    });
    m_count += n;
  }
  void finish() { m_result.rawResize_(m_count); }

 private:
  void grow(unsigned long n) {
    m_result.rawResize_(n);
    m_out = m_result.data();
    m_raw = n;
  }
  ltt::vector<Word>& m_result;
  Word* m_out = nullptr;
  unsigned long m_raw = 0;
  unsigned long m_count = 0;
};

/// Ors the bit of each matching position into the raw words of a bit vector.
class PositionBitsSink {
 public:
  explicit PositionBitsSink(BitVector& result) noexcept {
    void* p;
    unsigned long bytes;
    result.readStorage(p, bytes);
    m_words = static_cast<Word*>(p);
  }
  void single(unsigned long i, bool hit) noexcept {
    if (hit) m_words[i >> 6] |= Word{1} << (i & 63);
  }
  /// Ors the G-bit mask of positions [i, i + G) in; it may straddle two words.
  template <unsigned G>
  void bits(unsigned long i, Word m) noexcept {
    Word* w = m_words + (i >> 6);
    const unsigned s = i & 63;
    w[0] |= m << s;
    if (s + G > 64) w[1] |= m >> (64 - s);  // s >= 1 here
  }
  /// Sets every position of [from, from + count).
  void all(unsigned long from, unsigned long count) noexcept;

 private:
  Word* m_words;
};

inline void PositionBitsSink::all(unsigned long from, unsigned long count) noexcept {
  unsigned long i = from;
  const unsigned long end = from + count;
  for (; i < end && (i & 63) != 0; ++i) single(i, true);
  for (; end - i >= 64; i += 64) m_words[i >> 6] = ~Word{0};
  for (; i < end; ++i) single(i, true);
}

// --- the two search skeletons ---

/// Matching values into a list. At width 0 every value is 0: on a match the list grows by
/// `count` zeros behind its content; otherwise it stays as it was.
template <unsigned Bits, class Test>
void searchValues(unsigned long from, unsigned long count, const Test& test,
                  ltt::vector<Word>& result, const Word* data) {
  if constexpr (Bits == 0) {
    if (test(0)) result.resize(result.size() + count, 0);
  } else {
    ValueListSink sink(result);
    walk<Bits>(
        from, count,
        [&](unsigned long i) {
          const Word v = getAt<Bits>(data, i);
          sink.single(v, test(v));
        },
        [&](unsigned long, unsigned long w) { sink.template group<Bits>(data + w, test); });
    sink.finish();
  }
}

/// Bits of matching positions into a bit vector. At width 0 the test is made once.
template <unsigned Bits, class Test>
void searchPositions(unsigned long from, unsigned long count, const Test& test, BitVector& result,
                     const Word* data) {
  PositionBitsSink sink(result);
  if constexpr (Bits == 0) {
    if (test(0)) sink.all(from, count);
  } else {
    walk<Bits>(
        from, count, [&](unsigned long i) { sink.single(i, test(getAt<Bits>(data, i))); },
        [&](unsigned long i, unsigned long w) {
          Word m = 0;
          forEachInGroup<Bits>(data + w, [&](unsigned k, Word v) { m |= Word{test(v)} << k; });
          sink.template bits<kGroup<Bits>>(i, m);
        });
  }
}

}  // namespace VorexUtils::iv64

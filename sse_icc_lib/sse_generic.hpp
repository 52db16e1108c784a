// Range search over packed values, written once over a vector class (BasicSSE42, BasicAVX2)
// and a writer (BVWriter: or-ed into a bit vector; BVVWriter: appended to a position list).
//
// A value is never unpacked. A chunk is loaded with unaligned 16-byte loads, each value's bytes
// are shuffled into a lane of 8, 16, 32 or 64 bits where the value keeps its bit offset (its
// lane shift), the bits above it are masked off, and the lane is compared with bounds that were
// shifted by the same offset once per call. Where a value's offset leaves it no room in its
// lane, it is taken from a copy of the load pre-shifted per 64 bits. The byte shuffles, lane
// shifts, masks and pre-shifts of every width are derived at compile time from the bit layout
// (value i at stream bits [i*W, i*W+W)) by the solver below and checked by static_assert.
//
// The range test is one subtraction and one signed compare per lane: with A = (from << s) ^ sign
// and C = ((to - from) << s) ^ sign, a lane x hits iff C > x - A (signed), which is the unsigned
// test x - (from << s) < (to - from) << s. Bits below the field cannot change that outcome, so
// only the bits above it are masked, and no lane needs a sign correction.
//
// Only units built with -msse4.2 (or wider) include this header. Everything in it lives in an
// unnamed namespace, so every function, template or not, has internal linkage and no copy built
// with one unit's flags can be picked for another (see SSE42.hpp). Reentrant: all state of a call
// lives on its stack.
#pragma once

#if !defined(__SSE4_2__)
#error "sse_generic.hpp belongs to an instruction-set unit"
#endif

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "sse_icc_lib/search_list.hpp"
#include "sse_icc_lib/sse_icc_lib.hpp"

namespace sse_icc_lib {
namespace {

enum class ISA { SSE4 = 0, AVX2 = 1 };
enum Bounds { MinMax = 0, NoMax = 1, Eq = 2 };

// ---------------------------------------------------------------------------------------------
// Writers. A writer receives hit masks in position order; `position` counts from the first value
// of the call.

/// Ors masks into a bit vector; never stores a zero over a set bit, so results accumulate.
struct BVWriter {
  using Args = unsigned char*;
  unsigned char* out;

  explicit BVWriter(Args a) : out(a) {}
  void reserve(unsigned) {}
  template <class M>
  void write(std::size_t, M mask) {
    M old;
    std::memcpy(&old, out, sizeof(M));
    old |= mask;
    std::memcpy(out, &old, sizeof(M));
    out += sizeof(M);
  }
  template <class Isa>
  void writeV(std::size_t, typename Isa::V bits) {
    Isa::storeu(out, Isa::lor(Isa::loadu(out), bits));
    out += Isa::kBytes;
  }
  /// Sets `n` (a multiple of 8) bits.
  void writeOnes(std::size_t, std::size_t n) {
    std::memset(out, 0xff, n / 8);
    out += n / 8;
  }
  void finish() {}
};

/// Appends adjust + position of every hit to a list that grows by doubling.
struct BVVWriter {
  struct Args {
    VectorWrapperIfc& dst;
    unsigned int adjust;
    unsigned int& hits;
  };
  VectorWrapperIfc& out;
  unsigned int adjust;
  unsigned int hits;
  unsigned int& hits_upvalue;
  ListView list;

  explicit BVVWriter(Args a)
      : out(a.dst), adjust(a.adjust), hits(a.hits), hits_upvalue(a.hits), list(searchListView(a.dst)) {}

  /// Room for n more hits; the list never shrinks here.
  void reserve(unsigned n) {
    if (list.size < std::size_t{hits} + n) [[unlikely]]
      list = searchListGrow(out, std::size_t{hits} + n);
  }
  static unsigned bitScanForward(std::uint64_t m) { return static_cast<unsigned>(__builtin_ctzll(m)); }
  void write_bits(unsigned position, std::uint64_t m) {
    unsigned int* p = list.ptr;
    unsigned h = hits;
    const unsigned base = adjust + position;
    do {
      p[h++] = base + bitScanForward(m);
      m &= m - 1;
    } while (m != 0);
    hits = h;
  }
  template <class M>  // an unsigned mask type
  void write(std::size_t position, M mask) {
    if (mask != 0) write_bits(static_cast<unsigned>(position), mask);
  }
  template <class Isa>
  void writeV(std::size_t position, typename Isa::V bits) {
    std::uint64_t w[Isa::kBytes / 8];
    Isa::storeu(w, bits);
    for (unsigned i = 0; i < Isa::kBytes / 8; ++i) write(position + 64 * i, w[i]);
  }
  void writeOnes(std::size_t position, std::size_t n) {
    reserve(static_cast<unsigned>(n));
    unsigned int* p = list.ptr + hits;
    const unsigned base = adjust + static_cast<unsigned>(position);
    for (unsigned i = 0; i < n; ++i) p[i] = base + i;
    hits += static_cast<unsigned>(n);
  }
  void finish() { hits_upvalue = hits; }
};

// ---------------------------------------------------------------------------------------------
// Layout solver: for a width W, where each value of a chunk sits in which lane of which vector.
//
// A chunk is the unit of the 128-bit form: `values` values, `bytes` bytes (values * W / 8). Its
// lanes are split into `parts`, each one 128-bit vector of lanes taken from one 16-byte load at
// byte `load` of the chunk. A lane takes its value either from the load itself or from a
// transformed copy (`Xform`: a byte shift left of the whole vector, then a shift of each 64-bit
// half); both copies are shuffled and or-ed together, the shuffles zeroing the lanes that the
// other copy supplies and every byte that holds no bit of the lane's value.

struct Xform {
  int bytes = 0;  // whole-vector shift left, in bytes
  int bits = 0;   // then a shift of each 64-bit half: > 0 right, < 0 left
  constexpr bool identity() const { return bytes == 0 && bits == 0; }
};

struct PartLayout {
  unsigned load = 0;
  std::uint8_t shuf[2][16] = {};
  std::uint8_t shift[16] = {};  // lane shift of each lane
  std::uint8_t lmask[16] = {};  // bytes of (2^W - 1) << shift, lane by lane
};

struct Layout {
  bool ok = false;
  unsigned width = 0, laneBits = 0, lanes = 0, parts = 0, values = 0, bytes = 0;
  unsigned nsrc = 1;
  Xform x[2] = {};
  bool shuffle = true;      // false when the lanes are the load itself
  bool maskRange = false;   // some lane has foreign bits above its value
  bool maskEq = false;      // some lane has foreign bits anywhere
  unsigned reach = 0;       // bytes from the chunk start that its loads cover
  unsigned loadBack = 0;    // a part that needs a load of its own starts it this many bytes early
  PartLayout part[4] = {};
};

constexpr unsigned laneBitsFor(unsigned w) {
  return (w <= 6 || w == 8) ? 8 : (w <= 14 || w == 16) ? 16 : (w <= 30 || w == 32) ? 32 : 64;
}

/// Position of a field [r, r + w) of a load in the transformed copy, or -1 if it doesn't survive.
constexpr int place(int r, int w, Xform x) {
  int p = r + 8 * x.bytes;
  if (p + w > 128) return -1;
  if (x.bits == 0) return p;
  if (p / 64 != (p + w - 1) / 64) return -1;
  if (x.bits > 0) return p % 64 < x.bits ? -1 : p - x.bits;
  return (p + w - 1) % 64 - x.bits > 63 ? -1 : p - x.bits;
}

/// Fills lanes from the sources; false if some value fits none of them.
constexpr bool assign(Layout& l) {
  const int w = static_cast<int>(l.width), lb = static_cast<int>(l.laneBits), lbytes = lb / 8;
  bool identity = l.nsrc == 1 && l.x[0].identity();
  l.maskRange = l.maskEq = false;
  l.reach = 0;
  for (unsigned p = 0; p < l.parts; ++p) {
    PartLayout& part = l.part[p];
    for (auto& s : part.shuf)
      for (auto& b : s) b = 0x80;
    const int first = static_cast<int>(p * l.lanes) * w;
    const int end = static_cast<int>((p + 1) * l.lanes) * w;
    // Reuse the previous load while the part lies inside it.
    if (p > 0 && first >= 8 * static_cast<int>(l.part[p - 1].load) &&
        end <= 8 * static_cast<int>(l.part[p - 1].load) + 128)
      part.load = l.part[p - 1].load;
    else if (first / 8 >= static_cast<int>(l.loadBack))
      part.load = static_cast<unsigned>(first / 8) - l.loadBack;
    else
      part.load = 0;
    if (end > 8 * static_cast<int>(part.load) + 128) return false;
    if (part.load + 16 > l.reach) l.reach = part.load + 16;
    for (int i = 0; i < static_cast<int>(l.lanes); ++i) {
      const int r = first + i * w - 8 * static_cast<int>(part.load);
      int src = -1, pos = -1;
      for (int s = 0; s < static_cast<int>(l.nsrc) && src < 0; ++s) {
        const int q = place(r, w, l.x[s]);
        if (q >= 0 && q % 8 + w <= lb) src = s, pos = q;
      }
      if (src < 0) return false;
      const int sh = pos % 8;
      part.shift[i] = static_cast<std::uint8_t>(sh);
      for (int t = 0; t < lbytes; ++t) {
        const int byte = pos / 8 + t;
        if (8 * t < sh + w && byte < 16) part.shuf[src][i * lbytes + t] = static_cast<std::uint8_t>(byte);
        if (part.shuf[src][i * lbytes + t] != i * lbytes + t) identity = false;
        const unsigned long long m = ((1ull << w) - 1) << sh;
        part.lmask[i * lbytes + t] = static_cast<std::uint8_t>(t < 8 ? m >> (8 * t) : 0);
      }
      if ((sh + w) % 8 != 0 && sh + w < lb) l.maskRange = true;
      if (sh != 0 || sh + w < lb) l.maskEq = true;
    }
  }
  l.shuffle = !identity;
  if (!l.shuffle && l.maskRange) return false;  // an unshuffled lane must be its value exactly
  return true;
}

constexpr bool tryLayout(Layout& l, unsigned nsrc, Xform x0, Xform x1) {
  l.nsrc = nsrc;
  l.x[0] = x0;
  l.x[1] = x1;
  for (unsigned back = 0; back < 4; ++back) {
    l.loadBack = back;
    if (assign(l)) return l.ok = true;
  }
  return false;
}

constexpr Layout makeLayout(unsigned w) {
  Layout l;
  l.width = w;
  l.laneBits = laneBitsFor(w);
  l.lanes = 128 / l.laneBits;
  // Parts share one load where it holds them all: the 256-bit form then pairs them in one vector
  // from a broadcast load, with no insert.
  l.parts = l.laneBits == 8 ? (w == 2 ? 4 : w <= 4 ? 2 : 1)
          : l.laneBits == 16 ? (w == 7 ? 2 : 1)
          : l.laneBits == 32 ? 2 : 4;
  l.values = l.parts * l.lanes;
  l.bytes = l.values * w / 8;
  // Fewest sources first, the plain load preferred.
  if (tryLayout(l, 1, Xform{}, Xform{})) return l;
  for (int b = 0; b < 8; ++b)
    for (int k = -7; k < 8; ++k)
      if (k != 0 && tryLayout(l, 1, Xform{b, k}, Xform{})) return l;
  for (int b = 0; b < 8; ++b)
    for (int k = -7; k < 8; ++k)
      if (k != 0 && tryLayout(l, 2, Xform{}, Xform{b, k})) return l;
  for (int b0 = 0; b0 < 8; ++b0)
    for (int k0 = -7; k0 < 8; ++k0)
      for (int b1 = b0; b1 < 8; ++b1)
        for (int k1 = -7; k1 < 8; ++k1)
          if (k0 != 0 && k1 != 0 && tryLayout(l, 2, Xform{b0, k0}, Xform{b1, k1})) return l;
  return l;
}

template <unsigned W>
struct LayoutOf {
  static constexpr Layout value = makeLayout(W);
  static_assert(value.ok, "no lane layout for this width");
};

// ---------------------------------------------------------------------------------------------
// The step of an instruction set: one chunk in 128-bit form. In 256-bit form a one-part chunk runs
// twice side by side (the high half is the next chunk); the parts of a wider chunk pair up
// instead, part 2g in the low half of vector g and part 2g + 1 in its high half, so that each
// movemask comes out in value order and no mask has to be interleaved.

template <unsigned W, class Isa>
struct Step {
  static constexpr const Layout& L = LayoutOf<W>::value;
  static constexpr bool kWide = Isa::kHalves == 2;
  static constexpr bool kTwin = kWide && L.parts == 1;  // two chunks per step
  static constexpr unsigned kGroups = kWide && !kTwin ? L.parts / 2 : L.parts;
  static constexpr unsigned kValues = kTwin ? 2 * L.values : L.values;
  static constexpr unsigned kBytes = kTwin ? 2 * L.bytes : L.bytes;
  static constexpr unsigned kGroupBits = kWide ? 2 * L.lanes : L.lanes;
  static constexpr unsigned loPart(unsigned g) { return kWide && !kTwin ? 2 * g : g; }
  static constexpr unsigned hiPart(unsigned g) { return kWide && !kTwin ? 2 * g + 1 : g; }
  static constexpr unsigned loOffset(unsigned g) { return L.part[loPart(g)].load; }
  static constexpr unsigned hiOffset(unsigned g) {
    return kTwin ? L.bytes : L.part[hiPart(g)].load - L.part[loPart(g)].load;
  }
  static constexpr unsigned reach() {
    unsigned r = 0;
    for (unsigned g = 0; g < kGroups; ++g) {
      const unsigned e = loOffset(g) + (kWide ? hiOffset(g) : 0) + 16;
      if (e > r) r = e;
    }
    return r;
  }
  /// Bytes a step may read past its own: what usable_chunks keeps inside the data.
  static constexpr unsigned kMargin = reach() > kBytes ? reach() - kBytes : 0;
  static_assert(kValues <= 64 && 64 % kValues == 0);
};

/// How many steps of `stepBytes` can run over `count` values without a load leaving the last page
/// that holds data, nor the spare word behind the last data word (so that exactly sized
/// allocations stay clean under memory checkers).
template <class Isa>
std::size_t usable_chunks(unsigned bits, const char* data, std::size_t count, unsigned stepValues,
                          unsigned stepBytes, unsigned margin) {
  const std::size_t byCount = count / stepValues;
  if (margin == 0 || byCount == 0) return byCount;
  const std::size_t bytes = (count * bits + 7) / 8;
  const std::uintptr_t last = reinterpret_cast<std::uintptr_t>(data) + bytes - 1;
  std::size_t reach = bytes - (last & 4095) + 4095;
  const std::size_t spare = ((bytes + 7) & ~std::size_t{7}) + 8;
  if (spare < reach) reach = spare;
  if (reach < margin) return 0;
  const std::size_t byReach = (reach - margin) / stepBytes;
  return byReach < byCount ? byReach : byCount;
}

// ---------------------------------------------------------------------------------------------
// Per lane width: compare, subtract and movemask of the vector class.

template <unsigned LaneBits, class Isa>
struct ByWidth;
template <class Isa>
struct ByWidth<8, Isa> {
  using V = typename Isa::V;
  static V cmpeq(V a, V b) { return Isa::cmpeq_epi8(a, b); }
  static V cmpgt(V a, V b) { return Isa::cmpgt_epi8(a, b); }
  static V sub(V a, V b) { return Isa::sub_epi8(a, b); }
  static long movemask(V a) { return Isa::movemask_epi8(a); }
};
template <class Isa>
struct ByWidth<16, Isa> {
  using V = typename Isa::V;
  static V cmpeq(V a, V b) { return Isa::cmpeq_epi16(a, b); }
  static V cmpgt(V a, V b) { return Isa::cmpgt_epi16(a, b); }
  static V sub(V a, V b) { return Isa::sub_epi16(a, b); }
  static long movemask(V a) { return Isa::movemask_epi16(a); }
};
template <class Isa>
struct ByWidth<32, Isa> {
  using V = typename Isa::V;
  static V cmpeq(V a, V b) { return Isa::cmpeq_epi32(a, b); }
  static V cmpgt(V a, V b) { return Isa::cmpgt_epi32(a, b); }
  static V sub(V a, V b) { return Isa::sub_epi32(a, b); }
  static long movemask(V a) { return Isa::movemask_epi32(a); }
};
template <class Isa>
struct ByWidth<64, Isa> {
  using V = typename Isa::V;
  static V cmpeq(V a, V b) { return Isa::cmpeq_epi64(a, b); }
  static V cmpgt(V a, V b) { return Isa::cmpgt_epi64(a, b); }
  static V sub(V a, V b) { return Isa::sub_epi64(a, b); }
  static long movemask(V a) { return Isa::movemask_epi64(a); }
};

/// The hit mask of N compare vectors in value order: lanes of 16 and 32 bits are packed to
/// bytes first, so one movemask covers two or four vectors.
template <unsigned LaneBits, class Isa, unsigned N>
struct Gather {
  using V = typename Isa::V;
  static constexpr unsigned kBitsPerVector = Isa::kBytes * 8 / LaneBits;
  static std::uint64_t mask(const V* v) {
    std::uint64_t m = 0;
    if constexpr (LaneBits == 16 && N % 2 == 0) {
#pragma GCC unroll 16
      for (unsigned i = 0; i < N / 2; ++i)
        m |= static_cast<std::uint64_t>(Isa::movemask_packs16(v[2 * i], v[2 * i + 1]))
             << (2 * i * kBitsPerVector);
    } else if constexpr (LaneBits == 32 && N % 4 == 0) {
#pragma GCC unroll 16
      for (unsigned i = 0; i < N / 4; ++i)
        m |= static_cast<std::uint64_t>(
                 Isa::movemask_packs32(v[4 * i], v[4 * i + 1], v[4 * i + 2], v[4 * i + 3]))
             << (4 * i * kBitsPerVector);
    } else {
#pragma GCC unroll 16
      for (unsigned i = 0; i < N; ++i)
        m |= static_cast<std::uint64_t>(ByWidth<LaneBits, Isa>::movemask(v[i])) << (i * kBitsPerVector);
    }
    return m;
  }
};

template <class Isa, Xform X>
inline typename Isa::V transform(typename Isa::V v) {
  if constexpr (X.bytes != 0) v = Isa::template bslli<X.bytes>(v);
  if constexpr (X.bits > 0) v = Isa::srli_epi64(v, X.bits);
  if constexpr (X.bits < 0) v = Isa::slli_epi64(v, -X.bits);
  return v;
}

// ---------------------------------------------------------------------------------------------
// Chunk: the loop constants of one width and bound kind, and one step over them.

template <unsigned W, class Isa, Bounds B>
struct Chunk {
  using V = typename Isa::V;
  using S = Step<W, Isa>;
  static constexpr const Layout& L = S::L;
  using BW = ByWidth<L.laneBits, Isa>;
  static constexpr bool kMask = B == Eq ? L.maskEq : L.maskRange;

  struct Group {
    V shuf0, shuf1, mask, a, c;
  };
  Group g[S::kGroups];

  /// Lane values of the bounds: one lane per value, shifted by that lane's shift.
  static void fillBounds(const PartLayout& p, std::uint8_t* a, std::uint8_t* c, unsigned from,
                         unsigned to) {
    const unsigned lb = L.laneBits;
    const unsigned long long laneMask = ~0ull >> (64 - lb);  // lb is 8 to 64
    const unsigned long long sign = 1ull << (lb - 1);
    for (unsigned i = 0; i < L.lanes; ++i) {
      const unsigned s = p.shift[i];
      unsigned long long av, cv;
      if constexpr (B == Eq) {
        av = static_cast<unsigned long long>(from) << s;
        cv = 0;
      } else {
        // NoMax arrives with to = 2^W; from >= 1 keeps (to - from) << s inside the lane.
        av = ((static_cast<unsigned long long>(from) << s) ^ sign) & laneMask;
        cv = ((static_cast<unsigned long long>(to - from) << s) ^ sign) & laneMask;
      }
      std::memcpy(a + i * lb / 8, &av, lb / 8);
      std::memcpy(c + i * lb / 8, &cv, lb / 8);
    }
  }

  /// `to` is the exclusive upper bound as a 64-bit number (2^W for NoMax, which search_impl
  /// never asks for at width 32: an unsigned rangeTo cannot lie above that width's mask).
  Chunk(unsigned from, unsigned long long to) {
    for (unsigned k = 0; k < S::kGroups; ++k) {
      const PartLayout& lo = L.part[S::loPart(k)];
      const PartLayout& hi = L.part[S::hiPart(k)];
      std::uint8_t a[2][16], c[2][16];
      fillBounds(lo, a[0], c[0], from, static_cast<unsigned>(to));
      fillBounds(hi, a[1], c[1], from, static_cast<unsigned>(to));
      g[k].shuf0 = Isa::load_table(lo.shuf[0], hi.shuf[0]);
      g[k].shuf1 = Isa::load_table(lo.shuf[1], hi.shuf[1]);
      g[k].mask = Isa::load_table(lo.lmask, hi.lmask);
      g[k].a = Isa::load_table(a[0], a[1]);
      g[k].c = Isa::load_table(c[0], c[1]);
    }
  }

  /// Compare vector of group K of the step at p: all-ones lanes are hits.
  template <unsigned K>
  V hits(const char* p) const {
    const Group& k = g[K];
    const V raw = Isa::load_lanes(p + S::loOffset(K), S::kWide ? S::hiOffset(K) : 0, 0);
    V x;
    if constexpr (!L.shuffle) {
      x = raw;
    } else if constexpr (L.nsrc == 1) {
      x = Isa::shuffle_epi8(transform<Isa, L.x[0]>(raw), k.shuf0);
    } else {
      x = Isa::lor(Isa::shuffle_epi8(transform<Isa, L.x[0]>(raw), k.shuf0),
                   Isa::shuffle_epi8(transform<Isa, L.x[1]>(raw), k.shuf1));
    }
    if constexpr (kMask) x = Isa::land(x, k.mask);
    if constexpr (B == Eq)
      return BW::cmpeq(x, k.a);
    else
      return BW::cmpgt(k.c, BW::sub(x, k.a));
  }

  template <unsigned K>
  void hitsFrom(const char* p, V* out) const {
    out[K] = hits<K>(p);
    if constexpr (K + 1 < S::kGroups) hitsFrom<K + 1>(p, out);
  }
  /// The compare vectors of the step at p, in value order.
  void impl(const char* p, V* out) const { hitsFrom<0>(p, out); }

  /// The hit mask of the step at p, value order, kValues bits.
  std::uint64_t impl(const char* p) const {
    V v[S::kGroups];
    Isa::prefetch(p);
    impl(p, v);
    return Gather<L.laneBits, Isa, S::kGroups>::mask(v);
  }
};

// ---------------------------------------------------------------------------------------------
// Drivers: each returns how many values it consumed; the caller finishes the rest by scalar code.

template <unsigned Bits>
struct UMaskOf {
  using type = std::uint64_t;
};
template <>
struct UMaskOf<8> {
  using type = std::uint8_t;
};
template <>
struct UMaskOf<16> {
  using type = std::uint16_t;
};
template <>
struct UMaskOf<32> {
  using type = std::uint32_t;
};
template <unsigned Bits>
using UMask = typename UMaskOf<Bits>::type;

template <unsigned N, class Writer, class Isa, Bounds B>
struct Search {
  using S = Step<N, Isa>;
  static std::size_t impl(const char* data, std::size_t count, unsigned from, unsigned long long to,
                          typename Writer::Args args) {
    const std::size_t n = usable_chunks<Isa>(N, data, count, S::kValues, S::kBytes, S::kMargin);
    const Chunk<N, Isa, B> c(from, to);
    Writer w(args);  // a local object, so that its cursor stays in registers
    constexpr unsigned R = 64 / S::kValues;  // steps per 64-bit word of hits
    const std::size_t words = n / R;
    std::size_t pos = 0;
    const char* p = data;
    for (std::size_t i = 0; i < words; ++i) {
      // One prefetch per 64 bytes of the block, then R steps whose compare vectors are packed
      // into one 64-bit mask.
#pragma GCC unroll 16
      for (unsigned off = 0; off < R * S::kBytes; off += 64) Isa::prefetch(p + off);
      typename Isa::V v[R * S::kGroups];
#pragma GCC unroll 16
      for (unsigned u = 0; u < R; ++u) c.impl(p + u * S::kBytes, v + u * S::kGroups);
      const std::uint64_t m = Gather<S::L.laneBits, Isa, R * S::kGroups>::mask(v);
      w.reserve(64);
      w.write(pos, m);
      p += R * S::kBytes;
      pos += 64;
    }
    for (std::size_t i = words * R; i < n; ++i) {
      w.reserve(S::kValues);
      w.write(pos, static_cast<UMask<S::kValues>>(c.impl(p)));
      p += S::kBytes;
      pos += S::kValues;
    }
    w.finish();
    return n * S::kValues;
  }
};

/// Width 1: the data are the hit bits, inverted for value 0. 64 bytes a pass, one prefetch each.
template <class Writer, class Isa, Bounds B>
struct Search<1, Writer, Isa, B> {
  static std::size_t impl(const char* data, std::size_t count, unsigned from, unsigned long long,
                          typename Writer::Args args) {
    using V = typename Isa::V;
    constexpr unsigned kBits = Isa::kBytes * 8;
    constexpr unsigned kPerLine = 64 / Isa::kBytes;
    const std::size_t lines = count / 512;
    const V flip = from == 0 ? Isa::ones() : Isa::setzero();
    Writer w(args);
    for (std::size_t i = 0; i < lines; ++i) {
      const char* p = data + 64 * i;
      Isa::prefetch(p);
      w.reserve(512);
#pragma GCC unroll 4
      for (unsigned k = 0; k < kPerLine; ++k)
        w.template writeV<Isa>(512 * i + k * kBits, Isa::lxor(Isa::loadu(p + k * Isa::kBytes), flip));
    }
    const std::size_t n = count / kBits;
    for (std::size_t i = lines * kPerLine; i < n; ++i) {
      w.reserve(kBits);
      w.template writeV<Isa>(i * kBits, Isa::lxor(Isa::loadu(data + i * Isa::kBytes), flip));
    }
    w.finish();
    return n * kBits;
  }
};

/// Every value hits (no lower bound, no upper bound): the data are not read.
template <class Writer>
std::size_t search_all(std::size_t count, typename Writer::Args args) {
  Writer w(args);
  const std::size_t n = count & ~std::size_t{127};
  for (std::size_t i = 0; i < n; i += 128) w.writeOnes(i, 128);
  w.finish();
  return n;
}

template <class Writer, class Isa, Bounds B>
using SearchFn = std::size_t (*)(const char*, std::size_t, unsigned, unsigned long long,
                                 typename Writer::Args);

template <class Writer, class Isa, Bounds B>
struct SearchTable {
  SearchFn<Writer, Isa, B> fn[32];
  template <unsigned N>
  constexpr void fill() {
    fn[N - 1] = &Search<N, Writer, Isa, B>::impl;
    if constexpr (N > 1) fill<N - 1>();
  }
  constexpr SearchTable() : fn{} { fill<32>(); }
};

/// One indirect jump per call; width and bound kind are constants inside the loops.
template <class Writer, class Isa, Bounds B>
std::size_t search_by_bitcase(unsigned bits, const char* data, std::size_t count, unsigned from,
                              unsigned long long to, typename Writer::Args w) {
  static constexpr SearchTable<Writer, Isa, B> table;
  return table.fn[bits - 1](data, count, from, to, w);
}

/// Chooses the bound kind and runs the width's kernel from `index` (a multiple of 128).
/// Returns the number of values consumed.
template <class Writer, class Isa>
std::size_t search_impl(std::size_t index, std::size_t count, unsigned rangeFrom, unsigned rangeTo,
                        unsigned bits, const Word* vec, typename Writer::Args args) {
  if (bits == 0 || bits > 32) return 0;
  const unsigned long long mask = (1ull << bits) - 1;
  if (rangeFrom >= rangeTo || rangeFrom > mask) return count & ~std::size_t{127};
  const char* data = reinterpret_cast<const char*>(vec) + index / 8 * bits;
  if (rangeTo == rangeFrom + 1ull)
    return search_by_bitcase<Writer, Isa, Eq>(bits, data, count, rangeFrom, rangeTo, args);
  if (rangeTo <= mask)
    return search_by_bitcase<Writer, Isa, MinMax>(bits, data, count, rangeFrom, rangeTo, args);
  // NoMax: the range kernel with the bound 2^bits; from 0 hits everything.
  if (rangeFrom == 0) return search_all<Writer>(count, args);
  return search_by_bitcase<Writer, Isa, MinMax>(bits, data, count, rangeFrom, mask + 1, args);
}

}  // namespace
}  // namespace sse_icc_lib

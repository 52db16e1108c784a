// Scalar read of one packed value with word-aligned access, for the head and tail loops of the
// searches. Unlike IndexVectorRef::get it never touches a word that the value does not occupy,
// so it does not lean on the spare word.
// Baseline code only: the instruction-set units under sse_icc_lib/sse4/ and sse_icc_lib/avx2/
// never include this header. It is an inline non-template function; a copy emitted by a unit
// built with -mavx2 could be the one the linker keeps for every generic caller.
// Thread-safe: a pure read.
#pragma once

namespace sse_icc_lib {

/// Value `i` of a stream of `bits`-bit values (0..32) whose value mask is `mask`. A value that
/// crosses a word boundary joins the two words; otherwise only word p >> 6 is read.
inline unsigned int getGeneric(unsigned long i, unsigned int bits, const unsigned long* data,
                               unsigned long mask) noexcept {
  const unsigned long p = i * bits;
  const unsigned int shift = static_cast<unsigned int>(p & 63);
  const unsigned long* word = data + (p >> 6);
  unsigned long value = word[0] >> shift;
  // shift + bits > 64 implies shift > 32, so 64 - shift never reaches 64.
  if (shift + bits > 64) value |= word[1] << (64 - shift);
  return static_cast<unsigned int>(value & mask);
}

}  // namespace sse_icc_lib

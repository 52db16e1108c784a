// Growable bit set over 64-bit words: bit i is bit (i & 63) of word (i >> 6). Owns its storage,
// from an ltt::allocator; storage is zeroed and rounded up to whole groups of four words, so a
// 256-bit store into the last word group never leaves the block. Invariant: bits at or beyond
// size() are 0 after every BitVector operation (raw writers stay below size by contract).
// Thread-compatible: concurrent readers are safe; writers must be serialised by the caller, and
// two writers must never share a word.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ltt/allocator.hpp"

namespace VorexUtils {

class SerializerInterface;
class DeserializerInterface;

class BitVector {
 public:
  /// Iterator over the set bits. A plain aggregate, so that hot loops can build one on raw
  /// words: `cur` points at the current word, `first`/`end` bound the words, `pos` is the
  /// current position, `rest` the current word shifted so that its bit 0 is `pos`.
  struct const_iterator {
    const std::uint64_t* cur;
    const std::uint64_t* first;
    const std::uint64_t* end;
    std::size_t pos;
    std::uint64_t rest;

    /// Positions the iterator on the first set bit at or after `pos` (or at the end).
    void settle() noexcept;
    bool atEnd() const noexcept { return cur >= end; }
    std::size_t operator*() const noexcept { return pos; }
    const_iterator& operator++() noexcept {
      rest >>= 1;
      ++pos;
      settle();
      return *this;
    }
  };

  explicit BitVector(ltt::allocator& alloc = getDefaultAllocator()) noexcept : m_alloc(&alloc) {}
  BitVector(unsigned long size, bool value, ltt::allocator& alloc = getDefaultAllocator());
  BitVector(const BitVector& other);
  BitVector(BitVector&& other) noexcept;
  BitVector& operator=(const BitVector& other);
  BitVector& operator=(BitVector&& other) noexcept;
  ~BitVector();

  static ltt::allocator& getDefaultAllocator() noexcept;

  std::size_t size() const noexcept { return m_size; }
  std::uint64_t* wordsBegin() const noexcept { return m_begin; }
  std::uint64_t* wordsEnd() const noexcept { return m_end; }
  std::size_t wordCount() const noexcept { return static_cast<std::size_t>(m_end - m_begin); }

  bool test(std::size_t i) const noexcept { return (m_begin[i >> 6] >> (i & 63)) & 1u; }
  void set(std::size_t i) noexcept { m_begin[i >> 6] |= std::uint64_t{1} << (i & 63); }
  void clear(std::size_t i) noexcept { m_begin[i >> 6] &= ~(std::uint64_t{1} << (i & 63)); }
  void set(std::size_t i, bool v) noexcept { v ? set(i) : clear(i); }

  /// Sets the size; new positions take `value`. Keeps the storage when shrinking.
  void resize(unsigned long size, bool value);
  /// Clears every bit, keeping the size.
  void clearAll() noexcept;
  /// Sets every bit below size().
  void setAll() noexcept;

  /// The address of the word array; writable in spite of the const (kernels write through it).
  void readStorage(void*& data, unsigned long& bytes) const noexcept {
    data = m_begin;
    bytes = wordCount() * 8;
  }

  /// The highest set position in [first, end); a result >= end means none is set. Positions
  /// at or beyond size() count as clear, so `end` may exceed size().
  unsigned long findLastSetInRange(unsigned long first, unsigned long end) const noexcept;
  /// An iterator on the first set bit at or after `position`.
  const_iterator beginAt(unsigned long position) const noexcept;

  std::size_t countSet() const noexcept { return (this->*numSet_pointer)(); }
  /// The population count, chosen at load: a POPCNT version when CPUID has it.
  static std::size_t (BitVector::*numSet_pointer)() const;

  /// Size as u64, then the words as raw bytes. The bool is reserved.
  void serialize(SerializerInterface& s, bool reserved = false) const;
  void deserialize(DeserializerInterface& d);

  bool operator==(const BitVector& o) const noexcept;

  std::size_t numSetGeneric() const noexcept;
  std::size_t numSetPopcnt() const noexcept;

 private:
  void reallocate(std::size_t words);  // keeps the content, zeroes new words
  void clearTail() noexcept;

  std::uint64_t* m_begin = nullptr;
  std::uint64_t* m_end = nullptr;
  std::size_t m_size = 0;
  std::size_t m_capacityWords = 0;
  ltt::allocator* m_alloc;
};

}  // namespace VorexUtils

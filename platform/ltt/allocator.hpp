// The engine's allocator interface: a block of a byte count or an exception, never null from
// allocate(); deallocate() takes no size. Allocators are reference-counted through
// refcounted_handle and form a tree of named children under the global (malloc) allocator.
// Thread-safe: every allocator may be used from any thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace ltt {

class allocator;

/// Intrusive handle: adds a reference on copy, drops one on destruction.
template <class T>
class refcounted_handle {
 public:
  refcounted_handle() noexcept = default;
  explicit refcounted_handle(T* p) noexcept : m_p(p) {
    if (m_p) m_p->addReference();
  }
  refcounted_handle(const refcounted_handle& o) noexcept : refcounted_handle(o.m_p) {}
  refcounted_handle(refcounted_handle&& o) noexcept : m_p(std::exchange(o.m_p, nullptr)) {}
  refcounted_handle& operator=(refcounted_handle o) noexcept {
    std::swap(m_p, o.m_p);
    return *this;
  }
  ~refcounted_handle() {
    if (m_p) m_p->removeReference();
  }
  T* get() const noexcept { return m_p; }
  T* operator->() const noexcept { return m_p; }
  T& operator*() const noexcept { return *m_p; }
  explicit operator bool() const noexcept { return m_p != nullptr; }
  /// Drops the reference (if any) and becomes empty.
  void reset() noexcept { refcounted_handle().swap(*this); }
  void swap(refcounted_handle& o) noexcept { std::swap(m_p, o.m_p); }
  friend bool operator==(const refcounted_handle& a, const refcounted_handle& b) noexcept {
    return a.m_p == b.m_p;
  }

 private:
  T* m_p = nullptr;
};

class allocator {
 public:
  allocator(const allocator&) = delete;
  allocator& operator=(const allocator&) = delete;

  /// A block of at least `bytes` bytes, 16-byte aligned; throws ltt::bad_alloc on failure.
  void* allocate(std::size_t bytes);
  /// As allocate(), but null on failure.
  void* allocateNoThrow(std::size_t bytes) noexcept;
  /// Gives a block back; null is accepted.
  void deallocate(void* p) noexcept;

  virtual bool isBlockAllocator() const noexcept { return false; }
  /// The usable size of a block of this allocator (exact for the malloc-backed family).
  virtual std::size_t getBlockSize(const void* p) const noexcept;
  /// Largest request this allocator can serve at all.
  virtual std::size_t maxBlockBytes() const noexcept { return PTRDIFF_MAX / 2; }

  const std::string& name() const noexcept { return m_name; }
  allocator* parent() const noexcept { return m_parent; }
  /// A new named child that counts its own usage and forwards to this allocator.
  refcounted_handle<allocator> createChild(std::string name);

  /// Bytes and blocks in use through this allocator (children included).
  std::size_t bytesInUse() const noexcept { return m_liveBytes.load(std::memory_order_relaxed); }
  std::size_t blocksInUse() const noexcept { return m_liveBlocks.load(std::memory_order_relaxed); }

  void addReference() noexcept { m_refs.fetch_add(1, std::memory_order_relaxed); }
  void removeReference() noexcept;

  /// The process-wide malloc-backed allocator; immortal.
  static allocator& global_allocator() noexcept;
  /// An allocator that always fails; deallocating a non-null block on it asserts.
  static allocator& null_allocator() noexcept;
  /// The child "adaptor" of the global allocator, default of the container adaptors.
  static allocator& adaptor_allocator() noexcept;

 protected:
  allocator(std::string name, allocator* parent, bool immortal) noexcept;
  virtual ~allocator();

  virtual void* do_allocate(std::size_t bytes) noexcept = 0;
  virtual void do_deallocate(void* p) noexcept = 0;
  /// Size of the block behind p as seen by the bookkeeping (0 if unknown).
  virtual std::size_t do_size(const void* p) const noexcept;

 private:
  friend class ChildAllocator;
  std::string m_name;
  allocator* m_parent;
  bool m_immortal;
  std::atomic<long> m_refs{0};
  std::atomic<std::size_t> m_liveBytes{0};
  std::atomic<std::size_t> m_liveBlocks{0};
};

/// The global allocator's implementation: malloc with a 16-byte header that keeps the size.
/// Blocks of 4 MiB and more are advised for transparent huge pages (madvise MADV_HUGEPAGE on
/// the whole 2 MiB pages inside them), which the kernel honours unless its mode is "never".
class MallocAllocator final : public allocator {
 public:
  MallocAllocator() noexcept;

 protected:
  void* do_allocate(std::size_t bytes) noexcept override;
  void do_deallocate(void* p) noexcept override;
  std::size_t do_size(const void* p) const noexcept override;
};

/// A named child: forwards to its parent and counts its own usage. May live in static storage
/// (immortal = true), where reference counts are ignored.
class ChildAllocator final : public allocator {
 public:
  ChildAllocator(std::string name, allocator& parent, bool immortal = false) noexcept;
  ~ChildAllocator() override;
  std::size_t getBlockSize(const void* p) const noexcept override;

 protected:
  void* do_allocate(std::size_t bytes) noexcept override;
  void do_deallocate(void* p) noexcept override;
  std::size_t do_size(const void* p) const noexcept override;
};

}  // namespace ltt

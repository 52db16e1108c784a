// ltt::vector: std::vector over an ltt::allocator. Adds rawResize_ (growth without
// initialisation, exact capacity) for the search kernels, and keeps std::vector's behaviour
// otherwise. Thread-compatible.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <vector>

#include "ltt/allocator.hpp"
#include "ltt/exception.hpp"

namespace ltt {

/// Standard allocator adaptor over ltt::allocator. Default-initialises on argument-less
/// construct, so rawResize_ leaves trivial elements uninitialised.
template <class T>
class stl_allocator {
 public:
  using value_type = T;
  using propagate_on_container_copy_assignment = std::false_type;
  using propagate_on_container_move_assignment = std::false_type;
  using propagate_on_container_swap = std::false_type;
  using is_always_equal = std::false_type;

  stl_allocator() noexcept : m_alloc(&allocator::adaptor_allocator()) {}
  stl_allocator(allocator& a) noexcept : m_alloc(&a) {}  // NOLINT: implicit by design
  template <class U>
  stl_allocator(const stl_allocator<U>& o) noexcept : m_alloc(&o.getAllocator()) {}

  T* allocate(std::size_t n) {
    if (n > max_size()) impl::throwBadAllocation(n * sizeof(T));
    return static_cast<T*>(m_alloc->allocate(n * sizeof(T)));
  }
  void deallocate(T* p, std::size_t) noexcept { m_alloc->deallocate(p); }
  std::size_t max_size() const noexcept { return m_alloc->maxBlockBytes() / sizeof(T); }

  template <class U>
  void construct(U* p) noexcept(std::is_nothrow_default_constructible_v<U>) {
    ::new (static_cast<void*>(p)) U;
  }
  template <class U, class... A>
  void construct(U* p, A&&... args) {
    ::new (static_cast<void*>(p)) U(std::forward<A>(args)...);
  }

  allocator& getAllocator() const noexcept { return *m_alloc; }
  template <class U>
  bool operator==(const stl_allocator<U>& o) const noexcept {
    return m_alloc == &o.getAllocator();
  }

 private:
  allocator* m_alloc;
};

template <class T>
class vector : public std::vector<T, stl_allocator<T>> {
  using Base = std::vector<T, stl_allocator<T>>;

 public:
  vector() = default;
  explicit vector(allocator& a) : Base(stl_allocator<T>(a)) {}
  explicit vector(std::size_t n, allocator& a = allocator::adaptor_allocator())
      : Base(stl_allocator<T>(a)) {
    Base::resize(n, T());
  }
  vector(std::initializer_list<T> il, allocator& a = allocator::adaptor_allocator())
      : Base(il, stl_allocator<T>(a)) {}
  vector(const vector&) = default;
  vector(vector&&) noexcept = default;
  vector& operator=(const vector&) = default;
  vector& operator=(vector&&) = default;

  /// Value-initialising resize, as std::vector's.
  void resize(std::size_t n) { Base::resize(n, T()); }
  void resize(std::size_t n, const T& v) { Base::resize(n, v); }

  /// Sets the size to n without initialising new elements; growth allocates exactly n.
  /// On failure the vector is unchanged.
  void rawResize_(std::size_t n) {
    if (n > this->capacity()) {
      if (n > this->max_size()) impl::throwBadAllocation(n * sizeof(T));
      this->reserve(n);
    }
    Base::resize(n);  // default-initialises through stl_allocator::construct: writes nothing
  }

  allocator& getAllocator() const noexcept { return this->get_allocator().getAllocator(); }
};

}  // namespace ltt

namespace ltt_adp {
using ltt::vector;
}

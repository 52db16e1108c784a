// Output buffers of the bulk read and the result wrapper through which the SIMD search kernels
// grow a position list they do not own. Thread-compatible: one buffer per thread.
#pragma once

#include <cstddef>

#include "ltt/vector.hpp"

namespace VorexUtils {

/// Where mget writes. getPtr() is const, and the memory behind it is written all the same.
class MgetBuffer {
 public:
  virtual unsigned int* getPtr() const = 0;
  virtual ~MgetBuffer() = default;
};

/// N elements of T inside the object, 16-byte aligned, not initialised; lives on the stack.
template <std::size_t N, class T>
class MgetStackBuffer : public MgetBuffer {
 public:
  MgetStackBuffer() {}  // NOLINT: the content is deliberately left uninitialised
  unsigned int* getPtr() const override {
    return reinterpret_cast<unsigned int*>(const_cast<T*>(m_data));
  }
  ~MgetStackBuffer() override {}

 private:
  alignas(16) T m_data[N];
};

}  // namespace VorexUtils

/// The interface through which kernels grow a result list.
class VectorWrapperIfc {
 public:
  unsigned int* m_Ptr = nullptr;  // first element, null when empty
  std::size_t m_Size = 0;         // number of elements

  void init(unsigned int* p, std::size_t n) noexcept {
    m_Ptr = p;
    m_Size = n;
  }
  unsigned int& operator[](std::size_t i) const noexcept { return m_Ptr[i]; }
  std::size_t size() const noexcept { return m_Size; }

  virtual ~VectorWrapperIfc() = default;
  /// Resizes the list to n elements without initialising new ones; refreshes m_Ptr/m_Size.
  virtual void vector_resize_noinit(std::size_t n) = 0;
};

/// Wraps an ltt::vector<unsigned int> that it does not own.
class VectorWrapper : public VectorWrapperIfc {
 public:
  explicit VectorWrapper(ltt::vector<unsigned int>& v) noexcept : m_vector(&v) { refresh(); }
  void vector_resize_noinit(std::size_t n) override;

 private:
  void refresh() noexcept { init(m_vector->empty() ? nullptr : m_vector->data(), m_vector->size()); }
  ltt::vector<unsigned int>* m_vector;
};

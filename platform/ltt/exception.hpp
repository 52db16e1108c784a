// Exceptions of the engine's base layer. Every ltt exception derives from ltt::exception, which
// carries an integer code, a category and a message. ltt::bad_alloc is deliberately not a
// std::bad_alloc: callers that catch the engine's exhaustion catch ltt::exception.
#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <system_error>

namespace ltt {

class exception : public std::exception {
 public:
  explicit exception(std::string message) : m_message(std::move(message)) {}
  exception(int code, std::string message,
            const std::error_category& category = std::generic_category())
      : m_code(code), m_category(&category), m_message(std::move(message)) {}

  int code() const noexcept { return m_code; }
  const std::error_category& category() const noexcept { return *m_category; }
  const char* what() const noexcept override { return m_message.c_str(); }

 private:
  int m_code = 0;
  const std::error_category* m_category = &std::generic_category();
  std::string m_message;
};

class logic_error : public exception {
 public:
  using exception::exception;
};

class domain_error : public logic_error {
 public:
  using logic_error::logic_error;
};

class bad_alloc : public exception {
 public:
  explicit bad_alloc(std::size_t bytes);
  std::size_t requested() const noexcept { return m_bytes; }

 private:
  std::size_t m_bytes;
};

struct ios_base {
  class failure : public exception {
   public:
    using exception::exception;
  };
};

namespace impl {
/// Raised when an allocation of `bytes` cannot be served (or exceeds an allocator's limit).
[[noreturn]] void throwBadAllocation(std::size_t bytes = 0);
}  // namespace impl

}  // namespace ltt

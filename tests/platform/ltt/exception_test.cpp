#include "ltt/exception.hpp"

#include <gtest/gtest.h>

#include <new>
#include <type_traits>

namespace {

// The engine's exhaustion is caught as ltt::exception, never as std::bad_alloc.
static_assert(!std::is_base_of_v<std::bad_alloc, ltt::bad_alloc>);
static_assert(std::is_base_of_v<ltt::exception, ltt::bad_alloc>);
static_assert(std::is_base_of_v<ltt::logic_error, ltt::domain_error>);
static_assert(std::is_base_of_v<ltt::exception, ltt::ios_base::failure>);
static_assert(std::is_base_of_v<std::exception, ltt::exception>);

TEST(LttException, CarriesCodeCategoryAndMessage) {
  const ltt::exception e(70002001, "insufficient data");
  EXPECT_EQ(e.code(), 70002001);
  EXPECT_EQ(e.category(), std::generic_category());
  EXPECT_STREQ(e.what(), "insufficient data");

  const ltt::exception plain("text only");
  EXPECT_EQ(plain.code(), 0);
  EXPECT_EQ(plain.category(), std::generic_category());

  const ltt::ios_base::failure f(5, "unknown byte order", std::system_category());
  EXPECT_EQ(f.category(), std::system_category());
}

TEST(LttException, ThrowBadAllocationReportsTheRequest) {
  try {
    ltt::impl::throwBadAllocation(12345);
    FAIL();
  } catch (const ltt::exception& e) {
    const auto* ba = dynamic_cast<const ltt::bad_alloc*>(&e);
    ASSERT_NE(ba, nullptr);
    EXPECT_EQ(ba->requested(), 12345u);
    EXPECT_NE(std::string(e.what()).find("12345"), std::string::npos);
  }
}

TEST(LttException, DomainErrorIsCaughtAsLogicError) {
  EXPECT_THROW(throw ltt::domain_error("unknown command"), ltt::logic_error);
}

}  // namespace

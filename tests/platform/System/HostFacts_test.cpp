#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <string>

#include "System/PerfCounter.hpp"
#include "comm/Hostname.hpp"

namespace {

TEST(HostFacts, HostnameIsCutAndAlwaysTerminated) {
  char full[HOST_NAME_MAX + 1];
  ASSERT_EQ(gethostname(full, sizeof full), 0);
  const std::string expect(full);
  ASSERT_FALSE(expect.empty());
  for (std::size_t size : {sizeof full, std::size_t{3}, std::size_t{1}}) {
    SCOPED_TRACE(size);
    char buf[HOST_NAME_MAX + 1];
    std::memset(buf, 'Z', sizeof buf);
    EXPECT_EQ(comm::get_hostname(buf, size), 0);
    EXPECT_EQ(std::string(buf), expect.substr(0, size - 1));
  }
  char one = 'Z';
  EXPECT_EQ(comm::get_hostname(&one, 0), -1);
}

TEST(HostFacts, PerfCounterTicksAreNanosecondsAndNeverZero) {
  const long a = _pcounter(1);
  EXPECT_NE(a, 0);
  EXPECT_GE(_pcounter(1), a);
  EXPECT_EQ(_pdiff_muesec(1, 1000, 5999), 4);
  EXPECT_EQ(_pdiff_muesec(1, 0, 999), 0);
  EXPECT_EQ(_pdiff_muesec(1, 2000000, 1000000), -1000);
}

}  // namespace

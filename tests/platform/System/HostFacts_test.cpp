#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <string>

#include "System/PerfCounter.hpp"
#include "System/ProcessInformation.hpp"
#include "comm/Hostname.hpp"

namespace {

TEST(HostFacts, HostnameIsCutAndAlwaysTerminated) {
  char full[HOST_NAME_MAX + 1];
  ASSERT_EQ(gethostname(full, sizeof full), 0);
  const std::string expect(full);
  ASSERT_FALSE(expect.empty());

  char buf[HOST_NAME_MAX + 1];
  EXPECT_EQ(comm::get_hostname(buf, sizeof buf), 0);
  EXPECT_EQ(std::string(buf), expect);

  char small[3];
  std::memset(small, 'Z', sizeof small);
  EXPECT_EQ(comm::get_hostname(small, sizeof small), 0);
  EXPECT_EQ(std::string(small), expect.substr(0, 2));

  char one = 'Z';
  EXPECT_EQ(comm::get_hostname(&one, 1), 0);
  EXPECT_EQ(one, '\0');
  EXPECT_EQ(comm::get_hostname(&one, 0), -1);
}

TEST(HostFacts, ProcessId) { EXPECT_EQ(System::ProcessInformation::getProcessID(), getpid()); }

TEST(HostFacts, PerfCounterTicksAreNanosecondsAndNeverZero) {
  const long a = _pcounter(1);
  const long b = _pcounter(1);
  EXPECT_NE(a, 0);
  EXPECT_GE(b, a);
  EXPECT_EQ(_pdiff_muesec(1, 1000, 5999), 4);
  EXPECT_EQ(_pdiff_muesec(1, 0, 999), 0);
  EXPECT_EQ(_pdiff_muesec(1, 2000000, 1000000), -1000);
}

}  // namespace

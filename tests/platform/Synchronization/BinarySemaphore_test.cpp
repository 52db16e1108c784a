#include "Synchronization/BinarySemaphore.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace {

using Synchronization::BinarySemaphore;

TEST(BinarySemaphore, HoldsAtMostOneSignalAndPingPongLosesNone) {
  BinarySemaphore ping, pong;
  EXPECT_FALSE(ping.tryWait());
  ping.signal();
  ping.signal();  // absorbed
  EXPECT_TRUE(ping.tryWait());
  EXPECT_FALSE(ping.tryWait());
  ping.signal();
  ping.wait();  // returns at once: the signal was pending
  EXPECT_FALSE(ping.tryWait());

  int turns = 0;  // handed over by the semaphores alone
  std::thread other([&] {
    for (int i = 0; i < 2000; ++i) {
      ping.wait();
      ++turns;
      pong.signal();
    }
  });
  for (int i = 0; i < 2000; ++i) {
    ping.signal();
    pong.wait();
    ++turns;
  }
  other.join();
  EXPECT_EQ(turns, 4000);
}

}  // namespace

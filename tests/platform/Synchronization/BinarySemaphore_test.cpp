#include "Synchronization/BinarySemaphore.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace {

using Synchronization::BinarySemaphore;

TEST(BinarySemaphore, StartsClearAndHoldsAtMostOneSignal) {
  BinarySemaphore s;
  EXPECT_FALSE(s.tryWait());
  s.signal();
  s.signal();  // absorbed
  EXPECT_TRUE(s.tryWait());
  EXPECT_FALSE(s.tryWait());
  s.signal();
  s.wait();  // returns at once: the signal was pending
  EXPECT_FALSE(s.tryWait());
}

TEST(BinarySemaphore, PingPongLosesNoSignal) {
  BinarySemaphore ping;
  BinarySemaphore pong;
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

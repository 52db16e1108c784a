#include "Synchronization/BinarySemaphore.hpp"

#include <gtest/gtest.h>

#include <atomic>
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

TEST(BinarySemaphore, WaiterRunsOnlyAfterTheSignal) {
  BinarySemaphore go;
  BinarySemaphore done;
  std::atomic<int> stage{0};
  std::thread waiter([&] {
    go.wait();
    stage = 2;
    done.signal();
  });
  stage = 1;
  EXPECT_EQ(stage.load(), 1);  // the waiter cannot have passed go.wait()
  go.signal();
  done.wait();
  EXPECT_EQ(stage.load(), 2);
  waiter.join();
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

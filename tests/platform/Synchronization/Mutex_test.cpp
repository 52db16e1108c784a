#include "Synchronization/Mutex.hpp"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

namespace {

// Constant initialisation is what makes the lock usable from other static initialisers.
constinit Synchronization::Mutex g_lock("Vorexbase_PtFileManager_Lock", 32);

TEST(Mutex, StaticLockExcludesOtherThreads) {
  EXPECT_STREQ(g_lock.name(), "Vorexbase_PtFileManager_Lock");
  EXPECT_EQ(g_lock.options(), 32u);
  long counter = 0;  // plain: only the lock protects it
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 10000; ++i) {
        std::lock_guard<Synchronization::Mutex> guard(g_lock);
        ++counter;
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(counter, 40000);
  std::unique_lock<Synchronization::Mutex> held(g_lock);
  bool otherGotIt = true;
  std::thread([&] { otherGotIt = g_lock.try_lock(); }).join();
  EXPECT_FALSE(otherGotIt);
}

}  // namespace

#include "Execution/RunOnce.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

TEST(RunOnce, ConcurrentCallersRunItOnceAndSeeTheResult) {
  Execution::OnceFlag flag;
  std::atomic<int> runs{0};
  int* published = nullptr;  // written once, read by every caller after the call
  static int value = 0;
  std::vector<std::thread> threads;
  std::atomic<int> seen{0};
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      Execution::runOnceUnchecked(flag, [&] {
        ++runs;
        value = 42;
        published = &value;
      });
      if (published != nullptr && *published == 42) ++seen;
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(runs.load(), 1);
  EXPECT_EQ(seen.load(), 8);
}

TEST(RunOnce, AThrowingRunLeavesTheFlagUnset) {
  Execution::OnceFlag flag;
  int runs = 0;
  EXPECT_THROW(Execution::runOnceUnchecked(flag,
                                           [&] {
                                             ++runs;
                                             throw std::runtime_error("first");
                                           }),
               std::runtime_error);
  Execution::runOnceUnchecked(flag, [&] { ++runs; });
  Execution::runOnceUnchecked(flag, [&] { ++runs; });
  EXPECT_EQ(runs, 2);
}

}  // namespace

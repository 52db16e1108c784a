#include "Execution/RunOnce.hpp"

#include <gtest/gtest.h>

#include <atomic>
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

}  // namespace

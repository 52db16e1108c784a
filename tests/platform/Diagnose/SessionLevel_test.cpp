#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Diagnose/TraceTopic.hpp"
#include "Diagnose/testing/TraceCapture.hpp"

namespace {

using Diagnose::ScopedSessionLevel;
using Diagnose::TraceLevel;
using Diagnose::testing::TraceCapture;

constinit Diagnose::TraceTopic g_session("session_topic", "session tests");

bool wants(TraceLevel l) { return g_session.isActive(l) && g_session.checkSessionLevel(l); }
template <class F>
auto onOtherThread(F f) {
  decltype(f()) r{};
  std::thread([&] { r = f(); }).join();
  return r;
}

TEST(SessionLevel, RaisesTheByteButOnlyThisThreadPasses) {
  TraceCapture cap;
  {
    ScopedSessionLevel session(g_session, 5);
    EXPECT_EQ(g_session.getLevel(), 5);
    EXPECT_EQ(g_session.getGlobalLevel(), 1);
    EXPECT_TRUE(wants(5));
    EXPECT_FALSE(wants(6));
    EXPECT_TRUE(onOtherThread([] { return g_session.isActive(5); }));
    EXPECT_FALSE(onOtherThread([] { return g_session.checkSessionLevel(5); }));
    EXPECT_TRUE(onOtherThread([] { return wants(1); }));  // the global level counts everywhere

    DIAG_TRACE(g_session, 4) << "mine";
    std::thread([] { DIAG_TRACE(g_session, 4) << "theirs"; }).join();
    EXPECT_EQ(cap.texts(g_session), std::vector<std::string>{"mine"});
  }
  EXPECT_EQ(g_session.getLevel(), 1);
  EXPECT_FALSE(wants(2));
}

TEST(SessionLevel, InnermostScopeWinsAndScopesMayEndOutOfOrder) {
  auto* outer = new ScopedSessionLevel(g_session, 3);
  {
    ScopedSessionLevel inner(g_session, 6);
    EXPECT_EQ(g_session.getLevel(), 6);
    EXPECT_TRUE(wants(6));
  }
  EXPECT_EQ(g_session.getLevel(), 3);
  EXPECT_FALSE(wants(4));
  {
    ScopedSessionLevel lower(g_session, 2);  // a nested scope may lower this thread's level
    EXPECT_EQ(g_session.getLevel(), 3);      // the byte stays at the maximum
    EXPECT_FALSE(wants(3));
    auto* later = new ScopedSessionLevel(g_session, 7);
    delete outer;  // ends before the scopes made after it
    EXPECT_EQ(g_session.getLevel(), 7);
    delete later;
    EXPECT_EQ(g_session.getLevel(), 2);
    EXPECT_TRUE(wants(2));
  }
  EXPECT_EQ(g_session.getLevel(), 1);

  TraceCapture cap;  // global changes keep the maximum
  ScopedSessionLevel session(g_session, 4);
  g_session.setLevel(6);
  EXPECT_EQ(g_session.getLevel(), 6);
  g_session.setLevel(0);
  EXPECT_EQ(g_session.getLevel(), 4);
  EXPECT_TRUE(wants(1));
  EXPECT_FALSE(onOtherThread([] { return wants(1); }));  // level 0 outside the session
}

// Threads open and close sessions while others trace: levels settle back and only session
// threads emit their detail messages. Run under ThreadSanitizer as well.
TEST(SessionLevel, ConcurrentSessionsAndTracing) {
  TraceCapture cap;
  constexpr int kThreads = 4, kRounds = 200;
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      while (!go.load()) std::this_thread::yield();
      for (int i = 0; i < kRounds; ++i) {
        if (t % 2 == 0) {
          ScopedSessionLevel s(g_session, static_cast<TraceLevel>(3 + t));
          DIAG_TRACE(g_session, 3) << "session";
        } else {
          DIAG_TRACE(g_session, 3) << "plain";
          if (i % 50 == 0) g_session.setLevel(1);
        }
      }
    });
  }
  go.store(true);
  for (auto& th : threads) th.join();
  EXPECT_EQ(g_session.getLevel(), 1);
  EXPECT_EQ(cap.count(g_session), static_cast<std::size_t>(kThreads / 2 * kRounds));
  EXPECT_FALSE(cap.contains("plain"));
}

}  // namespace

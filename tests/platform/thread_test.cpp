#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace zv {
namespace {

TEST(Thread, JoinGivesTheResult) {
  Thread thread = Thread::Start([] { return 4000000000u; });
  EXPECT_EQ(thread.Join(), 4000000000u);
  EXPECT_EQ(thread.Join(), 4000000000u);
}

TEST(Thread, AnEmptyOneHasNothingToWaitFor) {
  Thread thread;
  EXPECT_EQ(thread.Join(), 0u);
}

TEST(Thread, MovesWithItsHandle) {
  Thread first = Thread::Start([] { return 3u; });
  Thread second = std::move(first);
  EXPECT_EQ(second.Join(), 3u);
}

TEST(Thread, GoesOnWithoutItsHandle) {
  Semaphore may_go_on(0, 1), done(0, 1);
  Thread::Start([&] {
    may_go_on.Acquire();
    done.Release();
    return 0u;
  });
  may_go_on.Release();
  done.Acquire();
}

TEST(Thread, EachOfManyThatAreLetGoAtOnceRuns) {
  constexpr uint32_t kThreads = 1000;
  Semaphore ran(0, kThreads);
  for (uint32_t i = 0; i < kThreads; ++i) {
    Thread::Start([&ran] {
      ran.Release();
      return 0u;
    });
  }
  for (uint32_t i = 0; i < kThreads; ++i) ran.Acquire();
}

TEST(Thread, WaitForAllWaitsForEachAndKeepsTheResults) {
  std::atomic<int> ended = 0;
  std::vector<Thread> threads;
  for (uint32_t i = 0; i < 8; ++i) {
    threads.push_back(Thread::Start([&ended, i] {
      ++ended;
      return i;
    }));
  }
  WaitForAll(threads);
  EXPECT_EQ(ended, 8);
  for (uint32_t i = 0; i < 8; ++i) EXPECT_EQ(threads[i].Join(), i);
}

TEST(Semaphore, LetsAsManyInAsItCounts) {
  Semaphore semaphore(2, 2);
  std::atomic<int> inside = 0, most = 0;
  std::vector<Thread> threads;
  for (int i = 0; i < 6; ++i) {
    threads.push_back(Thread::Start([&] {
      for (int n = 0; n < 200; ++n) {
        const SemaphoreLock lock(semaphore);
        const int now = ++inside;
        int seen = most;
        while (now > seen && !most.compare_exchange_weak(seen, now)) {
        }
        --inside;
      }
      return 0u;
    }));
  }
  WaitForAll(threads);
  EXPECT_GE(most, 1);
  EXPECT_LE(most, 2);
}

TEST(Semaphore, ReleaseFailsAtTheMaximum) {
  Semaphore semaphore(1, 2);
  EXPECT_TRUE(semaphore.Release());
  EXPECT_FALSE(semaphore.Release());
  semaphore.Acquire();
  EXPECT_TRUE(semaphore.Release());
}

TEST(Semaphore, AnotherThreadMayReleaseIt) {
  Semaphore semaphore(1, 1);
  semaphore.Acquire();
  Thread thread = Thread::Start([&] { return semaphore.Release() ? 1u : 0u; });
  semaphore.Acquire();
  EXPECT_EQ(thread.Join(), 1u);
}

TEST(SemaphoreLock, UnlocksOnce) {
  Semaphore semaphore(1, 2);
  {
    SemaphoreLock lock(semaphore);
    lock.Unlock();
    lock.Unlock();
  }
  EXPECT_TRUE(semaphore.Release());  // the second of two
  EXPECT_FALSE(semaphore.Release());
}

}  // namespace
}  // namespace zv

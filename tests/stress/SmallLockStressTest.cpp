// A lock of four bytes, which many threads want at once.

#include "platform/SmallLock.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <vector>

namespace {

constexpr unsigned kThreads = 4;
constexpr unsigned kTurns = 50'000;

struct Guarded {
  SmallLock lock;
  uint64_t first GUARDED_BY(lock) = 0;
  uint64_t second GUARDED_BY(lock) = 0;
  unsigned torn GUARDED_BY(lock) = 0;
};

void turn(Guarded& guarded) {
  SmallLockScope scope(guarded.lock);
  if (guarded.first != guarded.second) ++guarded.torn;
  ++guarded.first;
  ++guarded.second;
}

TEST(SmallLockStressTest, OneThreadAtATimeIsInsideAndNobodyWaitsForEver) {
  Guarded guarded;
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i)
    threads.emplace_back([&guarded] {
      for (unsigned done = 0; done < kTurns; ++done) turn(guarded);
    });
  for (std::thread& thread : threads) thread.join();
  SmallLockScope scope(guarded.lock);
  EXPECT_EQ(guarded.first, uint64_t{kThreads} * kTurns);
  EXPECT_EQ(guarded.torn, 0u);
}

// Who waits is asleep, and is woken: the others are many, and hold it in turn.
TEST(SmallLockStressTest, WhoeverWaitsIsWoken) {
  Guarded guarded;
  guarded.lock.enter();
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i) threads.emplace_back([&guarded] { turn(guarded); });
  guarded.lock.leave();
  for (std::thread& thread : threads) thread.join();
  SmallLockScope scope(guarded.lock);
  EXPECT_EQ(guarded.first, kThreads);
}

}  // namespace

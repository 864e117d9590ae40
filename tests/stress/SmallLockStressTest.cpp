// A lock of four bytes, which many threads want at once.

#include "platform/SmallLock.h"

#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
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

bool isAsleep(pid_t thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string stat;
  std::getline(file, stat);
  const size_t name = stat.rfind(") ");  // the state stands behind it
  return name != std::string::npos && stat[name + 2] == 'S';
}

// The others are many, and hold it in turn. Where they stand nothing but the lock makes them sleep.
TEST(SmallLockStressTest, WhoeverWaitsIsWoken) {
  Guarded guarded;
  guarded.lock.enter();
  std::array<std::atomic<pid_t>, kThreads> arrived{};
  std::vector<std::thread> threads;
  for (std::atomic<pid_t>& own : arrived)
    threads.emplace_back([&guarded, &own] {
      own.store(gettid());
      turn(guarded);
    });
  for (const std::atomic<pid_t>& other : arrived)
    while (other.load() == 0 || !isAsleep(other.load())) std::this_thread::yield();
  guarded.lock.leave();
  for (std::thread& thread : threads) thread.join();
  SmallLockScope scope(guarded.lock);
  EXPECT_EQ(guarded.first, kThreads);
}

}  // namespace

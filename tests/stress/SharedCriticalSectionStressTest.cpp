// Readers and writers of one structure: a reader that is there while somebody writes sees it torn.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "platform/SharedCriticalSection.h"

namespace {

constexpr unsigned kReaders = 3;
constexpr unsigned kWriters = 2;
constexpr unsigned kWrites = 20'000;  // each

// Plain words that are equal whenever nobody writes.
struct Words {
  std::array<uint64_t, 8> all{};

  bool areEqual() const {
    for (uint64_t word : all)
      if (word != all[0]) return false;
    return true;
  }
  void write() {
    for (uint64_t& word : all) ++word;
  }
};

}  // namespace

TEST(SharedCriticalSectionStressTest, NoReaderSeesWhatIsBeingWrittenAndNoWriteIsLost) {
  SharedCriticalSection section;
  Words words;
  std::atomic<unsigned> writing{kWriters};
  std::atomic<unsigned> torn{0};
  std::atomic<unsigned> besideOthers{0};
  std::vector<std::thread> threads;
  for (unsigned reader = 0; reader < kReaders; ++reader)
    threads.emplace_back([&] {
      unsigned quick = 0;
      do {
        SharedCriticalSectionRead lock(section);
        if (!words.areEqual()) torn.fetch_add(1);
        quick += lock.isBesideOthers();
      } while (writing.load() > 0);
      besideOthers.fetch_add(quick);
    });
  for (unsigned writer = 0; writer < kWriters; ++writer)
    threads.emplace_back([&] {
      for (unsigned i = 0; i < kWrites; ++i) {
        SharedCriticalSectionLock lock(section);
        SharedCriticalSectionLock again(section);
        SharedCriticalSectionRead reader(section);
        words.write();
        if (!words.areEqual()) torn.fetch_add(1);
      }
      writing.fetch_sub(1);
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(torn.load(), 0u);
  EXPECT_EQ(words.all[7], kWriters * kWrites);
  EXPECT_GT(besideOthers.load(), 0u);
}

// They stay long enough that who enters sleeps until the last has left.
TEST(SharedCriticalSectionStressTest, AWriterComesInHoweverManyRead) {
  constexpr unsigned kEntries = 100;
  constexpr unsigned kTurnsOfOthers = 30;
  SharedCriticalSection section;
  std::atomic<bool> isDone{false};
  std::atomic<unsigned> reads{0};
  std::vector<std::thread> readers;
  for (unsigned reader = 0; reader < kReaders; ++reader)
    readers.emplace_back([&] {
      while (!isDone.load()) {
        SharedCriticalSectionRead lock(section);
        for (unsigned turn = 0; turn < kTurnsOfOthers; ++turn) std::this_thread::yield();
        reads.fetch_add(1);
      }
    });
  for (unsigned entry = 0; entry < kEntries; ++entry) {
    const unsigned before = reads.load();
    while (reads.load() == before) std::this_thread::yield();
    SharedCriticalSectionLock lock(section);
  }
  isDone.store(true);
  for (std::thread& reader : readers) reader.join();
}

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "platform/QvDC.h"
#include "platform/QvLockFree.h"

namespace {

constexpr unsigned kThreads = 4;

template <typename Work>
void onAllThreads(Work work) {
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i) threads.emplace_back(work, i + 1);
  for (std::thread& thread : threads) thread.join();
}

struct Event {
  uint64_t number = 0;
};
struct Tag {};
using Traits = QvDC::ThreadSafetyTraits::ThreadSafe;
using Command = QvDC::SmplCmd<Event, Tag, Traits>;

class Adder : public QvDC::Receiver<Command> {
public:
  unsigned executeCommand(Command&, Event& event) override {
    sum += event.number;
    return 1;
  }

  std::atomic<uint64_t> sum{0};
};

}  // namespace

TEST(LockFreePoolTest, NoTwoThreadsHoldTheSameSlot) {
  Qv::LockFree::Stack<64, 8> stack;
  std::atomic<int> broken{0};
  onAllThreads([&](unsigned mark) {
    for (int round = 0; round < 20000; ++round) {
      unsigned char* held[3];
      for (auto& memory : held) {
        memory = static_cast<unsigned char*>(stack.take());
        std::memset(memory, static_cast<int>(mark), 64);
      }
      for (unsigned char* memory : held) {
        for (int i = 0; i < 64; ++i)
          if (memory[i] != mark) ++broken;
        stack.give(memory);
      }
    }
  });
  EXPECT_EQ(broken, 0);
  EXPECT_LE(stack.capacity(), 64u + 128u);
}

TEST(LockFreePoolTest, ThreadsThatMakeThePoolGrowTogetherLoseNoSlot) {
  constexpr int kEach = 5000;
  Qv::LockFree::Stack<16, 8> stack;
  std::atomic<int> missing{0};
  onAllThreads([&](unsigned) {
    std::vector<void*> held;
    for (int i = 0; i < kEach; ++i) held.push_back(stack.take());
    for (void* memory : held) {
      if (!memory) ++missing;
      if (memory) stack.give(memory);
    }
  });
  EXPECT_EQ(missing, 0);
  size_t slots = stack.capacity();
  for (size_t i = 0; i < slots; ++i) ASSERT_NE(stack.take(), nullptr);
  EXPECT_EQ(stack.capacity(), slots);
}

TEST(LockFreePoolTest, ACommandExecutedByAllThreadsAtOnceReachesItsReceiverEachTime) {
  constexpr uint64_t kEach = 20000;
  Adder adder;
  QvDC::Cmd<Event, Traits> command = Command(&adder).bind();
  onAllThreads([&](unsigned) {
    QvDC::Cmd<Event, Traits> copy = command;
    for (uint64_t i = 1; i <= kEach; ++i) copy.execute({i});
  });
  EXPECT_EQ(adder.sum, kThreads * kEach * (kEach + 1) / 2);
}

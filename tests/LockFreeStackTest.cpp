#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <vector>

#include "platform/QvLockFree.h"

namespace {

using Stack = Qv::LockFree::Stack<40, 16>;

struct Pooled : Qv::PooledObject<Pooled> {
  uint64_t value = 0;
};

struct Larger : Pooled {
  uint64_t more[8] = {};
};

}  // namespace

TEST(LockFreeStackTest, MemoryThatWasGivenBackLastIsTakenFirst) {
  Stack stack;
  void* first = stack.take();
  void* second = stack.take();
  stack.give(first);
  stack.give(second);
  EXPECT_EQ(stack.take(), second);
  EXPECT_EQ(stack.take(), first);
}

TEST(LockFreeStackTest, TheFirstSlabHas64SlotsAndEachFurtherOneTwiceAsMany) {
  Stack stack;
  EXPECT_EQ(stack.capacity(), 0u);
  for (int i = 0; i < 64; ++i) ASSERT_NE(stack.take(), nullptr);
  EXPECT_EQ(stack.capacity(), 64u);
  ASSERT_NE(stack.take(), nullptr);
  EXPECT_EQ(stack.capacity(), 64u + 128u);
}

TEST(LockFreeStackTest, SlotsAreAlignedDistinctAndHoldWhatIsWrittenWhileOthersComeAndGo) {
  Stack stack;
  std::vector<unsigned char*> taken;
  for (int i = 0; i < 1000; ++i) {
    auto* memory = static_cast<unsigned char*>(stack.take());
    ASSERT_NE(memory, nullptr);
    ASSERT_EQ(reinterpret_cast<uintptr_t>(memory) % 16, 0u);
    std::memset(memory, i % 251, 40);
    taken.push_back(memory);
  }
  EXPECT_EQ(std::set<unsigned char*>(taken.begin(), taken.end()).size(), 1000u);
  for (int i = 0; i < 1000; ++i)
    for (int byte = 0; byte < 40; ++byte) ASSERT_EQ(taken[static_cast<size_t>(i)][byte], i % 251);
}

TEST(LockFreeStackTest, TakingAndGivingBackForeverNeverGrowsThePool) {
  Stack stack;
  for (int round = 0; round < 100000; ++round) {
    void* memory = stack.take();
    stack.give(memory);
  }
  EXPECT_EQ(stack.capacity(), 64u);
}

TEST(LockFreeStackTest, APooledObjectsMemoryIsUsedAgainByTheNext) {
  auto* first = new Pooled;
  void* place = first;
  delete first;
  auto* second = new Pooled;
  EXPECT_EQ(second, place);
  delete second;
}

TEST(LockFreeStackTest, AnObjectThatIsLargerThanItsPoolsSlotsIsRefused) {
  EXPECT_THROW(static_cast<void>(new Larger), std::bad_alloc);
}

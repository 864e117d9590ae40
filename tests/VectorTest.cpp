#include "platform/Vector.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "tests/support/CountingHeap.h"

namespace {

Vector<int> made(std::initializer_list<int> items) {
  Vector<int> vector;
  for (int item : items) vector.add(item);
  return vector;
}

std::vector<int> itemsOf(const Vector<int>& vector) {
  return std::vector<int>(vector.begin(), vector.end());
}

}  // namespace

TEST(VectorTest, InsertPutsTheEntryBeforeTheIndexAndPastTheEndAppends) {
  Vector<int> vector = made({1, 3});
  vector.insert(1, 2);
  vector.insert(0, 0);
  vector.insert(100, 4);
  EXPECT_EQ(itemsOf(vector), (std::vector<int>{0, 1, 2, 3, 4}));
}

TEST(VectorTest, RemoveTakesOnlyTheFirstEqualEntryAndSaysWhetherThereWasOne) {
  Vector<int> vector = made({7, 8, 7});
  EXPECT_TRUE(vector.remove(7));
  EXPECT_EQ(itemsOf(vector), (std::vector<int>{8, 7}));
  EXPECT_FALSE(vector.remove(9));
  EXPECT_EQ(vector.size(), 2u);
}

TEST(VectorTest, LocateAnswersTheFirstIndexOrNpos) {
  Vector<int> vector = made({5, 6, 6});
  EXPECT_EQ(vector.locate(6), 1u);
  EXPECT_EQ(vector.locate(4), Vector<int>::npos);
  EXPECT_EQ(Vector<int>().locate(4), Vector<int>::npos);
}

TEST(VectorTest, RemoveIdxKeepsTheOrderOfTheOthers) {
  Vector<int> vector = made({1, 2, 3});
  vector.removeIdx(1);
  EXPECT_EQ(itemsOf(vector), (std::vector<int>{1, 3}));
}

TEST(VectorTest, ConsumeAppendsAllEntriesAndEmptiesTheOther) {
  Vector<int> vector = made({1});
  Vector<int> other = made({2, 3});
  vector.consume(other);
  EXPECT_EQ(itemsOf(vector), (std::vector<int>{1, 2, 3}));
  EXPECT_TRUE(other.empty());
  Vector<int> empty;
  empty.consume(vector);
  EXPECT_EQ(empty.size(), 3u);
  EXPECT_TRUE(vector.empty());
}

TEST(VectorTest, AFewSmallEntriesAskTheHeapForNothingOnceTheirPoolHasGrown) {
  auto fill = [] {
    Vector<int> vector;
    for (int i = 0; i < 8; ++i) vector.add(i);
    EXPECT_EQ(itemsOf(vector), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
    Vector<int> copy = vector;
    copy.insert(0, 9);
    EXPECT_EQ(copy.size(), 9u);
    EXPECT_EQ(copy[8], 7);
    return vector;
  };
  Vector<int> kept = fill();
  CountingHeap heap;
  if (!heap.seesAllocations()) GTEST_SKIP() << "the sanitizer's own operators stand there";
  Vector<void*> entries;
  for (int i = 0; i < 4; ++i) entries.add(&entries);
  EXPECT_EQ(heap.allocations(), 0u);
  entries.add(nullptr);
  EXPECT_GT(heap.allocations(), 0u) << "the fifth makes it a long one";
}

TEST(VectorTest, EntriesThatCanOnlyBeMovedAreKept) {
  Vector<std::unique_ptr<int>> vector;
  vector.add(std::make_unique<int>(1));
  vector.insert(0, std::make_unique<int>(0));
  Vector<std::unique_ptr<int>> other;
  other.add(std::make_unique<int>(2));
  vector.consume(other);
  ASSERT_EQ(vector.size(), 3u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(*vector[static_cast<size_t>(i)], i);
}

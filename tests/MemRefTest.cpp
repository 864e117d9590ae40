#include "fsys/MemRef.h"

#include <gtest/gtest.h>

#include "tests/support/CountingHeap.h"
#include "tests/support/TestHolder.h"

namespace {

TEST(MemRefTest, ItsBufferIsTheHoldersFromItsStart) {
  Qv::Ptr<iMemHolder> holder = TestHolder::ofPattern(1000);
  Qv::Ptr<MemRef> slice(new MemRef(holder, 488, 100));
  EXPECT_EQ(slice->getBuffer(), holder->getBuffer() + 488);
  EXPECT_EQ(whyNotPattern(slice->getBuffer(), 100, 488), "");
}

TEST(MemRefTest, ItsSizeIsTheSlicesAndNotTheHolders) {
  Qv::Ptr<MemRef> slice(new MemRef(TestHolder::ofPattern(1000), 488, 100));
  EXPECT_EQ(slice->getSize(), 100u);
}

TEST(MemRefTest, ItsUsedCountIs0AtFirstAndThenWhatWasSet) {
  Qv::Ptr<iMemHolder> holder = TestHolder::ofPattern(1000);
  Qv::Ptr<MemRef> slice(new MemRef(holder, 0, 100));
  EXPECT_EQ(slice->getUsed(), 0u);
  EXPECT_TRUE(slice->setUsed(101));
  EXPECT_EQ(slice->getUsed(), 101u);
  EXPECT_EQ(slice->getSize(), 100u);
  EXPECT_EQ(holder->getUsed(), 0u) << "the count is its own";
}

TEST(MemRefTest, ItKeepsTheHolderForAsLongAsItLives) {
  Qv::Ptr<iMemHolder> holder = TestHolder::ofPattern(10);
  Qv::Ptr<MemRef> slice(new MemRef(holder, 0, 10));
  EXPECT_EQ(holder->refCount(), 2);
  slice.reset();
  EXPECT_EQ(holder->refCount(), 1);
}

TEST(MemRefTest, ASliceOfASliceCountsBothStarts) {
  Qv::Ptr<iMemHolder> holder = TestHolder::ofPattern(1000);
  Qv::Ptr<iMemHolder> outer(new MemRef(holder, 100, 500));
  Qv::Ptr<MemRef> inner(new MemRef(outer, 20, 30));
  EXPECT_EQ(inner->getBuffer(), holder->getBuffer() + 120);
}

TEST(MemRefTest, WithoutAHolderOrItsMemoryTheBufferIsNull) {
  EXPECT_EQ(Qv::Ptr<MemRef>(new MemRef(nullptr, 5, 10))->getBuffer(), nullptr);
  Qv::Ptr<iMemHolder> withoutMemory(new TestHolder(0u));
  EXPECT_EQ(Qv::Ptr<MemRef>(new MemRef(withoutMemory, 5, 10))->getBuffer(), nullptr);
}

TEST(MemRefTest, SlicesTakeTheirMemoryFromAPoolAndGiveItBack) {
  Qv::Ptr<iMemHolder> holder = TestHolder::ofPattern(1000);
  Qv::Ptr<MemRef>(new MemRef(holder, 0, 10)).reset();
  unsigned allocations;
  {
    CountingHeap heap;
    if (!heap.seesAllocations())
      GTEST_SKIP() << "the sanitizer's own operators stand where the library's would";
    for (unsigned i = 0; i < 1000; ++i) Qv::Ptr<MemRef>(new MemRef(holder, i, 1)).reset();
    allocations = heap.allocations();
  }
  EXPECT_EQ(allocations, 0u);
}

}  // namespace

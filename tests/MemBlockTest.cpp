#include "fsys/MemBlock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include "platform/fake/FakeOSScope.h"

namespace {

class MemBlockTest : public testing::Test {
protected:
  FakeOSScope os_;
};

TEST_F(MemBlockTest, ABlockHolds512BytesMoreThanItWasAskedFor) {
  Qv::Ptr<MemBlock> block(new MemBlock(4096));
  EXPECT_EQ(block->getSize(), 4608u);
  EXPECT_EQ(block->getUsed(), 4608u);
}

TEST_F(MemBlockTest, ABlockOf0BytesHolds512) {
  Qv::Ptr<MemBlock> block(new MemBlock(0));
  EXPECT_EQ(block->getSize(), 512u);
  EXPECT_EQ(block->getUsed(), 512u);
  EXPECT_NE(block->getBuffer(), nullptr);
}

TEST_F(MemBlockTest, ABlockAsksOnceForAReservedAndCommittedRegionToReadAndWrite) {
  Qv::Ptr<MemBlock> block(new MemBlock(1000));
  ASSERT_EQ(os_->memory().allocations().size(), 1u);
  const FakeVirtualMemory::Allocation& asked = os_->memory().allocations()[0];
  EXPECT_EQ(asked.hint, nullptr);
  EXPECT_EQ(asked.bytes, 1512u);
  EXPECT_EQ(asked.type, 0x3000u);
  EXPECT_EQ(asked.protection, 4u);
}

TEST_F(MemBlockTest, ItsBufferIsTheStartOfItsRegionOnAPage) {
  Qv::Ptr<MemBlock> block(new MemBlock(1000));
  EXPECT_EQ(block->getBuffer(), os_->memory().allocations()[0].address);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(block->getBuffer()) % 4096, 0u);
}

TEST_F(MemBlockTest, AllOfItsSizeCanBeWritten) {
  Qv::Ptr<MemBlock> block(new MemBlock(10000));
  std::fill(block->getBuffer(), block->getBuffer() + block->getSize(),
            static_cast<unsigned char>(1));
  EXPECT_EQ(block->getBuffer()[10511], 1);
}

TEST_F(MemBlockTest, SettingTheUsedLengthDoesNothingAndAnswersFalse) {
  Qv::Ptr<MemBlock> block(new MemBlock(100));
  EXPECT_FALSE(block->setUsed(7));
  EXPECT_EQ(block->getUsed(), 612u);
  EXPECT_EQ(block->getSize(), 612u);
}

TEST_F(MemBlockTest, ABlockWithoutMemoryStillReportsItsSizeAsUsed) {
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
  Qv::Ptr<MemBlock> block(new MemBlock(100));
  EXPECT_EQ(block->getBuffer(), nullptr);
  EXPECT_EQ(block->getSize(), 0u);
  EXPECT_EQ(block->getUsed(), 612u);
}

TEST_F(MemBlockTest, ABlockWithoutMemoryTriedOnceAndGivesNothingBack) {
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
  Qv::Ptr<MemBlock> block(new MemBlock(100));
  block.reset();
  EXPECT_EQ(os_->memory().allocations().size(), 1u);
  EXPECT_TRUE(os_->memory().releases().empty());
}

TEST_F(MemBlockTest, TheLastReferenceGivesTheRegionBackWhole) {
  Qv::Ptr<iMemHolder> block(new MemBlock(100));
  Qv::Ptr<iMemHolder> second = block;
  void* address = block->getBuffer();
  block.reset();
  EXPECT_EQ(os_->memory().regions(), 1u);
  second.reset();
  ASSERT_EQ(os_->memory().releases().size(), 1u);
  const FakeVirtualMemory::Release& given = os_->memory().releases()[0];
  EXPECT_EQ(given.address, address);
  EXPECT_EQ(given.bytes, 0u);
  EXPECT_EQ(given.type, 0xC000u);
  EXPECT_EQ(os_->memory().regions(), 0u);
}

// Its size is counted in 32 bits; whoever asks for that much is refused before (FileRequest).
TEST_F(MemBlockTest, TheSizeOfABlockIsCountedIn32Bits) {
  Qv::Ptr<MemBlock> block(new MemBlock(0xFFFFFFFF));
  EXPECT_EQ(block->getUsed(), 511u);
  EXPECT_EQ(os_->memory().allocations()[0].bytes, 511u);
}

}  // namespace

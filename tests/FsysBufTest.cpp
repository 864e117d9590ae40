// The pool: blocks, the count of bytes that have none yet, and its one pointer.

#include "fsys/FsysBuf.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "fsys/EngineSettings.h"
#include "fsys/Fsys.h"
#include "tests/FileRequestFixture.h"

namespace {

class FsysBufTest : public testing::Test {
protected:
  void TearDown() override { Fsys::BufferSpace_ = nullptr; }

  FakeOSScope os_;
  FsysBuf pool_;
};

TEST_F(FsysBufTest, ANewPoolHasNoPendingBytes) { EXPECT_EQ(pool_.GetPendingBytes(), 0u); }

TEST_F(FsysBufTest, ABlockIsFreshMemoryOf512BytesMoreHeldByItsOneReference) {
  Qv::Ptr<iMemHolder> block = pool_.GetMemBlock(4096, nullptr);
  ASSERT_TRUE(block);
  EXPECT_EQ(block->refCount(), 1);
  EXPECT_EQ(block->getSize(), 4608u);
  EXPECT_EQ(block->getUsed(), 4608u);
}

TEST_F(FsysBufTest, ABlockOf0BytesHas512) {
  Qv::Ptr<iMemHolder> block = pool_.GetMemBlock(0, nullptr);
  EXPECT_EQ(block->getSize(), 512u);
  EXPECT_EQ(block->getUsed(), 512u);
}

TEST_F(FsysBufTest, NothingIsKeptEveryBlockIsAskedForAndGivenBack) {
  for (int i = 0; i < 3; ++i) pool_.GetMemBlock(100, nullptr);
  EXPECT_EQ(os_->memory().allocations().size(), 3u);
  EXPECT_EQ(os_->memory().releases().size(), 3u);
  EXPECT_EQ(os_->memory().regions(), 0u);
}

TEST_F(FsysBufTest, GettingABlockLeavesThePendingBytesToTheRequest) {
  pool_.AddPendingBytes(1000);
  pool_.GetMemBlock(100, nullptr);
  EXPECT_EQ(pool_.GetPendingBytes(), 1000u);
}

TEST_F(FsysBufTest, WithoutMemoryThereIsNoBlockAndItWasAskedForOnceWhateverTheRetriesSay) {
  for (int retries : {0, 1, 20, 1000}) {
    EngineSettings::kMaxAllocRetries = retries;
    size_t before = os_->memory().allocations().size();
    os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
    EXPECT_FALSE(pool_.GetMemBlock(100, nullptr));
    EXPECT_EQ(os_->memory().allocations().size(), before + 1);
  }
  EngineSettings::kMaxAllocRetries = 20;
  EXPECT_TRUE(os_->threads().sleeps().empty());
  EXPECT_TRUE(os_->memory().releases().empty());
}

TEST_F(FsysBufTest, ARefusedBlockIsFollowedByAGoodOne) {
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
  EXPECT_FALSE(pool_.GetMemBlock(100, nullptr));
  EXPECT_TRUE(pool_.GetMemBlock(100, nullptr));
}

TEST_F(FsysBufTest, PendingBytesAreAddedAndTakenOffAndWrapAt32Bits) {
  pool_.AddPendingBytes(100);
  pool_.AddPendingBytes(-30);
  EXPECT_EQ(pool_.GetPendingBytes(), 70u);
  pool_.AddPendingBytes(-71);
  EXPECT_EQ(pool_.GetPendingBytes(), UINT32_MAX);
}

// The one pool -----------------------------------------------------------------------------------

TEST_F(FsysBufTest, CreatingStoresANewPoolAndAnswers1) {
  ASSERT_EQ(Fsys::BufferSpace_, nullptr);
  EXPECT_EQ(Fsys::CreateBufferSpace(), 1u);
  ASSERT_NE(Fsys::BufferSpace_, nullptr);
  EXPECT_EQ(Fsys::BufferSpace_->GetPendingBytes(), 0u);
  EXPECT_EQ(Fsys::ReleaseBufferSpace(), 1u);
}

TEST_F(FsysBufTest, ReleasingLeavesThePointerAsItWas) {
  Fsys::CreateBufferSpace();
  FsysBuf* pool = Fsys::BufferSpace_;
  EXPECT_EQ(Fsys::ReleaseBufferSpace(), 1u);
  EXPECT_EQ(Fsys::BufferSpace_, pool);
}

TEST_F(FsysBufTest, ReleasingWithoutAPoolAnswers1Too) {
  EXPECT_EQ(Fsys::ReleaseBufferSpace(), 1u);
  EXPECT_EQ(Fsys::BufferSpace_, nullptr);
}

TEST_F(FsysBufTest, BlocksOutliveTheirPool) {
  Fsys::CreateBufferSpace();
  Qv::Ptr<iMemHolder> block = Fsys::BufferSpace_->GetMemBlock(100, nullptr);
  Fsys::ReleaseBufferSpace();
  std::fill(block->getBuffer(), block->getBuffer() + 612, static_cast<unsigned char>(1));
  EXPECT_EQ(os_->memory().regions(), 1u);
  block.reset();
  EXPECT_EQ(os_->memory().regions(), 0u);
}

// A pool that says when it goes.
class MarkedPool final : public FsysBuf {
public:
  explicit MarkedPool(int& ends) : ends_(ends) {}
  ~MarkedPool() override { ++ends_; }

private:
  int& ends_;
};

TEST_F(FsysBufTest, ThePoolIsDeletedThroughItsVirtualDestructor) {
  int ends = 0;
  Fsys::BufferSpace_ = new MarkedPool(ends);
  Fsys::ReleaseBufferSpace();
  EXPECT_EQ(ends, 1);
}

TEST_F(FsysBufTest, AnEngineMakesThePoolAndReleasesItOnceAndThePointerStays) {
  int ends = 0;
  {
    Fsys engine;
    ASSERT_NE(Fsys::BufferSpace_, nullptr);
    Fsys::ReleaseBufferSpace();
    Fsys::BufferSpace_ = new MarkedPool(ends);
  }
  EXPECT_EQ(ends, 1);
  EXPECT_NE(Fsys::BufferSpace_, nullptr);
}

// What is pending --------------------------------------------------------------------------------

class FsysBufPendingTest : public FileRequestTest {
protected:
  static uint32_t pending() { return Fsys::BufferSpace_->GetPendingBytes(); }
};

TEST_F(FsysBufPendingTest, AQueuedReadIsPendingUntilItHasItsBlock) {
  FsysFile* file = openToRead(65536);
  queueRead(file, 1000, 100);
  EXPECT_EQ(pending(), 100u);
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
  startReads(file);
  EXPECT_EQ(pending(), 100u) << "it found no block";
  startReads(file);
  EXPECT_EQ(pending(), 0u);
}

TEST_F(FsysBufPendingTest, MergedReadsArePendingWithTheGapBetweenThem) {
  FsysFile* file = openToRead(65536);
  queueRead(file, 0, 100);
  queueRead(file, 1000, 100);
  EXPECT_EQ(pending(), 1100u);
  startReads(file);
  EXPECT_EQ(pending(), 0u);
}

TEST_F(FsysBufPendingTest, AQueuedWriteIsPendingOnEveryWayIntoTheList) {
  FsysFile* file = openToWrite();
  uint32_t expected = 0;
  for (bool deferrable : {false, true}) {
    ASSERT_EQ(file->QueueWriteRequest(new FileRequest(false, 512, expected, deferrable, false,
                                                      TestHolder::ofPattern(512), file, nullptr,
                                                      nullptr)),
              1u);
    EXPECT_EQ(pending(), expected += 512);
  }
  ASSERT_EQ(
      file->QueueWriteRequest(new FileRequest(false, 512, expected, false, true,
                                              TestHolder::ofPattern(512), file, nullptr, nullptr)),
      1u);
  EXPECT_EQ(pending(), 1536u) << "a write takes no block, so nothing is taken off";
}

TEST_F(FsysBufPendingTest, RequestsQueueWithoutAPool) {
  FsysFile* file = openToRead(65536);
  FsysBuf* pool = std::exchange(Fsys::BufferSpace_, nullptr);
  queueRead(file, 0, 100);
  Fsys::BufferSpace_ = pool;
  EXPECT_EQ(pending(), 0u);
}

}  // namespace

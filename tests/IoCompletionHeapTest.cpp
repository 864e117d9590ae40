// Finishing a transfer asks nothing of the heap.

#include "tests/EngineFixture.h"
#include "tests/support/CountingHeap.h"

namespace {

constexpr const char* kSanitized = "the sanitizer's own operators stand where the library's would";

class IoCompletionHeapTest : public EngineFixture {
protected:
  static constexpr int kTransfers = 8;
  static constexpr uint32_t kBytes = 4096;

  // Counts a call, and asks nothing of the heap itself.
  static void count(Qv::Ptr<iObject>&, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
    told += status == eRequestSucceeded && data;
  }
  void startReads(FsysFile* file) {
    Qv::Ptr<iObject> nobody;
    for (int i = 0; i < kTransfers; ++i)
      ASSERT_EQ(file->DirectRead(i * 3L * kBytes, kBytes, false, &count, nobody), 1u);
    passOverReads();
  }
  void startWrites(FsysFile* file) {
    Qv::Ptr<iObject> nobody;
    for (int i = 0; i < kTransfers; ++i) {
      Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(kBytes);
      ASSERT_EQ(file->DirectWrite(data, false, &count, nobody, false), 1u);
    }
    passOverWrites();
  }

  static inline int told = 0;
};

TEST_F(IoCompletionHeapTest, FinishedReadsAreToldWithoutAnAllocation) {
  told = 0;
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  startReads(file);
  os_->asyncIo().finishAll();
  file->ClearMemoryRefs();
  startReads(file);
  unsigned allocations;
  {
    CountingHeap heap;
    if (!heap.seesAllocations()) GTEST_SKIP() << kSanitized;
    os_->asyncIo().finishAll();
    allocations = heap.allocations();
  }
  EXPECT_EQ(told, 2 * kTransfers);
  EXPECT_EQ(allocations, 0u);
}

TEST_F(IoCompletionHeapTest, AReadThatTheCacheAnswersAsksTheHeapForNothing) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  startReads(file);
  os_->asyncIo().finishAll();
  Qv::Ptr<iObject> nobody;
  ASSERT_EQ(file->DirectRead(100, 50, false, &count, nobody), 1u) << "the pools grow";
  told = 0;
  unsigned allocations;
  {
    CountingHeap heap;
    if (!heap.seesAllocations()) GTEST_SKIP() << kSanitized;
    for (int i = 0; i < kTransfers; ++i) file->DirectRead(100 + i, 50, false, &count, nobody);
    allocations = heap.allocations();
  }
  EXPECT_EQ(told, kTransfers);
  EXPECT_EQ(allocations, 0u);
}

TEST_F(IoCompletionHeapTest, FinishedWritesAreToldWithoutAnAllocation) {
  told = 0;
  // What is written over has its memory in the fake already.
  os_->files().addFile(L"/m/a", patternBytes(1 << 20));
  FsysFile* file = openForWriting(L"/m/a");
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(file->Seek(0, eSeekFromStart), 1u);
    startWrites(file);
    if (round == 0) os_->asyncIo().finishAll();
  }
  unsigned allocations;
  {
    CountingHeap heap;
    if (!heap.seesAllocations()) GTEST_SKIP() << kSanitized;
    os_->asyncIo().finishAll();
    allocations = heap.allocations();
  }
  EXPECT_EQ(told, 2 * kTransfers);
  EXPECT_EQ(allocations, 0u);
}

}  // namespace

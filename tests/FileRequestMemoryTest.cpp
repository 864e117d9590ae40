// Requests that find no memory: none is half made, half merged or left untold.

#include <memory>

#include "platform/ArrayMemory.h"
#include "tests/FileRequestFixture.h"
#include "tests/support/FailingHeap.h"

namespace {

using Peer = FileRequestPeer;
constexpr int kMost = 50;  // allocations

// All that the pools of requests have, for a scope: what is needed then is asked of the heap.
class SparesTaken {
public:
  explicit SparesTaken(FailingHeap& heap) {
    entries_.reserve(kRoom);
    arrays_.reserve(kRoom);
    heap.refuse(0, false);
    takeAll([this] { entries_.push_back(std::make_unique<CompletionInfo>(nullptr, none_, 0, 0)); });
    takeAll([this] { arrays_.push_back(takeShortArray()); });
    heap.letBe();
  }
  ~SparesTaken() {
    for (void* array : arrays_) giveShortArray(array);
  }
  SparesTaken(const SparesTaken&) = delete;
  SparesTaken& operator=(const SparesTaken&) = delete;
  size_t size() const { return entries_.size() + arrays_.size(); }

private:
  static constexpr size_t kRoom = 1 << 16;

  template <typename Take>
  static void takeAll(const Take& take) {
    try {
      for (size_t i = 0; i < kRoom; ++i) take();
      ADD_FAILURE() << "a pool has no end";
    } catch (const std::bad_alloc&) {
      // That was the last.
    }
  }

  Qv::Ptr<iObject> none_;
  std::vector<std::unique_ptr<CompletionInfo>> entries_;
  std::vector<void*> arrays_;
};

class FileRequestMemoryTest : public FileRequestTest {
protected:
  void SetUp() override {
    if (!heap_.isAsked())
      GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
    FileRequestTest::SetUp();
  }
  void TearDown() override {
    if (heap_.isAsked()) FileRequestTest::TearDown();
  }
  RequestHandle queued(RequestHandle request) {
    return inStatus(std::move(request), FileRequest::QUEUED);
  }
  // Makes a synchronous request, for which an allocation fails. Whether one did.
  bool makeWithout(int nth) {
    Qv::Ptr<iObject> context = recorder_->context();
    heap_.refuse(nth, true);
    try {
      FileRequest request(true, 100, 0, false, true, nullptr, &file_, &Recorder::told, context);
    } catch (const std::bad_alloc&) {
      // As it should when one was refused.
    }
    return heap_.letBe();
  }
  // A started read of 512 bytes whose block is filled.
  RequestHandle finishedRead() {
    RequestHandle request = makeRead(0, 512, 1);
    Peer::setBuffer(*request, TestHolder::ofPattern(1024));
    Peer::setBytesDone(*request, 512);
    return inStatus(std::move(request), FileRequest::SUCCEEDED);
  }

  FailingHeap heap_;
};

TEST_F(FileRequestMemoryTest, ARequestThatCannotBeMadeLeavesNothingBehind) {
  ASSERT_FALSE(makeWithout(kMost));  // now the pools have what they need
  bool refused = true;
  int tried = 0;
  for (; refused && tried < kMost; ++tried) {
    size_t spares = SparesTaken(heap_).size();
    refused = makeWithout(tried);
    EXPECT_EQ(heap_.live(), 0) << "allocation " << tried;
    EXPECT_EQ(SparesTaken(heap_).size(), spares) << "allocation " << tried;
  }
  EXPECT_FALSE(refused);
  EXPECT_GT(tried, 2);
}

TEST_F(FileRequestMemoryTest, ARequestThatFindsThePoolsEmptyIsMadeOrNot) {
  bool refused = true;
  int tried = 0;
  for (; refused && tried < kMost; ++tried) {
    SparesTaken all(heap_);
    refused = makeWithout(tried);
  }
  EXPECT_FALSE(refused);
  EXPECT_GT(tried, 4);
}

TEST_F(FileRequestMemoryTest, ARequestThatCannotBeMergedInStaysByItselfAndNothingHasChanged) {
  Qv::Ptr<iMemHolder> whole = TestHolder::ofPattern(300);
  bool refused = true;
  int tried = 0;
  for (; refused && tried < kMost; ++tried) {
    RequestHandle first =
        queued(makeWrite(100, 100, Qv::Ptr<iMemHolder>(new MemRef(whole, 100, 100)), 1));
    RequestHandle before = makeWrite(0, 100, Qv::Ptr<iMemHolder>(new MemRef(whole, 0, 100)), 2);
    SparesTaken all(heap_);
    heap_.refuse(tried, true);
    bool merged = first->Coalesce(before.get());
    refused = heap_.letBe();
    EXPECT_EQ(merged, !refused) << "allocation " << tried;
    EXPECT_EQ(Peer::offset(*first), merged ? 0u : 100u);
    EXPECT_EQ(Peer::byteCount(*first), merged ? 200u : 100u);
    ASSERT_EQ(Peer::entries(*first).size(), merged ? 2u : 1u);
    EXPECT_EQ(Peer::entries(*first)[0]->bufferPosition_, merged ? 100u : 0u);
  }
  EXPECT_FALSE(refused);
  EXPECT_GT(tried, 2);
}

TEST_F(FileRequestMemoryTest, AMergedWriteThatCannotBeMergedInKeepsItsHoldersToItself) {
  Qv::Ptr<iMemHolder> whole = TestHolder::ofPattern(1000);
  auto make = [&](unsigned at, unsigned bytes) {
    return queued(makeWrite(at, bytes, Qv::Ptr<iMemHolder>(new MemRef(whole, at, bytes))));
  };
  bool refused = true;
  int tried = 0;
  for (; refused && tried < kMost; ++tried) {
    RequestHandle first = make(0, 100), second = make(100, 100);
    // Each brings two holders more than the one before.
    for (unsigned at = 200; at < 900; at += 100) ASSERT_TRUE(second->Coalesce(make(at, 100).get()));
    const long references = whole->refCount();
    SparesTaken all(heap_);
    heap_.refuse(tried, true);
    bool merged = first->Coalesce(second.get());
    refused = heap_.letBe();
    EXPECT_EQ(merged, !refused) << "allocation " << tried;
    EXPECT_EQ(Peer::byteCount(*first), merged ? 900u : 100u);
    EXPECT_EQ(Peer::entries(*first).size(), merged ? 9u : 1u);
    EXPECT_EQ(Peer::mergedHolders(*first), merged ? 16u : 0u);
    EXPECT_EQ(whole->refCount(), references);
  }
  EXPECT_FALSE(refused);
  EXPECT_GT(tried, 2);
}

TEST_F(FileRequestMemoryTest, AReadWhoseBytesCannotBeHandedOutIsToldAsAFailure) {
  RequestHandle request = finishedRead();
  Qv::Ptr<iMemHolder> none;
  std::vector<Qv::Ptr<iMemHolder>> taken;
  taken.reserve(1 << 16);
  RequestStatus status = eRequestSucceeded;
  static RequestStatus* told = nullptr;
  told = &status;
  Peer::entries(*request)[0]->callback_ = [](Qv::Ptr<iObject>&, Qv::Ptr<iMemHolder>& data,
                                             RequestStatus how) {
    EXPECT_FALSE(data);
    *told = how;
  };
  heap_.refuse(0, false);
  try {
    while (taken.size() < taken.capacity())
      taken.push_back(Qv::Ptr<iMemHolder>(new MemRef(none, 0, 0)));
  } catch (const std::bad_alloc&) {
    // Every slice that there is is taken.
  }
  request->doCallbacks();
  EXPECT_TRUE(heap_.letBe());
  EXPECT_EQ(status, eRequestFailed);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNoMemory});
}

}  // namespace

// Faults that are meant for one file, and transfers whose end is held back: what a layer for long
// runs is for, which leaves the heap and the threads alone.

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/Clocks.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/fault/FileFaultLayer.h"
#include "tests/support/AsyncTester.h"
#include "tests/support/Pattern.h"

namespace {

using Text = LightweightString<wchar_t>;
constexpr uint32_t kBytes = 4096;
constexpr uint32_t kHold_ms = 30;

class FileAim final : public FaultAim {
public:
  explicit FileAim(const wchar_t* name) : name_(name) {}
  bool isMeant(const FaultPlace& place) override { return place.path && *place.path == name_; }
  void struck(const FaultPlace& place) override { places.push_back(place); }

  std::vector<FaultPlace> places;

private:
  Text name_;
};

class RegionAim final : public FaultAim {
public:
  bool isMeant(const FaultPlace& place) override { return place.bytes == 2 * kBytes; }
  void struck(const FaultPlace&) override {}
};

class FaultAimTest : public testing::Test {
protected:
  FaultAimTest() {
    os_->files().addFolder(L"/m");
    for (const wchar_t* name : {L"/m/a", L"/m/b"}) os_->files().addFile(name, patternBytes(kBytes));
  }
  static Qv::Ptr<iFile> open(const wchar_t* name) {
    return OS()->getFileManager()->openMedia(
        Text(name), 3, true, iFileManager::eOpenOrCreateNeverTruncate, iFileManager::eModeAsync);
  }
  static bool takesRegion(size_t bytes) {
    iVirtualMemory* memory = OS()->getVirtualMemory();
    void* region = memory->allocate(nullptr, bytes, eVmReserveAndCommit, eVmReadWrite);
    return region && memory->free(region, 0, eVmDecommitAndRelease);
  }

  FakeOSScope os_;
  FileFaultLayer layer_;
};

TEST_F(FaultAimTest, OnlyTheCallsThatAreMeantAreCountedAndTheNthOfThemIsStruckAtItsPlace) {
  Qv::Ptr<iFile> a = open(L"/m/a"), b = open(L"/m/b");
  FileAim aim(L"/m/b");
  layer_.points().arm({.call = FaultCall::eRead, .nth = 2, .aim = &aim});
  std::vector<unsigned char> bytes(kBytes);
  for (const auto& file : {a, b, a}) EXPECT_EQ(file->readAt(0, bytes.data(), kBytes, nullptr), 1u);
  EXPECT_TRUE(aim.places.empty());
  EXPECT_NE(b->readAt(512, bytes.data(), 1024, nullptr), 1u);
  EXPECT_EQ(b->readAt(0, bytes.data(), kBytes, nullptr), 1u);
  ASSERT_EQ(aim.places.size(), 1u);
  EXPECT_EQ(aim.places[0].offset, 512u);
  EXPECT_EQ(aim.places[0].bytes, 1024u);
  EXPECT_EQ(layer_.points().fired(), 1u);
}

TEST_F(FaultAimTest, EveryCallOfANameSaysWhoseItIs) {
  FileAim aim(L"/m/b");
  iFileManager* files = OS()->getFileManager();
  Vector<iFileManager::ListedFile> listed;
  MediaLeft left;
  layer_.points().arm({.call = FaultCall::eOpenMedia, .fromThenOn = true, .aim = &aim});
  EXPECT_TRUE(open(L"/m/a"));
  EXPECT_FALSE(open(L"/m/b"));
  layer_.points().arm({.call = FaultCall::eListFiles, .fromThenOn = true, .aim = &aim});
  EXPECT_TRUE(files->listFiles(Text(L"/m/a"), listed));
  EXPECT_FALSE(files->listFiles(Text(L"/m/b"), listed));
  layer_.points().arm({.call = FaultCall::eDeleteMedia, .fromThenOn = true, .aim = &aim});
  EXPECT_FALSE(files->deleteMedia({Text(L"/m/b"), {}, {}, {}}, left));
  EXPECT_TRUE(files->deleteMedia({Text(L"/m/a"), {}, {}, {}}, left));
  EXPECT_EQ(aim.places.size(), 3u) << "one of each kind";
}

TEST_F(FaultAimTest, ARegionIsToldByItsSize) {
  RegionAim aim;
  layer_.points().arm({.call = FaultCall::eAllocateRegion, .fromThenOn = true, .aim = &aim});
  EXPECT_TRUE(takesRegion(kBytes));
  EXPECT_FALSE(takesRegion(2 * kBytes));
  EXPECT_TRUE(takesRegion(3 * kBytes));
  layer_.points().disarm();
  EXPECT_TRUE(takesRegion(2 * kBytes));
}

TEST_F(FaultAimTest, AHeldTransferIsToldSoMuchLaterOnAThreadOfItsOwnAndGoesWell) {
  for (const bool write : {false, true}) {
    Qv::Ptr<iFile> file = open(L"/m/a");
    AsyncTester tester;
    ASSERT_EQ(file->attach(tester.handler()), 1u);
    layer_.points().arm(
        {.call = write ? FaultCall::eFinishWrite : FaultCall::eFinishRead, .hold_ms = kHold_ms});
    AsyncTester::Request request(kBytes);
    fillPattern(request.buffer.data(), kBytes, 0);
    std::thread::id teller;
    request.then = [&](AsyncTester::Request&) { teller = std::this_thread::get_id(); };
    const double begin_ms = nativeOS()->getClock()->now_ms();
    ASSERT_EQ(write ? tester.write(file, request, 0) : tester.read(file, request, 0), 1u);
    os_->run();
    tester.waitFor(1);
    EXPECT_GE(nativeOS()->getClock()->now_ms() - begin_ms, kHold_ms);
    EXPECT_NE(teller, std::this_thread::get_id());
    EXPECT_TRUE(request.succeeded);
    EXPECT_EQ(request.bytes, kBytes);
    EXPECT_EQ(whyNotPattern(request.buffer.data(), kBytes, 0), "");
    EXPECT_EQ(layer_.points().fired(), 1u);
  }
}

TEST_F(FaultAimTest, AHeldTransferThatIsCutShortEndsSoWhenItIsTold) {
  Qv::Ptr<iFile> file = open(L"/m/a");
  AsyncTester tester;
  ASSERT_EQ(file->attach(tester.handler()), 1u);
  layer_.points().arm({.call = FaultCall::eFinishRead,
                       .error = eOsIoError,
                       .cutShort = kBytes / 2,
                       .hold_ms = kHold_ms});
  AsyncTester::Request request(kBytes);
  ASSERT_EQ(tester.read(file, request, 0), 1u);
  os_->run();
  tester.waitFor(1);
  EXPECT_FALSE(request.succeeded);
  EXPECT_EQ(request.error, uint32_t{eOsIoError});
  EXPECT_EQ(request.bytes, kBytes / 2);
}

TEST_F(FaultAimTest, WhatIsNotAsynchronousIsNotHeldButFails) {
  Qv::Ptr<iFile> file = open(L"/m/a");
  layer_.points().arm({.call = FaultCall::eRead, .hold_ms = kHold_ms});
  std::vector<unsigned char> bytes(kBytes);
  EXPECT_EQ(file->readAt(0, bytes.data(), kBytes, nullptr), uint32_t{eOsIoError});
  EXPECT_EQ(layer_.points().fired(), 1u);
}

TEST_F(FaultAimTest, TheHeapAndTheThreadsAreThoseOfTheSystemBelow) {
  EXPECT_EQ(layer_.getMemoryManager(), nativeOS()->getMemoryManager());
  EXPECT_EQ(layer_.getThreads(), os_->getThreads());
}

}  // namespace

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "platform/OS.h"
#include "platform/linux/LinuxFileManager.h"
#include "tests/support/AsyncTester.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/Pattern.h"
#include "tests/support/ScratchFolder.h"

namespace {

// Transfers of a share that does not answer: over a ring, over threads, and over a ring's own
// threads, where a program's file system is kept out of it. Seen through a layer it is let in.
class LinuxHeldTransferTest : public ::testing::TestWithParam<const char*> {
protected:
  LinuxHeldTransferTest() : choice_("FSYS_IO", GetParam()), share_(folder_.bytes("share")) {}
  ~LinuxHeldTransferTest() override {
    if (isLayered_) umount2(folder_.bytes("layer").c_str(), MNT_DETACH);
  }

  void SetUp() override {
    if (!share_.isMounted()) GTEST_SKIP() << "no file system can be mounted here";
    iAsyncIo::Description port = OS()->getAsyncIo()->describe();
    if (!is("threads") && !port.ring) GTEST_SKIP() << "no ring here: " << port.why;
    isLayered_ = is("ring") && layer();
    if (is("ring") && !isLayered_) GTEST_SKIP() << "no layer can be mounted over a share here";
    file_ = linuxFileManager()->openMedia(folder_ / (isLayered_ ? "layer/held" : "share/held"), 1,
                                          false, 4, 3);
    ASSERT_TRUE(file_);
  }

  static bool is(const char* port) { return std::strcmp(GetParam(), port) == 0; }

  bool layer() {
    std::string place = folder_.bytes("layer"), other = folder_.bytes("other");
    std::string folders = "lowerdir=" + folder_.bytes("share") + ":" + other;
    return mkdir(place.c_str(), 0700) == 0 && mkdir(other.c_str(), 0700) == 0 &&
           mount("layer", place.c_str(), "overlay", MS_RDONLY, folders.c_str()) == 0;
  }

  bool isLayered_ = false;
  ScratchFolder folder_;
  ScopedEnvironment choice_;
  HeldFileSystem share_;
  Qv::Ptr<iFile> file_;
};

INSTANTIATE_TEST_SUITE_P(Ports, LinuxHeldTransferTest,
                         ::testing::Values("ring", "threads", "program"),
                         [](const auto& port) { return std::string(port.param); });

// Tells when the last reference to a transfer's buffer has gone.
class WatchedBuffer final : public AsyncTester::Buffer {
public:
  WatchedBuffer(size_t bytes, std::promise<void>& gone) : Buffer(bytes), gone_(gone) {}
  ~WatchedBuffer() override { gone_.set_value(); }

private:
  std::promise<void>& gone_;
};

TEST_P(LinuxHeldTransferTest, AHeldReadIsReportedWhenItIsLetGo) {
  AsyncTester tester;
  ASSERT_EQ(file_->attach(tester.handler()), 1u);
  AsyncTester::Request request(65536);
  ASSERT_EQ(tester.read(file_, request, 4096), 1u);
  share_.waitUntilHeld(1);
  EXPECT_EQ(tester.reports(), 0u);
  share_.letGo();
  tester.waitFor(1);
  EXPECT_TRUE(request.succeeded);
  EXPECT_EQ(request.bytes, 65536u);
  EXPECT_EQ("", whyNotPattern(request.buffer.data(), 65536, 4096));
}

TEST_P(LinuxHeldTransferTest, ARequestGoesInFlightAndItsBufferLivesUntilTheSystemLetsGo) {
  AsyncTester tester;
  ASSERT_EQ(file_->attach(tester.handler()), 1u);
  std::promise<void> gone;
  std::future<void> isGone = gone.get_future();
  {
    AsyncTester::Request request(4096);
    Qv::Ptr<iObject> watched(new WatchedBuffer(4096, gone));
    void* memory = static_cast<WatchedBuffer*>(watched.get())->data();
    AsyncTransfer transfer{0, memory, 4096, watched, &request};
    ASSERT_EQ(file_->startRead(request.context, transfer), 1u);
    share_.waitUntilHeld(1);
    ASSERT_EQ(request.context->detach(), &request);
    file_.reset();
  }
  EXPECT_EQ(isGone.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  share_.letGo();
  isGone.wait();
  tester.destroyHandler();
  EXPECT_EQ(tester.reports(), 0u);
}

TEST_P(LinuxHeldTransferTest, APortThatGoesKeepsWhatTheSystemHoldsAndCountsItUntilItIsLetGo) {
  uint64_t before = OS()->getAsyncIo()->describe().keptTransfers;
  AsyncTester tester;
  ASSERT_EQ(file_->attach(tester.handler()), 1u);
  AsyncTester::Request request(4096);
  std::promise<void> gone;
  Qv::Ptr<iObject> watched(new WatchedBuffer(4096, gone));
  void* memory = static_cast<WatchedBuffer*>(watched.get())->data();
  ASSERT_EQ(file_->startRead(request.context, {0, memory, 4096, watched, &request}), 1u);
  watched.reset();
  share_.waitUntilHeld(1);
  tester.destroyHandler();
  EXPECT_EQ(OS()->getAsyncIo()->describe().keptTransfers, before + 1);
  EXPECT_EQ(request.context->detach(), &request);
  EXPECT_EQ(tester.read(file_, request, 0), eOsCancelled);
  share_.letGo();
  gone.get_future().wait();
  EXPECT_EQ(OS()->getAsyncIo()->describe().keptTransfers, before);
  EXPECT_EQ(tester.reports(), 0u);
  EXPECT_EQ(request.reports, 0);
}

TEST_P(LinuxHeldTransferTest, HeldTransfersHoldUpNoOtherPort) {
  folder_.put("clip", std::string(8192, 'c'));
  AsyncTester held("held"), other("other");
  ASSERT_EQ(file_->attach(held.handler()), 1u);
  std::vector<std::unique_ptr<AsyncTester::Request>> requests;
  for (unsigned i = 0; i < 64; ++i) {
    requests.push_back(std::make_unique<AsyncTester::Request>(4096));
    ASSERT_EQ(held.read(file_, *requests[i], i * 4096), 1u);
  }
  share_.waitUntilHeld(1);
  Qv::Ptr<iFile> clip = linuxFileManager()->openMedia(folder_ / "clip", 1, false, 4, 3);
  ASSERT_TRUE(clip);
  ASSERT_EQ(clip->attach(other.handler()), 1u);
  AsyncTester::Request quick(4096);
  ASSERT_EQ(other.read(clip, quick, 0), 1u);
  other.waitFor(1);
  EXPECT_EQ(held.reports(), 0u);
  share_.letGo();
  held.waitFor(64);
  for (unsigned i = 0; i < 64; ++i)
    EXPECT_EQ("", whyNotPattern(requests[i]->buffer.data(), 4096, i * 4096));
}

TEST_P(LinuxHeldTransferTest, AShareThatDoesNotAnswerLeavesRoomForOtherFilesOfItsPort) {
  folder_.put("clip", std::string(8192, 'c'));
  AsyncTester tester;
  ASSERT_EQ(file_->attach(tester.handler()), 1u);
  // More than a ring takes at once, and than there are threads.
  constexpr unsigned count = 400;
  std::vector<std::unique_ptr<AsyncTester::Request>> requests;
  for (unsigned i = 0; i < count; ++i) {
    requests.push_back(std::make_unique<AsyncTester::Request>(4096));
    ASSERT_EQ(tester.read(file_, *requests[i], (i % 256) * 4096), 1u);
  }
  share_.waitUntilHeld(2);
  Qv::Ptr<iFile> clip = linuxFileManager()->openMedia(folder_ / "clip", 1, false, 4, 3);
  ASSERT_TRUE(clip);
  ASSERT_EQ(clip->attach(tester.handler()), 1u);
  AsyncTester::Request quick(4096);
  ASSERT_EQ(tester.read(clip, quick, 0), 1u);
  tester.waitFor(1);
  EXPECT_EQ(quick.reports, 1);
  share_.letGo();
  tester.waitFor(count + 1);
  for (unsigned i = 0; i < count; ++i)
    EXPECT_EQ("", whyNotPattern(requests[i]->buffer.data(), 4096, (i % 256) * 4096));
}

TEST_P(LinuxHeldTransferTest, CommandsThatTakeTheirTimeLeaveAnotherThreadToTheShare) {
  if (is("ring")) GTEST_SKIP() << "a ring runs one command at a time";
  AsyncTester tester;
  ASSERT_EQ(file_->attach(tester.handler()), 1u);
  AsyncTester::Gate gate;
  AsyncTester::Request first(4096), second(4096), third(4096);
  first.then = second.then = [&](AsyncTester::Request&) { gate.pass(); };
  ASSERT_EQ(tester.read(file_, first, 0), 1u);
  ASSERT_EQ(tester.read(file_, second, 4096), 1u);
  share_.waitUntilHeld(2);
  ASSERT_EQ(tester.read(file_, third, 8192), 1u);
  share_.letGo();
  tester.waitFor(1);
  EXPECT_EQ(third.reports, 1);
  gate.open();
  tester.waitFor(3);
}

TEST_P(LinuxHeldTransferTest, APortOfOneThreadServesAShareToo) {
  AsyncTester tester("one", 1);
  ASSERT_EQ(file_->attach(tester.handler()), 1u);
  AsyncTester::Request first(4096), second(4096);
  ASSERT_EQ(tester.read(file_, first, 0), 1u);
  ASSERT_EQ(tester.read(file_, second, 4096), 1u);
  share_.waitUntilHeld(1);
  share_.letGo();
  tester.waitFor(2);
  EXPECT_EQ("", whyNotPattern(second.buffer.data(), 4096, 4096));
}

TEST_P(LinuxHeldTransferTest, AThreadThatStartedAHeldTransferMayEnd) {
  AsyncTester tester;
  ASSERT_EQ(file_->attach(tester.handler()), 1u);
  AsyncTester::Request request(4096);
  std::function<void()> work = [&] { EXPECT_EQ(tester.read(file_, request, 0), 1u); };
  auto entry = [](void* argument) {
    (*static_cast<std::function<void()>*>(argument))();
    return 0u;
  };
  uint32_t id = nativeOS()->getThreads()->create(entry, "starter", &work);
  ASSERT_NE(id, 0u);
  share_.waitUntilHeld(1);
  nativeOS()->getThreads()->kill(id);
  EXPECT_EQ(tester.reports(), 0u);
  share_.letGo();
  tester.waitFor(1);
  EXPECT_EQ("", whyNotPattern(request.buffer.data(), 4096, 0));
}

}  // namespace

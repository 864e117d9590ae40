#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/linux/LinuxAsyncIo.h"
#include "platform/linux/LinuxFileManager.h"
#include "tests/support/AsyncTester.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/SystemCallFilter.h"

namespace {

// What describe() says, held against what the ports do.
class LinuxPortDescriptionTest : public ::testing::Test {
protected:
  static constexpr unsigned kReads = 24;

  // Holds each that comes until that many are there, and knows how many were there at once.
  class Meeting {
  public:
    explicit Meeting(unsigned awaited) : awaited_(awaited) {}

    void attend() {
      std::unique_lock lock(mutex_);
      most_ = std::max(most_, ++present_);
      changed_.notify_all();
      changed_.wait(lock, [&] { return most_ >= awaited_; });
      --present_;
    }
    unsigned most() {
      std::lock_guard lock(mutex_);
      return most_;
    }

  private:
    const unsigned awaited_;
    std::mutex mutex_;
    std::condition_variable changed_;
    unsigned present_ = 0;
    unsigned most_ = 0;
  };

  static void readMany(AsyncTester& tester, Meeting& meeting) {
    ScratchFolder folder;
    folder.put("clip", std::string(4096, 'c'));
    Qv::Ptr<iFile> file = linuxFileManager()->openMedia(folder / "clip", 1, false, 4, 3);
    ASSERT_TRUE(file);
    ASSERT_EQ(file->attach(tester.handler()), 1u);
    std::vector<std::unique_ptr<AsyncTester::Request>> requests;
    for (unsigned i = 0; i < kReads; ++i) {
      requests.push_back(std::make_unique<AsyncTester::Request>(4096));
      requests[i]->then = [&](AsyncTester::Request&) { meeting.attend(); };
      ASSERT_EQ(tester.read(file, *requests[i], 0), 1u);
    }
    tester.waitFor(kReads);
  }

  static bool ring() { return linuxAsyncIo()->describe().ring; }

  // What is wrong where a first port got a ring and a second one got none; "right" when nothing is.
  static std::string whyNotToldApart() {
    auto first = std::make_unique<AsyncTester>();
    if (!ring()) return "the first port has no ring";
    if (!SystemCallFilter::refuse(SYS_io_uring_setup, EPERM)) return "rings cannot be refused";
    if (!ring()) return "a port that has its ring is taken for one that could be made now";
    auto second = std::make_unique<AsyncTester>();
    if (ring()) return "the second port's threads are not told";
    second.reset();
    if (!ring()) return "the second port's threads are told after its end";
    first.reset();
    return ring() ? "a ring is told after its end" : "right";
  }
};

TEST_F(LinuxPortDescriptionTest, ThreadsHaveAsManyTransfersInHandAtOnceAsIsSaidAndNotOneMore) {
  ScopedEnvironment choice("FSYS_IO", "threads");
  unsigned said = linuxAsyncIo()->describe().inFlightLimit;
  AsyncTester tester;
  Meeting meeting(said);
  readMany(tester, meeting);
  EXPECT_EQ(meeting.most(), said);
}

TEST_F(LinuxPortDescriptionTest, APortOfFewerThreadsIsDescribedForAsLongAsItExists) {
  ScopedEnvironment choice("FSYS_IO", "threads");
  CompletionCommand command;
  for (auto [asked, made] : {std::pair{1, 1u}, {2, 2u}, {3, 3u}, {16, 3u}, {0, 1u}, {-1, 1u}}) {
    CompletionPortHandler handler("few", command, 3, asked, 3, 3);
    EXPECT_EQ(linuxAsyncIo()->describe().inFlightLimit, made) << asked;
  }
  EXPECT_EQ(linuxAsyncIo()->describe().inFlightLimit, 3u);
}

TEST_F(LinuxPortDescriptionTest, WhatThePortsAreIsSaidAndNotWhatTheNextOneWouldBe) {
  ScopedEnvironment choice("FSYS_IO", nullptr);
  if (!ring()) GTEST_SKIP() << "no ring here: " << linuxAsyncIo()->describe().why;
  if (!SystemCallFilter::isAllowed())
    GTEST_SKIP() << "a process may not filter its system calls here";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        std::fprintf(stderr, "%s\n", whyNotToldApart().c_str());
        _exit(0);
      },
      ::testing::ExitedWithCode(0), "^right");
}

}  // namespace

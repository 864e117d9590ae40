#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/linux/LinuxAsyncIo.h"
#include "platform/linux/LinuxFileManager.h"
#include "tests/support/AsyncTester.h"
#include "tests/support/ScratchFolder.h"

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

  void readMany(AsyncTester& tester, Meeting& meeting) {
    folder_.put("clip", std::string(4096, 'c'));
    Qv::Ptr<iFile> file = linuxFileManager()->openMedia(folder_ / "clip", 1, false, 4, 3);
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

  ScratchFolder folder_;
};

TEST_F(LinuxPortDescriptionTest, ThreadsHaveAsManyTransfersInHandAtOnceAsIsSaidAndNotOneMore) {
  ScopedEnvironment choice("FSYS_IO", "threads");
  unsigned said = linuxAsyncIo()->describe().inFlightLimit;
  AsyncTester tester;
  Meeting meeting(said);
  readMany(tester, meeting);
  EXPECT_EQ(meeting.most(), said);
}

}  // namespace

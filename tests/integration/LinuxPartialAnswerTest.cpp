#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/OS.h"
#include "platform/linux/LinuxFileManager.h"
#include "tests/support/AsyncTester.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/Pattern.h"
#include "tests/support/ScratchFolder.h"

namespace {

constexpr unsigned kAsync = iFileManager::eModeAsync;
constexpr unsigned kDirect = iFileManager::eModeDirect;

// Transfers of a share that moves less than it was asked to, over a ring and over threads, past the
// page cache and not.
class LinuxPartialAnswerTest : public ::testing::TestWithParam<std::tuple<const char*, unsigned>> {
protected:
  static constexpr uint32_t kBytes = 65536;

  void SetUp() override {
    if (!share_.isMounted()) GTEST_SKIP() << "no file system can be mounted here";
    iAsyncIo::Description port = OS()->getAsyncIo()->describe();
    if (std::strcmp(std::get<0>(GetParam()), "ring") == 0 && !port.ring)
      GTEST_SKIP() << "no ring here: " << port.why;
  }

  Qv::Ptr<iFile> open(const char* name, bool write) {
    unsigned flags = write ? iFileManager::eFlagWrite : iFileManager::eFlagRead;
    return linuxFileManager()->openMedia(folder_ / name, flags, write, 4, std::get<1>(GetParam()));
  }

  ScratchFolder folder_;
  ScopedEnvironment choice_{"FSYS_IO", std::get<0>(GetParam())};
  HeldFileSystem share_{folder_.bytes("share"), HeldFileSystem::eNothing};
};

INSTANTIATE_TEST_SUITE_P(Ports, LinuxPartialAnswerTest,
                         ::testing::Combine(::testing::Values("ring", "threads"),
                                            ::testing::Values(kAsync, kAsync | kDirect)),
                         [](const auto& test) {
                           bool direct = (std::get<1>(test.param) & kDirect) != 0;
                           return std::string(std::get<0>(test.param)) +
                                  (direct ? "Direct" : "Cached");
                         });

TEST_P(LinuxPartialAnswerTest, AReadGoesOnWhereTheAnswerStopped) {
  Qv::Ptr<iFile> file = open("share/held", false);
  ASSERT_TRUE(file);
  AsyncTester tester;
  ASSERT_EQ(file->attach(tester.handler()), 1u);
  unsigned count = 0;
  for (uint32_t part : {512u, 4096u, 5000u, 40960u}) {
    share_.order({HeldFileSystem::eRead, HeldFileSystem::eShorten, 0, kBytes, part});
    AsyncTester::Request request(kBytes);
    ASSERT_EQ(tester.read(file, request, 0), 1u);
    tester.waitFor(++count);
    EXPECT_TRUE(request.succeeded);
    EXPECT_EQ(request.bytes, kBytes);
    EXPECT_EQ("", whyNotPattern(request.buffer.data(), kBytes, 0)) << part;
    // The order is over.
    share_.letGo();
  }
}

TEST_P(LinuxPartialAnswerTest, AWriteGoesOnWhereTheAnswerStopped) {
  Qv::Ptr<iFile> file = open("share/empty", true);
  ASSERT_TRUE(file);
  AsyncTester tester;
  ASSERT_EQ(file->attach(tester.handler()), 1u);
  unsigned count = 0;
  for (uint32_t part : {512u, 4096u, 5000u, 40960u}) {
    share_.order({HeldFileSystem::eWrite, HeldFileSystem::eShorten, 0, kBytes, part});
    AsyncTester::Request request(kBytes);
    fillPattern(request.buffer.data(), kBytes, 0, part);
    ASSERT_EQ(tester.write(file, request, 0), 1u);
    tester.waitFor(++count);
    EXPECT_TRUE(request.succeeded);
    EXPECT_EQ(request.bytes, kBytes);
    share_.letGo();
    std::string there = folder_.content("share/empty");
    ASSERT_EQ(there.size(), kBytes);
    EXPECT_EQ("", whyNotPattern(there.data(), kBytes, 0, part)) << part;
  }
}

TEST_P(LinuxPartialAnswerTest, AReadThatReachesPastTheEndHasWhatIsThereAndZeros) {
  Qv::Ptr<iFile> file = open("share/held", false);
  ASSERT_TRUE(file);
  AsyncTester tester;
  ASSERT_EQ(file->attach(tester.handler()), 1u);
  AsyncTester::Request request(kBytes);
  constexpr uint64_t begin = HeldFileSystem::kFileBytes - 20480;
  ASSERT_EQ(tester.read(file, request, begin), 1u);
  tester.waitFor(1);
  EXPECT_TRUE(request.succeeded);
  EXPECT_EQ(request.bytes, 20480u);
  EXPECT_EQ("", whyNotPattern(request.buffer.data(), 20480, begin));
  EXPECT_EQ("", whyNotZeros(request.buffer.data() + 20480, kBytes - 20480));
}

}  // namespace

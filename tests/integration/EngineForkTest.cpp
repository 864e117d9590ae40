// The engine in a process that makes others.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/ScratchFolder.h"
#include "tests/support/StreamedFile.h"

namespace {
bool isForked = false;
}  // namespace

// The stacks that hold what a forked process has are not in it: the leak detector would find all of
// it lost there.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() { return isForked; }

namespace {

constexpr uint64_t kSize = (4 << 20) + 1234;
constexpr uint32_t kBlock = 65536;
constexpr unsigned kChildLives_s = 30;

class EngineForkTest : public ::testing::Test {
protected:
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ASSERT_EQ(FsysInitialize(), 1u);
    ASSERT_TRUE(streamOut(folder_ / "clip", 0, kSize, kBlock));
  }
  void TearDown() override { FsysUninitialize(Shutdown::eNormal); }

  // Reads the file back with one fork in the middle; the child does `child`, and has to end with
  // `code`. Empty when all of it is right.
  std::string whyNotUndisturbed(void (*child)(), int code) {
    FsysFile* file = nullptr;
    if (FsysOpen(&file, folder_ / "clip", 0, 1, nullptr) != 1) return "cannot be opened";
    Qv::Ptr<Recorder> recorder(new Recorder);
    pid_t made = -1;
    for (unsigned i = 0; i < kReads; ++i) {
      Qv::Ptr<iObject> context = recorder->ticket(static_cast<int>(i));
      if (file->DirectRead(long{i} * kBlock, kBlock, false, &Recorder::told, context) != 1)
        return "a read was not taken";
      if (i != kReads / 2) continue;
      std::fflush(nullptr);
      made = fork();
      if (made == 0) {
        isForked = true;
        alarm(kChildLives_s);
        child();
      }
    }
    if (!recorder->waitFor(kReads)) return "a read was not answered";
    if (FsysClose(file, nullptr) != 1) return "cannot be closed";
    for (const Recorder::Call& call : recorder->calls()) {
      if (call.status != eRequestSucceeded) return "a read failed";
      std::string wrong = whyNotPattern(call.bytes, static_cast<uint64_t>(call.ticket) * kBlock);
      if (!wrong.empty()) return wrong;
    }
    int status = 0;
    if (made < 0 || waitpid(made, &status, 0) != made) return "no child was made";
    if (WIFSIGNALED(status)) return "the child ended by signal " + std::to_string(WTERMSIG(status));
    if (WEXITSTATUS(status) != code) return "the child ended with another code";
    return whyNotStreamedBack(folder_ / "clip", kSize, kBlock);
  }

  // How many descriptors a program has that this process runs.
  static int descriptorsOfAProgram() {
    FILE* told = popen("ls /proc/self/fd | wc -l", "r");
    int count = -1;
    if (!told || std::fscanf(told, "%d", &count) != 1) count = -1;
    if (told) pclose(told);
    return count;
  }

  static constexpr unsigned kReads = 32;
  ScratchFolder folder_;
};

TEST_F(EngineForkTest, AChildThatLeavesAtOnceDisturbsNoRead) {
  EXPECT_EQ(whyNotUndisturbed([] { _exit(7); }, 7), "");
}

TEST_F(EngineForkTest, AChildThatExitsLeavesTheEngineToItsParent) {
  EXPECT_EQ(whyNotUndisturbed([] { std::exit(8); }, 8), "");
}

TEST_F(EngineForkTest, AChildThatExitsDuringWritesLeavesThemToItsParent) {
  FsysFile* file = nullptr;
  ASSERT_EQ(FsysOpen(&file, folder_ / "new", 0, 2, nullptr), 1u);
  Qv::Ptr<Recorder> recorder(new Recorder);
  pid_t made = -1;
  for (unsigned i = 0; i < 20; ++i) {
    Qv::Ptr<iObject> context = recorder->context();
    // The last are staged: the child has them in its memory too, and must not write them.
    unsigned size = i < 17 ? kBlock : 1001;
    uint64_t at = i < 17 ? uint64_t{i} * kBlock : uint64_t{17} * kBlock + (i - 17) * 1001;
    Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(size, at);
    ASSERT_EQ(file->DirectWrite(data, false, &Recorder::told, context, false), 1u);
  }
  std::fflush(nullptr);
  made = fork();
  if (made == 0) {
    isForked = true;
    alarm(kChildLives_s);
    std::exit(9);
  }
  int status = 0;
  ASSERT_EQ(waitpid(made, &status, 0), made);
  EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 9);
  ASSERT_TRUE(recorder->waitFor(20));
  std::string there = folder_.content("new");
  EXPECT_EQ(there.size(), 17u * kBlock) << "the child wrote what is still held here";
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(whyNotStreamedBack(folder_ / "new", 17 * kBlock + 3 * 1001, kBlock), "");
}

TEST_F(EngineForkTest, AProgramThatIsRunMeanwhileHasNoneOfItsDescriptors) {
  FsysUninitialize(Shutdown::eNormal);
  int before = descriptorsOfAProgram();
  ASSERT_GE(before, 3);
  ASSERT_EQ(FsysInitialize(), 1u);
  FsysFile* reading = nullptr;
  FsysFile* writing = nullptr;
  ASSERT_EQ(FsysOpen(&reading, folder_ / "clip", 0, 1, nullptr), 1u);
  ASSERT_EQ(FsysOpen(&writing, folder_ / "other", 0, 2, nullptr), 1u);
  Qv::Ptr<Recorder> recorder(new Recorder);
  Qv::Ptr<iObject> context = recorder->context();
  ASSERT_EQ(reading->DirectRead(0, kBlock, false, &Recorder::told, context), 1u);
  ASSERT_TRUE(recorder->waitFor(1));
  EXPECT_EQ(descriptorsOfAProgram(), before);
  EXPECT_EQ(FsysClose(reading, nullptr), 1u);
  EXPECT_EQ(FsysClose(writing, nullptr), 1u);
}

TEST_F(EngineForkTest, AChildThatStartsAnEngineOfItsOwnEndsItAsItExits) {
  FsysUninitialize(Shutdown::eNormal);
  std::fflush(nullptr);
  pid_t made = fork();
  if (made == 0) {
    isForked = true;
    alarm(kChildLives_s);
    FsysFile* file = nullptr;
    if (FsysInitialize() != 1 || FsysOpen(&file, folder_ / "own", 0, 2, nullptr) != 1) _exit(99);
    Qv::Ptr<Recorder> recorder(new Recorder);
    Qv::Ptr<iObject> context = recorder->context();
    Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(1001);
    if (file->DirectWrite(data, false, &Recorder::told, context, false) != 1) _exit(98);
    std::exit(10);
  }
  int status = 0;
  ASSERT_EQ(waitpid(made, &status, 0), made);
  EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 10);
  EXPECT_EQ(folder_.content("own").size(), 1001u);
  ASSERT_EQ(FsysInitialize(), 1u);
}

}  // namespace

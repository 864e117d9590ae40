#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/OS.h"
#include "tests/support/AsyncTester.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/SystemCallFilter.h"

namespace {

struct Refusal {
  const char* name;
  int call;
  int error;
  uint32_t leastFirst;  // refused with a first argument of at least that
  const char* why;
};

// Each test runs in a process of its own, in which the system refuses what a ring needs.
class LinuxRingRefusedTest : public ::testing::TestWithParam<Refusal> {
protected:
  LinuxRingRefusedTest() : choice_("FSYS_IO", nullptr) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
  }

  // What is wrong with a description, in words; empty when nothing is.
  static std::string whyNotThreads(const Refusal& refusal) {
    iAsyncIo::Description port = OS()->getAsyncIo()->describe();
    if (port.ring) return "a ring is said";
    return std::strcmp(port.why, refusal.why) == 0 ? "" : port.why;
  }

  // What a process without rings makes of a file; in words, "right" when all is.
  static std::string readWithoutRings(const ScratchFolder& folder, const Refusal& refusal) {
    if (!SystemCallFilter::refuse(refusal.call, refusal.error, refusal.leastFirst))
      return "rings cannot be refused";
    std::string before = whyNotThreads(refusal);
    if (!before.empty()) return before + ", before there is a port";
    folder.put("clip", std::string(65536, 'c'));
    AsyncTester tester;
    std::string after = whyNotThreads(refusal);
    if (!after.empty()) return after + ", of a port";
    Qv::Ptr<iFile> file = OS()->getFileManager()->openMedia(folder / "clip", 1, false, 4, 3);
    if (!file || file->attach(tester.handler()) != 1) return "the file cannot be attached";
    AsyncTester::Request request(65536);
    if (tester.read(file, request, 0) != 1) return "the read cannot be started";
    tester.waitFor(1);
    bool isRight = request.succeeded && request.bytes == 65536 && request.buffer[65535] == 'c';
    return isRight ? "right" : "the read went wrong";
  }

  ScopedEnvironment choice_;
};

INSTANTIATE_TEST_SUITE_P(
    Errors, LinuxRingRefusedTest,
    ::testing::Values(
        Refusal{"ENOSYS", SYS_io_uring_setup, ENOSYS, 0, "the kernel has no ring that can be used"},
        Refusal{"EPERM", SYS_io_uring_setup, EPERM, 0, "rings are not permitted here"},
        Refusal{"ENOMEM", SYS_io_uring_setup, ENOMEM, 0, "there is no memory for a ring"},
        Refusal{"EMFILE", SYS_io_uring_setup, EMFILE, 0, "the system gives no ring"},
        Refusal{"ForLargeRings", SYS_io_uring_setup, ENOMEM, 64, "there is no memory for a ring"},
        Refusal{"ForTheWakeUp", SYS_eventfd2, EMFILE, 0, "the system gives no ring"}),
    [](const auto& refusal) { return std::string(refusal.param.name); });

TEST_P(LinuxRingRefusedTest, ThreadsTakeTheRingsPlaceAndTheDescriptionSaysWhy) {
  if (!SystemCallFilter::isAllowed())
    GTEST_SKIP() << "a process may not filter its system calls here";
  EXPECT_EXIT(
      {
        std::string answer;
        {
          ScratchFolder folder;
          answer = readWithoutRings(folder, GetParam());
        }
        std::fprintf(stderr, "%s\n", answer.c_str());
        _exit(0);
      },
      ::testing::ExitedWithCode(0), "^right");
}

}  // namespace

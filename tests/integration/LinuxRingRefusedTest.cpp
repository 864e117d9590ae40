#include <gtest/gtest.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/OS.h"
#include "tests/support/AsyncTester.h"
#include "tests/support/ScratchFolder.h"

namespace {

struct Refusal {
  int error;
  const char* why;
};

// Each test runs in a process of its own, in which the system refuses every ring.
class LinuxRingRefusedTest : public ::testing::TestWithParam<Refusal> {
protected:
  LinuxRingRefusedTest() : choice_("FSYS_IO", nullptr) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
  }

  // False where processes may not filter their own system calls.
  static bool refuseRings(int error) {
    std::array<sock_filter, 4> program = {
        sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_io_uring_setup, 0, 1),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<uint32_t>(error)),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
  }

  static bool canRefuseRings() {
    pid_t child = fork();
    if (child == 0) _exit(refuseRings(EPERM) ? 0 : 1);
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }

  // What a process without rings makes of a file; in words, "right" when all is.
  static std::string readWithoutRings(const ScratchFolder& folder, const Refusal& refusal) {
    if (!refuseRings(refusal.error)) return "rings cannot be refused";
    iAsyncIo::Description port = OS()->getAsyncIo()->describe();
    if (port.ring || std::strcmp(port.why, refusal.why) != 0) return port.why;
    folder.put("clip", std::string(65536, 'c'));
    AsyncTester tester;
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
    ::testing::Values(Refusal{ENOSYS, "the kernel has no ring that can be used"},
                      Refusal{EPERM, "rings are not permitted here"},
                      Refusal{ENOMEM, "there is no memory for a ring"},
                      Refusal{EMFILE, "the system gives no ring"}),
    [](const auto& refusal) { return std::string(strerrorname_np(refusal.param.error)); });

TEST_P(LinuxRingRefusedTest, ThreadsTakeTheRingsPlaceAndTheDescriptionSaysWhy) {
  if (!canRefuseRings()) GTEST_SKIP() << "a process may not filter its system calls here";
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

// What happens while a file is opened and locked.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/CaughtCalls.h"
#include "tests/support/SystemCallFilter.h"

namespace {

constexpr char kNoFilter[] = "system calls cannot be filtered here";

class LinuxLockOpeningTest : public LinuxFileFixture {
protected:
  Qv::Ptr<iFile> lock(unsigned creation = Manager::eOpenOrCreate) const {
    linuxErrors()->setLastError(0);
    return openGeneral(folder_ / "file", Manager::eAccessReadWrite, creation,
                       Manager::eAttributeHoldLock);
  }
  // The lock of the file that has the name.
  bool isHeld() const {
    Manager::LockState state = Manager::eLockUnknown;
    return linuxFileManager()->askLock(folder_ / "file", state) && state == Manager::eLockHeld;
  }
  // In a process of its own, whose system calls may be caught.
  template <typename Check>
  static bool isRight(Check check) {
    pid_t child = fork();
    if (child == 0) _exit(check() ? 0 : 1);
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
  }
  // Runs before the n-th time that a lock is asked for, counted from 1.
  template <typename Work>
  static bool atLock(Work work) {
    return CaughtCalls::begin(SYS_fcntl, [work, n = 0](const auto& a) mutable {
      return a[1] == F_OFD_SETLK ? work(++n) : std::optional<long>();
    });
  }
};

TEST_F(LinuxLockOpeningTest, AFileSystemWithoutLocksGivesTheFileAndAFailureIsTold) {
  if (!SystemCallFilter::isAllowed()) GTEST_SKIP() << kNoFilter;
  auto answers = [this](int error, uint32_t told) {
    return isRight([&] {
      bool isSet = SystemCallFilter::refuseSecond(SYS_fcntl, error, F_OFD_SETLK);
      return isSet && bool(lock()) == (told == 0) && lastError() == told;
    });
  };
  for (int error : {ENOLCK, ENOSYS, ENOTSUP, EINVAL}) EXPECT_TRUE(answers(error, 0)) << error;
  for (int error : {EIO, ESTALE, ENOMEM})
    EXPECT_TRUE(answers(error, eOsErrorBase + static_cast<uint32_t>(error))) << error;
  for (int error : {EAGAIN, EACCES}) EXPECT_TRUE(answers(error, eOsAccessDenied)) << error;
  EXPECT_TRUE(isThere("file")) << "nobody could tell whether another holds it by then";
}

TEST_F(LinuxLockOpeningTest, ALockIsAskedForAgainAfterAnInterruption) {
  if (!SystemCallFilter::isAllowed()) GTEST_SKIP() << kNoFilter;
  EXPECT_TRUE(isRight([this] {
    bool isSet = atLock([](int n) { return n <= 3 ? std::optional<long>(-EINTR) : std::nullopt; });
    Qv::Ptr<iFile> file = isSet ? lock() : nullptr;
    return file && lastError() == 0 && isHeld();
  }));
}

}  // namespace

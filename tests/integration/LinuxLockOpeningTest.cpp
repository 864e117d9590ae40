// What happens while a file is opened and locked: which failures of the lock are told, and that the
// file that is locked is the one that has the name.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
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
  // The next three are for signal handlers too: they ask for no memory.
  void remove() const { unlink(path_.c_str()); }
  // Another file gets the name, as a logout and a login of others leave it.
  void exchange() const {
    remove();
    mknod(path_.c_str(), S_IFREG | 0644, 0);
  }
  // 0 when there is no file.
  ino_t inode() const {
    struct stat status = {};
    return lstat(path_.c_str(), &status) == 0 ? status.st_ino : 0;
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
  // Runs before the file is opened, with the flags.
  template <typename Work>
  bool atOpen(Work work) const {
    return CaughtCalls::begin(SYS_openat, [this, work](const auto& a) {
      bool isIt = path_ == reinterpret_cast<const char*>(a[1]);
      return isIt ? work(a[2]) : std::optional<long>();
    });
  }

  const std::string path_ = folder_.bytes("file");
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

TEST_F(LinuxLockOpeningTest, TheFileThatHasTheNameByThenIsLocked) {
  if (!SystemCallFilter::isAllowed()) GTEST_SKIP() << kNoFilter;
  for (unsigned creation : {Manager::eOpenOrCreate, Manager::eOpenExisting}) {
    exchange();
    EXPECT_TRUE(isRight([&] {
      int before = countDescriptors();
      bool isSet = atLock([this](int n) {
        if (n <= 3) exchange();
        return std::optional<long>();
      });
      Qv::Ptr<iFile> file = isSet ? lock(creation) : nullptr;
      return file && lastError() == 0 && isHeld() && countDescriptors() == before + 1;
    })) << creation;
  }
}

TEST_F(LinuxLockOpeningTest, AFileThatIsDeletedMeanwhileIsMadeAnewWhereOneMayBeMade) {
  if (!SystemCallFilter::isAllowed()) GTEST_SKIP() << kNoFilter;
  auto lockOfADeleted = [this](unsigned creation) {
    exchange();
    atLock([this](int n) {
      if (n == 1) remove();
      return std::optional<long>();
    });
    return lock(creation);
  };
  EXPECT_TRUE(isRight([&] {
    Qv::Ptr<iFile> file = lockOfADeleted(Manager::eOpenOrCreate);
    return file && isHeld();
  }));
  EXPECT_TRUE(isRight(
      [&] { return !lockOfADeleted(Manager::eOpenExisting) && lastError() == eOsNotFound; }));
  EXPECT_FALSE(isThere("file"));
}

TEST_F(LinuxLockOpeningTest, ANameWhoseFileIsExchangedAgainAndAgainIsGivenUp) {
  if (!SystemCallFilter::isAllowed()) GTEST_SKIP() << kNoFilter;
  EXPECT_TRUE(isRight([this] {
    exchange();
    int before = countDescriptors();
    bool isSet = atLock([this](int) {
      exchange();
      return std::optional<long>();
    });
    return isSet && !lock() && lastError() == eOsAccessDenied && countDescriptors() == before;
  }));
}

// In a folder that is everybody's the system may refuse it.
TEST_F(LinuxLockOpeningTest, AFileThatIsThereIsNotAskedToBeMade) {
  if (!SystemCallFilter::isAllowed()) GTEST_SKIP() << kNoFilter;
  auto refusesToMakeWhatIsThere = [this] {
    return atOpen([this](long flags) {
      bool isRefused = (flags & O_CREAT) && inode() != 0;
      return isRefused ? std::optional<long>(-EACCES) : std::nullopt;
    });
  };
  EXPECT_TRUE(isRight([&] {
    Qv::Ptr<iFile> file = refusesToMakeWhatIsThere() ? lock() : nullptr;
    return file && isHeld();
  })) << "it is made where it is missing";
  folder_.put("file", "content");
  const ino_t before = inode();
  EXPECT_TRUE(isRight([&] { return refusesToMakeWhatIsThere() && lock(); }));
  EXPECT_EQ(inode(), before);
  EXPECT_EQ(folder_.content("file"), "content");
}

TEST_F(LinuxLockOpeningTest, AFileThatIsMadeMeanwhileIsOpened) {
  if (!SystemCallFilter::isAllowed()) GTEST_SKIP() << kNoFilter;
  EXPECT_TRUE(isRight([this] {
    ino_t made = 0;
    bool isSet = atOpen([this, &made](long flags) {
      if ((flags & O_CREAT) && made == 0) {
        exchange();
        made = inode();
      }
      return std::optional<long>();
    });
    Qv::Ptr<iFile> file = isSet ? lock() : nullptr;
    return file && lastError() == 0 && isHeld() && made != 0 && inode() == made;
  }));
}

}  // namespace

// What of locked files only a real system has.

#include <unistd.h>

#include <string>

#include "platform/Clocks.h"
#include "platform/linux/SlowClose.h"
#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/OwnMounts.h"

namespace {

class LinuxLocksTest : public LinuxFileFixture {
protected:
  static Qv::Ptr<iFile> lock(const Path& path, unsigned access = Manager::eAccessReadWrite) {
    return openGeneral(path, access, Manager::eOpenOrCreate, Manager::eAttributeHoldLock);
  }

private:
  OwnMounts own_;
};

TEST_F(LinuxLocksTest, LettingGoOfALockWaitsTwoSecondsForADriveThatDoesNotAnswer) {
  HeldFileSystem share(folder_.bytes("share"), HeldFileSystem::eNothing, "fuse.sshfs");
  if (!share.isMounted()) GTEST_SKIP() << "no file system can be mounted here";
  Qv::Ptr<iFile> file = lock(folder_ / "share/held");
  ASSERT_TRUE(file);
  share.order({HeldFileSystem::eFlush, HeldFileSystem::eHold});
  double start_ms = Qv::now();
  file.reset();
  EXPECT_GE(Qv::now() - start_ms, double{SlowClose::kWait_ms});
  share.waitUntilHeld(1);
}

TEST_F(LinuxLocksTest, ALockThatWasLetGoOfIsFreeAtOnceAlsoOnAShare) {
  HeldFileSystem share(folder_.bytes("share"), HeldFileSystem::eNothing, "fuse.sshfs");
  if (!share.isMounted()) GTEST_SKIP() << "no file system can be mounted here";
  for (int i = 0; i < 200; ++i)
    ASSERT_TRUE(lock(folder_ / "share/held", Manager::eAccessWrite)) << i;
}

}  // namespace

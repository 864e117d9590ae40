#include <chrono>
#include <future>

#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/HeldFileSystem.h"

namespace {

class LinuxFlushTest : public LinuxFileFixture {
protected:
  LinuxFlushTest() : disk_(folder_.bytes("disk"), HeldFileSystem::eNothing) {}

  void SetUp() override {
    if (!disk_.isMounted()) GTEST_SKIP() << "no file system can be mounted here";
    file_ = openGeneral(folder_ / "disk/empty", Manager::eAccessReadWrite, Manager::eOpenExisting);
    ASSERT_TRUE(file_);
    uint32_t done = 0;
    ASSERT_EQ(file_->write("text", 4, &done), 1u);
  }

  HeldFileSystem disk_;
  Qv::Ptr<iFile> file_;
};

TEST_F(LinuxFlushTest, AFlushWaitsForTheDisk) {
  disk_.order({HeldFileSystem::eSync, HeldFileSystem::eHold});
  std::future<uint32_t> flush = std::async(std::launch::async, [this] { return file_->flush(); });
  disk_.waitUntilHeld(1);
  EXPECT_NE(flush.wait_for(std::chrono::seconds(0)), std::future_status::ready);
  disk_.letGo();
  EXPECT_EQ(flush.get(), 1u);
}

TEST_F(LinuxFlushTest, AnInterruptedFlushIsRepeatedAndAFailedOneIsNot) {
  disk_.order({HeldFileSystem::eSync, HeldFileSystem::eFail, 0, UINT64_MAX, EINTR, 3});
  disk_.order({HeldFileSystem::eSync, HeldFileSystem::eFail, 0, UINT64_MAX, EIO, 1});
  EXPECT_EQ(file_->flush(), eOsIoError);
  EXPECT_EQ(lastError(), eOsIoError);
  EXPECT_EQ(file_->flush(), 1u);
}

TEST_F(LinuxFlushTest, AClosedFileCannotBeFlushed) {
  file_->close();
  EXPECT_EQ(file_->flush(), eOsInvalid);
  EXPECT_EQ(lastError(), eOsInvalid);
}

using LinuxUnwrittenFlushTest = LinuxFileFixture;

TEST_F(LinuxUnwrittenFlushTest, WhereNothingIsWrittenThereIsNothingToFlush) {
  folder_.put("clip", "text");
  EXPECT_EQ(openToRead(folder_ / "clip", 0)->flush(), 1u) << "a probe";
  EXPECT_EQ(openToRead(folder_ / "clip")->flush(), 1u);
  Qv::Ptr<iFile> memory = linuxFileManager()->openServed(L"mem:flushed", Manager::eFlagWrite, true);
  ASSERT_TRUE(memory);
  uint32_t done = 0;
  EXPECT_EQ(memory->write("text", 4, &done), 1u);
  EXPECT_EQ(memory->flush(), 1u);
}

}  // namespace

#include <bit>
#include <string>

#include "tests/conformance/Environments.h"

template <typename Environment>
class SystemConformance : public ConformanceTest<Environment> {};

TYPED_TEST_SUITE(SystemConformance, Environments, EnvironmentNames);

TYPED_TEST(SystemConformance, EveryServiceIsThereAndTheHeapIsTheSystemsOwn) {
  EXPECT_NE(OS()->getVirtualMemory(), nullptr);
  EXPECT_NE(OS()->getThreads(), nullptr);
  EXPECT_NE(OS()->getClock(), nullptr);
  EXPECT_NE(OS()->getFileManager(), nullptr);
  EXPECT_NE(OS()->getAsyncIo(), nullptr);
  EXPECT_NE(OS()->getSystemInfo(), nullptr);
  EXPECT_NE(OS()->getErrors(), nullptr);
  EXPECT_EQ(OS()->getMemoryManager(), nativeOS()->getMemoryManager());
}

TYPED_TEST(SystemConformance, TheDriveOfAPathIsThatOfItsNearestFolder) {
  Qv::Ptr<iDiskDrive> drive = this->files()->getDisk(this->path(L""));
  ASSERT_TRUE(drive);
  EXPECT_NE(drive->getType(), iDiskDrive::eUnknown);
  EXPECT_LE(drive->getType(), iDiskDrive::eMemory);
  EXPECT_GE(drive->getSectorSize(), 512u);
  EXPECT_TRUE(std::has_single_bit(drive->getSectorSize()));
  Qv::Ptr<iDiskDrive> ofAFile = this->files()->getDisk(this->path(L"not/there/yet"));
  ASSERT_TRUE(ofAFile);
  EXPECT_EQ(ofAFile->getType(), drive->getType());
  EXPECT_EQ(ofAFile->getSectorSize(), drive->getSectorSize());
}

TYPED_TEST(SystemConformance, TheSeparatorJoinsFoldersAndNames) {
  wchar_t separator = this->files()->getSeparator();
  EXPECT_NE(separator, 0);
  PathString folder = this->path(L"x");
  ASSERT_TRUE(this->files()->createFolder(folder));
  EXPECT_TRUE(this->files()->exists(folder + separator));
}

TYPED_TEST(SystemConformance, TheLastErrorIsTheThreadsOwn) {
  iOsErrors* errors = OS()->getErrors();
  errors->setLastError(eOsNoSpace);
  struct Seen {
    uint32_t atFirst = 99;
    Qv::Ptr<iThreadEvent> done = OS()->getThreads()->createEvent(0, 0, 0);
  } seen;
  uint32_t id = co_create(
      [](void* argument) {
        auto* from = static_cast<Seen*>(argument);
        from->atFirst = OS()->getErrors()->getLastError();
        OS()->getErrors()->setLastError(eOsIoError);
        from->done->signal();
        return 0u;
      },
      "errors", 0, &seen, 1, 0);
  ASSERT_NE(id, 0u);
  EXPECT_TRUE(seen.done->wait(10'000));
  co_kill(id);
  EXPECT_EQ(seen.atFirst, 0u);
  EXPECT_EQ(errors->getLastError(), eOsNoSpace);
  errors->setLastError(0);
  EXPECT_EQ(errors->getLastError(), 0u);
}

TYPED_TEST(SystemConformance, AnErrorIsDescribedInWordsWithoutAFullStop) {
  for (uint32_t error : {uint32_t{0}, uint32_t{eOsNotFound}, uint32_t{eOsNoSpace}, uint32_t{7}}) {
    std::string words = OS()->getErrors()->describe(error);
    ASSERT_FALSE(words.empty()) << error;
    EXPECT_NE(words.back(), '.') << words;
  }
}

TYPED_TEST(SystemConformance, TheMachineIsDescribed) {
  iSystemInfo* info = OS()->getSystemInfo();
  EXPECT_FALSE(info->getWorkstationName().empty());
  EXPECT_GE(info->getProcessorCount(), 1u);
  EXPECT_TRUE(std::has_single_bit(info->getPageSize()));
  double before = info->getProcessCpu_ms();
  EXPECT_GE(before, 0.0);
  EXPECT_GE(info->getProcessCpu_ms(), before);
  std::string value = "untouched";
  EXPECT_FALSE(info->getEnvironment("FSYS_CONFORMANCE_NOT_SET", value));
}

TYPED_TEST(SystemConformance, TheClockGoesOnWhileSomebodyWaits) {
  double start = Qv::now();
  EXPECT_GE(OS()->getClock()->now_ms(), start);
  EXPECT_FALSE(OS()->getThreads()->createEvent(0, 0, 0)->wait(3));
  double waited = Qv::now();
  EXPECT_GE(waited - start, 3.0);
  OS()->getThreads()->sleep(2);
  EXPECT_GE(Qv::now() - waited, 2.0);
  EXPECT_GE(service_get_msecs_precise(), waited);
}

// What a drive says of its space.
#include <cstdint>
#include <limits>
#include <utility>

#include "fsys/MediaDrive.h"
#include "tests/StorageFixture.h"

namespace {

class MediaDriveSpaceTest : public StorageFixture {
protected:
  // As the registry makes it, but not registered.
  static Qv::Ptr<MediaDrive> made(const Text& root, iDiskDrive::eType type = iDiskDrive::eFixed) {
    return Qv::Ptr<MediaDrive>(new MediaDrive(DriveId('1'), root, type));
  }
};

TEST_F(MediaDriveSpaceTest, TheInfoIsTheDisksSpaceWhetherItIsFixedAndAFlagThatIsNeverSet) {
  addBareDisk(L"/media/a/").freeBytes = 12'345;
  files().drive(L"/media/a/").totalBytes = 67'890;
  VolumeInfo info;
  EXPECT_TRUE(made(L"/media/a/")->getInfo(&info));
  EXPECT_EQ(info.freeBytes, 12'345u);
  EXPECT_EQ(info.totalBytes, 67'890u);
  EXPECT_TRUE(info.isFixedDrive);
  EXPECT_FALSE(info.reportedFlag);
  for (auto type : {iDiskDrive::eUnknown, iDiskDrive::eRemovable, iDiskDrive::eNetwork,
                    iDiskDrive::eOptical, iDiskDrive::eMemory}) {
    EXPECT_TRUE(made(L"/media/a/", type)->getInfo(&info));
    EXPECT_FALSE(info.isFixedDrive) << type;
  }
}

TEST_F(MediaDriveSpaceTest, ThereIsNoInfoWithoutADiskOrAnAnswerOrAPlaceForIt) {
  FakeDrive& disk = addBareDisk(L"/media/a/");
  Qv::Ptr<MediaDrive> drive = made(L"/media/a/");
  VolumeInfo info;
  info.freeBytes = 7;
  EXPECT_FALSE(drive->getInfo(nullptr));
  disk.silent = true;
  EXPECT_FALSE(drive->getInfo(&info));
  disk.silent = false;
  disk.known = false;
  EXPECT_FALSE(drive->getInfo(&info));
  EXPECT_EQ(info.freeBytes, 7u) << "nothing is filled in";
}

TEST_F(MediaDriveSpaceTest, AnUpdateReadsWholeMebibytes) {
  FakeDrive& disk = addBareDisk(L"/media/a/");
  disk.freeBytes = 10 * kMebibyte - 1;
  disk.totalBytes = 20 * kMebibyte + 1;
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  EXPECT_EQ(drive->getSpaceMB(), 9);
  EXPECT_EQ(drive->getCapacityMB(), 20);
  EXPECT_EQ(drive->getSpaceBytes(), 9 * kMebibyte);
  EXPECT_EQ(drive->getCapacityBytes(), 20 * kMebibyte);
}

TEST_F(MediaDriveSpaceTest, TheLargestDiskIsRead) {
  FakeDrive& disk = addBareDisk(L"/media/a/");
  disk.freeBytes = disk.totalBytes = UINT64_MAX;
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  EXPECT_EQ(drive->getSpaceMB(), static_cast<double>((uint64_t{1} << 44) - 1));
  EXPECT_EQ(drive->getSpaceBytes(), UINT64_MAX - kMebibyte + 1);
}

TEST_F(MediaDriveSpaceTest, AnUpdateThatIsNotAnsweredLeavesNoSpaceAndNoCapacity) {
  FakeDrive& disk = addBareDisk(L"/media/a/", 30);
  disk.totalBytes = 50 * kMebibyte;
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  auto figures = [&drive] { return std::pair(drive->getSpaceMB(), drive->getCapacityMB()); };
  EXPECT_EQ(figures(), std::pair(30.0, 50.0));
  disk.silent = true;
  drive->update();
  EXPECT_EQ(figures(), std::pair(0.0, 0.0));
  disk.silent = false;
  drive->update();
  EXPECT_EQ(figures(), std::pair(30.0, 50.0));
  disk.known = false;
  drive->update();
  EXPECT_EQ(figures(), std::pair(0.0, 0.0));
}

TEST_F(MediaDriveSpaceTest, ADiscoveredDriveWhoseDiskIsGoneDoesNotTellTheSpaceOfTheOneBelow) {
  addBareDisk(L"/", 500).sectorSize = 4096;
  addBareDisk(L"/media/a/", 30);
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  drive->setAutoDiscovered(true);
  VolumeInfo info;
  EXPECT_TRUE(drive->hasDisk());
  EXPECT_TRUE(drive->getInfo(&info));
  EXPECT_EQ(info.freeBytes, 30 * kMebibyte);
  files().unmount(L"/media/a/");
  EXPECT_FALSE(drive->hasDisk());
  EXPECT_FALSE(drive->getInfo(&info));
  EXPECT_EQ(info.freeBytes, 30 * kMebibyte) << "nothing is filled in";
  EXPECT_FALSE(drive->setSectorSize());
  EXPECT_EQ(drive->getSectorSize(), 512u);
  drive->update();
  EXPECT_EQ(drive->getSpaceMB(), 0);
  EXPECT_EQ(drive->getCapacityMB(), 0);
  EXPECT_EQ(drive->getSpaceForRecording(), -2);
  drive->setAutoDiscovered(false);
  EXPECT_TRUE(drive->getInfo(&info)) << "an added folder lies on whatever disk holds it";
  EXPECT_EQ(info.freeBytes, 500 * kMebibyte);
}

TEST_F(MediaDriveSpaceTest, ADiscoveredDriveThatIsMountedAgainHasItsSpaceAgain) {
  addBareDisk(L"/", 500);
  addBareDisk(L"/media/a/", 30);
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  drive->setAutoDiscovered(true);
  files().unmount(L"/media/a/");
  drive->update();
  EXPECT_EQ(drive->getSpaceMB(), 0);
  addBareDisk(L"/media/a/", 20);
  drive->update();
  EXPECT_EQ(drive->getSpaceMB(), 20);
}

TEST_F(MediaDriveSpaceTest, TheDiscoveredDriveAtTheRootOfAllTellsItsSpace) {
  addBareDisk(L"/", 500);
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/");
  drive->setAutoDiscovered(true);
  drive->update();
  EXPECT_EQ(drive->getSpaceMB(), 500);
}

TEST_F(MediaDriveSpaceTest, ADriveThatWasNeverHeardHasNoSpace) {
  addBareDisk(L"/media/a/").silent = true;
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  EXPECT_EQ(drive->getSpaceMB(), 0);
  EXPECT_EQ(drive->getCapacityMB(), 0);
}

TEST_F(MediaDriveSpaceTest, AnUpdateOfADriveThatIsNotRegisteredLeavesNoSpaceAndNoCapacity) {
  addBareDisk(L"/media/a/", 30);
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  DiskManager::deleteMaterialVolume(drive->getId());
  EXPECT_EQ(drive->getSpaceMB(), 30) << "until it is asked again";
  drive->update();
  EXPECT_EQ(drive->getSpaceMB(), 0);
  EXPECT_EQ(drive->getCapacityMB(), 0);
  EXPECT_EQ(drive->getSpaceForRecording(), -2);
}

TEST_F(MediaDriveSpaceTest, OfAStarAndAQuestionMarkNothingIsRead) {
  addBareDisk(L"/media/a/", 30);
  for (unsigned char code : {'*', '?', '+'}) {
    Qv::Ptr<MediaDrive> drive(
        new MediaDrive(DriveId(code), Text(L"/media/a/"), iDiskDrive::eFixed));
    VolumeRegistry::get().add(drive);
    drive->update();
    EXPECT_EQ(drive->getSpaceMB(), code == '+' ? 30 : 0) << code;
    drive->bookSpace(-7);
    DiskManager::deleteMaterialVolume(drive->getId());
    drive->update();
    EXPECT_EQ(drive->getSpaceMB(), code == '+' ? 0 : 7) << code << " keeps what it had";
  }
}

TEST_F(MediaDriveSpaceTest, BookedSpaceIsTakenOffUntilTheNextUpdate) {
  addBareDisk(L"/media/a/", 30);
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  drive->bookSpace(12.5);
  EXPECT_EQ(drive->getSpaceMB(), 17.5);
  EXPECT_EQ(drive->getSpaceBytes(), 35 * kMebibyte / 2);
  drive->update();
  EXPECT_EQ(drive->getSpaceMB(), 30);
}

TEST_F(MediaDriveSpaceTest, SpaceInBytesIsNeverOutsideWhatAByteCountHolds) {
  addBareDisk(L"/media/a/", 30);
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  drive->bookSpace(31);
  EXPECT_EQ(drive->getSpaceBytes(), 0u);
  drive->bookSpace(-1e300);
  EXPECT_EQ(drive->getSpaceBytes(), UINT64_MAX);
  drive->bookSpace(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(drive->getSpaceBytes(), 0u);
}

TEST_F(MediaDriveSpaceTest, SpaceForRecordingIsReadAnewAndLessTheReserveOf2) {
  static_assert(MediaDrive::kRecordingReserve_mib == 2);
  FakeDrive& disk = addBareDisk(L"/media/a/", 30);
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  disk.freeBytes = 10 * kMebibyte;
  EXPECT_EQ(drive->getSpaceForRecording(), 8);
  EXPECT_EQ(drive->getSpaceMB(), 10);
}

TEST_F(MediaDriveSpaceTest, SpaceForRecordingMayBeNegative) {
  FakeDrive& disk = addBareDisk(L"/media/a/", 1);
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/a/");
  EXPECT_EQ(drive->getSpaceForRecording(), -1);
  disk.freeBytes = 0;
  EXPECT_EQ(drive->getSpaceForRecording(), -2);
}

}  // namespace

// The drive of a task, the drive for a job, and how long a recording can go on.
#include <limits>
#include <string>

#include "fsys/DiskManager.h"
#include "platform/EditorPreferences.h"
#include "tests/StorageFixture.h"
#include "tests/support/ForwardingOS.h"

namespace {

constexpr uint32_t kUnknown = 4294967295;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

class DiskManagerTaskTest : public StorageFixture {
protected:
  DriveId addWith(double freeMB) {
    std::wstring root = L"/media/" + std::to_wstring(++disks_) + L"/";
    addBareDisk(root.c_str(), freeMB);
    return registeredId(root.c_str());
  }
  static double space(DriveId id) { return DiskManager::getVolume(id)->getSpaceMB(); }
  static DriveId best(double needMB, int match) {
    return DiskManager::findBestDrive(needMB, static_cast<DiskManager::Match>(match));
  }
  static Text remembered(const char* key) { return prefs().getPreference(key, L"nothing"); }
  // Of a drive with so much free space.
  uint32_t minutes(double freeMB, double rateA, double rateB) {
    return DiskManager::get_mins_of_recording_left(addWith(freeMB), rateA, rateB);
  }

  const DriveId kNone{'0'};

private:
  int disks_ = 0;
};

// The drive of a task ----------------------------------------------------------------------------

TEST_F(DiskManagerTaskTest, ATasksDriveIsRememberedByItsLocalName) {
  addWith(10);
  DriveId id = addWith(10);
  DiskManager::setMediaLocationUserName(id, L"Edit 1");
  DiskManager::setDriveForTask("Record", id);
  EXPECT_EQ(remembered("Media Location (Record)"), L"/media/2");
  EXPECT_EQ(DiskManager::getDriveForTask("Record", false), id);
  EXPECT_EQ(DiskManager::getDriveForTask("Import", false), kNone);
}

TEST_F(DiskManagerTaskTest, OfAShareOfThisMachineTheNetworkPathIsRemembered) {
  Vector<iFileManager::Share> shares;
  shares.add({L"\\\\STATION\\media", L"/srv/media/"});
  files().setShares(shares);
  Qv::Ptr<MediaDrive> drive = registerDrive(L"\\\\STATION\\media", iDiskDrive::eNetwork);
  DiskManager::setDriveForTask("Record", drive->getId());
  EXPECT_EQ(remembered("Media Location (Record)"), L"//STATION/media");
  EXPECT_EQ(DiskManager::getDriveForTask("Record", false), drive->getId());
}

TEST_F(DiskManagerTaskTest, ADriveIsKnownAgainUnderAnotherIdentifierAndInAnotherCase) {
  DiskManager::setDriveForTask("Record", addWith(10));
  DiskManager::reInit(true);
  registerDrive(L"/x/");
  DriveId id = registeredId(L"/MEDIA/1/");
  EXPECT_EQ(DiskManager::getDriveForTask("Record", false), id);
}

TEST_F(DiskManagerTaskTest, ATaskWithoutANameHasNothingBetweenTheParentheses) {
  DriveId id = addWith(10);
  DiskManager::setDriveForTask("", id);
  EXPECT_EQ(remembered("Media Location ()"), L"/media/1");
  EXPECT_EQ(DiskManager::getDriveForTask(nullptr, false), id);
  DiskManager::setDriveForTask(nullptr, kNone);
  EXPECT_EQ(remembered("Media Location ()"), L"nothing");
}

TEST_F(DiskManagerTaskTest, AnyTextIsATask) {
  DriveId id = addWith(10);
  for (const char* task : {"a=b", "two\nlines", "end\r\n", "# (", " ", "\xFF\\e"}) {
    DiskManager::setDriveForTask(task, id);
    EXPECT_EQ(DiskManager::getDriveForTask(task, false), id) << task;
    DiskManager::setDriveForTask(task, kNone);
    EXPECT_EQ(DiskManager::getDriveForTask(task, false), kNone) << task;
  }
}

TEST_F(DiskManagerTaskTest, NoDriveForATaskTakesThePreferenceAway) {
  DriveId id = addWith(10);
  DiskManager::setDriveForTask("Record", id);
  DiskManager::setDriveForTask("Import", id);
  DiskManager::setDriveForTask("Record", kNone);
  EXPECT_EQ(remembered("Media Location (Record)"), L"nothing");
  EXPECT_EQ(remembered("Media Location (Import)"), L"/media/1");
}

TEST_F(DiskManagerTaskTest, ADriveThatIsNotRegisteredIsRememberedAsAnEmptyPath) {
  DiskManager::setDriveForTask("Record", DriveId('7'));
  EXPECT_EQ(remembered("Media Location (Record)"), L"");
  EXPECT_EQ(DiskManager::getDriveForTask("Record", false), kNone);
}

TEST_F(DiskManagerTaskTest, WithoutAFallBackAnAbsentDriveIsNoneAndWithItTheLastOneWithSpace) {
  DriveId id = addWith(10);
  DriveId spacious = addWith(20);
  addWith(0);
  DiskManager::setDriveForTask("Record", id);
  DiskManager::deleteMaterialVolume(id);
  EXPECT_EQ(DiskManager::getDriveForTask("Record", false), kNone);
  EXPECT_EQ(DiskManager::getDriveForTask("Record", true), spacious);
  EXPECT_EQ(DiskManager::getDriveForTask("Import", true), spacious);
}

TEST_F(DiskManagerTaskTest, ADiskThatIsGoneIsNoDriveForARecordingAfterAnUpdate) {
  addDisk(L"/", 500);
  addDisk(L"/media/a/", 30);
  DiskManager::discoverVolumes();
  DriveId system('1');
  DriveId gone('2');
  ASSERT_EQ(codes(), "12");
  files().unmount(L"/media/a/");
  EXPECT_EQ(DiskManager::getSpaceForRecording(gone), -2);
  EXPECT_EQ(DiskManager::get_mins_of_recording_left(gone, 512, 512), kUnknown);
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(DiskManager::find_best_disk(), system);
  EXPECT_EQ(DiskManager::findBestDrive(1, DiskManager::eBestFit), system);
  EXPECT_EQ(DiskManager::findBestDrive(1, DiskManager::eMostFree), system);
}

TEST_F(DiskManagerTaskTest, TheFallBackIsNotAskedForADriveThatIsThere) {
  DriveId id = addWith(0);
  addWith(20);
  DiskManager::setDriveForTask("Record", id);
  EXPECT_EQ(DiskManager::getDriveForTask("Record", true), id);
}

TEST_F(DiskManagerTaskTest, TheDriveAtTheRootIsTheOneOfATaskThatRemembersNothing) {
  DriveId root = registeredId(L"/");
  EXPECT_EQ(DiskManager::getDriveForTask("Record", false), root) << "its local name is empty";
}

// The drive for a job ----------------------------------------------------------------------------

TEST_F(DiskManagerTaskTest, TheBestDiskIsTheLastWithAnySpace) {
  EXPECT_EQ(DiskManager::find_best_disk(), kNone);
  addWith(0);
  EXPECT_EQ(DiskManager::find_best_disk(), kNone);
  addWith(100);
  DriveId last = addWith(1);
  addWith(0);
  EXPECT_EQ(DiskManager::find_best_disk(), last);
}

TEST_F(DiskManagerTaskTest, TheBestDiskIsToldFromTheSpaceThatWasReadLast) {
  DriveId id = addWith(10);
  files().drive(L"/media/1/").freeBytes = 0;
  EXPECT_EQ(DiskManager::find_best_disk(), id);
  DiskManager::updateDrives();
  EXPECT_EQ(DiskManager::find_best_disk(), kNone);
}

TEST_F(DiskManagerTaskTest, TheBestFitIsTheLeastSpaceThatExceedsTheNeedAndItIsBooked) {
  DriveId large = addWith(100);
  DriveId small = addWith(50);
  EXPECT_EQ(best(40, 0), small);
  EXPECT_EQ(space(small), 10);
  EXPECT_EQ(best(40, 0), large);
  EXPECT_EQ(space(large), 60);
  EXPECT_EQ(best(70, 0), kNone);
  EXPECT_EQ(space(large), 60);
  EXPECT_EQ(space(small), 10);
}

TEST_F(DiskManagerTaskTest, TheMostFreeIsTheFirstOfThoseWithTheMostSpace) {
  DriveId first = addWith(30);
  DriveId second = addWith(30);
  addWith(20);
  EXPECT_EQ(best(10, 1), first);
  EXPECT_EQ(space(first), 20);
  EXPECT_EQ(best(10, 1), second);
}

TEST_F(DiskManagerTaskTest, AmongEqualFitsTheFirstIsChosen) {
  addWith(60);
  DriveId first = addWith(30);
  addWith(30);
  EXPECT_EQ(best(10, 0), first);
}

TEST_F(DiskManagerTaskTest, NoDriveIsTooLargeForAFit) {
  DriveId largest = addWith(1e13);
  EXPECT_EQ(best(40, 0), largest);
}

TEST_F(DiskManagerTaskTest, SpaceThatIsJustTheNeedIsNotEnough) {
  addWith(40);
  EXPECT_EQ(best(40, 0), kNone);
  EXPECT_EQ(best(40, 1), kNone);
  EXPECT_NE(best(39.5, 0), kNone);
}

TEST_F(DiskManagerTaskTest, AnyOtherRuleChoosesNone) {
  DriveId id = addWith(100);
  for (int match : {2, -1, 99}) EXPECT_EQ(best(10, match), kNone) << match;
  EXPECT_EQ(space(id), 100);
  DiskManager::getVolume(id)->bookSpace(150);
  for (int match : {2, -1, 99}) EXPECT_EQ(best(-100, match), kNone) << match;
  EXPECT_EQ(space(id), -50);
}

TEST_F(DiskManagerTaskTest, AnEmptyDriveIsTheBestFitOfANeedBelowNothingAndNeverTheMostFree) {
  DriveId id = addWith(0);
  EXPECT_EQ(best(0, 0), kNone);
  EXPECT_EQ(best(-5, 1), kNone) << "the most free begins above nothing";
  EXPECT_EQ(best(-5, 0), id);
  EXPECT_EQ(space(id), 5);
}

TEST_F(DiskManagerTaskTest, ANeedThatIsNoNumberFitsNowhere) {
  addWith(100);
  EXPECT_EQ(best(kNoNumber, 0), kNone);
  EXPECT_EQ(best(kNoNumber, 1), kNone);
  EXPECT_EQ(best(kInfinity, 0), kNone);
}

TEST_F(DiskManagerTaskTest, WithoutDrivesThereIsNoneForAJobAndNothingIsBooked) {
  EXPECT_EQ(best(-1, 0), kNone);
  EXPECT_EQ(best(-1, 1), kNone);
  EXPECT_EQ(VolumeRegistry::emptyDrive().getSpaceMB(), 0);
}

TEST_F(DiskManagerTaskTest, BookedSpaceComesBackWithTheNextUpdate) {
  DriveId id = addWith(100);
  EXPECT_EQ(best(90, 0), id);
  EXPECT_EQ(best(90, 0), kNone);
  DiskManager::updateDrives();
  EXPECT_EQ(best(90, 0), id);
}

// Recording --------------------------------------------------------------------------------------

TEST_F(DiskManagerTaskTest, SpaceForRecordingIsTheDrivesReadAnew) {
  DriveId id = addWith(10);
  files().drive(L"/media/1/").freeBytes = 30 * kMebibyte;
  EXPECT_EQ(DiskManager::getSpaceForRecording(id), 28);
  EXPECT_EQ(DiskManager::getSpaceForRecording(*DiskManager::getVolume(id)), 28);
}

// Takes every drive out of the registry when a disk is asked for.
class EmptyingOS final : public ForwardingOS {
public:
  explicit EmptyingOS(const MediaDrive& drive) : drive_(drive) {}
  iFileManager* getFileManager() override {
    DiskManager::deInit();
    holders = drive_.refCount();
    return ForwardingOS::getFileManager();
  }
  int holders = 0;

private:
  const MediaDrive& drive_;
};

TEST_F(DiskManagerTaskTest, ADriveThatIsTakenOutWhileItIsAskedForItsSpaceStaysUntilItHasTold) {
  DriveId id = addWith(10);
  EmptyingOS os(DiskManager::getDriveWithUniqueId(id));
  EXPECT_EQ(DiskManager::getSpaceForRecording(id), 8);
  EXPECT_EQ(os.holders, 2) << "who asks for the space, and who asks the disk";
  EXPECT_EQ(codes(), "");
}

TEST_F(DiskManagerTaskTest, OfAnUnknownDriveItIsThatOfTheEmptyOne) {
  EXPECT_EQ(DiskManager::getSpaceForRecording(DriveId('7')), -2);
  EXPECT_EQ(DiskManager::get_mins_of_recording_left(DriveId('7'), 512, 512), kUnknown);
}

TEST_F(DiskManagerTaskTest, TheMinutesAreTheBytesOverTheRatesLessTheReserve) {
  EXPECT_EQ(minutes(3, 512, 512), 1024u);
  EXPECT_EQ(minutes(3, 1024, 0), 1024u);
  EXPECT_EQ(minutes(3, 2048, -1024), 1024u) << "only the sum counts";
}

TEST_F(DiskManagerTaskTest, ThePartOfAMinuteIsLeftOut) {
  EXPECT_EQ(minutes(3, kMebibyte, 1), 0u);
  EXPECT_EQ(minutes(3, 600'000, 0), 1u);
}

TEST_F(DiskManagerTaskTest, WithNoMoreThanTheReserveTheMinutesAreUnknown) {
  EXPECT_EQ(minutes(2, 512, 512), kUnknown);
  EXPECT_EQ(minutes(1, 512, 512), kUnknown);
  EXPECT_EQ(minutes(0, 512, 512), kUnknown);
}

TEST_F(DiskManagerTaskTest, MinutesKeepTheirLow32Bits) {
  // 2^32 + 2^20 minutes.
  EXPECT_EQ(minutes(4098 + 1, 1, 0), 1u << 20);
  EXPECT_EQ(minutes(4096 + 2, 1, 0), 0u);
}

TEST_F(DiskManagerTaskTest, RatesWithoutASumLeaveTheMinutesUnknown) {
  EXPECT_EQ(minutes(3, 0, 0), kUnknown);
  EXPECT_EQ(minutes(3, -0.0, -0.0), kUnknown);
  EXPECT_EQ(minutes(3, 512, -512), kUnknown);
  EXPECT_EQ(minutes(3, kNoNumber, 1), kUnknown);
  EXPECT_EQ(minutes(3, kInfinity, -kInfinity), kUnknown);
}

TEST_F(DiskManagerTaskTest, EndlessRatesLeaveNoMinutes) {
  EXPECT_EQ(minutes(3, kInfinity, 0), 0u);
  EXPECT_EQ(minutes(3, -kInfinity, 0), 0u);
  EXPECT_EQ(minutes(3, 1e308, 0), 0u);
}

TEST_F(DiskManagerTaskTest, ANegativeSumOfRatesGivesNegativeMinutesIn32Bits) {
  EXPECT_EQ(minutes(3, -1024, 0), uint32_t{0} - 1024);
  EXPECT_EQ(minutes(3, -600'000, 0), uint32_t{0} - 1) << "truncated toward zero";
}

TEST_F(DiskManagerTaskTest, MinutesThatDoNotFit64BitsKeepTheirLow32Too) {
  EXPECT_EQ(minutes(3, 0x1p-43, 0), 0u) << "2^63";
  EXPECT_EQ(minutes(3, 0x1p-44, 0), 0u) << "2^64";
  EXPECT_EQ(minutes(3, -0x1p-44, 0), 0u);
  EXPECT_EQ(minutes(3, 0x1p-1000, 0), 0u);
  // 2^64 + 2^12, the next number that there is: less than a part in 2^52 more than 2^64.
  EXPECT_EQ(minutes(2 + 0x1p24, 0x1p-20 * (1 - 0x1p-53), 0), 1u << 12);
  EXPECT_EQ(minutes(2 + 0x1p24, -0x1p-20 * (1 - 0x1p-53), 0), 0u - (1u << 12));
}

TEST_F(DiskManagerTaskTest, EndlessMinutesAreUnknown) {
  EXPECT_EQ(minutes(3, 5e-324, 0), kUnknown);
  EXPECT_EQ(minutes(3, -5e-324, 0), kUnknown);
}

}  // namespace

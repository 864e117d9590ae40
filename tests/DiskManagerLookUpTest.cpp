// Which drive an identifier, an index, a name or a path means.
#include <string>
#include <vector>

#include "fsys/DiskManager.h"
#include "tests/StorageFixture.h"
#include "tests/support/CountingHeap.h"

namespace {

class DiskManagerLookUpTest : public StorageFixture {
protected:
  void addThree() {
    for (const wchar_t* root : {L"/media/a/", L"/media/b/", L"/media/c/"}) registerDrive(root);
  }
  static DriveId named(const Text& name) { return DiskManager::getDriveWithName(name); }
  static DriveId at(const Text& path) { return DiskManager::getDriveWithPath(path); }

  const DriveId kNone{'0'};
  const DriveId kFirst{'1'};
  const DriveId kSecond{'2'};
  const DriveId kThird{'3'};
};

// By identifier ----------------------------------------------------------------------------------

TEST_F(DiskManagerLookUpTest, AnEmptyRegistryKnowsNothing) {
  DriveId id = kThird;
  EXPECT_EQ(DiskManager::find(kFirst), 0xFFFFFFFFu);
  EXPECT_FALSE(DiskManager::getVolume(kFirst));
  EXPECT_FALSE(DiskManager::getVolume(Text(L"")));
  EXPECT_FALSE(DiskManager::isMaterialVolume(kFirst));
  EXPECT_EQ(named(L""), kNone);
  EXPECT_EQ(at(L""), kNone);
  EXPECT_EQ(DiskManager::get_drive(0), kNone);
  EXPECT_FALSE(DiskManager::getFirstMaterialVolume(id));
  EXPECT_FALSE(DiskManager::getNextMaterialVolume(id));
  EXPECT_EQ(id, kThird);
}

TEST_F(DiskManagerLookUpTest, TheIndexOfADriveIsItsPlaceInTheOrderOfRegistration) {
  addThree();
  EXPECT_EQ(DiskManager::find_index_for_drive(kFirst), 0u);
  EXPECT_EQ(DiskManager::find_index_for_drive(kThird), 2u);
  EXPECT_EQ(DiskManager::find(kSecond), 1u);
  DiskManager::deleteMaterialVolume(kFirst);
  EXPECT_EQ(DiskManager::find_index_for_drive(kThird), 1u);
}

TEST_F(DiskManagerLookUpTest, TheIndexOfADriveThatIsNotThereHasAllItsBitsSet) {
  addThree();
  EXPECT_EQ(DiskManager::find_index_for_drive(DriveId('4')), 0xFFFFFFFFu);
  EXPECT_EQ(DiskManager::find_index_for_drive(kNone), DiskManager::kNoIndex);
  EXPECT_EQ(DiskManager::find(DriveId('4')), DiskManager::kNoIndex);
}

TEST_F(DiskManagerLookUpTest, ADriveIsFoundByItsIdentifier) {
  addThree();
  ASSERT_TRUE(DiskManager::getVolume(kSecond));
  EXPECT_EQ(DiskManager::getVolume(kSecond)->getRootLocation(), L"/media/b/");
  EXPECT_FALSE(DiskManager::getVolume(DriveId('4')));
  EXPECT_FALSE(DiskManager::getVolume(kNone));
}

TEST_F(DiskManagerLookUpTest, AMaterialVolumeIsARegisteredDriveAndSoIsAPresentOne) {
  addThree();
  DiskManager::deleteMaterialVolume(kSecond);
  for (DriveId id : {kFirst, kThird}) {
    EXPECT_TRUE(DiskManager::isMaterialVolume(id));
    EXPECT_TRUE(DiskManager::isVolumePresent(id));
  }
  for (DriveId id : {kNone, kSecond, DriveId('4')}) {
    EXPECT_FALSE(DiskManager::isMaterialVolume(id));
    EXPECT_FALSE(DiskManager::isVolumePresent(id));
  }
}

TEST_F(DiskManagerLookUpTest, WhetherADriveWasDiscoveredIsItsOwnFlag) {
  addThree();
  DiskManager::getVolume(kSecond)->setAutoDiscovered(true);
  EXPECT_FALSE(DiskManager::isVolumeAutoDiscovered(kFirst));
  EXPECT_TRUE(DiskManager::isVolumeAutoDiscovered(kSecond));
  EXPECT_FALSE(DiskManager::isVolumeAutoDiscovered(DriveId('4')));
}

TEST_F(DiskManagerLookUpTest, AReferenceIsToTheDriveOrToTheSharedEmptyOne) {
  addThree();
  EXPECT_EQ(&DiskManager::getDriveWithUniqueId(kSecond), DiskManager::getVolume(kSecond).get());
  MediaDrive& none = DiskManager::getDriveWithUniqueId(DriveId('4'));
  EXPECT_EQ(&none, &DiskManager::getDriveWithUniqueId(kNone));
  EXPECT_EQ(&none, &DiskManager::getMediaDrive(3));
  EXPECT_EQ(none.getId(), kNone);
  EXPECT_TRUE(none.getUserName(false).empty());
}

// By index ---------------------------------------------------------------------------------------

TEST_F(DiskManagerLookUpTest, AnIndexIsAPlaceInTheOrderAndBeyondTheEndIsNone) {
  addThree();
  EXPECT_EQ(DiskManager::get_drive(0), kFirst);
  EXPECT_EQ(DiskManager::get_drive(2), kThird);
  EXPECT_EQ(DiskManager::get_drive(3), kNone);
  EXPECT_EQ(DiskManager::get_drive(0xFFFF), kNone);
  EXPECT_EQ(DiskManager::getMediaDrive(1).getId(), kSecond);
  EXPECT_EQ(DiskManager::getMediaDrive(0xFFFF).getId(), kNone);
}

// By path ----------------------------------------------------------------------------------------

TEST_F(DiskManagerLookUpTest, AVolumesPathEndsInASeparatorAndItsCaseCounts) {
  addThree();
  ASSERT_TRUE(DiskManager::getVolume(Text(L"/media/b/")));
  EXPECT_EQ(DiskManager::getVolume(Text(L"/media/b/"))->getId(), kSecond);
  for (const wchar_t* path : {L"/media/b", L"/media/B/", L"/media/b/x", L"/media/b//", L"", L"b"})
    EXPECT_FALSE(DiskManager::getVolume(Text(path))) << toUTF8(path).c_str();
}

TEST_F(DiskManagerLookUpTest, TheFirstOfTwoDrivesWithOnePathIsFound) {
  addThree();
  registerDrive(L"/media/b");
  EXPECT_EQ(DiskManager::getVolume(Text(L"/media/b/"))->getId(), kSecond);
  EXPECT_EQ(at(L"/media/b"), kSecond);
  EXPECT_EQ(named(L"/media/b"), kSecond);
}

TEST_F(DiskManagerLookUpTest, ThePathOfADriveIsItsLocalNameInAnyCase) {
  addThree();
  registerDrive(L"/media/\u00C4/");
  EXPECT_EQ(at(L"/media/b"), kSecond);
  EXPECT_EQ(at(L"/MEDIA/B"), kSecond);
  EXPECT_EQ(at(L"/media/\u00E4"), DriveId('4'));
  for (const wchar_t* path : {L"/media/b/", L"/media", L"/media/bb", L""})
    EXPECT_EQ(at(path), kNone) << toUTF8(path).c_str();
}

TEST_F(DiskManagerLookUpTest, TheDriveAtTheRootHasTheEmptyPath) {
  registerDrive(L"/media/a/");
  DriveId root = registeredId(L"/");
  EXPECT_EQ(at(L""), root);
  EXPECT_EQ(at(L"/"), kNone);
  EXPECT_EQ(DiskManager::getVolume(Text(L""))->getId(), root);
  EXPECT_FALSE(DiskManager::getVolume(Text(L"/")));
}

// By name ----------------------------------------------------------------------------------------

TEST_F(DiskManagerLookUpTest, ADrivesNameIsComparedExactly) {
  addThree();
  DiskManager::setMediaLocationUserName(kSecond, L"Edit 1");
  EXPECT_EQ(named(L"Edit 1"), kSecond);
  EXPECT_EQ(named(L"edit 1"), kNone);
  EXPECT_EQ(named(L"Edit 1 "), kNone);
  EXPECT_EQ(named(L""), kNone);
}

TEST_F(DiskManagerLookUpTest, AnUnnamedDriveIsFoundByItsLocalNameAndANamedOneIsNot) {
  addThree();
  EXPECT_EQ(named(L"/media/b"), kSecond);
  EXPECT_EQ(named(L"/media/B"), kNone);
  DiskManager::setMediaLocationUserName(kSecond, L"Edit 1");
  EXPECT_EQ(named(L"/media/b"), kNone);
  DiskManager::setMediaLocationUserName(kSecond, L"");
  EXPECT_EQ(named(L"/media/b"), kSecond);
}

TEST_F(DiskManagerLookUpTest, TheFirstOfTwoDrivesWithOneNameIsFound) {
  addThree();
  DiskManager::setMediaLocationUserName(kThird, L"Edit");
  DiskManager::setMediaLocationUserName(kSecond, L"Edit");
  EXPECT_EQ(named(L"Edit"), kSecond);
  DiskManager::setMediaLocationUserName(kFirst, L"/media/c");
  DiskManager::setMediaLocationUserName(kThird, L"");
  EXPECT_EQ(named(L"/media/c"), kFirst) << "a name may be another drive's path";
}

TEST_F(DiskManagerLookUpTest, ADriveThatIsRenamedIsFoundByItsNewNameAlone) {
  addThree();
  DiskManager::setMediaLocationUserName(kSecond, L"old");
  DiskManager::setMediaLocationUserName(kSecond, L"new");
  EXPECT_EQ(named(L"old"), kNone);
  EXPECT_EQ(named(L"new"), kSecond);
}

// What is told of a drive ------------------------------------------------------------------------

TEST_F(DiskManagerLookUpTest, AVolumesNameIsItsLocalNameOrForARawOneTheShareBehindIt) {
  Vector<iFileManager::Share> shares;
  shares.add({L"\\\\STATION\\media", L"/srv/media/"});
  files().setShares(shares);
  registerDrive(L"/media/a/");
  registerDrive(L"\\\\STATION\\media\\b", iDiskDrive::eNetwork);
  EXPECT_EQ(DiskManager::getMaterialVolumeName(kFirst, false), L"/media/a");
  EXPECT_EQ(DiskManager::getMaterialVolumeName(kFirst, true), L"/media/a");
  EXPECT_EQ(DiskManager::getMaterialVolumeName(kSecond, false), L"//STATION/media/b");
  EXPECT_EQ(DiskManager::getMaterialVolumeName(kSecond, true), L"/srv/media/b");
  EXPECT_TRUE(DiskManager::getMaterialVolumeName(kThird, false).empty());
  EXPECT_TRUE(DiskManager::getMaterialVolumeName(kThird, true).empty());
}

TEST_F(DiskManagerLookUpTest, TheInfoOfAVolumeAnswers1AndThatOfAnUnknownOne0) {
  addBareDisk(L"/media/a/").freeBytes = 12'345;
  registerDrive(L"/media/a/");
  VolumeInfo info;
  EXPECT_EQ(static_cast<uint32_t>(DiskManager::getVolInfo(kFirst, &info)), 1u);
  EXPECT_EQ(info.freeBytes, 12'345u);
  EXPECT_EQ(static_cast<uint32_t>(DiskManager::getVolInfo(kSecond, &info)), 0u);
  EXPECT_EQ(info.freeBytes, 12'345u);
  EXPECT_EQ(DiskManager::getVolInfo(kFirst, nullptr), QvResult::Failed);
  files().drive(L"/media/a/").silent = true;
  EXPECT_EQ(DiskManager::getVolInfo(kFirst, &info), QvResult::Failed);
}

// Walking ----------------------------------------------------------------------------------------

TEST_F(DiskManagerLookUpTest, AWalkGoesFromTheFirstDriveToTheLastAndStaysThere) {
  addThree();
  DriveId id;
  ASSERT_TRUE(DiskManager::getFirstMaterialVolume(id));
  EXPECT_EQ(id, kFirst);
  ASSERT_TRUE(DiskManager::getNextMaterialVolume(id));
  EXPECT_EQ(id, kSecond);
  ASSERT_TRUE(DiskManager::getNextMaterialVolume(id));
  EXPECT_EQ(id, kThird);
  EXPECT_FALSE(DiskManager::getNextMaterialVolume(id));
  EXPECT_EQ(id, kThird);
}

TEST_F(DiskManagerLookUpTest, AWalkFromADriveThatIsNotThereEnds) {
  addThree();
  DiskManager::deleteMaterialVolume(kSecond);
  DriveId id = kSecond;
  EXPECT_FALSE(DiskManager::getNextMaterialVolume(id));
  EXPECT_EQ(id, kSecond);
  id = kNone;
  EXPECT_FALSE(DiskManager::getNextMaterialVolume(id));
  id = kFirst;
  EXPECT_TRUE(DiskManager::getNextMaterialVolume(id));
  EXPECT_EQ(id, kThird);
}

// What they cost ---------------------------------------------------------------------------------

TEST_F(DiskManagerLookUpTest, LookingUpAsksForNoMemory) {
  for (int i = 0; i < 200; ++i)
    registerDrive((L"/media/drive " + std::to_wstring(i) + L"/").c_str());
  DriveId last = DiskManager::get_drive(199);
  DiskManager::setMediaLocationUserName(last, L"Edit 1");
  const Text name(L"Edit 1");
  const Text path(L"/MEDIA/DRIVE 199");
  const Text location(L"/media/drive 199/");
  DriveId walk = DiskManager::get_drive(198);
  MediaDrive& none = DiskManager::getDriveWithUniqueId(kNone);
  unsigned found = 0;
  CountingHeap heap;
  if (!heap.seesAllocations())
    GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  found += DiskManager::getDriveWithName(name) == last;
  found += DiskManager::getDriveWithPath(path) == last;
  found += static_cast<bool>(DiskManager::getVolume(location));
  found += DiskManager::getVolume(last)->has_name(name);
  found += DiskManager::find_index_for_drive(last) == 199;
  found += DiskManager::getMaterialVolumeName(last, true).length() == 16;
  found += DiskManager::getMediaDrive(199).getId() == last;
  found += DiskManager::getNextMaterialVolume(walk);
  found += &DiskManager::getDriveWithUniqueId(kNone) == &none;
  found += DiskManager::getDriveWithName(location) == kNone;
  unsigned allocations = heap.allocations();
  EXPECT_EQ(found, 10u);
  EXPECT_EQ(allocations, 0u);
}

}  // namespace

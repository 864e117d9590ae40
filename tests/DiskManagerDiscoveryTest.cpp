// Which disks the registry finds by itself.
#include <new>
#include <string>

#include "fsys/DiskManager.h"
#include "tests/StorageFixture.h"
#include "tests/support/FailingHeap.h"

namespace {

constexpr const char* kRegisteredTwice = "assertion failed false at fsys/DiskManager line 1098\n";

class DiskManagerDiscoveryTest : public StorageFixture {
protected:
  static std::string found() {
    DiskManager::discoverVolumes();
    return codes();
  }
};

TEST_F(DiskManagerDiscoveryTest, ADiskWithAWritableMaterialFolderIsRegisteredAsADiscoveredDrive) {
  addDisk(L"/media/a/", 30).sectorSize = 4096;
  EXPECT_TRUE(DiskManager::discoverVolumes());
  ASSERT_EQ(codes(), "1");
  Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(DriveId('1'));
  EXPECT_EQ(drive->getRootLocation(), L"/media/a/");
  EXPECT_EQ(drive->getType(), iDiskDrive::eFixed);
  EXPECT_EQ(drive->getSectorSize(), 4096u);
  EXPECT_TRUE(drive->isAutoDiscovered());
  EXPECT_TRUE(drive->is_unnamed());
  EXPECT_EQ(drive->getSpaceMB(), 30) << "it was updated";
  EXPECT_EQ(events(), Texts{"+1"});
  EXPECT_EQ(diagnostics_.outText(), "");
}

TEST_F(DiskManagerDiscoveryTest, DisksAreRegisteredInTheOrderOfTheSystemsList) {
  for (const wchar_t* root : {L"/c/", L"/a/", L"/b/"}) addDisk(root);
  EXPECT_EQ(found(), "123");
  EXPECT_EQ(DiskManager::getVolume(DriveId('1'))->getRootLocation(), L"/c/");
  EXPECT_EQ(DiskManager::getVolume(DriveId('3'))->getRootLocation(), L"/b/");
  EXPECT_EQ(events(), (Texts{"+1", "+2", "+3"}));
}

TEST_F(DiskManagerDiscoveryTest, IdentifiersGoOnAfterThoseThatWereIssued) {
  registerDrive(L"/x/");
  addDisk(L"/media/a/");
  EXPECT_EQ(found(), "12");
  EXPECT_FALSE(DiskManager::isVolumeAutoDiscovered(DriveId('1')));
}

TEST_F(DiskManagerDiscoveryTest, OnlyFixedDisksAreConsidered) {
  for (unsigned type = 0; type <= 6; ++type) {
    std::wstring root = L"/media/" + std::to_wstring(type) + L"/";
    addDisk(root.c_str()).type = static_cast<iDiskDrive::eType>(type);
  }
  EXPECT_EQ(found(), "1");
  EXPECT_EQ(DiskManager::getVolume(DriveId('1'))->getRootLocation(), L"/media/1/");
}

TEST_F(DiskManagerDiscoveryTest, AnExcludedDiskIsSkippedAndOneThatDoesNotAnswerToo) {
  addDisk(L"/excluded/").excluded = true;
  addDisk(L"/silent/").silent = true;
  addDisk(L"/media/a/");
  EXPECT_EQ(found(), "1");
  EXPECT_EQ(DiskManager::getVolume(DriveId('1'))->getRootLocation(), L"/media/a/");
  EXPECT_EQ(events(), Texts{"+1"});
}

TEST_F(DiskManagerDiscoveryTest, ADiskThatFallsSilentWhenItIsAskedForItsFolderIsSkipped) {
  addDisk(L"/media/a/");
  os_->faults().fail(FaultPlan::eOnDrive, eOsTimedOut);
  addDisk(L"/media/b/");
  EXPECT_EQ(found(), "1");
  EXPECT_EQ(DiskManager::getVolume(DriveId('1'))->getRootLocation(), L"/media/b/");
}

TEST_F(DiskManagerDiscoveryTest, ADiskWithoutAMaterialFolderIsSkipped) {
  addBareDisk(L"/bare/");
  addBareDisk(L"/sound/");
  files().addFolder(L"/sound/Sound");
  addBareDisk(L"/deeper/");
  files().addFolder(L"/deeper/media/Material");
  addBareDisk(L"/file/");
  write(L"/file/Material", "a file");
  EXPECT_EQ(found(), "");
  EXPECT_EQ(events(), Texts{});
}

TEST_F(DiskManagerDiscoveryTest, ADiskWhoseMaterialFolderCannotBeLookedAtIsSkipped) {
  addDisk(L"/media/a/");
  os_->faults().fail(FaultPlan::eFolderExists, eOsIoError);
  addDisk(L"/media/b/");
  EXPECT_EQ(found(), "1");
  EXPECT_EQ(DiskManager::getVolume(DriveId('1'))->getRootLocation(), L"/media/b/");
}

TEST_F(DiskManagerDiscoveryTest, ADiskWhoseMaterialFolderCannotBeWrittenIsSkipped) {
  addDisk(L"/media/a/");
  files().setWritable(L"/media/a/Material", false);
  addDisk(L"/media/b/").readOnly = true;
  addDisk(L"/media/c/");
  files().setWritable(L"/media/c", false);
  EXPECT_EQ(found(), "1") << "that its root cannot be written does not matter";
  EXPECT_EQ(DiskManager::getVolume(DriveId('1'))->getRootLocation(), L"/media/c/");
}

TEST_F(DiskManagerDiscoveryTest, ADiskWhoseFolderHasABackslashIsSkippedAndLogged) {
  addDisk(L"/media/a\\b/");
  addDisk(L"/media/c/");
  addBareDisk(L"/media/d\\e/");
  files().addFolder(L"/media/a/b/Material");
  EXPECT_EQ(found(), "1");
  EXPECT_EQ(DiskManager::getVolume(DriveId('1'))->getRootLocation(), L"/media/c/");
  EXPECT_EQ(events(), Texts{"+1"});
  EXPECT_EQ(diagnostics_.log(),
            Texts{"Disk Manager - '/media/a\\b/' is no path of a media drive\n"})
      << "not of one without a media folder";
}

TEST_F(DiskManagerDiscoveryTest, WhereTheBackslashIsTheSeparatorItIsInEveryDisksName) {
  files().setSeparator(L'\\');
  addDisk(L"D:\\");
  addDisk(L"E:\\media\\");
  EXPECT_EQ(found(), "12");
  EXPECT_EQ(diagnostics_.log(), Texts());
}

TEST_F(DiskManagerDiscoveryTest, TheDiskAtTheRootIsFoundByItsMaterialFolder) {
  addDisk(L"/");
  EXPECT_EQ(found(), "1");
  EXPECT_TRUE(DiskManager::getMaterialVolumeName(DriveId('1'), false).empty());
}

TEST_F(DiskManagerDiscoveryTest, TheAnswerIsWhetherTheSystemListedADisk) {
  EXPECT_FALSE(DiskManager::discoverVolumes());
  addBareDisk(L"/media/a/").excluded = true;
  EXPECT_TRUE(DiskManager::discoverVolumes()) << "also when none of them is for media";
  EXPECT_EQ(codes(), "");
}

TEST_F(DiskManagerDiscoveryTest, TheNameOnTheDiskBecomesTheDrivesName) {
  addDisk(L"/media/a/");
  addDisk(L"/media/b/");
  addDisk(L"/media/c/");
  write(L"/media/a/Material/MediaSpaceInfo.txt", "name=Edit 1\n");
  write(L"/media/c/Material/MediaSpaceInfo.txt", "name=\n");
  EXPECT_EQ(found(), "123");
  EXPECT_EQ(DiskManager::getVolume(DriveId('1'))->getUserName(false), L"Edit 1");
  EXPECT_TRUE(DiskManager::getVolume(DriveId('2'))->is_unnamed());
  EXPECT_TRUE(DiskManager::getVolume(DriveId('3'))->is_unnamed());
}

TEST_F(DiskManagerDiscoveryTest, TheCatalogueHearsOfADriveThatHasItsNameAndItsSpaceAlready) {
  addDisk(L"/media/a/", 30);
  write(L"/media/a/Material/MediaSpaceInfo.txt", "name=Edit 1\n");
  Text name;
  double space = 0;
  whenTold() = [&](const std::string&) {
    name = DiskManager::getVolume(DriveId('1'))->getUserName(false);
    space = DiskManager::getVolume(DriveId('1'))->getSpaceMB();
  };
  ASSERT_EQ(found(), "1");
  EXPECT_EQ(name, L"Edit 1");
  EXPECT_EQ(space, 30);
}

TEST_F(DiskManagerDiscoveryTest, ADriveThatIsFoundAgainWithoutANameOnItsDiskKeepsItsOwn) {
  addDisk(L"/media/a/");
  ASSERT_EQ(found(), "1");
  DiskManager::setMediaLocationUserName(DriveId('1'), L"Edit 1");
  EXPECT_EQ(found(), "1");
  EXPECT_EQ(DiskManager::getVolume(DriveId('1'))->getUserName(false), L"Edit 1");
}

TEST_F(DiskManagerDiscoveryTest, TheMediaFolderIsAskedForWithASeparatorAtItsEnd) {
  addDisk(L"/media/a/");
  addDisk(L"/media/b/");
  // To the fake only a path that ends in a separator lies on such a drive.
  files().setDrive(L"/media/a/Material//", {.silent = true});
  EXPECT_EQ(found(), "1");
  EXPECT_EQ(DiskManager::getVolume(DriveId('1'))->getRootLocation(), L"/media/b/");
}

TEST_F(DiskManagerDiscoveryTest, ADiskThatIsRegisteredAlreadyFailsACheckAndIsReadAnew) {
  addDisk(L"/media/a/", 30);
  ASSERT_EQ(found(), "1");
  Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(DriveId('1'));
  write(L"/media/a/Material/MediaSpaceInfo.txt", "name=Edit 1\n");
  files().drive(L"/media/a/").freeBytes = 5 * kMebibyte;
  EXPECT_EQ(found(), "1");
  EXPECT_EQ(diagnostics_.out(), Texts{kRegisteredTwice});
  EXPECT_EQ(DiskManager::getVolume(DriveId('1')).get(), drive.get());
  EXPECT_EQ(drive->getUserName(false), L"Edit 1");
  EXPECT_EQ(drive->getSpaceMB(), 5);
  EXPECT_EQ(events(), (Texts{"+1", "+1"}));
  EXPECT_EQ(registeredId(L"/x/"), DriveId('2')) << "no identifier was issued";
}

TEST_F(DiskManagerDiscoveryTest, ALocationThatTheUserAddedStaysHisWhenItsDiskIsFound) {
  addDisk(L"/media/a/");
  registerDrive(L"/media/a/");
  EXPECT_EQ(found(), "1");
  EXPECT_EQ(diagnostics_.out(), Texts{kRegisteredTwice});
  EXPECT_FALSE(DiskManager::isVolumeAutoDiscovered(DriveId('1')));
}

TEST_F(DiskManagerDiscoveryTest, TheDiskAtTheRootIsRegisteredOnceToo) {
  addDisk(L"/");
  EXPECT_EQ(found(), "1");
  EXPECT_EQ(found(), "1");
  EXPECT_EQ(diagnostics_.out(), Texts{kRegisteredTwice});
}

TEST_F(DiskManagerDiscoveryTest, DisksThatDifferInCaseAreTwo) {
  addDisk(L"/media/a/");
  addDisk(L"/media/A/");
  EXPECT_EQ(found(), "12");
  EXPECT_EQ(diagnostics_.outText(), "");
}

TEST_F(DiskManagerDiscoveryTest, WhenTheIdentifiersAreUsedUpItIsLoggedAndDiscoveryStops) {
  addDisk(L"/media/a/");
  addDisk(L"/media/b/");
  addDisk(L"/media/c/");
  VolumeRegistry& registry = VolumeRegistry::get();
  while (registry.issueId().code() != DriveId::kLast - 1) continue;
  EXPECT_TRUE(DiskManager::discoverVolumes());
  EXPECT_EQ(codes(), "\xFF");
  EXPECT_EQ(diagnostics_.log(),
            Texts{"Disk Manager - no identifier is left for drive '/media/b/'\n"});
  EXPECT_EQ(events(), Texts{"+\xFF"});
}

TEST_F(DiskManagerDiscoveryTest, AListThatCannotBeHadIsAnEmptyOne) {
  addDisk(L"/media/a/");
  os_->faults().fail(FaultPlan::eGetDisks, eOsIoError);
  EXPECT_FALSE(DiskManager::discoverVolumes());
  EXPECT_EQ(codes(), "");
}

TEST_F(DiskManagerDiscoveryTest, WhereverMemoryIsRefusedTheDrivesThatAreRegisteredAreWhole) {
  for (const wchar_t* root : {L"/media/a/", L"/media/b/", L"/media/c/"}) addDisk(root);
  events().reserve(1000);
  for (int nth = 0;; ++nth) {
    DiskManager::reInit(true);
    FailingHeap heap;
    if (!heap.isAsked())
      GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
    heap.refuse(nth, true);
    try {
      DiskManager::discoverVolumes();
    } catch (const std::bad_alloc&) {
      // What was registered before stays.
    }
    bool struck = heap.letBe();
    ASSERT_EQ(codes(), std::string("123").substr(0, codes().size())) << "allocation " << nth;
    for (char code : codes())
      ASSERT_TRUE(DiskManager::isVolumeAutoDiscovered(DriveId(static_cast<unsigned char>(code))));
    if (!struck) break;
    // A drive that could not be asked is found the next time.
    DiskManager::discoverVolumes();
    ASSERT_EQ(codes(), "123") << "allocation " << nth;
  }
}

}  // namespace

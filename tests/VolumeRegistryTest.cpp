// The state behind the registry: identifiers, the list of drives, what memory refused leaves.
#include "fsys/VolumeRegistry.h"

#include <new>
#include <string>

#include "tests/StorageFixture.h"
#include "tests/support/FailingHeap.h"

namespace {

constexpr unsigned kIdentifiers = DriveId::kLast - DriveId::kNone;

class VolumeRegistryTest : public StorageFixture {
protected:
  // Refuses the first allocation of `work`, then the second, and so on until it needs no more;
  // after each refusal `check` is asked. How many were refused.
  template <typename Work, typename Check>
  static int refuseEach(const Work& work, const Check& check) {
    for (int nth = 0;; ++nth) {
      FailingHeap heap;
      bool threw = false;
      heap.refuse(nth, true);
      try {
        work();
      } catch (const std::bad_alloc&) {
        threw = true;
      }
      bool struck = heap.letBe();
      EXPECT_EQ(threw, struck) << "allocation " << nth;
      if (!struck) return nth;
      check();
    }
  }
  static bool heapIsAsked() {
    FailingHeap heap;
    return heap.isAsked();
  }

  VolumeRegistry& registry_ = VolumeRegistry::get();
};

TEST_F(VolumeRegistryTest, ThereIsOne) { EXPECT_EQ(&VolumeRegistry::get(), &registry_); }

// Identifiers ------------------------------------------------------------------------------------

TEST_F(VolumeRegistryTest, IdentifiersAreTheCharactersFromTheDigit1On) {
  for (unsigned char code : {'1', '2', '3', '4', '5', '6', '7', '8', '9', ':', ';', '<'})
    EXPECT_EQ(registry_.issueId(), DriveId(code));
}

TEST_F(VolumeRegistryTest, IdentifiersEndAt0xFFAndNoneIsIssuedAgain) {
  for (unsigned i = 1; i <= kIdentifiers; ++i)
    ASSERT_EQ(registry_.issueId().code(), DriveId::kNone + i);
  for (int again = 0; again < 300; ++again) ASSERT_FALSE(registry_.issueId().valid());
}

TEST_F(VolumeRegistryTest, IdentifiersBeginAnewWhenTheyAreRestarted) {
  while (registry_.issueId().valid()) continue;
  registry_.restartIds();
  EXPECT_EQ(registry_.issueId(), DriveId('1'));
}

TEST_F(VolumeRegistryTest, AnIdentifierIsNotIssuedAgainWhenItsDriveGoes) {
  registeredId(L"/a/");
  DriveId second = registeredId(L"/b/");
  EXPECT_TRUE(registry_.remove(second));
  EXPECT_EQ(registeredId(L"/c/"), DriveId('3'));
}

// Drives -----------------------------------------------------------------------------------------

TEST_F(VolumeRegistryTest, ADriveIsRegisteredWithTheNextIdentifierBehindTheOthers) {
  registry_.registerDrive(L"/a/", iDiskDrive::eFixed, false);
  Qv::Ptr<MediaDrive> drive = registry_.registerDrive(L"/b/", iDiskDrive::eRemovable, true);
  EXPECT_EQ(codes(), "12");
  EXPECT_EQ(drive->getId(), DriveId('2'));
  EXPECT_EQ(drive->getRootLocation(), L"/b/");
  EXPECT_EQ(drive->getType(), iDiskDrive::eRemovable);
  EXPECT_TRUE(drive->isAutoDiscovered());
  EXPECT_FALSE(DiskManager::isVolumeAutoDiscovered(DriveId('1')));
}

TEST_F(VolumeRegistryTest, AsManyDrivesAsThereAreIdentifiersAreRegisteredAndNotOneMore) {
  for (unsigned i = 0; i < kIdentifiers; ++i)
    ASSERT_TRUE(registry_.registerDrive(L"/a/", iDiskDrive::eFixed, false));
  EXPECT_EQ(DiskManager::get_drive(kIdentifiers - 1), DriveId(DriveId::kLast));
  EXPECT_FALSE(registry_.registerDrive(L"/b/", iDiskDrive::eFixed, false));
  EXPECT_EQ(registry_.volumes().copy().size(), kIdentifiers);
  registry_.remove(DriveId('1'));
  EXPECT_FALSE(registry_.registerDrive(L"/b/", iDiskDrive::eFixed, false))
      << "an identifier is not used twice";
}

TEST_F(VolumeRegistryTest, ADriveThatIsTakenOutLeavesTheOthersInTheirOrder) {
  for (const wchar_t* root : {L"/a/", L"/b/", L"/c/", L"/d/"}) registerDrive(root);
  EXPECT_TRUE(registry_.remove(DriveId('2')));
  EXPECT_EQ(codes(), "134");
  EXPECT_TRUE(registry_.remove(DriveId('4')));
  EXPECT_TRUE(registry_.remove(DriveId('1')));
  EXPECT_EQ(codes(), "3");
  EXPECT_FALSE(registry_.remove(DriveId('1')));
  EXPECT_FALSE(registry_.remove(DriveId('0')));
  EXPECT_TRUE(registry_.remove(DriveId('3')));
  EXPECT_EQ(codes(), "");
}

TEST_F(VolumeRegistryTest, ADriveThatIsHeldOutlivesTheRegistrysShare) {
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/a/");
  EXPECT_EQ(drive->refCount(), 2);
  registry_.removeAll();
  EXPECT_EQ(drive->refCount(), 1);
  EXPECT_EQ(drive->getRootLocation(), L"/a/");
}

// The empty drive --------------------------------------------------------------------------------

TEST_F(VolumeRegistryTest, TheEmptyDriveHasNothing) {
  addBareDisk(L"/", 30);
  MediaDrive& none = VolumeRegistry::emptyDrive();
  EXPECT_EQ(&none, &VolumeRegistry::emptyDrive());
  EXPECT_EQ(none.getId(), DriveId('0'));
  EXPECT_TRUE(none.getUserName(false).empty());
  EXPECT_TRUE(none.getRootLocation().empty());
  EXPECT_TRUE(none.getUncName().empty());
  EXPECT_TRUE(none.getLocation(eCookieVision).empty());
  EXPECT_EQ(none.getSpaceMB(), 0);
  EXPECT_EQ(none.getSpaceForRecording(), -2) << "it never has space";
  EXPECT_EQ(none.getCapacityMB(), 0);
  EXPECT_FALSE(none.isAutoDiscovered());
}

TEST_F(VolumeRegistryTest, TheEmptyDriveHasNoDiskNotThatAtTheRootEither) {
  addBareDisk(L"/", 30).sectorSize = 4096;
  registerDrive(L"/");
  MediaDrive& none = VolumeRegistry::emptyDrive();
  VolumeInfo info;
  unsigned before = os_->faults().calls(FaultPlan::eGetDisk);
  EXPECT_FALSE(none.getInfo(&info));
  EXPECT_FALSE(none.setSectorSize());
  EXPECT_EQ(none.getSpaceForRecording(), -2);
  EXPECT_EQ(os_->faults().calls(FaultPlan::eGetDisk), before) << "nobody is asked";
  EXPECT_EQ(info.totalBytes, 0u);
  EXPECT_EQ(none.getSectorSize(), 0u);
}

TEST_F(VolumeRegistryTest, TheEmptyDriveOutlivesWhoeverSharesIt) {
  MediaDrive& none = VolumeRegistry::emptyDrive();
  {
    Qv::Ptr<MediaDrive> shared(&none);
  }
  EXPECT_EQ(none.refCount(), 1);
  EXPECT_EQ(none.getId(), DriveId('0'));
}

// Memory refused ---------------------------------------------------------------------------------

TEST_F(VolumeRegistryTest, ARefusedRegistrationLeavesTheDrivesAndTheIdentifiers) {
  if (!heapIsAsked()) GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  for (int i = 0; i < 6; ++i) registerDrive(L"/a/");
  int refused = refuseEach([&] { registry_.registerDrive(L"/b/", iDiskDrive::eNetwork, false); },
                           [&] {
                             EXPECT_EQ(codes(), "123456");
                             EXPECT_FALSE(DiskManager::getVolume(Text(L"/b/")));
                           });
  EXPECT_GT(refused, 4);
  EXPECT_EQ(codes(), "1234567") << "no identifier was lost";
}

TEST_F(VolumeRegistryTest, ARefusedRemovalLeavesTheDrives) {
  if (!heapIsAsked()) GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  for (int i = 0; i < 6; ++i) registerDrive(L"/a/");
  int refused = refuseEach([] { DiskManager::deleteMaterialVolume(DriveId('3')); },
                           [] { EXPECT_EQ(codes(), "123456"); });
  EXPECT_GT(refused, 0);
  EXPECT_EQ(codes(), "12456");
}

TEST_F(VolumeRegistryTest, EmptyingTheRegistryNeedsNoMemory) {
  if (!heapIsAsked()) GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  for (int i = 0; i < 6; ++i) registerDrive(L"/a/");
  EXPECT_EQ(refuseEach([] { DiskManager::deInit(); }, [] {}), 0);
  EXPECT_EQ(codes(), "");
}

TEST_F(VolumeRegistryTest, RefusedSharesAreAskedForByTheNextOne) {
  if (!heapIsAsked()) GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  Vector<iFileManager::Share> shares;
  for (int i = 0; i < 3; ++i) shares.add({L"\\\\STATION\\media", L"/srv/media/"});
  files().setShares(shares);
  int refused = refuseEach([] { DiskManager::discoverLocalShares(); }, [] {});
  EXPECT_GT(refused, 0);
  EXPECT_EQ(DiskManager::convertUNCtoLocalShare(L"\\\\STATION\\media"), L"/srv/media/");
}

}  // namespace

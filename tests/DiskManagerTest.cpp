// The registry's life cycle and what it tells.
#include "fsys/DiskManager.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/StorageFixture.h"

namespace {

// Calls something for every message.
class Answering : public iCallbackBase<int, NotifyMsg> {
public:
  explicit Answering(std::function<void(const NotifyMsg&)> work) : work_(std::move(work)) {}
  int callback(NotifyMsg message) override {
    work_(message);
    return 0;
  }

private:
  std::function<void(const NotifyMsg&)> work_;
};

class DiskManagerTest : public StorageFixture {
protected:
  ~DiskManagerTest() override {
    for (const Notifier::Listener& listener : listeners_)
      VolumeRegistry::get().notifier.remove(NotifyMsgTypeDictionary::intern("DiskManager"),
                                            listener);
  }
  void answer(std::function<void(const NotifyMsg&)> work) {
    listeners_.push_back(Notifier::Listener(new Answering(std::move(work))));
    DiskManager::addListener(listeners_.back());
  }
  // The "disk manager update" messages so far.
  static size_t updates() {
    size_t count = 0;
    for (const std::string& event : events()) count += event == "disk manager update";
    return count;
  }

  std::vector<Notifier::Listener> listeners_;
};

// init -------------------------------------------------------------------------------------------

TEST_F(DiskManagerTest, InitFindsTheDisksThenAddsTheLocationsThenTellsOfTheSpace) {
  addDisk(L"/media/a/");
  addBareDisk(L"/media/b/");
  write(L"/project/DefNetDrive.txt", "/media/b/\n");
  os_->clock().step(5000);
  listen();
  DiskManager::init(kProject);
  EXPECT_EQ(codes(), "12");
  EXPECT_TRUE(DiskManager::isVolumeAutoDiscovered(DriveId('1')));
  EXPECT_FALSE(DiskManager::isVolumeAutoDiscovered(DriveId('2')));
  EXPECT_EQ(events(), (Texts{"+1", "+2", "MediaLocationsChangeMsg", "disk manager update"}));
}

TEST_F(DiskManagerTest, InitWithoutDiscoveryAddsTheLocationsAlone) {
  addDisk(L"/media/a/");
  addBareDisk(L"/media/b/");
  write(L"/project/DefNetDrive.txt", "/media/b/\n");
  DiskManager::init(kProject, true);
  EXPECT_EQ(codes(), "1");
  EXPECT_EQ(DiskManager::getMaterialVolumeName(DriveId('1'), false), L"/media/b");
}

TEST_F(DiskManagerTest, InitLeavesOutWhatTheUserUnmounted) {
  addDisk(L"/media/a/");
  addDisk(L"/media/b/");
  write(L"/project/UnmountedDrives.txt", "/media/a/\n");
  DiskManager::init(kProject);
  EXPECT_EQ(codes(), "2");
}

TEST_F(DiskManagerTest, ALocationThatIsUnmountedAndListedIsRegisteredFromTheList) {
  addDisk(L"/media/a/");
  write(L"/project/UnmountedDrives.txt", "/media/a/\n");
  write(L"/project/DefNetDrive.txt", "/media/a/\n");
  DiskManager::init(kProject);
  EXPECT_EQ(codes(), "2");
  EXPECT_FALSE(DiskManager::isVolumeAutoDiscovered(DriveId('2')));
  DiskManager::init(kProject, true);
  EXPECT_EQ(codes(), "1");
}

TEST_F(DiskManagerTest, ALocationThatWasDiscoveredIsNotAddedAgain) {
  addDisk(L"/media/a/");
  write(L"/project/DefNetDrive.txt", "/media/a/\n");
  DiskManager::init(kProject);
  EXPECT_EQ(codes(), "1");
  EXPECT_TRUE(DiskManager::isVolumeAutoDiscovered(DriveId('1')));
}

TEST_F(DiskManagerTest, InitKeepsTheProjectSpaceWithOrWithoutItsSeparator) {
  write(L"/project/DefNetDrive.txt", "/media/b/\n");
  addBareDisk(L"/media/b/");
  for (const wchar_t* folder : {L"/project", L"/project/"}) {
    DiskManager::init(folder);
    EXPECT_EQ(VolumeRegistry::get().projectSpace, folder);
    EXPECT_EQ(codes(), "1");
  }
}

TEST_F(DiskManagerTest, InitAgainBeginsAnew) {
  addDisk(L"/media/a/");
  DiskManager::init(kProject);
  Qv::Ptr<MediaDrive> before = DiskManager::getVolume(DriveId('1'));
  DiskManager::init(kProject);
  EXPECT_EQ(codes(), "1") << "identifiers begin at '1'";
  EXPECT_NE(DiskManager::getVolume(DriveId('1')).get(), before.get());
  EXPECT_EQ(before->refCount(), 1);
  EXPECT_EQ(diagnostics_.outText(), "");
}

TEST_F(DiskManagerTest, InitAgainForgetsWhenTheSpaceWasTold) {
  os_->clock().step(5000);
  DiskManager::init(kProject);
  listen();
  DiskManager::init(kProject);
  EXPECT_EQ(updates(), 1u);
}

TEST_F(DiskManagerTest, WithoutFilesInitStillTellsThatTheLocationsChanged) {
  os_->clock().step(5000);
  listen();
  DiskManager::init(kProject);
  EXPECT_EQ(events(), (Texts{"MediaLocationsChangeMsg", "disk manager update"}));
  EXPECT_EQ(diagnostics_.outText(), "");
}

// reInit, deInit, shutdown -----------------------------------------------------------------------

TEST_F(DiskManagerTest, ReInitEmptiesTheListRestartsTheIdentifiersAndDiscovers) {
  addDisk(L"/media/a/");
  registerDrive(L"/media/x/");
  registerDrive(L"/media/y/");
  DiskManager::reInit();
  EXPECT_EQ(codes(), "1");
  EXPECT_EQ(DiskManager::getMaterialVolumeName(DriveId('1'), false), L"/media/a");
}

TEST_F(DiskManagerTest, ReInitWithoutDiscoveryLeavesTheListEmpty) {
  addDisk(L"/media/a/");
  registerDrive(L"/media/x/");
  DiskManager::reInit(true);
  EXPECT_EQ(codes(), "");
  EXPECT_EQ(registeredId(L"/media/y/"), DriveId('1'));
}

TEST_F(DiskManagerTest, ReInitDoesNotTouchTheFilesNorReadThem) {
  write(L"/project/DefNetDrive.txt", "/media/b/\n");
  write(L"/project/UnmountedDrives.txt", "/media/a/\n");
  addBareDisk(L"/media/b/");
  addDisk(L"/media/a/");
  DiskManager::init(kProject);
  files().clearRecords();
  DiskManager::reInit(true);
  EXPECT_TRUE(files().opens().empty());
  EXPECT_EQ(codes(), "");
  EXPECT_EQ(content(L"/project/DefNetDrive.txt"), "/media/b/\n");
  EXPECT_EQ(content(L"/project/UnmountedDrives.txt"), "/media/a/\n");
}

TEST_F(DiskManagerTest, DeInitLetsEveryDriveGoAndTellsNobody) {
  Qv::Ptr<MediaDrive> held = registerDrive(L"/media/a/");
  listen();
  DiskManager::deInit();
  EXPECT_EQ(codes(), "");
  EXPECT_EQ(held->refCount(), 1);
  EXPECT_EQ(events(), Texts{});
  EXPECT_EQ(registeredId(L"/media/b/"), DriveId('2')) << "identifiers go on";
}

TEST_F(DiskManagerTest, AnOrderlyShutdownEmptiesTheListAndAnotherDoesNot) {
  registerDrive(L"/media/a/");
  DiskManager::DiskManagerShutdown(Shutdown::eAbort);
  EXPECT_EQ(codes(), "1");
  DiskManager::DiskManagerShutdown(static_cast<Shutdown::eExitType>(2));
  EXPECT_EQ(codes(), "1");
  DiskManager::DiskManagerShutdown(Shutdown::eNormal);
  EXPECT_EQ(codes(), "");
}

// What the callbacks of priorities 202, 201 (registered later and earlier) and 200 found.
std::string& seenAtShutdown() {
  static std::string& seen = *new std::string;
  return seen;
}
void lookAtShutdown(Shutdown::eExitType) {
  seenAtShutdown() += DiskManager::isVolumePresent(DriveId('1')) ? 'T' : '-';
}

TEST_F(DiskManagerTest, TheFirstInitRegistersTheShutdownAtPriority201AndNoOtherDoes) {
  Shutdown::run(Shutdown::eNormal);
  VolumeRegistry::get().isShutdownRegistered = false;
  seenAtShutdown().clear();
  Shutdown::addCallback(&lookAtShutdown, 201);
  DiskManager::init(kProject, true);
  Shutdown::addCallback(&lookAtShutdown, 200);
  Shutdown::addCallback(&lookAtShutdown, 201);
  Shutdown::addCallback(&lookAtShutdown, 202);
  registerDrive(L"/media/a/");
  Shutdown::run(Shutdown::eNormal);
  EXPECT_EQ(seenAtShutdown(), "TT--") << "202, the later 201, then the registry";
  DiskManager::init(kProject, true);
  registerDrive(L"/media/a/");
  Shutdown::run(Shutdown::eNormal);
  EXPECT_EQ(codes(), "1") << "it was registered once in the process";
}

// deleteMaterialVolume ---------------------------------------------------------------------------

TEST_F(DiskManagerTest, ADeletedDriveIsGoneTheOthersKeepTheirOrderAndNobodyIsTold) {
  for (const wchar_t* root : {L"/a/", L"/b/", L"/c/"}) registerDrive(root);
  listen();
  EXPECT_EQ(DiskManager::deleteMaterialVolume(DriveId('2')), QvResult::OK);
  EXPECT_EQ(codes(), "13");
  EXPECT_EQ(events(), Texts{});
}

TEST_F(DiskManagerTest, DeletingADriveThatIsNotThereAnswers5) {
  registerDrive(L"/a/");
  QvResult result = DiskManager::deleteMaterialVolume(DriveId('2'));
  EXPECT_EQ(static_cast<uint32_t>(result), 5u);
  EXPECT_EQ(static_cast<uint32_t>(DiskManager::deleteMaterialVolume(DriveId('1'))), 1u);
  EXPECT_EQ(DiskManager::deleteMaterialVolume(DriveId('1')), QvResult::NotFound);
  EXPECT_EQ(DiskManager::deleteMaterialVolume(DriveId()), QvResult::NotFound);
}

// Notifications ----------------------------------------------------------------------------------

TEST_F(DiskManagerTest, EachMessageHasItsTextTheRegistrysTypeAndNoPayload) {
  std::vector<NotifyMsg> heard;
  answer([&heard](const NotifyMsg& message) { heard.push_back(message); });
  os_->clock().step(5000);
  DiskManager::informInterestedParties();
  DiskManager::issueMediaOnlineChangeNotification();
  DiskManager::update_drives_and_groups();
  ASSERT_EQ(heard.size(), 3u);
  EXPECT_EQ(heard[0].getText(), "MediaLocationsChangeMsg");
  EXPECT_EQ(heard[1].getText(), "MediaOnlineChangeMsg");
  EXPECT_EQ(heard[2].getText(), "disk manager update");
  for (const NotifyMsg& message : heard) {
    EXPECT_EQ(message.getType(), NotifyMsgTypeDictionary::intern("DiskManager"));
    EXPECT_FALSE(message.getPayload());
  }
}

TEST_F(DiskManagerTest, EveryListenerHearsAMessageOnceInTheOrderOfTheirRegistration) {
  std::string heard;
  answer([&heard](const NotifyMsg&) { heard += '1'; });
  answer([&heard](const NotifyMsg&) { heard += '2'; });
  DiskManager::addListener(nullptr);
  DiskManager::informInterestedParties();
  EXPECT_EQ(heard, "12");
}

TEST_F(DiskManagerTest, AListenerMayAskTheRegistryAndChangeIt) {
  registerDrive(L"/a/");
  answer([](const NotifyMsg&) {
    EXPECT_TRUE(DiskManager::isMaterialVolume(DriveId('1')));
    DiskManager::deleteMaterialVolume(DriveId('1'));
    EXPECT_FALSE(DiskManager::isMaterialVolume(DriveId('1')));
  });
  DiskManager::informInterestedParties();
  EXPECT_EQ(codes(), "");
}

// Space ------------------------------------------------------------------------------------------

TEST_F(DiskManagerTest, UpdatingReadsTheSpaceOfEveryDriveEachTime) {
  FakeDrive& first = addBareDisk(L"/a/", 10);
  addBareDisk(L"/b/", 20);
  Qv::Ptr<MediaDrive> a = registerDrive(L"/a/");
  Qv::Ptr<MediaDrive> b = registerDrive(L"/b/");
  files().drive(L"/a/").freeBytes = 11 * kMebibyte;
  files().drive(L"/b/").freeBytes = 21 * kMebibyte;
  DiskManager::updateDrives();
  EXPECT_EQ(a->getSpaceMB(), 11);
  EXPECT_EQ(b->getSpaceMB(), 21);
  first.freeBytes = 12 * kMebibyte;
  DiskManager::update_drives_and_groups();
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(a->getSpaceMB(), 12);
}

TEST_F(DiskManagerTest, UpdatingAsksTheDrivesInTheirOrder) {
  for (const wchar_t* root : {L"/b/", L"/c/", L"/a/"}) {
    addBareDisk(root, 10);
    registerDrive(root);
  }
  os_->faults().fail(FaultPlan::eGetDisk, eOsIoError);
  DiskManager::updateDrives();
  EXPECT_EQ(DiskManager::getMediaDrive(0).getSpaceMB(), 0);
  EXPECT_EQ(DiskManager::getMediaDrive(1).getSpaceMB(), 10);
  EXPECT_EQ(DiskManager::getMediaDrive(2).getSpaceMB(), 10);
}

TEST_F(DiskManagerTest, WhoIsToldOfAnUpdateFindsTheNewSpace) {
  FakeDrive& disk = addBareDisk(L"/a/", 10);
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/a/");
  double seen = 0;
  answer([&](const NotifyMsg&) { seen = drive->getSpaceMB(); });
  disk.freeBytes = 11 * kMebibyte;
  os_->clock().step(3000);
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(seen, 11);
}

TEST_F(DiskManagerTest, TheUpdateIsToldWhenMoreThan2000MsPassedAndNotOneMsSooner) {
  listen();
  os_->clock().step(3000);
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(updates(), 1u);
  DiskManager::update_drives_and_groups();
  os_->clock().step(2000);
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(updates(), 1u) << "2000 ms are not enough";
  os_->clock().step(1);
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(updates(), 2u);
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(updates(), 2u) << "it counts from the last one that was told";
}

TEST_F(DiskManagerTest, TheUpdateIsToldAcrossTheWrapOfTheClock) {
  listen();
  os_->clock().step(10);
  VolumeRegistry::get().timeOfLastSpaceUpdate = service_get_msecs() - 2000;
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(updates(), 0u);
  os_->clock().step(1);
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(updates(), 1u);
  EXPECT_EQ(VolumeRegistry::get().timeOfLastSpaceUpdate, service_get_msecs());
}

TEST_F(DiskManagerTest, TheUpdateIsNotToldTwiceShortlyBeforeTheClockWraps) {
  listen();
  os_->clock().stepTo(0x1p32 - 500);
  DiskManager::update_drives_and_groups();
  os_->clock().step(400);
  DiskManager::update_drives_and_groups();
  os_->clock().step(1600);
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(updates(), 1u);
  os_->clock().step(1);
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(updates(), 2u);
}

TEST_F(DiskManagerTest, WithoutDrivesTheUpdateIsToldAllTheSame) {
  listen();
  os_->clock().step(3000);
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(events(), Texts{"disk manager update"});
}

TEST_F(DiskManagerTest, WhoIsToldOfAnUpdateMayUpdateAgain) {
  int heard = 0;
  answer([&heard](const NotifyMsg&) {
    ++heard;
    DiskManager::update_drives_and_groups();
  });
  os_->clock().step(3000);
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(heard, 1);
}

}  // namespace

// The login of a workstation: what its lock file is called, and what is done to it in which
// order.
#include "fsys/NetLogin.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/Clocks.h"
#include "tests/NetLoginFixture.h"
#include "tests/support/ForwardingFiles.h"
#include "tests/support/ForwardingSystemInfo.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Text = LightweightString<wchar_t>;
using Files = iFileManager;

class NetLoginTest : public NetLoginFixture {
protected:
  static Text nameIn(const wchar_t* folder) { return getNetLoginLockFileName(folder); }
  void setWorkstation(const Text& name) { os_->systemInfo().setWorkstationName(name); }
  // That a login is refused, and neither makes nor opens anything.
  void expectRefused(const Text& folder, uint32_t error) {
    files().clearRecords();
    OS()->getErrors()->setLastError(0);
    EXPECT_EQ(NetLogin(folder), 0u);
    EXPECT_FALSE(lockFilehandle);
    EXPECT_EQ(lastError(), error);
    for (const FakeOpen& open : files().opens()) EXPECT_NE(open.result, 1u);
  }
  unsigned calls(FaultPlan::eCall call) { return os_->faults().calls(call); }
};

// What is done to files, in order, by which name.
class WatchedFiles final : public ForwardingFiles {
public:
  Qv::Ptr<iFile> openFile(const Path& path, unsigned access, unsigned creation, unsigned flags,
                          unsigned attributes) override {
    say("open", path);
    Qv::Ptr<iFile> file = below()->openFile(path, access, creation, flags, attributes);
    if (file && givesClosedFiles) file->close();
    return file;
  }
  bool deleteFile(const Path& path) override {
    LockState state = eLockUnknown;
    below()->askLock(path, state);
    say(state == eLockHeld ? "delete the locked" : "delete", path);
    return below()->deleteFile(path);
  }
  bool markFile(const Path& path) override {
    say("mark", path);
    return below()->markFile(path);
  }
  void say(const std::string& what, const Path& path) {
    done.push_back(what + " " + std::string(toUTF8(path).view()));
  }

  std::vector<std::string> done;
  bool givesClosedFiles = false;
};

// A file in the place of the handle that says when it goes.
class TellingFile final : public iFile {
public:
  explicit TellingFile(WatchedFiles& to) : to_(to) {}
  ~TellingFile() override { to_.say("release", L"the handle"); }

  bool isOpen() const override { return true; }
  void close() override {}
  unsigned getCapabilities() const override { return 0; }
  uint64_t getSize() const override { return 0; }
  uint32_t getInfo(FILE_INFO*) const override { return 0; }
  uint32_t readAt(uint64_t, void*, uint32_t, uint32_t*) override { return 0; }
  uint32_t writeAt(uint64_t, const void*, uint32_t, uint32_t*) override { return 0; }
  uint32_t writeBehind(uint64_t, const void*, uint32_t, uint32_t*) override { return 0; }
  uint32_t settle() override { return 0; }
  uint32_t flush() override { return 0; }
  uint32_t read(void*, uint32_t, uint32_t*) override { return 0; }
  uint32_t write(const void*, uint32_t, uint32_t*) override { return 0; }
  void seek(uint64_t) override {}
  uint32_t attach(CompletionPortHandler*) override { return 0; }
  uint32_t startRead(const Qv::Ptr<iAsyncContext>&, const AsyncTransfer&) override { return 0; }
  uint32_t startWrite(const Qv::Ptr<iAsyncContext>&, const AsyncTransfer&) override { return 0; }

private:
  WatchedFiles& to_;
};

// A workstation that has another name each time that it is asked for it.
class RenamedWorkstation final : public ForwardingSystemInfo {
  Text getWorkstationName() const override { return names_++ == 0 ? L"STATION" : L"../other"; }

  mutable unsigned names_ = 0;
};

}  // namespace

// The name ----------------------------------------------------------------------------------------

TEST_F(NetLoginTest, TheLockFileIsCalledAfterTheWorkstationAndEndsInCli) {
  EXPECT_EQ(nameIn(L"/net/media/"), kLockFile);
  setWorkstation(L"edit-7");
  EXPECT_EQ(nameIn(L"/net/media/"), L"/net/media/edit-7.cli");
}

TEST_F(NetLoginTest, ASeparatorIsPutBehindTheFolderWhereItHasNone) {
  EXPECT_EQ(nameIn(L"/net/media"), kLockFile);
  EXPECT_EQ(nameIn(L"/net/media//"), L"/net/media//STATION.cli") << "it is taken as it is";
  EXPECT_EQ(nameIn(L"/"), L"/STATION.cli");
  EXPECT_EQ(nameIn(L""), L"/STATION.cli");
  EXPECT_EQ(nameIn(nullptr), L"/STATION.cli");
  EXPECT_EQ(nameIn(L"media"), L"media/STATION.cli");
}

TEST_F(NetLoginTest, TheSeparatorIsTheFileManagers) {
  files().setSeparator(L'\\');
  EXPECT_EQ(nameIn(L"\\\\server\\media"), L"\\\\server\\media\\STATION.cli");
  EXPECT_EQ(nameIn(L"\\\\server\\media\\"), L"\\\\server\\media\\STATION.cli");
  EXPECT_EQ(nameIn(L"/net/"), L"/net/\\STATION.cli");
}

// Logging in --------------------------------------------------------------------------------------

TEST_F(NetLoginTest, ALoginMakesTheFileAndHoldsItOpenAndLocked) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  ASSERT_TRUE(lockFilehandle);
  EXPECT_TRUE(lockFilehandle->isOpen());
  EXPECT_EQ(stateOf(kLockFile), "live");
  EXPECT_THAT(files().bytesOf(kLockFile), IsEmpty());
}

TEST_F(NetLoginTest, TheFileIsOpenedWith3And3And4And32) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  ASSERT_EQ(files().opens().size(), 1u);
  const FakeOpen& open = files().opens()[0];
  EXPECT_EQ(open.door, FakeOpen::eGeneral);
  EXPECT_EQ(open.path, kLockFile.view());
  EXPECT_EQ(open.access, 3u);
  EXPECT_EQ(open.creation, 3u);
  EXPECT_EQ(open.flags, 4u);
  EXPECT_EQ(open.attributes, 32u);
}

TEST_F(NetLoginTest, AWorkstationThatIsRenamedMeanwhileIsLoggedInByTheNameThatWasLookedAt) {
  {
    RenamedWorkstation renamed;
    EXPECT_EQ(NetLogin(kFolder), 1u);
  }
  EXPECT_EQ(stateOf(kLockFile), "live");
}

TEST_F(NetLoginTest, TheFileIsMarkedOnceTheLoginIsHeld) {
  os_->clock().step(25);
  EXPECT_EQ(NetLogin(kFolder), 1u);
  EXPECT_EQ(files().markedAt_ms(kLockFile), Qv::now());
}

TEST_F(NetLoginTest, AFileThatCannotBeMarkedIsALoginAllTheSame) {
  os_->faults().fail(FaultPlan::eMarkFile, eOsNotPermitted);
  EXPECT_EQ(NetLogin(kFolder), 1u);
  EXPECT_TRUE(lockFilehandle);
  EXPECT_EQ(stateOf(kLockFile), "live");
}

TEST_F(NetLoginTest, WhatACrashLeftIsTakenOver) {
  files().addFile(kLockFile, {'o', 'l', 'd'});
  EXPECT_EQ(stateOf(kLockFile), "leftover");
  EXPECT_EQ(NetLogin(kFolder), 1u);
  EXPECT_EQ(stateOf(kLockFile), "live");
  EXPECT_EQ(files().bytesOf(kLockFile).size(), 3u);
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(stateOf(kLockFile), "gone");
}

TEST_F(NetLoginTest, ALoginThatFailsChangesNothing) {
  os_->faults().fail(FaultPlan::eOpenFile, eOsAccessDenied);
  EXPECT_EQ(NetLogin(kFolder), 0u);
  EXPECT_EQ(lastError(), eOsAccessDenied);
  EXPECT_FALSE(lockFilehandle);
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(calls(FaultPlan::eDeleteFile), 0u) << "a name was recorded";
  EXPECT_EQ(calls(FaultPlan::eMarkFile), 0u);
  EXPECT_EQ(NetLogin(kFolder), 1u);
}

TEST_F(NetLoginTest, AHandleThatIsNotOpenIsNoLogin) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  WatchedFiles watched;
  watched.givesClosedFiles = true;
  EXPECT_EQ(NetLogin(kOther), 0u);
  EXPECT_THAT(watched.done, ElementsAre("open /other/STATION.cli"));
  EXPECT_EQ(stateOf(kLockFile), "live");
}

// Logging in once more ----------------------------------------------------------------------------

TEST_F(NetLoginTest, ALoginThatFailsLeavesTheEarlierOneHeldWithAnEmptyHandle) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  os_->faults().fail(FaultPlan::eOpenFile, eOsIoError);
  EXPECT_EQ(NetLogin(kOther), 0u);
  EXPECT_FALSE(lockFilehandle);
  EXPECT_EQ(stateOf(kLockFile), "live");
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(stateOf(kLockFile), "gone");
}

TEST_F(NetLoginTest, ASecondLoginLeavesTheHandleEmptyAndItsFileHeld) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  EXPECT_EQ(NetLogin(kOther), 1u);
  EXPECT_FALSE(lockFilehandle);
  EXPECT_EQ(stateOf(kOtherLockFile), "live");
  EXPECT_EQ(stateOf(kLockFile), "gone");
  EXPECT_EQ(files().liveFiles(), 1u);
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(stateOf(kOtherLockFile), "gone");
  EXPECT_EQ(files().liveFiles(), 0u);
}

TEST_F(NetLoginTest, ASecondLoginOpensTheNewFileThenLetsTheOldOneGoAndThenMarks) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  WatchedFiles watched;
  EXPECT_EQ(NetLogin(kOther), 1u);
  EXPECT_THAT(watched.done, ElementsAre("open /other/STATION.cli", "delete /net/media/STATION.cli",
                                        "mark /other/STATION.cli"));
}

TEST_F(NetLoginTest, AThirdLoginEndsTheSecond) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  EXPECT_EQ(NetLogin(kOther), 1u);
  EXPECT_EQ(NetLogin(kFolder), 1u);
  EXPECT_FALSE(lockFilehandle);
  EXPECT_EQ(stateOf(kLockFile), "live");
  EXPECT_EQ(stateOf(kOtherLockFile), "gone");
}

TEST_F(NetLoginTest, ASecondLoginInTheSameFolderEndsWithoutItsFile) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  EXPECT_EQ(NetLogin(kFolder), 1u);
  EXPECT_FALSE(lockFilehandle);
  EXPECT_EQ(stateOf(kLockFile), "gone");
  EXPECT_EQ(NetLogin(kFolder), 1u) << "it is recorded all the same: this makes the file anew";
  EXPECT_EQ(stateOf(kLockFile), "gone") << "and then deletes it";
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(NetLogin(kFolder), 1u);
  EXPECT_EQ(stateOf(kLockFile), "live");
}

TEST_F(NetLoginTest, TheFileOfAnEarlierLoginThatCannotBeDeletedIsALeftover) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  os_->faults().fail(FaultPlan::eDeleteFile, eOsIoError);
  EXPECT_EQ(NetLogin(kOther), 1u);
  EXPECT_EQ(stateOf(kLockFile), "leftover");
  EXPECT_EQ(stateOf(kOtherLockFile), "live");
}

TEST_F(NetLoginTest, AFileThatSomebodyElseHoldsWithoutSharingIsNoLogin) {
  files().addFile(kLockFile);
  Qv::Ptr<iFile> sole = OS()->getFileManager()->openFile(
      kLockFile, Files::eAccessWrite, Files::eOpenExisting, 0, Files::eAttributeHoldLock);
  expectRefused(kFolder, eOsAccessDenied);
  sole.reset();
  EXPECT_EQ(NetLogin(kFolder), 1u);
}

// Logging out -------------------------------------------------------------------------------------

TEST_F(NetLoginTest, ALogoutReleasesTheHandleAndDeletesTheFile) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_FALSE(lockFilehandle);
  EXPECT_EQ(stateOf(kLockFile), "gone");
  EXPECT_EQ(files().liveFiles(), 0u);
}

TEST_F(NetLoginTest, TheHandleIsReleasedBeforeTheFileIsDeleted) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  WatchedFiles watched;
  lockFilehandle = Qv::Ptr<iFile>(new TellingFile(watched));
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_THAT(watched.done, ElementsAre("release the handle", "delete /net/media/STATION.cli"));
}

TEST_F(NetLoginTest, AFileWhoseDeletionIsLateIsClosedAlready) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  files().setDrive(L"/net/", {.silent = true});
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(files().liveFiles(), 0u);
  EXPECT_TRUE(files().hasFile(kLockFile));
}

TEST_F(NetLoginTest, WhoHasAReferenceKeepsTheFileOpen) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  Qv::Ptr<iFile> kept = lockFilehandle;
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_TRUE(kept->isOpen());
  EXPECT_EQ(stateOf(kLockFile), "gone");
}

TEST_F(NetLoginTest, ALogoutWithoutALoginDoesNothingAndAnswers1) {
  files().addFile(kLockFile);
  WatchedFiles watched;
  lockFilehandle = Qv::Ptr<iFile>(new TellingFile(watched));
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_TRUE(lockFilehandle) << "the application's own";
  EXPECT_THAT(watched.done, IsEmpty());
  EXPECT_EQ(calls(FaultPlan::eOnDrive), 0u);
  EXPECT_EQ(stateOf(kLockFile), "leftover");
  lockFilehandle.reset();
}

TEST_F(NetLoginTest, ASecondLogoutDoesNothing) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  EXPECT_EQ(NetLogout(), 1u);
  files().addFile(kLockFile);
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(stateOf(kLockFile), "leftover") << "it is another program's";
}

TEST_F(NetLoginTest, AFileThatCannotBeDeletedIsNotToldAndForgotten) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  os_->faults().fail(FaultPlan::eDeleteFile, eOsIoError);
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(stateOf(kLockFile), "leftover");
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(stateOf(kLockFile), "leftover");
}

TEST_F(NetLoginTest, AFileThatIsGoneAlreadyIsLoggedOutOfAllTheSame) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  EXPECT_TRUE(OS()->getFileManager()->deleteFile(kLockFile));
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_FALSE(lockFilehandle);
}

// Names that are refused --------------------------------------------------------------------------

TEST_F(NetLoginTest, AFolderThatIsNotNamedFromTheRootIsRefused) {
  for (const wchar_t* folder : {L"", L".", L"net/media", L"./net/media", L"\\\\server\\share"}) {
    expectRefused(folder, eOsInvalid);
    EXPECT_THAT(files().opens(), IsEmpty());
  }
  expectRefused(Text(), eOsInvalid);
  EXPECT_FALSE(files().hasFile(L"/STATION.cli"));
}

TEST_F(NetLoginTest, AWorkstationWithoutANameIsRefused) {
  setWorkstation(L"");
  expectRefused(kFolder, eOsInvalid);
  EXPECT_THAT(files().opens(), IsEmpty());
}

TEST_F(NetLoginTest, AWorkstationsNameThatLeadsElsewhereIsRefused) {
  files().addFolder(L"/net/media/inner");
  for (const wchar_t* name : {L"inner/STATION", L"../STATION", L"/STATION", L"STATION/"}) {
    setWorkstation(name);
    expectRefused(kFolder, eOsInvalid);
    EXPECT_THAT(files().opens(), IsEmpty());
  }
  setWorkstation(L"..");
  EXPECT_EQ(NetLogin(kFolder), 1u) << "as a part of a name it leads nowhere";
  EXPECT_EQ(stateOf(L"/net/media/...cli"), "live");
}

TEST_F(NetLoginTest, ANameWithANulIsRefused) {
  expectRefused(Text(L"/net\0/media", 11), eOsInvalid);
  setWorkstation(Text(L"A\0B", 3));
  expectRefused(kFolder, eOsInvalid);
}

TEST_F(NetLoginTest, AFolderThatIsNotThereIsRefusedAndNotMade) {
  expectRefused(L"/net/none", eOsNotFound);
  EXPECT_FALSE(files().folderExists(L"/net/none"));
}

TEST_F(NetLoginTest, AFolderOfTheFilesNameIsRefused) {
  files().addFolder(kLockFile);
  expectRefused(kFolder, eOsIsAFolder);
}

TEST_F(NetLoginTest, ALinkOfTheFilesNameIsRefusedWhereverItLeads) {
  files().addFile(L"/home/diary", {'x'});
  for (const wchar_t* target : {L"/home/diary", L"/home/none"}) {
    files().addLink(kLockFile, target);
    expectRefused(kFolder, eOsErrorBase + 40);
  }
  EXPECT_FALSE(files().hasFile(L"/home/none"));
  EXPECT_EQ(files().markedAt_ms(L"/home/diary"), 0);
  files().addLink(L"/short", kFolder);
  EXPECT_TRUE(OS()->getFileManager()->deleteFile(kLockFile));
  EXPECT_EQ(NetLogin(L"/short"), 1u) << "the folder may be one";
  EXPECT_EQ(stateOf(kLockFile), "live");
}

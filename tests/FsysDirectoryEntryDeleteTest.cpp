// What an entry deletes from the disk.

#include "tests/DirectoryEntryFixture.h"

namespace {

class FsysDirectoryEntryDeleteTest : public DirectoryEntryFixture {
protected:
  static constexpr const wchar_t* k360 = L"/Material/a.A0.proxy.360.mov";
  static constexpr const wchar_t* k720 = L"/Material/a.A0.proxy.720.mov";

  uint32_t deleteFile(const Text& path) { return entry_.deleteFile(name(path)); }
  void addFiles(std::initializer_list<const wchar_t*> paths) {
    for (const wchar_t* path : paths) files().addFile(path);
  }
  void expectThere(std::initializer_list<const wchar_t*> paths) {
    for (const wchar_t* path : paths) EXPECT_TRUE(isThere(path)) << toUTF8(path).c_str();
  }
  void expectGone(std::initializer_list<const wchar_t*> paths) {
    for (const wchar_t* path : paths) EXPECT_FALSE(isThere(path)) << toUTF8(path).c_str();
  }
};

// deleteFile -------------------------------------------------------------------------------------

TEST_F(FsysDirectoryEntryDeleteTest, AFileGoesAndTheAnswerIs1) {
  media(L"/Material/a.mov");
  EXPECT_EQ(deleteFile(L"/Material/a.mov"), 1u);
  EXPECT_FALSE(isThere(L"/m/Material/a.mov"));
}

TEST_F(FsysDirectoryEntryDeleteTest, TheEntryStaysAsItIs) {
  add(media(L"/Material/a.mov"));
  deleteFile(L"/Material/a.mov");
  EXPECT_TRUE(entry_.hasHighRes());
}

TEST_F(FsysDirectoryEntryDeleteTest, WhatCannotBeDeletedIsTheSystemsError) {
  EXPECT_EQ(deleteFile(L"/Material/a.mov"), eOsNotFound);
  media(L"/Material/a.mov");
  os_->faults().fail(FaultPlan::eDeleteFile, eOsAccessDenied);
  EXPECT_EQ(deleteFile(L"/Material/a.mov"), eOsAccessDenied);
  files().addFolder(L"/m/Material/folder");
  EXPECT_EQ(deleteFile(L"/Material/folder"), eOsIsAFolder);
}

// It removes nothing, and says not why.
struct SilentProvider : iFileProvider {
  Qv::Ptr<iFile> open(const LightweightString<wchar_t>&, unsigned, bool) override { return {}; }
  bool remove(const LightweightString<wchar_t>&) override { return false; }
};

TEST_F(FsysDirectoryEntryDeleteTest, AFailureWithoutAReasonIsNeverTheNumberOfSuccess) {
  files().registerProvider(L"odd:", Qv::Ptr<iFileProvider>(new SilentProvider));
  for (uint32_t error : {0u, 1u}) {
    os_->errors().setLastError(error);
    EXPECT_EQ(entry_.deleteFile(MaterialFilename(DriveId(), L"odd:a.mov")), eOsIoError);
  }
}

TEST_F(FsysDirectoryEntryDeleteTest, WhatLiesBesideItUnderItsNameAndADotGoesToo) {
  media(L"/Material/a.mov");
  addFiles({L"/m/Material/a.mov.partial", L"/m/Material/a.mov.qvix", L"/m/Material/a.mov.x.y",
            L"/m/Material/a.mov."});
  addFiles({L"/m/Material/a.movie", L"/m/Material/a.mo", L"/m/Material/a", L"/m/Material/a.qvix",
            L"/m/Material/ba.mov.qvix", L"/m/Material/A.mov.qvix", L"/m/Sound/a.mov.qvix",
            L"/m/Material/a.mov-1.qvix"});
  EXPECT_EQ(deleteFile(L"/Material/a.mov"), 1u);
  expectGone({L"/m/Material/a.mov.partial", L"/m/Material/a.mov.qvix", L"/m/Material/a.mov.x.y",
              L"/m/Material/a.mov."});
  expectThere({L"/m/Material/a.movie", L"/m/Material/a.mo", L"/m/Material/a", L"/m/Material/a.qvix",
               L"/m/Material/ba.mov.qvix", L"/m/Material/A.mov.qvix", L"/m/Sound/a.mov.qvix",
               L"/m/Material/a.mov-1.qvix"});
}

TEST_F(FsysDirectoryEntryDeleteTest, WhatLiesBesideAFileThatIsGoneGoesAllTheSame) {
  addFiles({L"/m/Material/a.mov.qvix"});
  EXPECT_EQ(deleteFile(L"/Material/a.mov"), eOsNotFound);
  expectGone({L"/m/Material/a.mov.qvix"});
}

TEST_F(FsysDirectoryEntryDeleteTest, WhatGoesWrongBesideItIsNotTold) {
  media(L"/Material/a.mov");
  addFiles({L"/m/Material/a.mov.1", L"/m/Material/a.mov.2", L"/m/Material/a.mov.3"});
  os_->faults().fail(FaultPlan::eDeleteFile, eOsAccessDenied, 3);
  EXPECT_EQ(deleteFile(L"/Material/a.mov"), 1u);
  expectGone({L"/m/Material/a.mov", L"/m/Material/a.mov.1", L"/m/Material/a.mov.3"});
  expectThere({L"/m/Material/a.mov.2"});
  os_->faults().fail(FaultPlan::eDeleteSideFiles, eOsAccessDenied);
  media(L"/Material/a.mov");
  EXPECT_EQ(deleteFile(L"/Material/a.mov"), 1u);
  expectThere({L"/m/Material/a.mov.2"});
}

TEST_F(FsysDirectoryEntryDeleteTest, WhatLiesBesideItIsDeletedInTheFolderWhereItWasFound) {
  media(L"/Material/a.mov");
  addFiles({L"/m/Material/a.mov.1", L"/m/Material/a.mov.2"});
  EXPECT_EQ(deleteFile(L"/Material/a.mov"), 1u);
  EXPECT_EQ(os_->faults().calls(FaultPlan::eDeleteMedia), 1u);
  EXPECT_EQ(os_->faults().calls(FaultPlan::eListFiles), 0u);
  expectGone({L"/m/Material/a.mov.1", L"/m/Material/a.mov.2"});
}

TEST_F(FsysDirectoryEntryDeleteTest, AFoldersAndALinksTargetBesideItStay) {
  media(L"/Material/a.mov");
  addFiles({L"/m/Material/a.mov.folder/inside", L"/n/kept"});
  files().addLink(L"/m/Material/a.mov.link", L"/n/kept");
  EXPECT_EQ(deleteFile(L"/Material/a.mov"), 1u);
  expectThere({L"/m/Material/a.mov.folder/inside", L"/n/kept"});
}

TEST_F(FsysDirectoryEntryDeleteTest, ANameWithSignsOfAPatternStandsForItselfAlone) {
  for (const wchar_t* odd : {L"*", L"?", L"a*", L"*.mov", L"?.mov", L"[a].mov", L"a\n.mov"}) {
    SCOPED_TRACE(toUTF8(odd).c_str());
    addFiles(
        {L"/m/Material/a.mov", L"/m/Material/a.mov.qvix", L"/m/Material/b.x.y", L"/m/Material/ab"});
    const Text path = Text(L"/m/Material/") + odd;
    files().addFile(path);
    files().addFile(path + L".qvix");
    EXPECT_EQ(deleteFile(Text(L"/Material/") + odd), 1u);
    EXPECT_FALSE(isThere(path));
    EXPECT_FALSE(isThere(path + L".qvix"));
    expectThere(
        {L"/m/Material/a.mov", L"/m/Material/a.mov.qvix", L"/m/Material/b.x.y", L"/m/Material/ab"});
  }
}

TEST_F(FsysDirectoryEntryDeleteTest, AFolderWithSignsOfAPatternStandsForItselfAlone) {
  addFiles({L"/m/*/a.mov", L"/m/*/a.mov.qvix", L"/m/b/a.mov.qvix"});
  EXPECT_EQ(deleteFile(L"/*/a.mov"), 1u);
  expectGone({L"/m/*/a.mov.qvix"});
  expectThere({L"/m/b/a.mov.qvix"});
}

TEST_F(FsysDirectoryEntryDeleteTest, APathWithoutALastPartHasNothingBesideIt) {
  addFiles({L"/m/Material/.hidden", L"/m/.hidden", L".hidden"});
  EXPECT_NE(deleteFile(L"/Material/"), 1u);
  EXPECT_NE(entry_.deleteFile(MaterialFilename()), 1u);
  EXPECT_NE(deleteFile(L""), 1u);
  expectThere({L"/m/Material/.hidden", L"/m/.hidden", L".hidden"});
}

TEST_F(FsysDirectoryEntryDeleteTest, ASymbolicLinkGoesItselfAndItsTargetStays) {
  addFiles({L"/n/kept", L"/n/kept.qvix"});
  files().addLink(L"/m/Material/a.mov", L"/n/kept");
  EXPECT_EQ(deleteFile(L"/Material/a.mov"), 1u);
  EXPECT_FALSE(isThere(L"/m/Material/a.mov"));
  expectThere({L"/n/kept", L"/n/kept.qvix"});
}

// What its name is without the drive may be another disk's.
TEST_F(FsysDirectoryEntryDeleteTest, OfADriveThatHasGoneNothingIsTouched) {
  addLinkFile(L"/Material/a.mov", L"/Material/clip/x.mov");
  addFiles({L"/Material/a.mov.qvix", L"/Material/clip/x.mov", L"Material/b.mov", L"b.mov"});
  DiskManager::deleteMaterialVolume(drive_);
  for (const wchar_t* path : {L"/Material/a.mov", L"Material/b.mov", L"b.mov", L"/none.mov"}) {
    os_->errors().setLastError(0);
    const unsigned before = asked();
    EXPECT_EQ(deleteFile(path), eOsNotFound);
    EXPECT_EQ(os_->errors().getLastError(), eOsNotFound);
    EXPECT_EQ(asked(), before);
  }
  expectThere({L"/Material/a.mov", L"/Material/a.mov.qvix", L"/Material/clip/x.mov",
               L"Material/b.mov", L"b.mov"});
}

TEST_F(FsysDirectoryEntryDeleteTest, OfNoDriveWhatHasTheWholePathGoes) {
  addLinkFile(L"/n/a.mov", L"/n/clip/x.mov");
  addFiles({L"/n/a.mov.qvix", L"/n/clip/x.mov"});
  EXPECT_EQ(entry_.deleteFile(MaterialFilename(DriveId(), L"/n/a.mov")), 1u);
  expectGone({L"/n/a.mov", L"/n/a.mov.qvix", L"/n/clip/x.mov"});
}

// deleteFiles ------------------------------------------------------------------------------------

TEST_F(FsysDirectoryEntryDeleteTest, FilesOfADriveThatHasGoneAreForgottenAndNotFound) {
  for (const unsigned types : {1u, 2u, 3u}) {
    add(info(L"/Material/a.mov"));
    addProxy(info(k360));
    addFiles({L"/Material/a.mov", L"/Material/a.mov.qvix", k360});
    DiskManager::deleteMaterialVolume(drive_);
    EXPECT_EQ(entry_.deleteFiles(types), eOsNotFound);
    EXPECT_EQ(entry_.hasHighRes(), types == eProxy);
    EXPECT_EQ(entry_.hasProxies(), types == eHighRes);
    expectThere({L"/Material/a.mov", L"/Material/a.mov.qvix", k360});
  }
}

TEST_F(FsysDirectoryEntryDeleteTest, FilesOfDrivesThatAreThereGoBesideOneThatHasGone) {
  add(info(L"/Material/a.mov"));
  addProxy(MediaFileInfo(MaterialFilename(otherDrive_, k360), 1000));
  addFiles({L"/Material/a.mov", L"/n/Material/a.A0.proxy.360.mov"});
  DiskManager::deleteMaterialVolume(drive_);
  EXPECT_EQ(entry_.deleteFiles(eHighRes | eProxy), eOsNotFound);
  expectThere({L"/Material/a.mov"});
  expectGone({L"/n/Material/a.A0.proxy.360.mov"});
}

TEST_F(FsysDirectoryEntryDeleteTest, NoTypeIsReportedInLine323AndDeletesNothing) {
  add(media(L"/Material/a.mov"));
  addProxy(media(k360));
  EXPECT_EQ(entry_.deleteFiles(0), 1u);
  EXPECT_EQ(diagnostics_.outText(), failed("mediaTypes != 0", "323"));
  EXPECT_TRUE(entry_.hasHighRes());
  EXPECT_TRUE(entry_.hasProxies());
  expectThere({L"/m/Material/a.mov"});
}

TEST_F(FsysDirectoryEntryDeleteTest, OfHighResolutionTheProxiesStay) {
  add(media(L"/Material/a.mov"));
  addProxy(media(k360));
  EXPECT_EQ(entry_.deleteFiles(eHighRes), 1u);
  EXPECT_FALSE(entry_.hasHighRes());
  EXPECT_EQ(entry_.fileSize(), 0u);
  EXPECT_EQ(proxies().size(), 1u);
  expectGone({L"/m/Material/a.mov"});
  expectThere({L"/m/Material/a.A0.proxy.360.mov"});
}

TEST_F(FsysDirectoryEntryDeleteTest, WithoutHighResolutionThereIsNothingToDelete) {
  addProxy(media(k360));
  addFiles({L".hidden"});
  unsigned before = asked();
  EXPECT_EQ(entry_.deleteFiles(eHighRes), 1u);
  EXPECT_EQ(asked(), before);
  EXPECT_EQ(proxies().size(), 1u);
}

TEST_F(FsysDirectoryEntryDeleteTest, AFileThatIsNoneIsForgottenToo) {
  add(MediaFileInfo(MaterialFilename(drive_, L""), 1000));
  unsigned before = asked();
  EXPECT_EQ(entry_.deleteFiles(eHighRes), 1u);
  EXPECT_EQ(asked(), before);
  EXPECT_FALSE(entry_.highResDrive().valid());
  EXPECT_EQ(entry_.fileSize(), 0u);
}

TEST_F(FsysDirectoryEntryDeleteTest, OfProxiesTheFileOfHighResolutionStays) {
  add(media(L"/Material/a.mov"));
  addProxy(media(k360));
  addProxy(media(k720));
  EXPECT_EQ(entry_.deleteFiles(eProxy), 1u);
  EXPECT_FALSE(entry_.hasProxies());
  EXPECT_TRUE(entry_.hasHighRes());
  expectGone({L"/m/Material/a.A0.proxy.360.mov", L"/m/Material/a.A0.proxy.720.mov"});
  expectThere({L"/m/Material/a.mov"});
}

TEST_F(FsysDirectoryEntryDeleteTest, OfBothEverythingGoesProxiesFirst) {
  add(media(L"/Material/a.mov"));
  addProxy(media(k360));
  addProxy(media(k720));
  FakeJournal journal(L'/');
  files().setJournal(&journal);
  EXPECT_EQ(entry_.deleteFiles(eHighRes | eProxy), 1u);
  files().setJournal(nullptr);
  std::vector<std::wstring> deleted;
  for (const FakeEffect& effect : journal.effects()) deleted.push_back(effect.name);
  EXPECT_EQ(deleted, (std::vector<std::wstring>{std::wstring(L"/m") + k360,
                                                std::wstring(L"/m") + k720, L"/m/Material/a.mov"}));
  EXPECT_FALSE(entry_.hasHighRes());
  EXPECT_FALSE(entry_.hasProxies());
}

TEST_F(FsysDirectoryEntryDeleteTest, TheLastFailureCountsAndAllIsForgotten) {
  add(media(L"/Material/a.mov"));
  addProxy(media(k360));
  addProxy(media(k720));
  os_->faults().fail(FaultPlan::eDeleteFile, eOsAccessDenied, 1);
  os_->faults().fail(FaultPlan::eDeleteFile, eOsReadOnly, 2);
  EXPECT_EQ(entry_.deleteFiles(eHighRes | eProxy), eOsReadOnly);
  EXPECT_FALSE(entry_.hasHighRes());
  EXPECT_FALSE(entry_.hasProxies());
  expectGone({L"/m/Material/a.mov"});
  expectThere({L"/m/Material/a.A0.proxy.360.mov", L"/m/Material/a.A0.proxy.720.mov"});
}

TEST_F(FsysDirectoryEntryDeleteTest, AFailureOfHighResolutionCountsAfterThoseOfProxies) {
  add(media(L"/Material/a.mov"));
  addProxy(info(k360));
  os_->faults().fail(FaultPlan::eDeleteFile, eOsReadOnly, 2);
  EXPECT_EQ(entry_.deleteFiles(eHighRes | eProxy), eOsReadOnly);
}

TEST_F(FsysDirectoryEntryDeleteTest, OtherBitsHaveNoMeaning) {
  add(media(L"/Material/a.mov"));
  EXPECT_EQ(entry_.deleteFiles(4), 1u);
  EXPECT_TRUE(entry_.hasHighRes());
  EXPECT_EQ(entry_.deleteFiles(5), 1u);
  EXPECT_FALSE(entry_.hasHighRes());
  EXPECT_EQ(diagnostics_.outText(), "");
}

// The same file under two kinds: it goes with the first, and the second finds none.
TEST_F(FsysDirectoryEntryDeleteTest, AFileThatIsAProxyOfItselfFailsTheSecondTime) {
  add(media(L"/Material/a.mov"));
  add(info(L"/Material/a.mov"));
  EXPECT_EQ(entry_.deleteFiles(eHighRes | eProxy), eOsNotFound);
  EXPECT_FALSE(entry_.hasHighRes());
}

}  // namespace

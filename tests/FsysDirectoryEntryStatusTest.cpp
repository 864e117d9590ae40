// Whether an entry's files are there.

#include "tests/DirectoryEntryFixture.h"

namespace {

constexpr unsigned kBoth = eHighRes | eProxy;

class FsysDirectoryEntryStatusTest : public DirectoryEntryFixture {
protected:
  void addThere() {
    files().addFile(L"/n/there.mov");
    add(link(L"/Material/a.mov", L"/n/there.mov"));
  }
  void addMissing() { add(link(L"/Material/a.mov", L"/n/away.mov")); }
  void addProxyThere() { addProxy(media(L"/Material/a.A0.proxy.720.mov")); }
  void addProxyMissing() { addProxy(info(L"/Material/a.A0.proxy.360.mov")); }
};

TEST_F(FsysDirectoryEntryStatusTest, ALinkIsThereWhenItsTargetIs) {
  addThere();
  EXPECT_EQ(entry_.updateStatus(eHighRes), 2u);
}

TEST_F(FsysDirectoryEntryStatusTest, ALinkWithoutADriveIsLookedForToo) {
  files().addFile(L"/n/there.mov");
  addLinkFile(L"/elsewhere/a.mov", L"/n/there.mov");
  add(MediaFileInfo(MaterialFilename(DriveId(), L"/elsewhere/a.mov"), 512));
  EXPECT_EQ(entry_.updateStatus(eHighRes), 2u);
}

TEST_F(FsysDirectoryEntryStatusTest, ALinkToNowhereIsMissing) {
  addMissing();
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
}

TEST_F(FsysDirectoryEntryStatusTest, ANetworkNameOfAShareHereIsLookedForWhereItLies) {
  Vector<iFileManager::Share> shares;
  shares.add({L"\\\\STATION\\media", L"/n/"});
  files().setShares(shares);
  VolumeRegistry::get().shares.forget();
  files().addFile(L"/n/sub/there.mov");
  const Text target = L"\\\\station\\media\\sub\\there.mov";
  add(link(L"/Material/a.mov", target));
  addProxy(link(L"/Material/a.A0.proxy.360.mov", target));
  addProxy(link(L"/Material/a.A0.proxy.720.mov", L"\\\\station\\media\\away.mov"));
  EXPECT_EQ(entry_.updateStatus(kBoth), 2u);
  EXPECT_EQ(entry_.getProxyFiles().front().getStatus(), 2u);
  EXPECT_EQ(entry_.getProxyFiles().back().getStatus(), 1u);
  EXPECT_EQ(entry_.getLinkedFilename(), target) << "as it stands";
}

TEST_F(FsysDirectoryEntryStatusTest, ALinkWhoseTargetHasNoFolderOfItsOwnIsMissing) {
  for (const wchar_t* target :
       {L"there.mov", L"./there.mov", L"../n/there.mov", L"n/there.mov", L"C:\\there.mov",
        L"\\\\OTHER\\media\\there.mov", L"mem:there.mov"}) {
    SCOPED_TRACE(toUTF8(target).c_str());
    files().addFile(target);
    ASSERT_TRUE(files().openServed(L"mem:there.mov", iFileManager::eFlagWrite, true));
    FsysDirectoryEntry entry;
    entry.addFile(kCookie, link(L"/Material/a.mov", target));
    entry.addProxyFile(link(L"/Material/a.A0.proxy.360.mov", target));
    EXPECT_EQ(entry.updateStatus(eHighRes), 1u);
    EXPECT_EQ(entry.updateStatus(eProxy), 0u);
    EXPECT_EQ(entry.getProxyFiles().front().getStatus(), 1u);
    EXPECT_EQ(entry.getLinkedFilename(), target) << "as it stands";
    EXPECT_EQ(entry.getProxyFiles().front().readLinkedFilename(), target);
    entry.addFile(kCookie, MediaFileInfo(name(L"/Material/a.mov"), target, 512));
    EXPECT_EQ(entry.updateStatus(eHighRes), 1u) << "known without a look at the link";
  }
}

TEST_F(FsysDirectoryEntryStatusTest, AFileThatIsNoLinkNeedsNoFolderOfItsOwn) {
  write(L"there.mov", "RIFF" + std::string(508, 'x'));
  ASSERT_TRUE(files().openServed(L"mem:there.mov", iFileManager::eFlagWrite, true));
  entry_.addFile(kCookie, MediaFileInfo(MaterialFilename(DriveId(), L"there.mov"), 512));
  for (const wchar_t* path : {L"there.mov", L"mem:there.mov"})
    addProxy(MediaFileInfo(MaterialFilename(DriveId(), path), 1000));
  EXPECT_EQ(entry_.updateStatus(eHighRes), 2u);
  entry_.updateStatus(eProxy);
  EXPECT_EQ(entry_.getProxyFiles().front().getStatus(), 2u);
  EXPECT_EQ(entry_.getProxyFiles().back().getStatus(), 2u);
}

TEST_F(FsysDirectoryEntryStatusTest, ALinkThatCannotBeReadIsMissing) {
  add(info(L"/Material/a.mov", 512));
  files().addFile(L"/m/Material/a.mov", std::vector<unsigned char>(512, 0));
  os_->faults().fail(FaultPlan::eOpenFile, eOsAccessDenied);
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
}

// Its size is unknown once it could not be read.
TEST_F(FsysDirectoryEntryStatusTest, AFileThatIsNoLinkIsLookedForItself) {
  for (bool isThere : {false, true}) {
    FsysDirectoryEntry entry;
    entry.addFile(kCookie, info(L"/Material/a.mov", 512));
    entry.updateFileSize();
    EXPECT_EQ(entry.fileSize(), 0u);
    if (isThere) files().addFile(L"/m/Material/a.mov");
    EXPECT_EQ(entry.updateStatus(eHighRes), isThere ? 2u : 1u);
  }
}

TEST_F(FsysDirectoryEntryStatusTest, NoFileIsMissingAndNotLookedFor) {
  unsigned before = asked();
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
  EXPECT_EQ(asked(), before);
}

TEST_F(FsysDirectoryEntryStatusTest, OfHighResolutionAloneNoProxyIsLookedFor) {
  addProxyThere();
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
  EXPECT_EQ(entry_.getProxyFiles().front().getStatus(), 0u);
}

TEST_F(FsysDirectoryEntryStatusTest, OfProxiesAloneTheAnswerIs2Or0) {
  EXPECT_EQ(entry_.updateStatus(eProxy), 0u);
  addProxyMissing();
  EXPECT_EQ(entry_.updateStatus(eProxy), 0u);
  addProxyThere();
  EXPECT_EQ(entry_.updateStatus(eProxy), 2u);
  EXPECT_EQ(entry_.getProxyFiles().front().getStatus(), 1u);
  EXPECT_EQ(entry_.getProxyFiles().back().getStatus(), 2u);
}

TEST_F(FsysDirectoryEntryStatusTest, OfProxiesAloneTheFileOfHighResolutionIsNotLookedFor) {
  addThere();
  addProxyThere();
  entry_.updateStatus(eProxy);
  remove(L"/n/there.mov");
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
}

TEST_F(FsysDirectoryEntryStatusTest, AProxyThatIsALinkIsThereWhenItsTargetIs) {
  files().addFile(L"/n/p.mov");
  addProxy(link(L"/Material/a.A0.proxy.720.mov", L"/n/p.mov"));
  addProxy(link(L"/Material/a.A0.proxy.360.mov", L"/n/away.mov"));
  EXPECT_EQ(entry_.updateStatus(eProxy), 2u);
  EXPECT_EQ(entry_.getProxyFiles().front().getStatus(), 2u);
  EXPECT_EQ(entry_.getProxyFiles().back().getStatus(), 1u);
}

TEST_F(FsysDirectoryEntryStatusTest, AProxyIsLookedForByItsLinkedNameWhateverItsSize) {
  const MediaFileInfo own = media(L"/Material/a.A0.proxy.720.mov", 700);
  addProxy(MediaFileInfo(own.getMaterialFilename(), L"/n/away.mov", 700));
  EXPECT_EQ(entry_.updateStatus(eProxy), 0u);
  EXPECT_EQ(entry_.getProxyFiles().front().getStatus(), 1u);
}

// Both -------------------------------------------------------------------------------------------

TEST_F(FsysDirectoryEntryStatusTest, OfBothAnEmptyEntryMissesNothing) {
  EXPECT_EQ(entry_.updateStatus(kBoth), 2u);
}

TEST_F(FsysDirectoryEntryStatusTest, OfBothItIsMissingWhereNoProxyIsThere) {
  addThere();
  addProxyMissing();
  EXPECT_EQ(entry_.updateStatus(kBoth), 1u);
}

TEST_F(FsysDirectoryEntryStatusTest, OfBothItIsMissingWhereHighResolutionIs) {
  addMissing();
  EXPECT_EQ(entry_.updateStatus(kBoth), 1u);
  addProxyThere();
  EXPECT_EQ(entry_.updateStatus(kBoth), 1u);
}

TEST_F(FsysDirectoryEntryStatusTest, OfBothItIsThereWithOneProxyAndHighResolution) {
  addThere();
  EXPECT_EQ(entry_.updateStatus(kBoth), 2u);
  addProxyMissing();
  addProxyThere();
  EXPECT_EQ(entry_.updateStatus(kBoth), 2u);
}

TEST_F(FsysDirectoryEntryStatusTest, OfBothProxiesAloneAreEnough) {
  addProxyThere();
  EXPECT_EQ(entry_.updateStatus(kBoth), 2u);
}

TEST_F(FsysDirectoryEntryStatusTest, OtherTypesAreReportedInLine418AndAnsweredAsBoth) {
  addMissing();
  addProxyThere();
  for (unsigned types : {0u, 4u, 5u, 6u, 7u, 0xFFFFFFFFu}) {
    diagnostics_.clear();
    EXPECT_EQ(entry_.updateStatus(types), 1u) << types;
    EXPECT_EQ(diagnostics_.outText(), failed("mediaTypes == ( eHighRes | eProxy )", "418"));
  }
  diagnostics_.clear();
  for (unsigned types : {1u, 2u, 3u}) entry_.updateStatus(types);
  EXPECT_EQ(diagnostics_.outText(), "");
}

TEST_F(FsysDirectoryEntryStatusTest, OfNoTypeNothingIsLookedFor) {
  addThere();
  unsigned before = asked();
  EXPECT_EQ(entry_.updateStatus(0), 1u);
  EXPECT_EQ(asked(), before);
  EXPECT_EQ(entry_.updateStatus(kBoth), 2u);
  EXPECT_EQ(entry_.updateStatus(0), 2u);
}

TEST_F(FsysDirectoryEntryStatusTest, AStatusOnceSetIsNotAskedForAgain) {
  addThere();
  addProxyThere();
  addProxyMissing();
  EXPECT_EQ(entry_.updateStatus(kBoth), 2u);
  remove(L"/n/there.mov");
  remove(L"/m/Material/a.A0.proxy.720.mov");
  media(L"/Material/a.A0.proxy.360.mov");
  unsigned before = asked();
  EXPECT_EQ(entry_.updateStatus(kBoth), 2u);
  EXPECT_EQ(entry_.updateStatus(eHighRes), 2u);
  EXPECT_EQ(entry_.updateStatus(eProxy), 2u);
  EXPECT_EQ(asked(), before);
  EXPECT_EQ(entry_.getProxyFiles().back().getStatus(), 1u);
}

TEST_F(FsysDirectoryEntryStatusTest, AMissingFileStaysMissingWhenItComesBack) {
  addMissing();
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
  files().addFile(L"/n/away.mov");
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
}

TEST_F(FsysDirectoryEntryStatusTest, AFileOfWhichNothingIsToldIsMissing) {
  addThere();
  os_->faults().fail(FaultPlan::eExists, eOsIoError);
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
}

// updateFileSize ---------------------------------------------------------------------------------

TEST_F(FsysDirectoryEntryStatusTest, TheSizeIsReadAnewAndTheFileIsThere) {
  add(link(L"/Material/a.mov", L"/n/away.mov"));
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
  files().addFile(L"/m/Material/a.mov", std::vector<unsigned char>(7000));
  entry_.updateFileSize();
  EXPECT_EQ(entry_.fileSize(), 7000u);
  EXPECT_EQ(entry_.updateStatus(eHighRes), 2u);
  EXPECT_EQ(diagnostics_.outText(), "");
}

TEST_F(FsysDirectoryEntryStatusTest, TheSizeOfALinkIsItsOwn) {
  files().addFile(L"/n/there.mov", std::vector<unsigned char>(7000));
  add(link(L"/Material/a.mov", L"/n/there.mov"));
  entry_.updateFileSize();
  EXPECT_EQ(entry_.fileSize(), 512u);
}

TEST_F(FsysDirectoryEntryStatusTest, AFileWithoutASizeIsReportedAndItsStatusStays) {
  for (bool isThere : {false, true}) {
    FsysDirectoryEntry entry;
    entry.addFile(kCookie, info(L"/Material/a.mov", 1000));
    if (isThere) files().addFile(L"/m/Material/a.mov");
    diagnostics_.clear();
    entry.updateFileSize();
    EXPECT_EQ(diagnostics_.outText(), failed("highResFile_.size > 0", ""));
    EXPECT_EQ(entry.fileSize(), 0u);
    EXPECT_EQ(entry.updateStatus(eHighRes), 2u);
  }
}

TEST_F(FsysDirectoryEntryStatusTest, OfAnEmptyEntryNoSizeIsReportedAndTheStatusStays) {
  entry_.updateFileSize();
  EXPECT_EQ(diagnostics_.outText(), failed("highResFile_.size > 0", ""));
  EXPECT_EQ(entry_.fileSize(), 0u);
  EXPECT_FALSE(entry_.hasHighRes());
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
}

TEST_F(FsysDirectoryEntryStatusTest, MediaThatBecomesALinkAndBackIsOpenedAsWhatItIs) {
  add(media(L"/Material/a.mov"));
  EXPECT_EQ(entry_.getPhysicalFilename(false), L"/m/Material/a.mov");
  addLinkFile(L"/m/Material/a.mov", L"/n/b.mov");
  entry_.updateFileSize();
  EXPECT_TRUE(entry_.isLinked());
  EXPECT_EQ(entry_.getPhysicalFilename(false), L"/n/b.mov");
  media(L"/Material/a.mov", 7000);
  entry_.updateFileSize();
  EXPECT_FALSE(entry_.isLinked());
  EXPECT_EQ(entry_.fileSize(), 7000u);
  EXPECT_EQ(entry_.getPhysicalFilename(false), L"/m/Material/a.mov");
}

TEST_F(FsysDirectoryEntryStatusTest, WhatTheSearchForAFileFoundOutIsNotAskedForAgain) {
  addMissing();
  addProxyThere();
  EXPECT_EQ(entry_.findFileForCookie(DecodeFormat(eHighRes)), L"/m/Material/a.A0.proxy.720.mov");
  const unsigned before = asked();
  EXPECT_EQ(entry_.updateStatus(kBoth), 1u);
  EXPECT_EQ(asked(), before);
}

}  // namespace

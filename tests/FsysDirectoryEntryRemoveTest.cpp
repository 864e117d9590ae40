// Files that an entry forgets, and proxies that are called otherwise.

#include "tests/DirectoryEntryFixture.h"

namespace {

class FsysDirectoryEntryRemoveTest : public DirectoryEntryFixture {
protected:
  static constexpr const wchar_t* k360 = L"/Material/a.A0.proxy.360.mov";
  static constexpr const wchar_t* k720 = L"/Material/a.A0.proxy.720.mov";
};

TEST_F(FsysDirectoryEntryRemoveTest, AFileIsForgottenByPathAndDriveAndStaysOnTheDisk) {
  add(media(L"/Material/a.mov", 700));
  entry_.removeFile(info(L"/Material/A.mov"));
  entry_.removeFile(MediaFileInfo(MaterialFilename(otherDrive_, L"/Material/a.mov"), 700));
  EXPECT_TRUE(entry_.hasHighRes());
  entry_.removeFile(info(L"/Material/a.mov", 5));
  EXPECT_FALSE(entry_.hasHighRes());
  EXPECT_FALSE(entry_.highResDrive().valid());
  EXPECT_EQ(entry_.fileSize(), 0u);
  EXPECT_TRUE(entry_.getPhysicalFilename(false).empty());
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
  EXPECT_TRUE(isThere(L"/m/Material/a.mov"));
}

TEST_F(FsysDirectoryEntryRemoveTest, AFileOfHighResolutionThatGoesLeavesTheProxies) {
  add(info(L"/Material/a.mov"));
  addProxy(info(k360));
  entry_.removeFile(info(L"/Material/a.mov"));
  EXPECT_EQ(proxies().size(), 1u);
}

TEST_F(FsysDirectoryEntryRemoveTest, AProxyIsForgottenByItsPathAndStaysOnTheDisk) {
  add(info(L"/Material/a.mov"));
  addProxy(media(k360));
  addProxy(info(k720));
  entry_.removeFile(info(k360));
  EXPECT_EQ(proxies(), Texts{"/Material/a.A0.proxy.720.mov"});
  EXPECT_TRUE(entry_.hasHighRes());
  EXPECT_TRUE(isThere(Text(L"/m") + k360));
}

TEST_F(FsysDirectoryEntryRemoveTest, ProxiesAreForgottenByTheirExactPathToOpen) {
  addProxy(info(k360));
  addProxy(info(k720));
  entry_.removeProxyFile(L"/m/Material/A.A0.proxy.360.mov");
  entry_.removeProxyFile(k360);
  entry_.removeProxyFile(L"");
  EXPECT_EQ(proxies().size(), 2u);
  entry_.removeProxyFile(Text(L"/m") + k360);
  EXPECT_EQ(proxies(), Texts{"/Material/a.A0.proxy.720.mov"});
}

TEST_F(FsysDirectoryEntryRemoveTest, EveryProxyWithThatPathToOpenIsForgotten) {
  addProxy(link(L"/Material/b.A0.proxy.360.mov", L"/m/Material/a.A0.proxy.720.mov"));
  addProxy(info(k720));
  addProxy(info(k360));
  addProxy(link(L"/Material/c.A0.proxy.360.mov", L"/m/Material/a.A0.proxy.720.mov"));
  entry_.removeProxyFile(Text(L"/m") + k720);
  EXPECT_EQ(proxies(), Texts{"/Material/a.A0.proxy.360.mov"});
}

TEST_F(FsysDirectoryEntryRemoveTest, ALinkedProxyIsForgottenByItsTargetAlone) {
  addProxy(link(k360, L"/n/p.mov"));
  entry_.removeFile(info(k360, 512));
  entry_.removeProxyFile(Text(L"/m") + k360);
  EXPECT_EQ(proxies().size(), 1u);
  entry_.removeProxyFile(L"/n/p.mov");
  EXPECT_EQ(proxies().size(), 0u);
}

TEST_F(FsysDirectoryEntryRemoveTest, AnOlderProxyWhoseFileIsGoneIsForgotten) {
  const MediaFileInfo older = info(L"/Material/proxy/proxy-a.mov");
  add(info(L"/Material/a.mov"));
  addProxy(older);
  addProxy(info(L"/Material/b.mov"));
  entry_.removeFile(info(L"/Material/b.mov"));
  EXPECT_EQ(proxies().size(), 2u) << "by its name it is none";
  entry_.removeFile(older);
  EXPECT_EQ(proxies(), Texts{"/Material/b.mov"});
  EXPECT_TRUE(entry_.hasHighRes());
}

TEST_F(FsysDirectoryEntryRemoveTest, AFileOfHighResolutionOfTheOlderFormGoesAlone) {
  const MediaFileInfo older = info(L"/Material/proxy/proxy-a.mov");
  add(older);
  addProxy(older);
  entry_.removeFile(older);
  EXPECT_FALSE(entry_.hasHighRes());
  EXPECT_EQ(proxies().size(), 1u);
}

TEST_F(FsysDirectoryEntryRemoveTest, WhereALinkedProxyLeadsIsReadOnce) {
  addProxy(link(k360, L"/n/p.mov"));
  entry_.removeProxyFile(L"/n/other.mov");
  unsigned before = asked();
  entry_.removeProxyFile(L"/n/other.mov");
  EXPECT_EQ(asked(), before);
}

TEST_F(FsysDirectoryEntryRemoveTest, WhatIsNotThereIsForgottenWithoutAWord) {
  entry_.removeFile(info(L"/Material/a.mov"));
  entry_.removeFile(info(k360));
  entry_.removeProxyFile(L"/m/x.mov");
  EXPECT_EQ(diagnostics_.outText(), "");
}

// renameProxyFile --------------------------------------------------------------------------------

class FsysDirectoryEntryRenameTest : public DirectoryEntryFixture {
protected:
  static constexpr const wchar_t* kOld = L"/Material/a.A2.proxy.360.mov";
  static constexpr const wchar_t* kOldPath = L"/m/Material/a.A2.proxy.360.mov";

  const MediaFileInfo& first() const { return entry_.getProxyFiles().front(); }
  DriveId drive() const { return first().getMaterialFilename().getDrive(); }
  const Text& path() const { return first().getMaterialFilename().getPath(); }
  QvResult rename(const Text& to) { return entry_.renameProxyFile(kOldPath, to); }
};

TEST_F(FsysDirectoryEntryRenameTest, AProxyTakesThePathOnTheDriveThatHoldsIt) {
  addProxy(media(kOld));
  EXPECT_EQ(rename(L"/n/Proxies/b.mov"), QvResult::OK);
  EXPECT_EQ(drive(), otherDrive_);
  EXPECT_EQ(path(), L"/Proxies/b.mov");
  EXPECT_EQ(first().getLinkFileName(), L"/n/Proxies/b.mov");
  EXPECT_EQ(diagnostics_.outText(), "");
  EXPECT_TRUE(isThere(kOldPath));
}

TEST_F(FsysDirectoryEntryRenameTest, HeightChannelsSizeAndStatusStay) {
  addProxy(media(kOld, 777));
  entry_.updateStatus(eProxy);
  rename(L"/n/b.A8.proxy.1080.mov");
  EXPECT_EQ(first().proxyHeight(), 360u);
  EXPECT_EQ(first().proxyAudioChannels(), 2u);
  EXPECT_EQ(first().getSize(), 777u);
  EXPECT_EQ(first().getStatus(), 2u);
}

TEST_F(FsysDirectoryEntryRenameTest, WhereNoDriveHoldsThePathItStandsOnNone) {
  addProxy(info(kOld));
  EXPECT_EQ(rename(L"/elsewhere/b.mov"), QvResult::OK);
  EXPECT_EQ(drive(), DriveId());
  EXPECT_EQ(path(), L"/elsewhere/b.mov");
  EXPECT_EQ(entry_.renameProxyFile(L"/elsewhere/b.mov", L"relative"), QvResult::OK);
  EXPECT_EQ(path(), L"relative");
}

TEST_F(FsysDirectoryEntryRenameTest, OnlyWholeNamesOfFoldersHoldAPath) {
  addProxy(info(kOld));
  for (const wchar_t* to : {L"/mother/b.mov", L"/m", L"/M/b.mov", L"m/b.mov", L""}) {
    SCOPED_TRACE(toUTF8(to).c_str());
    const Text from = first().getLinkFileName();
    EXPECT_EQ(entry_.renameProxyFile(from, to), QvResult::OK);
    EXPECT_EQ(drive(), DriveId());
    EXPECT_EQ(path(), to);
  }
}

TEST_F(FsysDirectoryEntryRenameTest, OfDrivesInEachOtherTheInnermostHoldsThePath) {
  const DriveId inner = registeredId(L"/n/disk/");
  const DriveId root = registeredId(L"/");
  addProxy(info(kOld));
  rename(L"/n/disk/b.mov");
  EXPECT_EQ(drive(), inner);
  EXPECT_EQ(path(), L"/b.mov");
  entry_.renameProxyFile(L"/n/disk/b.mov", L"/n/c.mov");
  EXPECT_EQ(drive(), otherDrive_);
  EXPECT_EQ(path(), L"/c.mov");
  entry_.renameProxyFile(L"/n/c.mov", L"/top/d.mov");
  EXPECT_EQ(drive(), root);
  EXPECT_EQ(path(), L"/top/d.mov");
  EXPECT_EQ(first().getLinkFileName(), L"/top/d.mov");
}

TEST_F(FsysDirectoryEntryRenameTest, AShareOfThisMachineHoldsWhatItsFolderHolds) {
  Vector<iFileManager::Share> shares;
  shares.add({L"\\\\STATION\\media", L"/srv/media/"});
  files().setShares(shares);
  VolumeRegistry::get().shares.forget();
  const DriveId share = registerDrive(L"\\\\station\\media\\a", iDiskDrive::eNetwork)->getId();
  addProxy(info(kOld));
  rename(L"/srv/media/a/b.mov");
  EXPECT_EQ(drive(), share);
  EXPECT_EQ(path(), L"/b.mov");
}

TEST_F(FsysDirectoryEntryRenameTest, OnlyTheFirstOfThatPathIsRenamed) {
  addProxy(info(L"/Material/b.A0.proxy.720.mov"));
  addProxy(info(kOld));
  entry_.renameProxyFile(L"/m/Material/b.A0.proxy.720.mov", kOldPath);
  ASSERT_EQ(proxies(), (Texts{"/Material/a.A2.proxy.360.mov", "/Material/a.A2.proxy.360.mov"}));
  rename(L"/m/Material/c.mov");
  EXPECT_EQ(proxies(), (Texts{"/Material/c.mov", "/Material/a.A2.proxy.360.mov"}));
  EXPECT_EQ(first().proxyHeight(), 720u);
}

TEST_F(FsysDirectoryEntryRenameTest, WhatItReadOfItsOldPathIsForgotten) {
  addProxy(media(kOld));
  entry_.updateStatus(eProxy);
  ASSERT_EQ(first().readLinkedFilename(), kOldPath);
  rename(L"/n/b.mov");
  EXPECT_FALSE(first().isLinkRead());
  EXPECT_EQ(first().readLinkedFilename(), L"/n/b.mov");
}

TEST_F(FsysDirectoryEntryRenameTest, ALinkThatCouldNotBeReadIsReadAnew) {
  addProxy(link(kOld, L"/n/p.mov"));
  os_->faults().fail(FaultPlan::eOpenFile, eOsAccessDenied);
  entry_.updateStatus(eProxy);
  ASSERT_TRUE(first().isLinkRead());
  addLinkFile(L"/n/b.mov", L"/n/p.mov");
  rename(L"/n/b.mov");
  EXPECT_EQ(first().readLinkedFilename(), L"/n/p.mov");
}

TEST_F(FsysDirectoryEntryRenameTest, WhereALinkLeadsIsKept) {
  addProxy(link(kOld, L"/n/p.mov"));
  entry_.updateStatus(eProxy);
  rename(L"/n/b.mov");
  EXPECT_TRUE(first().isLinkRead());
  EXPECT_EQ(first().readLinkedFilename(), L"/n/p.mov");
}

TEST_F(FsysDirectoryEntryRenameTest, OfTwoOfOnePathOnlyTheOneOfThatSizeIsForgotten) {
  addProxy(link(kOld, L"/n/p.mov"));
  addProxy(info(L"/Material/b.A2.proxy.360.mov", 1000));
  entry_.renameProxyFile(L"/m/Material/b.A2.proxy.360.mov", kOldPath);
  ASSERT_EQ(proxies(), (Texts{"/Material/a.A2.proxy.360.mov", "/Material/a.A2.proxy.360.mov"}));
  entry_.removeProxyFile(kOldPath);
  ASSERT_EQ(proxies().size(), 1u);
  EXPECT_EQ(first().getSize(), 512u);
}

TEST_F(FsysDirectoryEntryRenameTest, AnUnknownPathIsReportedInLine210) {
  EXPECT_EQ(rename(L"/m/b.mov"), QvResult::NotFound);
  EXPECT_EQ(diagnostics_.outText(), failed("false", "210"));
  add(info(L"/Material/high.mov"));
  addProxy(info(kOld));
  diagnostics_.clear();
  for (const wchar_t* from :
       {L"/m/Material/A.A2.proxy.360.mov", kOld, L"", L"/m/Material/high.mov"})
    EXPECT_EQ(entry_.renameProxyFile(from, L"/m/b.mov"), QvResult::NotFound);
  EXPECT_EQ(diagnostics_.outText(), failed("false", "210") + failed("false", "210") +
                                        failed("false", "210") + failed("false", "210"));
  EXPECT_EQ(proxies(), Texts{"/Material/a.A2.proxy.360.mov"});
}

}  // namespace

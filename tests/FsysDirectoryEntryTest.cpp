// What an entry has, and its links.

#include <list>
#include <type_traits>

#include "platform/fake/FakeErrors.h"
#include "tests/DirectoryEntryFixture.h"

namespace {

class FsysDirectoryEntryTest : public DirectoryEntryFixture {};

// Of a virtual base there is no way down.
template <typename Base, typename Derived>
concept LeadsDownTo = requires(Base* base) { static_cast<Derived*>(base); };
static_assert(std::is_base_of_v<iObject, FsysDirectoryEntry>);
static_assert(!LeadsDownTo<iObject, FsysDirectoryEntry>);

TEST_F(FsysDirectoryEntryTest, AnEmptyOneHasNothing) {
  EXPECT_EQ(entry_.fileSize(), 0u);
  EXPECT_TRUE(entry_.getPhysicalFilename(false).empty());
  EXPECT_TRUE(entry_.getPhysicalFilename(true).empty());
  EXPECT_TRUE(entry_.getLinkedFilename().empty());
  EXPECT_TRUE(entry_.getName().empty());
  EXPECT_TRUE(entry_.getLinkFileName().empty());
  EXPECT_FALSE(entry_.isLinked());
  EXPECT_FALSE(entry_.hasHighRes());
  EXPECT_FALSE(entry_.hasProxies());
  EXPECT_FALSE(entry_.highResDrive().valid());
  EXPECT_TRUE(entry_.getProxyFiles().empty());
  EXPECT_FALSE(entry_.primaryFilename().getDrive().valid());
  EXPECT_TRUE(entry_.primaryFilename().getPath().empty());
}

TEST_F(FsysDirectoryEntryTest, AMillionOfThemTake128BytesEach) {
  EXPECT_EQ(sizeof(FsysDirectoryEntry), 128u);
}

TEST_F(FsysDirectoryEntryTest, ItIsSharedByReferenceAndCanBeAMessagesPayload) {
  Qv::Ptr<FsysDirectoryEntry> entry(new FsysDirectoryEntry);
  Qv::Ptr<iObject> payload(entry);
  EXPECT_EQ(entry->refCount(), 2);
  EXPECT_EQ(Qv::dynamicCast<FsysDirectoryEntry>(payload), entry);
}

TEST_F(FsysDirectoryEntryTest, AFileOf512BytesCountsAsALink) {
  add(info(L"/Material/a.mov", 511));
  EXPECT_FALSE(entry_.isLinked());
  add(info(L"/Material/a.mov", 512));
  EXPECT_TRUE(entry_.isLinked());
  add(info(L"/Material/a.mov", 513));
  EXPECT_FALSE(entry_.isLinked());
  write(L"/m/Material/riff.mov", "RIFF" + std::string(508, 'x'));
  entry_.removeFile(info(L"/Material/a.mov"));
  add(info(L"/Material/riff.mov", 512));
  EXPECT_TRUE(entry_.isLinked());
}

TEST_F(FsysDirectoryEntryTest, MediaOf512BytesServesItselfAndIsNotLost) {
  const std::string riff = "RIFF" + std::string(508, 'x');
  write(L"/m/Material/riff.mov", riff);
  add(info(L"/Material/riff.mov", 512));
  entry_.realiseLinks(true);
  EXPECT_EQ(entry_.updateStatus(eHighRes), 2u);
  EXPECT_EQ(entry_.findFileForCookie(DecodeFormat(eHighRes)), L"/m/Material/riff.mov");
  entry_.realiseLinks(true);
  EXPECT_EQ(content(L"/m/Material/riff.mov"), riff);
}

TEST_F(FsysDirectoryEntryTest, OfAFileItTellsSizePathsAndDrive) {
  add(info(L"/Material/../Material/a.mov", 7000));
  EXPECT_EQ(entry_.fileSize(), 7000u);
  EXPECT_EQ(entry_.getPhysicalFilename(false), L"/m/Material/../Material/a.mov");
  EXPECT_EQ(entry_.getName(), L"a.mov");
  EXPECT_EQ(entry_.getLinkFileName(), L"a.mov");
  EXPECT_EQ(entry_.highResDrive(), drive_);
  EXPECT_TRUE(entry_.hasHighRes());
}

TEST_F(FsysDirectoryEntryTest, OfALinkTheNameIsTheTargetsAndTheLinkFilesNameItsOwn) {
  add(link(L"/Material/a.mov", L"/n/./clips/../b.mxf"));
  EXPECT_EQ(entry_.getPhysicalFilename(false), L"/n/./clips/../b.mxf");
  EXPECT_EQ(entry_.getPhysicalFilename(true), L"/n/b.mxf");
  EXPECT_EQ(entry_.getName(), L"b.mxf");
  EXPECT_EQ(entry_.getLinkFileName(), L"a.mov");
  EXPECT_EQ(entry_.getLinkedFilename(), L"/n/./clips/../b.mxf");
}

TEST_F(FsysDirectoryEntryTest, TheNameIsTheLastPartOfWhereALinkLeadsWithoutDots) {
  add(link(L"/Material/a.mov", L"/n/clips/b/.."));
  EXPECT_EQ(entry_.getName(), L"clips");
}

TEST_F(FsysDirectoryEntryTest, OfAFileThatIsNoLinkTheLinkedNameIsItsOwn) {
  add(media(L"/Material/a.mov"));
  EXPECT_EQ(entry_.getLinkedFilename(), L"/m/Material/a.mov");
}

TEST_F(FsysDirectoryEntryTest, WhereALinkLeadsIsReadOnceWhoeverAsks) {
  add(link(L"/Material/a.mov", L"/n/b.mxf"));
  entry_.getLinkedFilename();
  remove(L"/m/Material/a.mov");
  unsigned before = asked();
  EXPECT_EQ(entry_.getLinkedFilename(), L"/n/b.mxf");
  EXPECT_EQ(entry_.getPhysicalFilename(false), L"/n/b.mxf");
  EXPECT_EQ(entry_.getName(), L"b.mxf");
  EXPECT_EQ(asked(), before);
}

TEST_F(FsysDirectoryEntryTest, ThePathToOpenIsReadOnceToo) {
  add(link(L"/Material/a.mov", L"/n/b.mxf"));
  entry_.getPhysicalFilename(false);
  unsigned before = asked();
  EXPECT_EQ(entry_.getPhysicalFilename(true), L"/n/b.mxf");
  EXPECT_EQ(entry_.getLinkedFilename(), L"/n/b.mxf");
  EXPECT_EQ(asked(), before);
}

TEST_F(FsysDirectoryEntryTest, WhereALinkLedIsForgottenWithItsFile) {
  add(link(L"/Material/a.mov", L"/n/b.mxf"));
  EXPECT_EQ(entry_.getLinkedFilename(), L"/n/b.mxf");
  add(link(L"/Material/c.mov", L"/n/d.mxf"));
  EXPECT_EQ(entry_.getLinkedFilename(), L"/n/d.mxf");
}

TEST_F(FsysDirectoryEntryTest, ASetTargetIsFinalAndNothingIsWritten) {
  add(link(L"/Material/a.mov", L"/n/old.mov"));
  EXPECT_EQ(entry_.getLinkedFilename(), L"/n/old.mov");
  const std::string before = content(L"/m/Material/a.mov");
  const FsysDirectoryEntry& constant = entry_;
  constant.setLinkedFilename(L"/n/new.mov");
  unsigned calls = asked();
  EXPECT_EQ(entry_.getLinkedFilename(), L"/n/new.mov");
  EXPECT_EQ(entry_.getPhysicalFilename(false), L"/n/new.mov");
  EXPECT_EQ(asked(), calls);
  EXPECT_EQ(content(L"/m/Material/a.mov"), before);
}

TEST_F(FsysDirectoryEntryTest, ATargetThatIsSetForMediaIsToldAndNotOpened) {
  add(media(L"/Material/a.mov"));
  entry_.setLinkedFilename(L"/n/b.mxf");
  EXPECT_EQ(entry_.getLinkedFilename(), L"/n/b.mxf");
  EXPECT_EQ(entry_.getPhysicalFilename(false), L"/m/Material/a.mov");
  EXPECT_EQ(entry_.getName(), L"a.mov");
  EXPECT_FALSE(entry_.isLinked());
}

TEST_F(FsysDirectoryEntryTest, ATargetCanBeSetBeforeTheLinkIsRead) {
  add(link(L"/Material/a.mov", L"/n/old.mov"));
  entry_.setLinkedFilename(L"/n/new.mov");
  EXPECT_EQ(entry_.getLinkedFilename(), L"/n/new.mov");
}

TEST_F(FsysDirectoryEntryTest, ACopyOfTheProxiesReplacesWhatWasThere) {
  addProxy(info(L"/Material/a.A0.proxy.360.mov"));
  addProxy(info(L"/Material/a.A0.proxy.720.mov"));
  std::list<MediaFileInfo> files(5);
  entry_.copyProxyFiles(files);
  ASSERT_EQ(files.size(), 2u);
  EXPECT_EQ(files.front().getMaterialFilename().getPath(), L"/Material/a.A0.proxy.360.mov");
  EXPECT_EQ(files.back().proxyHeight(), 720u);
  EXPECT_TRUE(entry_.hasProxies());
}

TEST_F(FsysDirectoryEntryTest, ThePrimaryNameIsThatOfHighResolutionElseTheFirstProxys) {
  addProxy(info(L"/Material/p.A0.proxy.720.mov"));
  addProxy(info(L"/Material/q.A0.proxy.360.mov"));
  EXPECT_EQ(entry_.primaryFilename().getPath(), L"/Material/p.A0.proxy.720.mov");
  EXPECT_FALSE(entry_.hasHighRes());
  add(info(L"/Material/a.mov"));
  EXPECT_EQ(entry_.primaryFilename().getPath(), L"/Material/a.mov");
  EXPECT_EQ(entry_.primaryFilename().getDrive(), drive_);
}

TEST_F(FsysDirectoryEntryTest, AFileWithoutADriveOrAPathIsNone) {
  add(MediaFileInfo(MaterialFilename(DriveId(), L"/Material/a.mov"), 10));
  EXPECT_FALSE(entry_.hasHighRes());
  add(MediaFileInfo(MaterialFilename(drive_, L""), 10));
  EXPECT_FALSE(entry_.hasHighRes());
  EXPECT_EQ(entry_.highResDrive(), drive_);
  EXPECT_FALSE(entry_.primaryFilename().getDrive().valid());
}

// realiseLinks -----------------------------------------------------------------------------------

class FsysDirectoryEntryLinkTest : public DirectoryEntryFixture {
protected:
  FsysDirectoryEntryLinkTest() {
    files().addFolder(L"/m/Material");
    add(MediaFileInfo(name(L"/Material/a.mov"), L"/n/high.mov", 512));
    addProxy(MediaFileInfo(name(L"/Material/a.A0.proxy.360.mov"), L"/n/first.mov", 512));
    addProxy(MediaFileInfo(name(L"/Material/a.A0.proxy.720.mov"), L"/n/second.mov", 512));
  }
  std::string target(const Text& path) {
    Text linked;
    return MaterialLink::getLinkedFilename(path, linked) ? toUTF8(linked).c_str() : "(no link)";
  }
};

TEST_F(FsysDirectoryEntryLinkTest, AllFilesAreWrittenAsLinks) {
  entry_.realiseLinks(false);
  EXPECT_EQ(target(L"/m/Material/a.mov"), "/n/high.mov");
  EXPECT_EQ(target(L"/m/Material/a.A0.proxy.360.mov"), "/n/first.mov");
  EXPECT_EQ(target(L"/m/Material/a.A0.proxy.720.mov"), "/n/second.mov");
}

TEST_F(FsysDirectoryEntryLinkTest, WhatIsThereIsReplacedOnlyOnDemand) {
  addLinkFile(L"/m/Material/a.mov", L"/n/before.mov");
  addLinkFile(L"/m/Material/a.A0.proxy.360.mov", L"/n/before.mov");
  entry_.realiseLinks(false);
  EXPECT_EQ(target(L"/m/Material/a.mov"), "/n/before.mov");
  EXPECT_EQ(target(L"/m/Material/a.A0.proxy.360.mov"), "/n/before.mov");
  EXPECT_EQ(target(L"/m/Material/a.A0.proxy.720.mov"), "/n/second.mov");
  entry_.realiseLinks(true);
  EXPECT_EQ(target(L"/m/Material/a.mov"), "/n/high.mov");
  EXPECT_EQ(target(L"/m/Material/a.A0.proxy.360.mov"), "/n/first.mov");
}

TEST_F(FsysDirectoryEntryLinkTest, WithoutAFileOfHighResolutionTheProxiesAlone) {
  entry_.removeFile(info(L"/Material/a.mov"));
  files().clearRecords();
  entry_.realiseLinks(true);
  for (const FakeOpen& open : files().opens()) EXPECT_TRUE(open.path.starts_with(L"/m/Material/"));
  EXPECT_EQ(files().opens().size(), 2u);
  EXPECT_EQ(target(L"/m/Material/a.A0.proxy.360.mov"), "/n/first.mov");
  EXPECT_EQ(target(L"/m/Material/a.A0.proxy.720.mov"), "/n/second.mov");
}

TEST_F(FsysDirectoryEntryLinkTest, AGoodLinkThatCouldNotBeReadWhenItWasLookedForStays) {
  FsysDirectoryEntry entry;
  entry.addFile(kCookie, link(L"/Material/b.mov", L"/n/high.mov"));
  os_->faults().fail(FaultPlan::eOpenFile, eOsAccessDenied);
  EXPECT_EQ(entry.updateStatus(eHighRes), 1u);
  entry.realiseLinks(true);
  EXPECT_EQ(target(L"/m/Material/b.mov"), "/n/high.mov");
}

TEST_F(FsysDirectoryEntryLinkTest, LinksWhoseTargetsWereNotReadStay) {
  FsysDirectoryEntry entry;
  entry.addFile(kCookie, link(L"/Material/b.mov", L"/n/high.mov"));
  entry.addFile(kCookie, link(L"/Material/b.A0.proxy.360.mov", L"/n/first.mov"));
  entry.realiseLinks(true);
  EXPECT_EQ(target(L"/m/Material/b.mov"), "/n/high.mov");
  EXPECT_EQ(target(L"/m/Material/b.A0.proxy.360.mov"), "/n/first.mov");
}

TEST_F(FsysDirectoryEntryLinkTest, RealMediaIsReportedInLine129AndStays) {
  files().addFile(L"/m/Material/a.mov", std::vector<unsigned char>(513, 'x'));
  entry_.realiseLinks(true);
  EXPECT_EQ(diagnostics_.outText(), "assertion failed false at fsys/MaterialLink line 129\n");
  EXPECT_EQ(content(L"/m/Material/a.mov"), std::string(513, 'x'));
  EXPECT_EQ(target(L"/m/Material/a.A0.proxy.720.mov"), "/n/second.mov") << "the others go on";
}

TEST_F(FsysDirectoryEntryLinkTest, OfADriveThatHasGoneNoLinkIsWritten) {
  addProxy(MediaFileInfo(MaterialFilename(otherDrive_, L"/a.A0.proxy.80.mov"), L"/n/x.mov", 512));
  addLinkFile(L"/Material/a.mov", L"/canary");
  files().addFolder(L"/n");
  DiskManager::deleteMaterialVolume(drive_);
  for (bool replace : {false, true}) {
    entry_.realiseLinks(replace);
    EXPECT_EQ(target(L"/Material/a.mov"), "/canary");
    EXPECT_FALSE(isThere(L"/Material/a.A0.proxy.360.mov"));
    EXPECT_FALSE(isThere(L"/Material/a.A0.proxy.720.mov"));
    EXPECT_EQ(target(L"/n/a.A0.proxy.80.mov"), "/n/x.mov") << "the others go on";
  }
}

TEST_F(FsysDirectoryEntryLinkTest, LinksAreWrittenInTheOrderOfTheList) {
  files().clearRecords();
  entry_.realiseLinks(false);
  ASSERT_EQ(files().opens().size(), 3u);
  EXPECT_EQ(files().opens()[0].path, L"/m/Material/a.mov");
  EXPECT_EQ(files().opens()[1].path, L"/m/Material/a.A0.proxy.360.mov");
  EXPECT_EQ(files().opens()[2].path, L"/m/Material/a.A0.proxy.720.mov");
}

// updateLinks ------------------------------------------------------------------------------------

class FsysDirectoryEntryUpdateLinksTest : public DirectoryEntryFixture {};

TEST_F(FsysDirectoryEntryUpdateLinksTest, TheDriveIsReplacedAndNothingElse) {
  add(link(L"/Material/a.mov", L"/n/away.mov"));
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
  EXPECT_EQ(entry_.updateLinks(otherDrive_), 1u);
  EXPECT_EQ(entry_.highResDrive(), otherDrive_);
  EXPECT_EQ(entry_.primaryFilename().getPath(), L"/Material/a.mov");
  EXPECT_EQ(entry_.fileSize(), 512u);
  EXPECT_EQ(entry_.getLinkedFilename(), L"/n/away.mov");
  files().addFile(L"/n/away.mov");
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u) << "what was found out stays";
  EXPECT_EQ(diagnostics_.outText(), "");
}

TEST_F(FsysDirectoryEntryUpdateLinksTest, ProxiesAreReportedInLine250) {
  add(info(L"/Material/a.mov"));
  addProxy(info(L"/Material/a.A0.proxy.360.mov"));
  EXPECT_EQ(entry_.updateLinks(otherDrive_), 1u);
  EXPECT_EQ(entry_.highResDrive(), otherDrive_);
  EXPECT_EQ(diagnostics_.outText(), failed("proxyFiles_.empty()", "250"));
}

TEST_F(FsysDirectoryEntryUpdateLinksTest, NoDriveIsReportedInLine251) {
  add(info(L"/Material/a.mov"));
  EXPECT_EQ(entry_.updateLinks(DriveId()), 1u);
  EXPECT_FALSE(entry_.highResDrive().valid());
  EXPECT_EQ(diagnostics_.outText(), failed("destDrive.valid()", "251"));
}

TEST_F(FsysDirectoryEntryUpdateLinksTest, ALinkToSomethingThatExistsIsReportedInLine252) {
  files().addFile(L"/n/there.mov");
  add(link(L"/Material/a.mov", L"/n/there.mov"));
  EXPECT_EQ(entry_.updateLinks(otherDrive_), 1u);
  EXPECT_EQ(entry_.highResDrive(), otherDrive_);
  EXPECT_EQ(diagnostics_.outText(),
            failed("!MaterialLink::linkedFileExists( highResFile_.getMaterialFilename() )", "252"));
}

TEST_F(FsysDirectoryEntryUpdateLinksTest, AllThreeAreReportedInTheirOrder) {
  files().addFile(L"/n/there.mov");
  add(link(L"/Material/a.mov", L"/n/there.mov"));
  addProxy(info(L"/Material/a.A0.proxy.360.mov"));
  EXPECT_EQ(entry_.updateLinks(DriveId()), 1u);
  EXPECT_EQ(
      diagnostics_.outText(),
      failed("proxyFiles_.empty()", "250") + failed("destDrive.valid()", "251") +
          failed("!MaterialLink::linkedFileExists( highResFile_.getMaterialFilename() )", "252"));
}

}  // namespace

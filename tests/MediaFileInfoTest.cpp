// Media files of the catalogue: what their names tell, and where their links lead.
#include "fsys/MediaFileInfo.h"

#include <functional>
#include <string>
#include <type_traits>
#include <utility>

#include "tests/StorageFixture.h"
#include "tests/support/ForwardingOS.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr unsigned kNone = 4294967295;

std::string linkTo(const std::string& target) {
  return target + std::string(512 - target.size(), '\0');
}

class MediaFileInfoTest : public StorageFixture {
protected:
  // On a drive; "/disk/Material/clip.mov" for "clip.mov".
  MaterialFilename nameOf(const Text& file) {
    if (!drive_.valid()) {
      addDisk(L"/disk/");
      drive_ = registeredId(L"/disk/");
    }
    return {drive_, L"Material/" + file};
  }
  unsigned looks() { return os_->faults().calls(FaultPlan::eExists); }

  const Text kLink = L"/disk/Material/clip.mov";
  DriveId drive_;
};

// What it holds ---------------------------------------------------------------------------------

TEST_F(MediaFileInfoTest, ADefaultOneIsOfNoFile) {
  MediaFileInfo info;
  EXPECT_EQ(info.getMaterialFilename().getDrive(), DriveId('0'));
  EXPECT_TRUE(info.getMaterialFilename().getPath().empty());
  EXPECT_EQ(info.getSize(), 0u);
  EXPECT_EQ(info.proxyHeight(), 0u);
  EXPECT_EQ(info.proxyAudioChannels(), 0u);
  EXPECT_EQ(info.getStatus(), 0u);
  EXPECT_FALSE(info.isProxy());
}

TEST_F(MediaFileInfoTest, ItIsMadeWithoutAskingTheSystemOrTheRegistry) {
  const MaterialFilename name = nameOf(L"clip.A2.proxy.360.mov");
  const unsigned separators = os_->faults().calls(FaultPlan::eGetDisk);
  MediaFileInfo info(name, 1234);
  MediaFileInfo plain(nameOf(L"clip.mov"), 512);
  EXPECT_EQ(looks(), 0u);
  EXPECT_TRUE(files().opens().empty());
  EXPECT_EQ(os_->faults().calls(FaultPlan::eGetFileSize), 0u);
  EXPECT_EQ(os_->faults().calls(FaultPlan::eGetDisk), separators);
  EXPECT_EQ(info.getSize(), 1234u);
  EXPECT_EQ(info.proxyHeight(), 360u);
  EXPECT_EQ(info.proxyAudioChannels(), 2u);
  EXPECT_TRUE(info.isProxy());
  EXPECT_EQ(plain.proxyHeight(), 0u);
  EXPECT_EQ(plain.proxyAudioChannels(), 0u);
  EXPECT_FALSE(plain.isProxy());
}

TEST_F(MediaFileInfoTest, AFileThatIsNoProxyHasNoChannelsWhateverItsNameSays) {
  EXPECT_EQ(MediaFileInfo(nameOf(L"clip.A2.mov"), 1).proxyAudioChannels(), 0u);
  EXPECT_EQ(MediaFileInfo(nameOf(L"clip.A2.mov"), L"/far", 1).proxyAudioChannels(), 0u);
  EXPECT_EQ(MediaFileInfo(nameOf(L"clip.A2.proxy.7.mov"), L"/far", 1).proxyAudioChannels(), 2u);
}

TEST_F(MediaFileInfoTest, StatusAndSizeAreKept) {
  MediaFileInfo info(nameOf(L"clip.mov"), 0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(info.getSize(), 0xFFFFFFFFFFFFFFFF);
  info.setSize(5);
  info.setStatus(MediaFileInfo::ePresent);
  EXPECT_EQ(info.getSize(), 5u);
  EXPECT_EQ(info.getStatus(), 2u);
  EXPECT_EQ(MediaFileInfo::eNotProbed, 0u);
  EXPECT_EQ(MediaFileInfo::eMissing, 1u);
}

TEST_F(MediaFileInfoTest, ANewNameReplacesTheDriveAndThePathAlone) {
  MediaFileInfo info(nameOf(L"clip.A2.proxy.360.mov"), L"/far", 512);
  info.setStatus(2);
  EXPECT_EQ(info.setMaterialFilename({DriveId('Z'), L"other.mov"}), 1u);
  EXPECT_EQ(info.getMaterialFilename().getDrive(), DriveId('Z'));
  EXPECT_EQ(info.getMaterialFilename().getPath(), L"other.mov");
  EXPECT_EQ(info.proxyHeight(), 360u);
  EXPECT_EQ(info.proxyAudioChannels(), 2u);
  EXPECT_EQ(info.getSize(), 512u);
  EXPECT_EQ(info.getStatus(), 2u);
  EXPECT_EQ(info.readLinkedFilename(), L"/far");
  EXPECT_FALSE(info.isProxy()) << "asked of the new name";
}

TEST_F(MediaFileInfoTest, ItIsSharedAndItsLinkOperationsAreAtHand) {
  static_assert(std::is_base_of_v<iObject, MediaFileInfo>);
  static_assert(std::is_convertible_v<MediaFileInfo*, MaterialLink*>);
  static_assert(sizeof(MediaFileInfo) <= 88);
  Qv::Ptr<MediaFileInfo> info(new MediaFileInfo(nameOf(L"clip.mov"), 512));
  EXPECT_FALSE(info->isLink(info->getLinkFileName()));
}

// Names -----------------------------------------------------------------------------------------

TEST_F(MediaFileInfoTest, AProxysNameIsReadAsAWhole) {
  EXPECT_EQ(MediaFileInfo::getProxyHeight(L"clip.A2.proxy.360.mov"), 360u);
  EXPECT_EQ(MediaFileInfo::getProxyAudioChannels(L"clip.A2.proxy.360.mov"), 2u);
  EXPECT_TRUE(MediaFileInfo::isProxy(Text(L"clip.A2.proxy.360.mov")));
  EXPECT_EQ(MediaFileInfo::getProxyHeight(L""), kNone);
  EXPECT_EQ(MediaFileInfo::getProxyAudioChannels(Text()), 0u);
  for (const wchar_t* name : {L"", L"clip.mov", L"clip.proxy.mov"}) {
    EXPECT_EQ(MediaFileInfo::getProxyHeight(name), kNone);
    EXPECT_FALSE(MediaFileInfo::isProxy(Text(name)));
  }
  EXPECT_EQ(looks(), 0u);
}

TEST_F(MediaFileInfoTest, AProxysNameIsMadeOfTheNameWithoutItsExtension) {
  EXPECT_EQ(MediaFileInfo::makeProxyName(L"clip.mov", L"mov", 360, 2), L"clip.A2.proxy.360.mov");
  EXPECT_EQ(MediaFileInfo::makeProxyName(L"clip.mov", L"mxf", 720, 0), L"clip.A0.proxy.720.mxf");
  EXPECT_EQ(MediaFileInfo::makeProxyName(L"clip", L"mov", 240, 8), L"clip.A8.proxy.240.mov");
  EXPECT_EQ(MediaFileInfo::makeProxyName(L"/m.x/clip", L"mov", 1, 255),
            L"/m.x/clip.A255.proxy.1.mov");
}

TEST_F(MediaFileInfoTest, TheOlderFormIsAProxyWhereItsFileExists) {
  const Text name = L"/m/proxy/proxy-clip.mov";
  EXPECT_FALSE(MediaFileInfo::isProxy(name));
  EXPECT_EQ(looks(), 1u);
  write(name, "x");
  EXPECT_TRUE(MediaFileInfo::isProxy(name));
  write(L"/m/clip.mov", "x");
  EXPECT_FALSE(MediaFileInfo::isProxy(Text(L"/m/clip.mov")));
  EXPECT_EQ(looks(), 2u) << "asked only where it matters";
}

TEST_F(MediaFileInfoTest, AnOlderProxyHasTheHeightThatMeansNone) {
  write(L"/m/proxy/proxy-clip.A3.mov", "x");
  MediaFileInfo info({DriveId(), L"/m/proxy/proxy-clip.A3.mov"}, 1);
  EXPECT_TRUE(info.isProxy());
  EXPECT_EQ(info.proxyHeight(), kNone);
  EXPECT_EQ(info.proxyAudioChannels(), 3u);
}

TEST_F(MediaFileInfoTest, AnOlderProxyIsLookedForUnderItsNameWithoutItsDrive) {
  const MaterialFilename name = nameOf(L"proxy/proxy-clip.mov");
  write(name.getOsPath(), "x");
  EXPECT_FALSE(MediaFileInfo(name, 1).isProxy());
  write(name.getPath(), "x");
  EXPECT_TRUE(MediaFileInfo(name, 1).isProxy());
}

// Links -----------------------------------------------------------------------------------------

TEST_F(MediaFileInfoTest, ALinkIsReadOnceAndKept) {
  MediaFileInfo info(nameOf(L"clip.mov"), 512);
  write(kLink, linkTo("/far/clip.mov"));
  EXPECT_EQ(info.getLinkFileName(), kLink);
  EXPECT_EQ(info.readLinkedFilename(), L"/far/clip.mov");
  write(kLink, linkTo("/other"));
  EXPECT_EQ(info.readLinkedFilename(), L"/far/clip.mov");
  EXPECT_EQ(files().opens().size(), 1u);
}

// Somebody else reads the link, and it changes, while it is being read.
TEST_F(MediaFileInfoTest, WhoComesSecondWithWhatHeReadGetsItAndTheFirstIsKept) {
  struct Between final : ForwardingOS {
    iFileManager* getFileManager() override {
      if (calls++ == 1) {  // the size is known, the file is not open yet
        first = info->readLinkedFilename();
        change();
      }
      return inner()->getFileManager();
    }
    const MediaFileInfo* info = nullptr;
    std::function<void()> change;
    Text first;
    unsigned calls = 0;
  };
  write(kLink, linkTo("/first"));
  const MediaFileInfo info(nameOf(L"clip.mov"), 512);
  {
    Between between;
    between.info = &info;
    between.change = [this] { write(kLink, linkTo("/second")); };
    EXPECT_EQ(info.readLinkedFilename(), L"/second");
    EXPECT_EQ(between.first, L"/first");
  }
  EXPECT_EQ(info.readLinkedFilename(), L"/first");
}

TEST_F(MediaFileInfoTest, AKnownTargetIsNotReadAtAll) {
  write(kLink, linkTo("/other"));
  MediaFileInfo info(nameOf(L"clip.mov"), L"/far/clip.mov", 512);
  EXPECT_EQ(info.readLinkedFilename(), L"/far/clip.mov");
  EXPECT_TRUE(files().opens().empty());
}

TEST_F(MediaFileInfoTest, MediaIsItsOwnTarget) {
  write(kLink, "media");
  EXPECT_EQ(MediaFileInfo(nameOf(L"clip.mov"), 5).readLinkedFilename(), kLink);
}

TEST_F(MediaFileInfoTest, ALinkThatCannotBeReadIsKeptAsLeadingNowhere) {
  MediaFileInfo info(nameOf(L"clip.mov"), 512);
  write(kLink, linkTo("/far/clip.mov"));
  os_->faults().fail(FaultPlan::eOpenFile, eOsAccessDenied);
  EXPECT_EQ(info.readLinkedFilename(), L"");
  EXPECT_EQ(info.readLinkedFilename(), L"");
}

TEST_F(MediaFileInfoTest, ALinkedNameThatIsSetIsFinal) {
  for (bool isRead : {false, true}) {
    write(kLink, linkTo("/far/clip.mov"));
    MediaFileInfo info(nameOf(L"clip.mov"), 512);
    if (isRead) info.readLinkedFilename();
    info.setLinkedFilename(L"/new");
    EXPECT_EQ(info.readLinkedFilename(), L"/new");
  }
}

TEST_F(MediaFileInfoTest, ThePathToOpenIsTheLinksTargetOnlyFor512Bytes) {
  write(kLink, linkTo("/far/./a/../clip.mov"));
  for (unsigned long size : {0ul, 511ul, 513ul}) {
    MediaFileInfo info(nameOf(L"clip.mov"), size);
    EXPECT_EQ(info.getPhysicalFilename(false), kLink);
    EXPECT_EQ(info.getPhysicalFilename(true), kLink);
  }
  EXPECT_TRUE(files().opens().empty());
  MediaFileInfo info(nameOf(L"clip.mov"), 512);
  EXPECT_EQ(info.getPhysicalFilename(false), L"/far/./a/../clip.mov");
  EXPECT_EQ(info.getPhysicalFilename(true), L"/far/clip.mov");
}

TEST_F(MediaFileInfoTest, MediaOf512BytesIsOpenedItself) {
  write(kLink, "RIFF" + std::string(508, 'x'));
  MediaFileInfo info(nameOf(L"clip.mov"), 512);
  EXPECT_EQ(info.getPhysicalFilename(false), kLink);
  EXPECT_EQ(info.getPhysicalFilename(true), kLink);
}

TEST_F(MediaFileInfoTest, TheLinkFileIsMadeOfTheLinkedName) {
  MediaFileInfo info(nameOf(L"clip.mov"), L"/far/clip.mov", 512);
  EXPECT_EQ(info.createLinkFile(false), 1u);
  EXPECT_EQ(content(kLink), linkTo("/far/clip.mov"));
  EXPECT_EQ(info.createLinkFile(false), 0u);
  info.setLinkedFilename(L"/new");
  EXPECT_EQ(info.createLinkFile(true), 1u);
  EXPECT_EQ(content(kLink), linkTo("/new"));
}

TEST_F(MediaFileInfoTest, OfADriveThatHasGoneNoLinkFileIsMade) {
  const MediaFileInfo led(nameOf(L"clip.mov"), L"/far/clip.mov", 512);
  const MediaFileInfo unread(nameOf(L"clip.mov"), 512);
  files().addFolder(L"Material");  // what the name is without its drive
  DiskManager::deleteMaterialVolume(drive_);
  for (bool replace : {false, true}) {
    for (const MediaFileInfo* info : {&led, &unread}) {
      os_->errors().setLastError(0);
      files().clearRecords();
      EXPECT_EQ(info->createLinkFile(replace), 0u);
      EXPECT_EQ(os_->errors().getLastError(), eOsNotFound);
      EXPECT_TRUE(files().opens().empty());
    }
  }
  write(L"Material/clip.mov", linkTo("/canary"));
  EXPECT_EQ(led.createLinkFile(true), 0u);
  EXPECT_EQ(content(L"Material/clip.mov"), linkTo("/canary"));
}

TEST_F(MediaFileInfoTest, OfNoDriveTheLinkFileIsMadeWhereItsWholePathSays) {
  files().addFolder(L"/disk");
  const MediaFileInfo info(MaterialFilename(DriveId(), L"/disk/clip.mov"), L"/far/clip.mov", 512);
  EXPECT_EQ(info.createLinkFile(false), 1u);
  EXPECT_EQ(content(L"/disk/clip.mov"), linkTo("/far/clip.mov"));
}

TEST_F(MediaFileInfoTest, ALinkWhoseTargetIsNotKnownIsNotReplacedByOneThatLeadsNowhere) {
  write(kLink, linkTo("/far/clip.mov"));
  MediaFileInfo info(nameOf(L"clip.mov"), 512);
  EXPECT_EQ(info.createLinkFile(true), 0u);
  EXPECT_EQ(content(kLink), linkTo("/far/clip.mov"));
  info.readLinkedFilename();
  EXPECT_EQ(info.createLinkFile(true), 1u);
  EXPECT_EQ(content(kLink), linkTo("/far/clip.mov"));
  files().deleteFile(kLink);
  EXPECT_EQ(MediaFileInfo(nameOf(L"clip.mov"), 512).createLinkFile(false), 1u);
  EXPECT_EQ(content(kLink), std::string(512, '\0'));
}

TEST_F(MediaFileInfoTest, ALinkThatCouldNotBeReadIsNotReplacedByOneThatLeadsNowhere) {
  write(kLink, linkTo("/far/clip.mov"));
  const MaterialFilename name = nameOf(L"clip.mov");
  for (uint32_t error : {uint32_t{eOsAccessDenied}, uint32_t{eOsIoError}}) {
    MediaFileInfo info(name, 512);
    os_->faults().fail(FaultPlan::eOpenFile, error);
    EXPECT_EQ(info.readLinkedFilename(), L"");
    EXPECT_EQ(info.createLinkFile(true), 0u);
    EXPECT_EQ(content(kLink), linkTo("/far/clip.mov"));
  }
  MediaFileInfo info(name, 512);
  os_->faults().shorten(FaultPlan::eRead, 4);
  EXPECT_EQ(info.readLinkedFilename(), L"");
  EXPECT_EQ(info.createLinkFile(true), 0u);
  EXPECT_EQ(content(kLink), linkTo("/far/clip.mov"));
}

TEST_F(MediaFileInfoTest, WhatCannotBeLookedAtIsNotReplacedByALinkThatLeadsNowhere) {
  write(kLink, linkTo("/far/clip.mov"));
  const MaterialFilename name = nameOf(L"clip.mov");
  for (auto call : {FaultPlan::eOpenFile, FaultPlan::eRead, FaultPlan::eGetFileSize}) {
    os_->faults().fail(call, eOsIoError);
    EXPECT_EQ(MediaFileInfo(name, 512).createLinkFile(true), 0u);
    EXPECT_EQ(content(kLink), linkTo("/far/clip.mov"));
    os_->faults().clear();
  }
}

TEST_F(MediaFileInfoTest, MediaOfAtMost512BytesIsNotReplacedByALinkThatLeadsNowhere) {
  const std::string riff = "RIFF" + std::string(508, 'x');
  for (const std::string& bytes : {std::string(), std::string("RIFF"), riff}) {
    write(kLink, bytes);
    EXPECT_EQ(MediaFileInfo(nameOf(L"clip.mov"), bytes.size()).createLinkFile(true), 0u);
    EXPECT_EQ(content(kLink), bytes);
  }
}

TEST_F(MediaFileInfoTest, MediaIsNotReplacedByALinkToItself) {
  const std::string riff = "RIFF" + std::string(508, 'x');
  for (const std::string& bytes : {std::string("media"), riff}) {
    write(kLink, bytes);
    MediaFileInfo info(nameOf(L"clip.mov"), bytes.size());
    EXPECT_EQ(info.readLinkedFilename(), kLink);
    EXPECT_EQ(info.createLinkFile(true), 0u);
    EXPECT_EQ(content(kLink), bytes);
  }
}

TEST_F(MediaFileInfoTest, InPlaceOfAMissingFileNoLinkToItselfIsMade) {
  MediaFileInfo info(nameOf(L"clip.A2.proxy.360.mov"), 1000);
  files().addFolder(L"/disk/Material");
  EXPECT_EQ(info.readLinkedFilename(), L"/disk/Material/clip.A2.proxy.360.mov");
  for (bool replace : {false, true}) {
    EXPECT_EQ(info.createLinkFile(replace), 0u);
    EXPECT_FALSE(files().hasFile(L"/disk/Material/clip.A2.proxy.360.mov"));
  }
}

TEST_F(MediaFileInfoTest, WhereNothingIsALinkThatLeadsNowhereIsMade) {
  files().addFolder(L"/disk/Material");
  for (bool replace : {false, true}) {
    EXPECT_EQ(MediaFileInfo(nameOf(L"clip.mov"), 512).createLinkFile(replace), 1u);
    EXPECT_EQ(content(kLink), std::string(512, '\0'));
    EXPECT_TRUE(files().deleteFile(kLink));
  }
}

TEST_F(MediaFileInfoTest, MediaIsNeverReplacedByALink) {
  write(kLink, std::string(600, 'x'));
  const MediaFileInfo unread(nameOf(L"clip.mov"), 600);
  const MediaFileInfo read(unread);
  read.readLinkedFilename();
  const MediaFileInfo led(nameOf(L"clip.mov"), L"/far", 600);
  for (const MediaFileInfo* info : {&unread, &read, &led}) {
    diagnostics_.clear();
    EXPECT_EQ(info->createLinkFile(false), 0u);
    EXPECT_EQ(diagnostics_.outText(), "");
    EXPECT_EQ(info->createLinkFile(true), 0u);
    EXPECT_EQ(diagnostics_.outText(), "assertion failed false at fsys/MaterialLink line 129\n");
    EXPECT_EQ(content(kLink), std::string(600, 'x'));
  }
}

// Copies ----------------------------------------------------------------------------------------

TEST_F(MediaFileInfoTest, ACopyHasAll) {
  MediaFileInfo info(nameOf(L"clip.A2.proxy.360.mov"), L"/far", 512);
  info.setStatus(1);
  const MediaFileInfo copy(info);
  MediaFileInfo assigned;
  assigned = info;
  for (const MediaFileInfo* same : {&copy, &std::as_const(assigned)}) {
    EXPECT_EQ(same->getMaterialFilename().getDrive(), drive_);
    EXPECT_EQ(same->getMaterialFilename().getPath(), L"Material/clip.A2.proxy.360.mov");
    EXPECT_EQ(same->proxyHeight(), 360u);
    EXPECT_EQ(same->proxyAudioChannels(), 2u);
    EXPECT_EQ(same->getSize(), 512u);
    EXPECT_EQ(same->getStatus(), 1u);
    EXPECT_EQ(same->readLinkedFilename(), L"/far");
    EXPECT_EQ(same->refCount(), 0);
  }
  EXPECT_TRUE(files().opens().empty()) << "what is known is not read again";
}

TEST_F(MediaFileInfoTest, TheCopyOfOneWhoseLinkHasNotBeenReadReadsItItself) {
  write(kLink, linkTo("/far"));
  MediaFileInfo info(nameOf(L"clip.mov"), 512);
  MediaFileInfo copy(info);
  MediaFileInfo assigned(nameOf(L"clip.mov"), L"/old", 512);
  assigned = info;
  assigned = *&assigned;
  EXPECT_EQ(info.readLinkedFilename(), L"/far");
  EXPECT_EQ(copy.readLinkedFilename(), L"/far");
  EXPECT_EQ(assigned.readLinkedFilename(), L"/far");
  EXPECT_EQ(files().opens().size(), 3u);
  info = *&info;
  EXPECT_EQ(info.readLinkedFilename(), L"/far");
}

}  // namespace

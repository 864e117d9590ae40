// Files that are added to an entry.

#include "tests/DirectoryEntryFixture.h"

namespace {

class FsysDirectoryEntryAddTest : public DirectoryEntryFixture {
protected:
  Text path() const { return entry_.primaryFilename().getPath(); }
};

TEST_F(FsysDirectoryEntryAddTest, RealMediaIsThereAtOnceAndNotLookedFor) {
  add(info(L"/Material/a.mov", 511));
  unsigned before = asked();
  EXPECT_EQ(entry_.updateStatus(eHighRes), 2u);
  EXPECT_EQ(asked(), before);
}

TEST_F(FsysDirectoryEntryAddTest, ALinkKeepsTheStatusThatItCameWith) {
  for (uint32_t status : {1u, 2u}) {
    MediaFileInfo file = info(L"/Material/a.mov", 512);
    file.setStatus(status);
    FsysDirectoryEntry entry;
    entry.addFile(kCookie, file);
    unsigned before = asked();
    EXPECT_EQ(entry.updateStatus(eHighRes), status);
    EXPECT_EQ(asked(), before);
  }
}

TEST_F(FsysDirectoryEntryAddTest, ALinkThatWasNotLookedForIsLookedForLater) {
  files().addFile(L"/n/there.mov");
  add(link(L"/Material/a.mov", L"/n/there.mov"));
  EXPECT_EQ(entry_.updateStatus(eHighRes), 2u);
}

TEST_F(FsysDirectoryEntryAddTest, WhatIsKnownOfALinkComesWithIt) {
  add(MediaFileInfo(name(L"/Material/a.mov"), L"/n/known.mov", 512));
  unsigned before = asked();
  EXPECT_EQ(entry_.getLinkedFilename(), L"/n/known.mov");
  EXPECT_EQ(asked(), before);
}

TEST_F(FsysDirectoryEntryAddTest, ALinkNeverTakesThePlaceOfRealMedia) {
  add(info(L"/Material/a.mov", 513));
  add(info(L"/Material/b.mov", 512));
  EXPECT_EQ(path(), L"/Material/a.mov");
  EXPECT_EQ(entry_.fileSize(), 513u);
  EXPECT_EQ(proxies(), Texts());
}

TEST_F(FsysDirectoryEntryAddTest, TheSizeAloneSaysWhatIsRealMedia) {
  add(MediaFileInfo(MaterialFilename(DriveId(), L"/Material/a.mov"), 1000));
  ASSERT_FALSE(entry_.hasHighRes());
  add(info(L"/Material/b.mov", 512));
  EXPECT_EQ(entry_.fileSize(), 1000u);
  EXPECT_FALSE(entry_.hasHighRes());
}

TEST_F(FsysDirectoryEntryAddTest, ALinkTakesThePlaceOfALinkAndOfASmallerFile) {
  add(info(L"/Material/a.mov", 511));
  add(info(L"/Material/b.mov", 512));
  EXPECT_EQ(path(), L"/Material/b.mov");
  EXPECT_EQ(proxies(), Texts{"/Material/a.mov"});
  entry_.removeProxyFile(L"/m/Material/a.mov");
  add(info(L"/Material/c.mov", 512));
  EXPECT_EQ(path(), L"/Material/c.mov");
  EXPECT_EQ(proxies(), Texts{"/Material/b.mov"});
  EXPECT_TRUE(entry_.isLinked());
}

TEST_F(FsysDirectoryEntryAddTest, RealMediaTakesThePlaceOfALinkWhichBecomesAProxy) {
  add(info(L"/Material/a.mov", 512));
  add(info(L"/Material/b.mov", 513));
  EXPECT_FALSE(entry_.isLinked());
  EXPECT_EQ(path(), L"/Material/b.mov");
  EXPECT_EQ(proxies(), Texts{"/Material/a.mov"});
  EXPECT_EQ(entry_.updateStatus(eHighRes), 2u);
}

TEST_F(FsysDirectoryEntryAddTest, ADisplacedFileBecomesAProxyAsItIs) {
  add(info(L"/Material/a.mov", 700));
  add(info(L"/Material/b.mov", 800));
  ASSERT_EQ(proxies(), Texts{"/Material/a.mov"});
  const MediaFileInfo& displaced = entry_.getProxyFiles().front();
  EXPECT_EQ(displaced.getSize(), 700u);
  EXPECT_EQ(displaced.getStatus(), 2u);
  EXPECT_EQ(displaced.proxyHeight(), 0u);
  EXPECT_EQ(entry_.fileSize(), 800u);
}

TEST_F(FsysDirectoryEntryAddTest, ADisplacedFileIsLostWhereThereAreProxies) {
  add(info(L"/Material/a.mov"));
  addProxy(info(L"/Material/a.A0.proxy.360.mov"));
  add(info(L"/Material/b.mov"));
  EXPECT_EQ(path(), L"/Material/b.mov");
  EXPECT_EQ(proxies(), Texts{"/Material/a.A0.proxy.360.mov"});
}

TEST_F(FsysDirectoryEntryAddTest, TheSameFileAgainIsItsOwnProxyToo) {
  add(info(L"/Material/a.mov"));
  add(info(L"/Material/a.mov"));
  EXPECT_EQ(path(), L"/Material/a.mov");
  EXPECT_EQ(proxies(), Texts{"/Material/a.mov"});
}

TEST_F(FsysDirectoryEntryAddTest, NoFileIsNotDisplaced) {
  add(MediaFileInfo(MaterialFilename(DriveId(), L"/Material/a.mov"), 10));
  add(MediaFileInfo(MaterialFilename(drive_, L""), 10));
  add(info(L"/Material/b.mov"));
  EXPECT_EQ(proxies(), Texts());
}

TEST_F(FsysDirectoryEntryAddTest, ProxiesStayInTheOrderInWhichTheyCame) {
  add(info(L"/Material/a.A0.proxy.720.mov"));
  add(info(L"/Material/a.A0.proxy.360.mov"));
  add(info(L"/Material/a.A0.proxy.1080.mov"));
  EXPECT_EQ(proxies(), (Texts{"/Material/a.A0.proxy.720.mov", "/Material/a.A0.proxy.360.mov",
                              "/Material/a.A0.proxy.1080.mov"}));
  EXPECT_FALSE(entry_.hasHighRes());
}

TEST_F(FsysDirectoryEntryAddTest, AProxyIsTheSameByPathDriveAndHeight) {
  const MediaFileInfo proxy = info(L"/Material/a.A0.proxy.360.mov", 1000);
  for (int turn = 0; turn < 2; ++turn) {
    add(proxy);
    addProxy(proxy);
    addProxy(info(L"/Material/a.A0.proxy.360.mov", 2000));
  }
  ASSERT_EQ(proxies().size(), 1u);
  EXPECT_EQ(entry_.getProxyFiles().front().getSize(), 1000u);
  addProxy(info(L"/Material/A.A0.proxy.360.mov"));
  addProxy(MediaFileInfo(MaterialFilename(otherDrive_, L"/Material/a.A0.proxy.360.mov"), 1000));
  EXPECT_EQ(proxies().size(), 3u);
  // The path of the second with the height of another.
  MediaFileInfo renamed = info(L"/Material/x.A0.proxy.720.mov");
  renamed.setMaterialFilename(proxy.getMaterialFilename());
  add(renamed);
  EXPECT_EQ(proxies().size(), 4u);
}

TEST_F(FsysDirectoryEntryAddTest, AddProxyFileTakesWhatItIsGivenForAProxy) {
  addProxy(info(L"/Material/a.mov"));
  EXPECT_EQ(proxies(), Texts{"/Material/a.mov"});
  EXPECT_FALSE(entry_.hasHighRes());
}

TEST_F(FsysDirectoryEntryAddTest, AddingDoesNotLookAtTheDisk) {
  unsigned before = asked();
  add(info(L"/Material/a.mov"));
  add(info(L"/Material/b.mov", 512));
  add(info(L"/Material/a.A0.proxy.720.mov"));
  EXPECT_EQ(asked(), before);
}

}  // namespace

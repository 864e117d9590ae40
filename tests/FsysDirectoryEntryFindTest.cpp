// Which file serves a format.

#include "tests/DirectoryEntryFixture.h"

namespace {

class FsysDirectoryEntryFindTest : public DirectoryEntryFixture {
protected:
  Text find(eProxyLevel level, uint32_t height = 0) const {
    DecodeFormat format(level);
    format.setHeight(height);
    return entry_.findFileForCookie(format);
  }

  const Text kHigh = L"/m/Material/a.mov";
  const Text k720 = L"/m/Material/a.A0.proxy.720.mov";
  const Text k360 = L"/m/Material/a.A0.proxy.360.mov";

  void addHigh() { add(media(L"/Material/a.mov")); }
  void addProxies() {
    addProxy(media(L"/Material/a.A0.proxy.720.mov"));
    addProxy(media(L"/Material/a.A0.proxy.360.mov"));
  }
  // Of high resolution, and not there.
  void addMissing() { add(link(L"/Material/a.mov", L"/n/away.mov")); }
};

// findProxy --------------------------------------------------------------------------------------

TEST_F(FsysDirectoryEntryFindTest, TheFirstProxyThatIsHighEnoughServes) {
  addProxies();
  EXPECT_EQ(entry_.findProxy(400), k720);
  EXPECT_EQ(entry_.findProxy(0), k720);
  EXPECT_EQ(entry_.findProxy(360), k720);
  EXPECT_EQ(entry_.findProxy(720), k720);
  EXPECT_TRUE(entry_.findProxy(721).empty());
}

TEST_F(FsysDirectoryEntryFindTest, AProxyOfANegativeHeightServesForAny) {
  addProxy(info(L"/Material/a.proxy.-360.mov"));
  EXPECT_EQ(entry_.getProxyFiles().front().proxyHeight(), 4294966936u);
  EXPECT_EQ(entry_.findProxy(100'000), L"/m/Material/a.proxy.-360.mov");
}

TEST_F(FsysDirectoryEntryFindTest, AnOlderProxyServesForAnyHeightAndIsForgottenByItsName) {
  const Text path = L"/m/proxy/proxy-a.mov";
  files().addFile(path);
  const MediaFileInfo older(MaterialFilename(DriveId(), path), 1000);
  add(older);
  EXPECT_FALSE(entry_.hasHighRes());
  ASSERT_EQ(entry_.getProxyFiles().size(), 1u);
  EXPECT_EQ(entry_.getProxyFiles().front().proxyHeight(), 4294967295u);
  EXPECT_EQ(entry_.findProxy(4294967295u), path);
  entry_.removeFile(older);
  EXPECT_FALSE(entry_.hasProxies());
}

TEST_F(FsysDirectoryEntryFindTest, ALowerProxyThatComesFirstIsPassedOver) {
  addProxy(media(L"/Material/a.A0.proxy.360.mov"));
  addProxy(media(L"/Material/a.A0.proxy.720.mov"));
  EXPECT_EQ(entry_.findProxy(360), k360);
  EXPECT_EQ(entry_.findProxy(361), k720);
}

TEST_F(FsysDirectoryEntryFindTest, WithoutProxiesThereIsNoneAndNothingIsAsked) {
  addHigh();
  unsigned before = asked();
  EXPECT_TRUE(entry_.findProxy(0).empty());
  EXPECT_EQ(asked(), before);
}

TEST_F(FsysDirectoryEntryFindTest, AProxyServesWhetherItIsThereOrNot) {
  addProxy(info(L"/Material/a.A0.proxy.720.mov"));
  addProxy(media(L"/Material/a.A0.proxy.360.mov"));
  EXPECT_EQ(entry_.findProxy(0), k720);
  EXPECT_EQ(entry_.getProxyFiles().front().getStatus(), 1u);
  EXPECT_EQ(entry_.getProxyFiles().back().getStatus(), 2u);
}

TEST_F(FsysDirectoryEntryFindTest, ADisplacedFileHasHeight0) {
  add(media(L"/Material/old.mov"));
  add(media(L"/Material/a.mov"));
  EXPECT_EQ(entry_.findProxy(0), L"/m/Material/old.mov");
  EXPECT_TRUE(entry_.findProxy(1).empty());
}

TEST_F(FsysDirectoryEntryFindTest, OfAProxyThatIsALinkTheTargetServes) {
  files().addFile(L"/n/p.mov");
  addProxy(link(L"/Material/a.A0.proxy.360.mov", L"/n/p.mov"));
  EXPECT_EQ(entry_.findProxy(100), L"/n/p.mov");
  EXPECT_EQ(entry_.getProxyFiles().front().getStatus(), 2u);
}

// findFileForCookie ------------------------------------------------------------------------------

TEST_F(FsysDirectoryEntryFindTest, HighResolutionIsServedWhateverProxiesThereAre) {
  addHigh();
  addProxies();
  EXPECT_EQ(find(eHighRes), kHigh);
  EXPECT_EQ(find(eHighRes, 360), kHigh);
}

TEST_F(FsysDirectoryEntryFindTest, WithoutHighResolutionTheFirstProxyServes) {
  addProxies();
  EXPECT_EQ(find(eHighRes), k720);
  addMissing();
  EXPECT_EQ(find(eHighRes), k720);
  EXPECT_EQ(find(eHighRes, 1080), k720);
}

TEST_F(FsysDirectoryEntryFindTest, AProxyIsServedWhereOneIsWanted) {
  addHigh();
  addProxies();
  EXPECT_EQ(find(eProxy), k720);
  // The height that is wanted does not count.
  EXPECT_EQ(find(eProxy, 1080), k720);
}

TEST_F(FsysDirectoryEntryFindTest, WithoutProxiesHighResolutionServesWhereOneIsWanted) {
  addHigh();
  EXPECT_EQ(find(eProxy), kHigh);
}

TEST_F(FsysDirectoryEntryFindTest, WithoutAHeightAnyFormatGetsHighResolution) {
  addHigh();
  addProxies();
  EXPECT_EQ(find(eAuto), kHigh);
}

TEST_F(FsysDirectoryEntryFindTest, WithAHeightAnyFormatGetsAProxyThatIsHighEnough) {
  addHigh();
  addProxies();
  EXPECT_EQ(find(eAuto, 1), k720);
  EXPECT_EQ(find(eAuto, 720), k720);
  EXPECT_EQ(find(eAuto, 721), kHigh);
}

TEST_F(FsysDirectoryEntryFindTest, WithNothingHighEnoughAnyFormatGetsTheFirstProxy) {
  addProxies();
  addMissing();
  EXPECT_EQ(find(eAuto, 1080), k720);
  EXPECT_EQ(find(eAuto), k720);
}

TEST_F(FsysDirectoryEntryFindTest, NothingIsServedWhereNothingIs) {
  for (eProxyLevel level : {eAuto, eHighRes, eProxy}) EXPECT_TRUE(find(level, 360).empty());
  addMissing();
  for (eProxyLevel level : {eAuto, eHighRes, eProxy}) EXPECT_TRUE(find(level, 360).empty());
}

TEST_F(FsysDirectoryEntryFindTest, ALevelThatIsNoneIsTakenForHighResolution) {
  addHigh();
  addProxies();
  DecodeFormat format;
  format.setProxyLevel(static_cast<eProxyLevel>(3));
  diagnostics_.clear();
  EXPECT_EQ(entry_.findFileForCookie(format), kHigh);
  EXPECT_EQ(diagnostics_.out().size(), 1u);
}

TEST_F(FsysDirectoryEntryFindTest, OfALinkTheTargetServesIfItIsThere) {
  files().addFile(L"/n/b.mov");
  add(link(L"/Material/a.mov", L"/n/b.mov"));
  addProxies();
  EXPECT_EQ(find(eHighRes), L"/n/b.mov");
}

TEST_F(FsysDirectoryEntryFindTest, OfAFileThatIsKnownTheSystemIsAskedNothing) {
  addHigh();
  addProxies();
  unsigned before = asked();
  EXPECT_EQ(find(eHighRes), kHigh);
  EXPECT_EQ(asked(), before);
  find(eProxy);
  EXPECT_GT(asked(), before);
  before = asked();
  for (int turn = 0; turn < 3; ++turn) {
    EXPECT_EQ(find(eHighRes), kHigh);
    EXPECT_EQ(find(eProxy), k720);
    EXPECT_EQ(find(eAuto), kHigh);
    EXPECT_EQ(find(eAuto, 500), k720);
    EXPECT_EQ(find(eAuto, 1080), kHigh);
  }
  EXPECT_EQ(asked(), before);
}

TEST_F(FsysDirectoryEntryFindTest, OfALinkThatIsKnownTheSystemIsAskedNothing) {
  files().addFile(L"/n/b.mov");
  files().addFile(L"/n/p.mov");
  add(link(L"/Material/a.mov", L"/n/b.mov"));
  addProxy(link(L"/Material/a.A0.proxy.360.mov", L"/n/p.mov"));
  EXPECT_EQ(find(eHighRes), L"/n/b.mov");
  EXPECT_EQ(find(eProxy), L"/n/p.mov");
  unsigned before = asked();
  EXPECT_EQ(find(eHighRes), L"/n/b.mov");
  EXPECT_EQ(find(eProxy), L"/n/p.mov");
  EXPECT_EQ(find(eAuto, 300), L"/n/p.mov");
  EXPECT_EQ(asked(), before);
}

// As one is whose size was read anew.
TEST_F(FsysDirectoryEntryFindTest, OfALinkThatIsKnownToBeThereTheTargetIsReadOnce) {
  MediaFileInfo file = link(L"/Material/a.mov", L"/n/b.mov");
  file.setStatus(MediaFileInfo::ePresent);
  add(file);
  unsigned before = asked();
  EXPECT_EQ(find(eHighRes), L"/n/b.mov");
  EXPECT_GT(asked(), before);
  before = asked();
  EXPECT_EQ(find(eHighRes), L"/n/b.mov");
  EXPECT_EQ(asked(), before);
}

TEST_F(FsysDirectoryEntryFindTest, OfAFileThatIsKnownToBeMissingTheSystemIsAskedNothing) {
  addMissing();
  addProxy(info(L"/Material/a.A0.proxy.360.mov"));
  EXPECT_EQ(find(eHighRes), k360);
  unsigned before = asked();
  EXPECT_EQ(find(eHighRes), k360);
  EXPECT_EQ(asked(), before);
}

}  // namespace

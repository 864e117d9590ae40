// Where a clip's media lies, and whether it is there.
#include "fsys/MediaLocationInfo.h"

#include <string>

#include "fsys/MediaFileInfo.h"
#include "fsys/SystemCache.h"
#include "tests/StorageFixture.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr uint32_t kMissing = MediaFileInfo::eMissing;
constexpr uint32_t kPresent = MediaFileInfo::ePresent;

class MediaLocationInfoTest : public StorageFixture {
protected:
  static Vector<uint32_t> statuses(std::initializer_list<uint32_t> values) {
    Vector<uint32_t> list;
    for (uint32_t value : values) list.add(value);
    return list;
  }
  static MediaLocationInfo withMedia(std::initializer_list<uint32_t> values) {
    MediaLocationInfo info;
    info.mediaStatus_ = statuses(values);
    return info;
  }
  static MediaLocationInfo withProxies(std::initializer_list<uint32_t> values) {
    MediaLocationInfo info;
    info.proxyStatus_ = statuses(values);
    return info;
  }
  static Text shownFor(const MaterialFilename& first) {
    MediaLocationInfo info;
    info.primaryLocations_.add(first);
    return info.getPrimaryLocationDisplayString();
  }
};

TEST_F(MediaLocationInfoTest, NoMediaIsAllOfflineAndNotSomeOffline) {
  EXPECT_TRUE(MediaLocationInfo().allMediaOffline());
  EXPECT_FALSE(MediaLocationInfo().someMediaOffline());
  EXPECT_FALSE(MediaLocationInfo().someProxyOnline());
}

TEST_F(MediaLocationInfoTest, AllMediaIsOfflineWhenEveryFileIsMissing) {
  EXPECT_TRUE(withMedia({kMissing, kMissing}).allMediaOffline());
  EXPECT_FALSE(withMedia({kPresent, kMissing}).allMediaOffline());
  EXPECT_FALSE(withMedia({kMissing, kPresent}).allMediaOffline());
  EXPECT_FALSE(withMedia({0}).allMediaOffline()) << "not probed yet is not missing";
  EXPECT_TRUE(withProxies({kPresent}).allMediaOffline()) << "proxies do not count";
}

TEST_F(MediaLocationInfoTest, SomeMediaIsOfflineWhenOneFileIsMissing) {
  EXPECT_TRUE(withMedia({kPresent, kMissing}).someMediaOffline());
  EXPECT_TRUE(withMedia({kMissing, kPresent}).someMediaOffline());
  EXPECT_FALSE(withMedia({kPresent, 0}).someMediaOffline());
  EXPECT_FALSE(withProxies({kMissing}).someMediaOffline());
}

TEST_F(MediaLocationInfoTest, SomeProxyIsOnlineWhenOneFileIsThere) {
  EXPECT_TRUE(withProxies({kMissing, kPresent}).someProxyOnline());
  EXPECT_FALSE(withProxies({kMissing, 0}).someProxyOnline());
  EXPECT_FALSE(withMedia({kPresent}).someProxyOnline());
}

TEST_F(MediaLocationInfoTest, ThePrimaryLocationIsShownAsTheNameOfItsDrive) {
  addDisk(L"/media/one/");
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/one/");
  drive->setUserName(L"Edit 1");
  EXPECT_EQ(shownFor({drive->getId(), L"Material/clip.mov"}), L"Edit 1");
}

TEST_F(MediaLocationInfoTest, OnlyTheFirstPrimaryLocationIsShown) {
  addDisk(L"/media/one/");
  Qv::Ptr<MediaDrive> drive = registerDrive(L"/media/one/");
  drive->setUserName(L"Edit 1");
  MediaLocationInfo info;
  info.primaryLocations_.add(MaterialFilename());
  info.primaryLocations_.add({drive->getId(), L"Material/clip.mov"});
  EXPECT_EQ(info.getPrimaryLocationDisplayString(), L"");
  info.primaryLocations_.removeIdx(0);
  EXPECT_EQ(info.getPrimaryLocationDisplayString(), L"Edit 1");
}

TEST_F(MediaLocationInfoTest, WithoutADriveOrAPathNothingIsShown) {
  addDisk(L"/media/one/");
  const DriveId id = registeredId(L"/media/one/");
  EXPECT_EQ(MediaLocationInfo().getPrimaryLocationDisplayString(), L"");
  EXPECT_EQ(shownFor({DriveId('0'), L"/Material/clip.mov"}), L"");
  EXPECT_EQ(shownFor({id, Text()}), L"");
  const DriveId gone(0xF0);
  EXPECT_EQ(shownFor({gone, L"Material/clip.mov"}), L"");
  EXPECT_EQ(DiskManager::getDriveWithUniqueId(gone).getUserName(false), L"");
  EXPECT_EQ(diagnostics_.outText(), "");
}

TEST_F(MediaLocationInfoTest, TheFirstLinkedLocationIsShownAsItStands) {
  MediaLocationInfo info;
  info.linkedLocations_.add(L"/far/./clip.mov");
  info.linkedLocations_.add(L"/second");
  EXPECT_EQ(info.getLinkedLocationDisplayString(), L"/far/./clip.mov");
  EXPECT_EQ(diagnostics_.outText(), "");
}

TEST_F(MediaLocationInfoTest, WithoutALinkedLocationThatIsReportedAndNothingIsShown) {
  EXPECT_EQ(MediaLocationInfo().getLinkedLocationDisplayString(), L"");
  EXPECT_EQ(diagnostics_.outText(), "assertion failed i < size_ at Vector\n");
}

TEST_F(MediaLocationInfoTest, ACookieThatIsNoneIsReportedAndOffline) {
  for (unsigned mediaTypes : {1u, 2u, 3u}) {
    diagnostics_.clear();
    EXPECT_TRUE(MediaLocationInfo::isClipOffline(Cookie(), mediaTypes));
    EXPECT_EQ(diagnostics_.outText(),
              "assertion failed false at fsys/MediaLocationInfo line 104\n");
  }
}

TEST_F(MediaLocationInfoTest, AClipThatTheCatalogueDoesNotKnowIsOffline) {
  for (const wchar_t* text : {L"V4K7Q2M9A00", L"S4K7Q2M9A01"})
    for (unsigned mediaTypes : {1u, 2u, 3u})
      EXPECT_TRUE(MediaLocationInfo::isClipOffline(Cookie(Text(text)), mediaTypes));
  EXPECT_EQ(diagnostics_.outText(), "");
}

TEST_F(MediaLocationInfoTest, AKnownClipIsNeverOfflineByItsProxiesAlone) {
  const Cookie clip(Text(L"V4K7Q2M9A00"));
  const DriveId drive = registeredId(L"/m/");
  SystemCache::addFile(clip, MediaFileInfo({drive, L"/V4K7Q2M9A00.mov"}, 600), false);
  EXPECT_FALSE(MediaLocationInfo::isClipOffline(clip, 2)) << "no proxy at all";
  EXPECT_FALSE(MediaLocationInfo::isClipOffline(clip, 1));
  const MediaFileInfo proxy({drive, L"/V4K7Q2M9A00.A0.proxy.360.mov"}, 600);
  SystemCache::addFile(clip, proxy, false);
  EXPECT_FALSE(MediaLocationInfo::isClipOffline(clip, 2)) << "all of them missing";
  EXPECT_TRUE(MediaLocationInfo::isClipOffline(clip, 3));
  const MediaFileInfo there({drive, L"/V4K7Q2M9A00.A0.proxy.720.mov"}, 600);
  os_->files().addFile(there.getLinkFileName());
  SystemCache::addFile(clip, there, false);
  EXPECT_FALSE(MediaLocationInfo::isClipOffline(clip, 2)) << "one is there";
  EXPECT_FALSE(MediaLocationInfo::isClipOffline(clip, 3));
  SystemCache::invalidate();
}

TEST_F(MediaLocationInfoTest, AKnownClipIsOfflineWithoutItsFileOfHighResolution) {
  const Cookie clip(Text(L"S4K7Q2M9A01"));
  const DriveId drive = registeredId(L"/m/");
  SystemCache::addFile(clip, MediaFileInfo({drive, L"/S4K7Q2M9A01.mov"}, L"/away", 512), false);
  EXPECT_TRUE(MediaLocationInfo::isClipOffline(clip, 1));
  EXPECT_TRUE(MediaLocationInfo::isClipOffline(clip, 3));
  EXPECT_FALSE(MediaLocationInfo::isClipOffline(clip, 2));
  SystemCache::invalidate();
}

}  // namespace

// All channels of a shot.

#include <new>

#include "platform/fake/FakeErrors.h"
#include "tests/SystemCacheFixture.h"

namespace {

class SystemCacheShotTest : public SystemCacheFixture {
protected:
  Cookie channel(CookieType type, unsigned n) const {
    return convertCookie(kVision, type, static_cast<uint8_t>(n));
  }
  static Text fileOf(const Cookie& found) {
    return Text(L"/Material/") + found.asWString() + L".mov";
  }
  void addChannels(CookieType type, unsigned from, unsigned to) {
    for (unsigned n = from; n <= to; ++n) add(channel(type, n), fileOf(channel(type, n)));
  }
  // Of which channels each walk has something.
  Texts ofFiles() const {
    Vector<Text> files;
    SystemCache::getFilesForShot(kSound, files);
    Texts names;
    for (const Text& file : files)
      names.push_back(text(file).substr(sizeof("/m/Material/") - 1, 11));
    return names;
  }
  Texts ofMediaFiles() const {
    Vector<MaterialFilename> files;
    SystemCache::getMediaFilesForShot(kSound, files);
    Texts names;
    for (const MaterialFilename& file : files)
      names.push_back(text(file.getPath()).substr(sizeof("/Material/") - 1, 11));
    return names;
  }
  Texts ofEntries() const {
    Texts names;
    for (const SystemCache::Entry& entry : SystemCache::getClipMediaFiles(kSound))
      names.push_back(
          text(entry->primaryFilename().getPath()).substr(sizeof("/Material/") - 1, 11));
    return names;
  }
  Texts expected(std::initializer_list<std::pair<CookieType, unsigned>> channels) const {
    Texts names;
    for (const auto& [type, n] : channels) names.emplace_back(channel(type, n).asString().c_str());
    return names;
  }
  void expectAll(const Texts& names) const {
    EXPECT_EQ(ofFiles(), names);
    EXPECT_EQ(ofMediaFiles(), names);
    EXPECT_EQ(ofEntries(), names);
  }
};

TEST_F(SystemCacheShotTest, AShotHasItsPicturesFrom0AndItsSoundsFrom1EachToTheFirstThatIsMissing) {
  addChannels(eCookieVision, 0, 1);
  addChannels(eCookieVision, 3, 3);
  addChannels(eCookieSound, 0, 2);
  addChannels(eCookieSound, 4, 4);
  expectAll(
      expected({{eCookieVision, 0}, {eCookieVision, 1}, {eCookieSound, 1}, {eCookieSound, 2}}));
}

TEST_F(SystemCacheShotTest, AShotWithoutPictureHasItsSounds) {
  addChannels(eCookieVision, 1, 1);
  addChannels(eCookieSound, 1, 2);
  expectAll(expected({{eCookieSound, 1}, {eCookieSound, 2}}));
}

TEST_F(SystemCacheShotTest, AtMost24PicturesAnd32SoundsAreWalked) {
  addChannels(eCookieVision, 0, 40);
  addChannels(eCookieSound, 0, 40);
  Texts names;
  for (unsigned n = 0; n <= 23; ++n)
    names.emplace_back(channel(eCookieVision, n).asString().c_str());
  for (unsigned n = 1; n <= 32; ++n)
    names.emplace_back(channel(eCookieSound, n).asString().c_str());
  expectAll(names);
}

TEST_F(SystemCacheShotTest, AnUnknownShotHasNothing) {
  expectAll({});
  EXPECT_EQ(SystemCache::getShotFileSize(kVision), 0u);
}

TEST_F(SystemCacheShotTest, AnEntryWithoutAFileEndsTheNamesOfMediaButNotTheFiles) {
  const MediaFileInfo proxy = info(L"/Material/a.A0.proxy.360.mov");
  SystemCache::addProxyFile(channel(eCookieVision, 0), proxy);
  SystemCache::removeProxyFile(channel(eCookieVision, 0), proxy);
  addChannels(eCookieVision, 1, 1);
  addChannels(eCookieSound, 1, 1);
  EXPECT_EQ(ofMediaFiles(), expected({{eCookieSound, 1}}));
  Vector<Text> files;
  SystemCache::getFilesForShot(kVision, files);
  ASSERT_EQ(files.size(), 3u);
  EXPECT_EQ(files[0], L"") << "the path of an entry that has none";
  EXPECT_EQ(SystemCache::getClipMediaFiles(kVision).size(), 3u);
}

TEST_F(SystemCacheShotTest, AChannelThatHasAProxyAloneIsNamedByIt) {
  add(kVision, L"/Material/V4K7Q2M9A00.A0.proxy.360.mov");
  EXPECT_EQ(ofMediaFiles(), Texts{"V4K7Q2M9A00"});
}

TEST_F(SystemCacheShotTest, WhatIsFoundIsAppended) {
  addChannels(eCookieVision, 0, 0);
  Vector<Text> files;
  files.add(L"before");
  SystemCache::getFilesForShot(kVision, files);
  Vector<MaterialFilename> names;
  names.add(MaterialFilename());
  SystemCache::getMediaFilesForShot(kVision, names);
  EXPECT_EQ(files.size(), 2u);
  EXPECT_EQ(files[0], L"before");
  EXPECT_EQ(names.size(), 2u);
}

TEST_F(SystemCacheShotTest, OfALinkTheFileIsItsTargetAsItStands) {
  const MaterialFilename name(DriveId('1'), L"/Material/a.mov");
  SystemCache::addFile(kVision, MediaFileInfo(name, L"/n/./clips/../a.mov", 512), false);
  Vector<Text> files;
  SystemCache::getFilesForShot(kVision, files);
  ASSERT_EQ(files.size(), 1u);
  EXPECT_EQ(files[0], L"/n/./clips/../a.mov");
}

TEST_F(SystemCacheShotTest, AShotsSizeIsThatOfItsFilesOnTheDisk) {
  addChannels(eCookieVision, 0, 1);
  addChannels(eCookieSound, 1, 1);
  put(Text(L"/m") + fileOf(channel(eCookieVision, 0)), 10);
  put(Text(L"/m") + fileOf(channel(eCookieSound, 1)), 300);
  EXPECT_EQ(SystemCache::getShotFileSize(kVision), 310u) << "what is not there has no size";
}

TEST_F(SystemCacheShotTest, FilesHaveTheirSizesHoweverLateTheirDriveIs) {
  addChannels(eCookieVision, 0, 0);
  put(Text(L"/m") + fileOf(channel(eCookieVision, 0)), 10);
  os_->faults().fail(FaultPlan::eAnswerErrand, eOsTimedOut);
  EXPECT_EQ(SystemCache::getShotFileSize(kVision), 10u);
}

TEST_F(SystemCacheShotTest, AShotsSizeIsWholeOrNoneWhenMemoryIsRefused) {
  addChannels(eCookieVision, 0, 1);
  put(Text(L"/m") + fileOf(channel(eCookieVision, 0)), 10);
  put(Text(L"/m") + fileOf(channel(eCookieVision, 1)), 300);
  bool isDone = false;
  for (int nth = 0; !isDone; ++nth) {
    FailingHeap heap;
    if (!heap.isAsked())
      GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
    heap.refuse(nth, true);
    try {
      const uint64_t bytes = SystemCache::getShotFileSize(kVision);
      isDone = !heap.letBe();
      EXPECT_EQ(bytes, 310u) << nth;
    } catch (const std::bad_alloc&) {
      EXPECT_TRUE(heap.letBe());
    }
  }
}

TEST_F(SystemCacheShotTest, EntriesStayWithWhoHoldsThem) {
  addChannels(eCookieVision, 0, 0);
  const std::vector<SystemCache::Entry> held = SystemCache::getClipMediaFiles(kVision);
  SystemCache::invalidate();
  ASSERT_EQ(held.size(), 1u);
  EXPECT_EQ(held[0]->fileSize(), 1000u);
}

}  // namespace

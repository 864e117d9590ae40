// A proxy with sound is in the catalogue under the sound cookies of its channels, too.

#include "fsys/SystemCache.h"
#include "tests/DirectoryEntryFixture.h"
#include "tests/support/FailingHeap.h"

namespace {

class FsysDirectoryEntrySoundTest : public DirectoryEntryFixture {
protected:
  FsysDirectoryEntrySoundTest() { SystemCache::invalidate(); }
  ~FsysDirectoryEntrySoundTest() override { SystemCache::invalidate(); }

  // The sound channels of the shot that have an entry.
  std::vector<unsigned> channels() const {
    std::vector<unsigned> found;
    for (unsigned n = 0; n <= 255; ++n)
      if (SystemCache::findEntryForCookie(
              convertCookie(kCookie, eCookieSound, static_cast<unsigned char>(n))))
        found.push_back(n);
    return found;
  }
};

TEST_F(FsysDirectoryEntrySoundTest, OfTwoChannelsThereAreTwoSoundCookies) {
  add(info(L"/Material/a.A2.proxy.360.mov"));
  EXPECT_EQ(channels(), (std::vector<unsigned>{1, 2}));
  for (unsigned char n = 1; n <= 2; ++n) {
    auto entry = SystemCache::findEntryForCookie(convertCookie(kCookie, eCookieSound, n));
    ASSERT_TRUE(entry);
    EXPECT_FALSE(entry->hasHighRes());
    ASSERT_EQ(entry->getProxyFiles().size(), 1u);
    EXPECT_EQ(entry->primaryFilename().getPath(), L"/Material/a.A2.proxy.360.mov");
  }
  EXPECT_FALSE(SystemCache::findEntryForCookie(kCookie));
}

TEST_F(FsysDirectoryEntrySoundTest, WithoutSoundThereIsNone) {
  add(info(L"/Material/a.A0.proxy.360.mov"));
  add(info(L"/Material/a.proxy.360.mov"));
  add(info(L"/Material/a.A2.mov"));
  EXPECT_EQ(channels(), std::vector<unsigned>());
}

TEST_F(FsysDirectoryEntrySoundTest, AProxyThatIsThereAlreadyIsNotAddedAgain) {
  add(info(L"/Material/a.A1.proxy.360.mov"));
  SystemCache::invalidate();
  add(info(L"/Material/a.A1.proxy.360.mov"));
  EXPECT_EQ(channels(), std::vector<unsigned>());
}

TEST_F(FsysDirectoryEntrySoundTest, AProxyThatCouldNotBeAddedForWantOfMemoryCanBeAddedAgain) {
  const MediaFileInfo proxy = info(L"/Material/a.A2.proxy.360.mov");
  for (int nth = 0;; ++nth) {
    SystemCache::invalidate();
    entry_.removeProxyFile(L"/m/Material/a.A2.proxy.360.mov");
    bool isThrown = false;
    {
      FailingHeap heap;
      if (!heap.isAsked()) GTEST_SKIP() << "a sanitizer's heap never fails";
      heap.refuse(nth, true);
      try {
        add(proxy);
      } catch (const std::bad_alloc&) {
        isThrown = true;
      }
      heap.letBe();
    }
    if (!isThrown) break;
    EXPECT_FALSE(entry_.hasProxies()) << nth;
    add(proxy);
    EXPECT_EQ(channels(), (std::vector<unsigned>{1, 2})) << nth;
  }
  EXPECT_TRUE(entry_.hasProxies());
}

TEST_F(FsysDirectoryEntrySoundTest, AddProxyFileAloneAddsNoSound) {
  addProxy(info(L"/Material/a.A2.proxy.360.mov"));
  EXPECT_EQ(channels(), std::vector<unsigned>());
}

TEST_F(FsysDirectoryEntrySoundTest, SoundCookiesEndAtChannel255) {
  for (const wchar_t* path :
       {L"/Material/a.A255.proxy.360.mov", L"/Material/a.A256.proxy.360.mov"}) {
    SystemCache::invalidate();
    add(info(path));
    const std::vector<unsigned> found = channels();
    ASSERT_EQ(found.size(), 255u) << toUTF8(path).c_str();
    EXPECT_EQ(found.front(), 1u);
    EXPECT_EQ(found.back(), 255u);
  }
}

}  // namespace

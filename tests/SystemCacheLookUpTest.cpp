// Which file, drive or status a cookie has.

#include <algorithm>
#include <functional>

#include "tests/SystemCacheFixture.h"

namespace {

class SystemCacheLookUpTest : public SystemCacheFixture {
protected:
  static constexpr const char* kNoMedia =
      "assertion failed c.getType() == CookieTypeVision || c.getType() == CookieTypeSound at "
      "fsys/SystemCache line 214\n";

  static bool isMissing(const MaterialFilename& name) {
    return !name.getDrive().valid() && name.getPath().empty();
  }
};

TEST_F(SystemCacheLookUpTest, OfAnUnknownCookieThereIsNothing) {
  Text path = L"untouched";
  std::list<MediaFileInfo> proxies;
  EXPECT_FALSE(SystemCache::findEntryForCookie(kVision));
  EXPECT_TRUE(isMissing(SystemCache::find(kVision)));
  EXPECT_FALSE(SystemCache::fileExists(kVision));
  EXPECT_EQ(SystemCache::fileSize(kVision), 0u);
  EXPECT_FALSE(SystemCache::findFileForCookie(kVision, path, DecodeFormat(eHighRes)));
  EXPECT_EQ(path, L"untouched");
  EXPECT_FALSE(SystemCache::getProxyFiles(kVision, proxies));
  EXPECT_FALSE(SystemCache::isLinked(kVision));
  EXPECT_FALSE(SystemCache::updateLinks(kVision, DriveId('2')));
  EXPECT_FALSE(SystemCache::realiseLinks(kVision));
  EXPECT_FALSE(SystemCache::renameProxyFile(kVision, L"a", L"b"));
  SystemCache::removeProxyFile(kVision, info(L"/Material/a.A0.proxy.1.mov"));
  EXPECT_EQ(catalogued(), Cookies{});
  EXPECT_EQ(diagnostics_.out(), Texts{});
}

TEST_F(SystemCacheLookUpTest, TheStatusOfAnUnknownCookieIsMissingWhateverIsAskedFor) {
  for (unsigned mediaTypes : {0u, 1u, 2u, 3u, 7u})
    EXPECT_EQ(SystemCache::updateStatus(kVision, mediaTypes), 1u) << mediaTypes;
}

TEST_F(SystemCacheLookUpTest, ACookieThatIsNoMediasIsReportedAndLookedUpAllTheSame) {
  EXPECT_FALSE(SystemCache::findEntryForCookie(Cookie()));
  EXPECT_EQ(diagnostics_.out(), Texts{kNoMedia});
  add(Cookie(), L"/Material/a.mov");
  EXPECT_EQ(diagnostics_.out(), (Texts{kNoMedia, kNoMedia}));
  EXPECT_EQ(pathOf(Cookie()), "/Material/a.mov");
}

TEST_F(SystemCacheLookUpTest, NoOtherTypeOfTheSameShotIsFound) {
  add(kVision, L"/Material/a.mov");
  EXPECT_TRUE(SystemCache::findEntryForCookie(kVision));
  EXPECT_FALSE(SystemCache::findEntryForCookie(convertCookie(kVision, eCookieSound, 0)));
  EXPECT_FALSE(SystemCache::findEntryForCookie(convertCookie(kVision, eCookieVision, 1)));
  EXPECT_EQ(diagnostics_.out(), Texts{});
}

TEST_F(SystemCacheLookUpTest, TheFileOfHighResolutionIsFoundBeforeTheFirstProxy) {
  add(kVision, L"/Material/a.A0.proxy.720.mov");
  add(kVision, L"/Material/a.A0.proxy.360.mov");
  EXPECT_EQ(pathOf(kVision), "/Material/a.A0.proxy.720.mov");
  EXPECT_EQ(SystemCache::fileSize(kVision), 0u);
  EXPECT_TRUE(SystemCache::fileExists(kVision));
  add(kVision, L"/Material/a.mov", 4000);
  EXPECT_EQ(pathOf(kVision), "/Material/a.mov");
  EXPECT_EQ(SystemCache::fileSize(kVision), 4000u);
}

TEST_F(SystemCacheLookUpTest, AFileWithoutADriveOrAPathIsMissing) {
  SystemCache::addFile(kVision, info(L"/Material/a.mov", 1000, DriveId()), false);
  EXPECT_FALSE(SystemCache::fileExists(kVision));
  SystemCache::addFile(kOther, info(L""), false);
  EXPECT_FALSE(SystemCache::fileExists(kOther));
}

TEST_F(SystemCacheLookUpTest, TheFileToOpenIsTheOneOfItsLevel) {
  put(L"/m/Material/a.mov");
  put(L"/m/Material/a.A0.proxy.360.mov");
  add(kVision, L"/Material/a.mov");
  add(kVision, L"/Material/a.A0.proxy.360.mov");
  Text path;
  EXPECT_TRUE(SystemCache::findFileForCookie(kVision, path, DecodeFormat(eHighRes)));
  EXPECT_EQ(path, L"/m/Material/a.mov");
  EXPECT_TRUE(SystemCache::findFileForCookie(kVision, path, DecodeFormat(eProxy)));
  EXPECT_EQ(path, L"/m/Material/a.A0.proxy.360.mov");
}

TEST_F(SystemCacheLookUpTest, AFileThatIsMissingIsNotFoundAndThePathIsEmpty) {
  // A link: a file that is none counts as there when it is added.
  add(kVision, L"/Material/a.mov", 512);
  Text path = L"before";
  EXPECT_FALSE(SystemCache::findFileForCookie(kVision, path, DecodeFormat(eHighRes)));
  EXPECT_EQ(path, L"");
}

TEST_F(SystemCacheLookUpTest, AnEntryThatHoldsNoFileIsFoundWithAnEmptyPath) {
  const MediaFileInfo proxy = info(L"/Material/a.A0.proxy.360.mov");
  SystemCache::addProxyFile(kVision, proxy);
  SystemCache::removeProxyFile(kVision, proxy);
  ASSERT_EQ(proxiesOf(kVision), Texts{});
  Text path = L"before";
  EXPECT_TRUE(SystemCache::findFileForCookie(kVision, path, DecodeFormat(eHighRes)));
  EXPECT_EQ(path, L"");
}

TEST_F(SystemCacheLookUpTest, OnceProbedTheFileIsFoundWithoutACallOfTheSystem) {
  put(L"/m/Material/a.mov");
  add(kVision, L"/Material/a.mov");
  Text path;
  SystemCache::findFileForCookie(kVision, path, DecodeFormat(eHighRes));
  const auto asked = [this] {
    unsigned calls = 0;
    for (size_t kind = 0; kind < FaultPlan::eCallKinds; ++kind)
      calls += os_->faults().calls(static_cast<FaultPlan::eCall>(kind));
    return calls;
  };
  const unsigned before = asked();
  EXPECT_TRUE(SystemCache::findFileForCookie(kVision, path, DecodeFormat(eHighRes)));
  EXPECT_EQ(asked(), before);
}

TEST_F(SystemCacheLookUpTest, StatusLinksAndProxiesAreTheEntrys) {
  put(L"/m/Material/a.A0.proxy.360.mov");
  add(kVision, L"/Material/a.mov", 512);
  add(kVision, L"/Material/a.A0.proxy.360.mov");
  EXPECT_TRUE(SystemCache::isLinked(kVision));
  EXPECT_EQ(SystemCache::updateStatus(kVision, 1), 1u);
  EXPECT_EQ(SystemCache::updateStatus(kVision, 2), 2u);
  EXPECT_TRUE(SystemCache::renameProxyFile(kVision, L"/m/Material/a.A0.proxy.360.mov",
                                           L"/m/Material/b.A0.proxy.360.mov"));
  EXPECT_FALSE(SystemCache::renameProxyFile(kVision, L"/none", L"/m/Material/c"));
  EXPECT_EQ(proxiesOf(kVision), Texts{"/Material/b.A0.proxy.360.mov"});
}

TEST_F(SystemCacheLookUpTest, UpdatingTheLinksMovesTheFileToTheDrive) {
  add(kVision, L"/Material/a.mov", 512);
  EXPECT_TRUE(SystemCache::updateLinks(kVision, DriveId('2')));
  EXPECT_EQ(SystemCache::find(kVision).getDrive(), DriveId('2'));
}

TEST_F(SystemCacheLookUpTest, LinksThatAreRealisedAreToldWhenThereIsAFileToOpen) {
  writeDown();
  put(L"/m/Material/a.mov", 512);
  add(kVision, L"/Material/a.mov", 512);
  ASSERT_TRUE(SystemCache::findEntryForCookie(kVision)->hasHighRes());
  EXPECT_TRUE(SystemCache::realiseLinks(kVision));
  EXPECT_EQ(messages_, Texts{}) << "the link leads nowhere";
  SystemCache::addFile(kOther, info(L"/Material/a.mov", 1000, DriveId()), false);
  ASSERT_FALSE(SystemCache::findEntryForCookie(kOther)->hasHighRes());
  EXPECT_TRUE(SystemCache::realiseLinks(kOther));
  EXPECT_EQ(messages_, Texts{"SysCacheAdd VZZZZZZZZ00"}) << "without a drive there is a path";
}

// Proxies -------------------------------------------------------------------------------------

TEST_F(SystemCacheLookUpTest, WhatIsAddedAsAProxyIsOneWhateverItIs) {
  add(kVision, L"/Material/a.mov");
  for (const Cookie& cookie : {kVision, kOther}) {
    SystemCache::addProxyFile(cookie, info(L"/Material/b.mov"));
    EXPECT_EQ(proxiesOf(cookie), Texts{"/Material/b.mov"});
    EXPECT_EQ(SystemCache::findEntryForCookie(cookie)->hasHighRes(), cookie == kVision);
  }
  EXPECT_EQ(pathOf(kVision), "/Material/a.mov");
}

TEST_F(SystemCacheLookUpTest, OfTheSoundOfWhatIsAddedAsAProxyThereIsNoEntry) {
  add(kVision, L"/Material/a.mov");
  for (const Cookie& cookie : {kVision, kOther})
    SystemCache::addProxyFile(cookie, info(L"/Material/a.A2.proxy.360.mov"));
  EXPECT_EQ(catalogued(), (Cookies{"V4K7Q2M9A00", "VZZZZZZZZ00"}));
  EXPECT_EQ(proxiesOf(kVision).size(), 1u);
}

// By the kind of a channel --------------------------------------------------------------------

TEST_F(SystemCacheLookUpTest, TheDriveOfThePictureIsThatOfVisionChannel0) {
  SystemCache::addFile(kVision, info(L"/Material/a.mov", 1000, DriveId('2')), false);
  for (EditChanType type :
       {eEditChanVision, eEditChanMainVision, EditChanType(1), EditChanType(127)})
    EXPECT_EQ(SystemCache::getDriveForCookie(kSound, type), DriveId('2')) << type;
  EXPECT_EQ(SystemCache::getDriveForCookie(kOther, eEditChanVision), DriveId());
}

TEST_F(SystemCacheLookUpTest, AFileWithoutAPathIsMissingAndHasNoDrive) {
  SystemCache::addProxyFile(kVision, info(L"", 1000, DriveId('2')));
  SystemCache::addProxyFile(kSound, info(L"", 1000, DriveId('2')));
  EXPECT_EQ(SystemCache::getDriveForCookie(kVision, eEditChanVision), DriveId());
  EXPECT_EQ(SystemCache::getDriveForCookie(kVision, eEditChanSound), DriveId());
}

TEST_F(SystemCacheLookUpTest, OfAnyOtherChannelThereIsNoDrive) {
  add(kVision, L"/Material/a.mov");
  add(kSound, L"/Sound/a.wav");
  for (int type : {0, 3, -1, 126, 128})
    EXPECT_EQ(SystemCache::getDriveForCookie(kVision, EditChanType(type)), DriveId()) << type;
}

// The number of channels is read once in a process: 16 are looked at here.
TEST_F(SystemCacheLookUpTest, TheDriveOfTheSoundIsThatOfTheFirstChannelOf16ThatHasAFile) {
  const auto sound = [this](unsigned channel, char drive) {
    SystemCache::addFile(convertCookie(kVision, eCookieSound, static_cast<uint8_t>(channel)),
                         info(L"/Sound/a.wav", 1000, DriveId(static_cast<uint8_t>(drive))), false);
  };
  sound(0, '1');
  sound(17, '1');
  EXPECT_EQ(SystemCache::getDriveForCookie(kVision, eEditChanSound), DriveId());
  sound(16, '2');
  EXPECT_EQ(SystemCache::getDriveForCookie(kVision, eEditChanSound), DriveId('2'));
  sound(3, '1');
  EXPECT_EQ(SystemCache::getDriveForCookie(kVision, eEditChanSound), DriveId('1'));
  sound(1, '0');
  EXPECT_EQ(SystemCache::getDriveForCookie(kVision, eEditChanSound), DriveId('1'))
      << "what is missing is passed over";
}

// All entries -----------------------------------------------------------------------------------

TEST_F(SystemCacheLookUpTest, EntriesAreVisitedInTheCookiesOrderUntilTheCallbackSaysNo) {
  for (const wchar_t* text : {L"V000000ZZ00", L"S000000ZZ02", L"V000000AA05", L"S000000ZZ01"})
    add(cookie(text), Text(L"/Material/") + text);
  EXPECT_EQ(catalogued(), (Cookies{"V000000AA05", "S000000ZZ01", "S000000ZZ02", "V000000ZZ00"}));
  Cookies visited;
  SystemCache::enumerate([&visited](const Cookie& found, const FsysDirectoryEntry& entry) {
    EXPECT_EQ(entry.primaryFilename().getPath(), Text(L"/Material/") + found.asWString());
    visited.emplace_back(found.asString(true).c_str());
    return visited.size() < 2;
  });
  EXPECT_EQ(visited, (Cookies{"V000000AA05", "S000000ZZ01"}));
}

TEST_F(SystemCacheLookUpTest, AnEmptyFunctionThrowsAtTheFirstEntry) {
  EXPECT_NO_THROW(SystemCache::enumerate(nullptr));
  add(kVision, L"/Material/a.mov");
  EXPECT_THROW(SystemCache::enumerate(nullptr), std::bad_function_call);
  EXPECT_FALSE(SystemCachePeer::isLocked());
  EXPECT_EQ(catalogued(), Cookies{"V4K7Q2M9A00"});
}

TEST_F(SystemCacheLookUpTest, TheCallbackIsCalledUnderTheLockAndMayLookUp) {
  add(kVision, L"/Material/a.mov");
  SystemCache::enumerate([](const Cookie& found, const FsysDirectoryEntry& entry) {
    EXPECT_TRUE(SystemCachePeer::isLocked());
    EXPECT_EQ(SystemCache::findEntryForCookie(found).get(), &entry);
    return true;
  });
  EXPECT_FALSE(SystemCachePeer::isLocked());
}

TEST_F(SystemCacheLookUpTest, TheWalkGoesOnBehindTheLastCookieWhateverTheCallbackChanges) {
  constexpr unsigned kChannels = 100;
  const auto channel = [this](unsigned n) {
    return convertCookie(kVision, eCookieVision, static_cast<uint8_t>(n));
  };
  for (unsigned n = 0; n < kChannels; ++n) add(channel(2 * n), L"/Material/a.mov");
  std::vector<unsigned> visited;
  SystemCache::enumerate([&](const Cookie& found, const FsysDirectoryEntry& entry) {
    visited.push_back(found.getChannel());
    const unsigned n = found.getChannel();
    if (n == 10) add(channel(11), L"/Material/new.mov");  // behind: it comes next
    if (n == 20) add(channel(19), L"/Material/new.mov");  // before: it does not
    if (n == 30) SystemCache::removeFile(channel(32), false, 3);
    if (n == 40) SystemCache::removeFile(found, false, 3);
    EXPECT_EQ(entry.fileSize(), n == 40 ? 0u : 1000u) << "it is whole while it is visited";
    if (n == 50) SystemCache::invalidate();
    if (n == 50) add(channel(60), L"/Material/new.mov");
    return true;
  });
  std::vector<unsigned> expected;
  for (unsigned n = 0; n <= 50; n += 2) {
    if (n != 32) expected.push_back(n);
    if (n == 10) expected.push_back(11);
  }
  expected.push_back(60);
  EXPECT_EQ(visited, expected);
}

TEST_F(SystemCacheLookUpTest, WhatTheCallbackThrowsReachesTheCallerAndTheCatalogueGoesOn) {
  add(kVision, L"/Material/a.mov");
  const auto throws = [](const Cookie&, const FsysDirectoryEntry&) -> bool {
    throw std::runtime_error("of the callback");
  };
  EXPECT_THROW(SystemCache::enumerate(throws), std::runtime_error);
  EXPECT_FALSE(SystemCachePeer::isLocked());
  EXPECT_EQ(catalogued(), Cookies{"V4K7Q2M9A00"});
}

}  // namespace

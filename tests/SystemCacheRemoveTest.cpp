// What is taken out of the catalogue, and from the disk.

#include <new>
#include <stdexcept>

#include "platform/fake/FakeErrors.h"
#include "tests/SystemCacheFixture.h"

namespace {

class SystemCacheRemoveTest : public SystemCacheFixture {
protected:
  static constexpr const wchar_t* kFile = L"/Material/a.mov";
  static constexpr const wchar_t* kProxy = L"/Material/a.A0.proxy.360.mov";

  void addBoth() {
    addHighRes();
    addProxy();
  }
  void addHighRes() {
    put(Text(L"/m") + kFile);
    add(kVision, kFile);
  }
  void addProxy() {
    put(Text(L"/m") + kProxy);
    add(kVision, kProxy);
  }
  // Which of the two are on the disk, and whether the cookie is catalogued: "hp+".
  std::string left() {
    std::string what;
    if (files().hasFile(Text(L"/m") + kFile)) what += 'h';
    if (files().hasFile(Text(L"/m") + kProxy)) what += 'p';
    return what + (SystemCache::findEntryForCookie(kVision) ? '+' : '-');
  }
  bool remove(unsigned mediaTypes) { return SystemCache::removeFile(kVision, true, mediaTypes); }
};

TEST_F(SystemCacheRemoveTest, BothTypesGoWithTheEntry) {
  writeDown();
  addBoth();
  EXPECT_TRUE(remove(3));
  EXPECT_EQ(left(), "-");
  EXPECT_EQ(messages_, Texts{"SysCacheDel V4K7Q2M9A00"});
}

TEST_F(SystemCacheRemoveTest, HighResolutionGoesWithoutTheEntryWhileItHasProxies) {
  writeDown();
  addBoth();
  EXPECT_TRUE(remove(1));
  EXPECT_EQ(left(), "p+");
  EXPECT_EQ(messages_, Texts{"SysCacheDel V4K7Q2M9A00"});
  addHighRes();
  EXPECT_EQ(left(), "hp+");
}

TEST_F(SystemCacheRemoveTest, HighResolutionGoesWithTheEntryThatHasNoProxies) {
  addHighRes();
  EXPECT_TRUE(remove(1));
  EXPECT_EQ(left(), "-");
}

TEST_F(SystemCacheRemoveTest, HighResolutionGoesWithTheEntryThatHasNoFileAtAll) {
  SystemCache::addProxyFile(kVision, info(kProxy));
  SystemCache::removeProxyFile(kVision, info(kProxy));
  ASSERT_EQ(left(), "+");
  EXPECT_TRUE(remove(1));
  EXPECT_EQ(left(), "-");
}

TEST_F(SystemCacheRemoveTest, ProxiesGoWithoutTheEntryWhileItHasAFileOfHighResolution) {
  writeDown();
  addBoth();
  EXPECT_TRUE(remove(2));
  EXPECT_EQ(left(), "h+");
  EXPECT_EQ(messages_, Texts{"SysCacheDel V4K7Q2M9A00"}) << "the message of files";
}

TEST_F(SystemCacheRemoveTest, ProxiesGoWithTheEntryThatHasNothingElse) {
  addProxy();
  EXPECT_TRUE(remove(2));
  EXPECT_EQ(left(), "-");
}

TEST_F(SystemCacheRemoveTest, OfTypesThatThereAreNoneOfTheEntryStays) {
  addBoth();
  EXPECT_TRUE(remove(0));
  EXPECT_EQ(left(), "hp+");
  EXPECT_TRUE(remove(4));
  EXPECT_EQ(left(), "hp+");
  remove(7);
  EXPECT_EQ(left(), "+") << "the files of the known bits go, the entry is kept";
}

// What only has proxies outlives its drive in the catalogue; their names without it may be those of
// another disk's files.
TEST_F(SystemCacheRemoveTest, AnEntryThatOutlivesItsDriveTakesNoOtherDisksFiles) {
  const std::vector<Text> canaries = {kProxy, Text(kProxy) + L".qvix", kFile};
  for (const unsigned types : {1u, 2u, 3u}) {
    const DriveId id = registeredId(L"/gone/");
    SystemCache::addFile(kVision, info(kProxy, 1000, id), false);
    for (const Text& path : canaries) put(path);
    put(Text(L"/gone") + kProxy);
    ASSERT_TRUE(DiskManager::removeMediaLocation(L"/gone/"));
    ASSERT_TRUE(SystemCache::findEntryForCookie(kVision));
    os_->errors().setLastError(0);
    EXPECT_EQ(remove(types), types == 1) << "of high resolution there is none";
    EXPECT_EQ(os_->errors().getLastError(), types == 1 ? 0u : uint32_t{eOsNotFound});
    EXPECT_EQ(left(), types == 1 ? "+" : "-");
    for (const Text& path : canaries) EXPECT_TRUE(files().hasFile(path)) << text(path);
    EXPECT_TRUE(files().hasFile(Text(L"/gone") + kProxy)) << "it is not known where it was";
    SystemCache::invalidate();
  }
}

TEST_F(SystemCacheRemoveTest, AnEntryThatIsHeldAsItsDriveGoesTakesNoOtherDisksFiles) {
  const DriveId id = registeredId(L"/gone/");
  SystemCache::addFile(kVision, info(kFile, 1000, id), false);
  SystemCache::addFile(kVision, info(kProxy, 1000, id), false);
  const SystemCache::Entry held = SystemCache::findEntryForCookie(kVision);
  held->setLinkedFilename(L"/far/a.mov");
  files().addFolder(L"/Material");
  ASSERT_TRUE(DiskManager::removeMediaLocation(L"/gone/"));
  ASSERT_FALSE(SystemCache::findEntryForCookie(kVision));
  held->realiseLinks(true);
  EXPECT_FALSE(files().hasFile(kFile));
  for (const Text& path : {Text(kFile), Text(kProxy), Text(kFile) + L".qvix"}) put(path);
  EXPECT_EQ(held->deleteFiles(3), eOsNotFound);
  for (const Text& path : {Text(kFile), Text(kProxy), Text(kFile) + L".qvix"})
    EXPECT_TRUE(files().hasFile(path)) << text(path);
}

TEST_F(SystemCacheRemoveTest, NobodyIsToldWithoutBeingAskedTo) {
  writeDown();
  addBoth();
  EXPECT_TRUE(SystemCache::removeFile(kVision, false, 3));
  EXPECT_EQ(messages_, Texts{});
}

TEST_F(SystemCacheRemoveTest, AnUnknownCookieIsReportedAndTrue) {
  writeDown();
  EXPECT_TRUE(remove(3));
  EXPECT_EQ(diagnostics_.out(), Texts{"assertion failed false at fsys/SystemCache line 385\n"});
  EXPECT_EQ(messages_, Texts{});
}

TEST_F(SystemCacheRemoveTest, AFileThatCannotBeDeletedIsFalseAndTheEntryIsGone) {
  addHighRes();
  os_->faults().fail(FaultPlan::eDeleteFile, eOsAccessDenied);
  EXPECT_FALSE(remove(3));
  EXPECT_EQ(left(), "h-");
}

TEST_F(SystemCacheRemoveTest, ListenersHearWhenTheEntryIsGoneAndItsFilesAreNot) {
  addBoth();
  hear(SystemCache::fileRemovedMsgType_, [this](const NotifyMsg& message) {
    EXPECT_TRUE(SystemCachePeer::isLocked());
    EXPECT_EQ(left(), "hp-");
    const auto entry = Qv::dynamicCast<FsysDirectoryEntry>(message.getPayload());
    ASSERT_TRUE(entry);
    EXPECT_TRUE(entry->hasHighRes());
    messages_.emplace_back("heard");
  });
  EXPECT_TRUE(remove(3));
  EXPECT_EQ(messages_.size(), 1u);
}

TEST_F(SystemCacheRemoveTest, AnEntryThatAListenerHoldsIsWhole) {
  addBoth();
  Qv::Ptr<FsysDirectoryEntry> held;
  hear(SystemCache::fileRemovedMsgType_, [&held](const NotifyMsg& message) {
    held = Qv::dynamicCast<FsysDirectoryEntry>(message.getPayload());
  });
  remove(3);
  ASSERT_TRUE(held);
  EXPECT_FALSE(held->hasHighRes()) << "its files were deleted";
  held->addFile(kVision, info(kFile));
  EXPECT_EQ(held->fileSize(), 1000u);
  EXPECT_FALSE(SystemCache::findEntryForCookie(kVision));
}

TEST_F(SystemCacheRemoveTest, WhatAListenerThrowsReachesTheCallerAndNothingWasDeleted) {
  addBoth();
  hear(SystemCache::fileRemovedMsgType_,
       [](const NotifyMsg&) { throw std::runtime_error("of the listener"); });
  EXPECT_THROW(remove(3), std::runtime_error);
  EXPECT_FALSE(SystemCachePeer::isLocked());
  EXPECT_EQ(left(), "hp-");
}

TEST_F(SystemCacheRemoveTest, WhereverMemoryIsRefusedNoEntryGoesUntold) {
  bool isHeard = false;
  hear(SystemCache::fileRemovedMsgType_, [&isHeard](const NotifyMsg&) { isHeard = true; });
  bool isDone = false;
  for (int nth = 0; !isDone; ++nth) {
    SystemCache::invalidate();
    isHeard = false;
    addBoth();
    {
      FailingHeap heap;
      if (!heap.isAsked())
        GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
      heap.refuse(nth, true);
      try {
        remove(3);
        isDone = !heap.letBe();
      } catch (const std::bad_alloc&) {
        heap.letBe();
      }
    }
    EXPECT_FALSE(SystemCachePeer::isLocked()) << nth;
    EXPECT_EQ(SystemCache::findEntryForCookie(kVision) == nullptr, isHeard) << nth;
    if (!isHeard) {
      EXPECT_EQ(left(), "hp+") << nth;
    }
  }
  EXPECT_TRUE(isHeard);
  EXPECT_EQ(left(), "-");
}

TEST_F(SystemCacheRemoveTest, ACookieThatIsNeitherPictureNorSoundIsReportedAsUnknownAlone) {
  EXPECT_TRUE(SystemCache::removeFile(cookie(L"none"), true, 3));
  EXPECT_EQ(diagnostics_.out(), Texts{"assertion failed false at fsys/SystemCache line 385\n"});
}

TEST_F(SystemCacheRemoveTest, EntriesThatGoTogetherEndWhenTheLockIsFree) {
  unsigned ended = 0;
  const auto plant = [&] {
    SystemCache::Entry entry(new WatchedEntry([&ended] {
      ++ended;
      EXPECT_FALSE(SystemCachePeer::isLocked());
    }));
    entry->addFile(kVision, info(kFile));
    SystemCachePeer::plant(kVision, entry);
  };
  plant();
  SystemCache::invalidate();
  EXPECT_EQ(ended, 1u);
  plant();
  SystemCache::removeMediaLocation(DriveId('1'));
  EXPECT_EQ(ended, 2u);
}

TEST_F(SystemCacheRemoveTest, AListenerMayAddTheFileAgain) {
  addHighRes();
  hear(SystemCache::fileRemovedMsgType_,
       [this](const NotifyMsg&) { add(kVision, L"/Material/again.mov"); });
  EXPECT_TRUE(remove(3));
  EXPECT_EQ(left(), "+");
  EXPECT_EQ(pathOf(kVision), "/Material/again.mov");
}

TEST_F(SystemCacheRemoveTest, RemovingAProxyForgetsItAndLeavesItOnTheDisk) {
  writeDown();
  addProxy();
  SystemCache::removeProxyFile(kVision, info(kProxy));
  EXPECT_EQ(proxiesOf(kVision), Texts{});
  EXPECT_EQ(left(), "p+") << "the entry stays too";
  EXPECT_EQ(messages_, Texts{});
}

TEST_F(SystemCacheRemoveTest, ALinkedProxyIsForgottenByWhereItLeads) {
  const MediaFileInfo linked({DriveId('1'), kProxy}, L"/n/p.mov", 512);
  SystemCache::addProxyFile(kVision, linked);
  SystemCache::addProxyFile(kVision, info(L"/Material/b.A0.proxy.360.mov"));
  SystemCache::removeProxyFile(kVision, linked);
  EXPECT_EQ(proxiesOf(kVision), Texts{"/Material/b.A0.proxy.360.mov"});
}

TEST_F(SystemCacheRemoveTest, RenamingIsNotSupported) {
  addHighRes();
  const MaterialFilename name = SystemCache::renameFile(L"/m/Material/a.mov", L"/m/Material/b.mov");
  EXPECT_FALSE(name.getDrive().valid());
  EXPECT_TRUE(name.getPath().empty());
  EXPECT_EQ(diagnostics_.out(), Texts{"assertion failed false at fsys/SystemCache line 393\n"});
  EXPECT_EQ(left(), "h+");
}

}  // namespace

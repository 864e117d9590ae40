// Who hears of files that are added, and what a listener may do.

#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "platform/fake/FakeErrors.h"
#include "tests/SystemCacheFixture.h"

namespace {

using std::string;

class SystemCacheNotifyTest : public SystemCacheFixture {
protected:
  static constexpr const wchar_t* kFile = L"/Material/a.mov";
  static constexpr const wchar_t* kProxy = L"/Material/a.A0.proxy.360.mov";
  static constexpr const char* kFileText = "/Material/a.mov";
  static constexpr const char* kProxyText = "/Material/a.A0.proxy.360.mov";

  static bool tellAdded(const Cookie& added, const Text& path) {
    return SystemCache::addFile(added, info(path), true);
  }
};

static_assert(sizeof(SystemCache) == sizeof(Notifier), "the instance has no state of its own");
static_assert(std::is_base_of_v<Notifier, SystemCache>);

TEST_F(SystemCacheNotifyTest, TheMessageTypesAreThoseOfTheirNamesInternedInThisOrder) {
  EXPECT_EQ(SystemCache::fileAddedMsgType_, NotifyMsgTypeDictionary::intern("SysCacheAdd"));
  EXPECT_EQ(SystemCache::fileRemovedMsgType_, NotifyMsgTypeDictionary::intern("SysCacheDel"));
  EXPECT_EQ(SystemCache::proxyAddedMsgType_, NotifyMsgTypeDictionary::intern("SysCacheAddProxy"));
  EXPECT_EQ(SystemCache::proxyRemovedMsgType_, NotifyMsgTypeDictionary::intern("SysCacheDelProxy"));
  EXPECT_EQ(SystemCache::fileRemovedMsgType_, SystemCache::fileAddedMsgType_ + 1);
  EXPECT_EQ(SystemCache::proxyAddedMsgType_, SystemCache::fileAddedMsgType_ + 2);
  EXPECT_EQ(SystemCache::proxyRemovedMsgType_, SystemCache::fileAddedMsgType_ + 3);
}

TEST_F(SystemCacheNotifyTest, TheInstanceStaysTheSame) {
  EXPECT_EQ(&SystemCache::instance(), &SystemCache::instance());
}

TEST_F(SystemCacheNotifyTest, AFileThatIsAddedIsToldByItsCookieWithItsEntry) {
  Qv::Ptr<iObject> payload;
  writeDown();
  hear(SystemCache::fileAddedMsgType_,
       [&payload](const NotifyMsg& message) { payload = message.getPayload(); });
  EXPECT_TRUE(tellAdded(kVision, kFile));
  EXPECT_EQ(messages_, Texts{"SysCacheAdd V4K7Q2M9A00"});
  EXPECT_EQ(Qv::dynamicCast<FsysDirectoryEntry>(payload), SystemCache::findEntryForCookie(kVision));
}

TEST_F(SystemCacheNotifyTest, AProxyIsToldByAMessageOfItsOwn) {
  writeDown();
  tellAdded(kVision, kProxy);
  EXPECT_EQ(messages_, Texts{"SysCacheAddProxy V4K7Q2M9A00"});
}

TEST_F(SystemCacheNotifyTest, OfAProxysSoundNobodyIsTold) {
  writeDown();
  tellAdded(kVision, L"/Material/a.A2.proxy.360.mov");
  EXPECT_EQ(messages_, Texts{"SysCacheAddProxy V4K7Q2M9A00"});
  EXPECT_EQ(catalogued(), (Cookies{"S4K7Q2M9A01", "S4K7Q2M9A02", "V4K7Q2M9A00"}));
}

TEST_F(SystemCacheNotifyTest, NobodyIsToldWithoutBeingAskedToAndOfAddProxyFileNever) {
  writeDown();
  add(kVision, kFile);
  SystemCache::addProxyFile(kVision, info(kProxy));
  SystemCache::addProxyFile(kOther, info(kProxy));
  SystemCache::removeProxyFile(kVision, info(kProxy));
  EXPECT_EQ(messages_, Texts{});
  EXPECT_EQ(proxiesOf(kVision), Texts{});
  EXPECT_EQ(proxiesOf(kOther), Texts{kProxyText});
}

TEST_F(SystemCacheNotifyTest, AFileThatIsThereAlreadyIsToldAgain) {
  writeDown();
  tellAdded(kVision, kFile);
  const SystemCache::Entry entry = SystemCache::findEntryForCookie(kVision);
  tellAdded(kVision, kProxy);
  tellAdded(kVision, kFile);
  EXPECT_EQ(messages_.size(), 3u);
  EXPECT_EQ(SystemCache::findEntryForCookie(kVision), entry) << "its entry stays";
}

TEST_F(SystemCacheNotifyTest, AFileThatIsAddedByItsNameHasTheSizeThatItHasOnTheDisk) {
  put(L"/m/Material/a.mov", 700);
  EXPECT_TRUE(SystemCache::addFile(kVision, MaterialFilename(DriveId('1'), kFile), false));
  EXPECT_EQ(SystemCache::fileSize(kVision), 700u);
  EXPECT_TRUE(SystemCache::addFile(kOther, MaterialFilename(DriveId('1'), L"/none.mov"), false));
  EXPECT_EQ(SystemCache::fileSize(kOther), 0u);
  writeDown();
  SystemCache::addFile(kVision, MaterialFilename(DriveId('1'), kFile), true);
  EXPECT_EQ(messages_, Texts{"SysCacheAdd V4K7Q2M9A00"});
}

TEST_F(SystemCacheNotifyTest, AFileThatIsAddedByItsNameHasItsSizeHoweverLateItsDriveIs) {
  put(L"/m/Material/a.mov", 700);
  os_->faults().fail(FaultPlan::eAnswerErrand, eOsTimedOut);
  SystemCache::addFile(kVision, MaterialFilename(DriveId('1'), kFile), false);
  EXPECT_EQ(SystemCache::fileSize(kVision), 700u);
}

TEST_F(SystemCacheNotifyTest, ListenersAreCalledWithTheLockHeldWhenTheFileIsThere) {
  hear(SystemCache::fileAddedMsgType_, [this](const NotifyMsg&) {
    EXPECT_TRUE(SystemCachePeer::isLocked());
    EXPECT_EQ(pathOf(kVision), kFileText);
    messages_.emplace_back("heard");
  });
  tellAdded(kVision, kFile);
  EXPECT_EQ(messages_.size(), 1u);
  EXPECT_FALSE(SystemCachePeer::isLocked());
}

TEST_F(SystemCacheNotifyTest, AListenerMayCallBackIntoTheCatalogue) {
  hear(SystemCache::fileAddedMsgType_, [this](const NotifyMsg& message) {
    if (Cookie(fromUTF8(message.getText().view())) != kVision) return;
    EXPECT_EQ(catalogued(), Cookies{"V4K7Q2M9A00"});
    tellAdded(kOther, L"/Material/b.mov");
    SystemCache::removeFile(kVision, false, 3);
    SystemCache::addDirectory(MaterialFilename(DriveId('1'), L"/Sound/"));
  });
  put(L"/m/Sound/S4K7Q2M9A01.wav");
  EXPECT_TRUE(tellAdded(kVision, kFile));
  EXPECT_EQ(catalogued(), (Cookies{"S4K7Q2M9A01", "VZZZZZZZZ00"}));
}

TEST_F(SystemCacheNotifyTest, WhatAListenerThrowsReachesTheCallerAndTheFileIsThere) {
  hear(SystemCache::fileAddedMsgType_,
       [](const NotifyMsg&) { throw std::runtime_error("of the listener"); });
  EXPECT_THROW(tellAdded(kVision, kFile), std::runtime_error);
  EXPECT_FALSE(SystemCachePeer::isLocked());
  EXPECT_EQ(catalogued(), Cookies{"V4K7Q2M9A00"});
  EXPECT_TRUE(SystemCache::addFile(kOther, info(kFile), false));
}

// Links -------------------------------------------------------------------------------------------

TEST_F(SystemCacheNotifyTest, RealisedLinksAreWrittenAndToldAsAFileWithoutTheLock) {
  const MaterialFilename name(DriveId('1'), kFile);
  SystemCache::addFile(kVision, MediaFileInfo(name, L"/media/real.mov", 512), false);
  writeDown();
  hear(SystemCache::fileAddedMsgType_,
       [](const NotifyMsg&) { EXPECT_FALSE(SystemCachePeer::isLocked()); });
  EXPECT_TRUE(SystemCache::realiseLinks(kVision));
  EXPECT_EQ(messages_, Texts{"SysCacheAdd V4K7Q2M9A00"});
  EXPECT_EQ(content(L"/m/Material/a.mov").substr(0, 16), string("/media/real.mov\0", 16));
}

TEST_F(SystemCacheNotifyTest, ALinkThatIsThereIsNotReplaced) {
  write(L"/m/Material/a.mov", "what is there");
  const MaterialFilename name(DriveId('1'), kFile);
  SystemCache::addFile(kVision, MediaFileInfo(name, L"/media/real.mov", 512), false);
  EXPECT_TRUE(SystemCache::realiseLinks(kVision));
  EXPECT_EQ(content(L"/m/Material/a.mov"), "what is there");
}

TEST_F(SystemCacheNotifyTest, LinksOfADriveThatHasGoneAreNotWritten) {
  const MaterialFilename name(registeredId(L"/gone/"), kProxy);
  SystemCache::addFile(kVision, MediaFileInfo(name, L"/media/real.mov", 512), false);
  ASSERT_TRUE(DiskManager::removeMediaLocation(L"/gone/"));
  files().addFolder(L"/Material");
  EXPECT_TRUE(SystemCache::realiseLinks(kVision));
  EXPECT_FALSE(files().hasFile(kProxy));
}

TEST_F(SystemCacheNotifyTest, LinksOfAnEntryWithoutAFileToOpenAreNotTold) {
  add(kVision, kProxy);
  writeDown();
  EXPECT_TRUE(SystemCache::realiseLinks(kVision));
  EXPECT_EQ(messages_, Texts{});
}

TEST_F(SystemCacheNotifyTest, WhatAListenerOfRealisedLinksThrowsReachesTheCaller) {
  add(kVision, kFile);
  hear(SystemCache::fileAddedMsgType_,
       [](const NotifyMsg&) { throw std::runtime_error("of the listener"); });
  EXPECT_THROW(SystemCache::realiseLinks(kVision), std::runtime_error);
  EXPECT_EQ(catalogued(), Cookies{"V4K7Q2M9A00"});
}

TEST_F(SystemCacheNotifyTest, WhatAListenerOfProxiesThrowsReachesTheCallerAndTheProxyIsThere) {
  hear(SystemCache::proxyAddedMsgType_,
       [](const NotifyMsg&) { throw std::runtime_error("of the listener"); });
  EXPECT_THROW(tellAdded(kVision, kProxy), std::runtime_error);
  EXPECT_FALSE(SystemCachePeer::isLocked());
  EXPECT_EQ(proxiesOf(kVision), Texts{kProxyText});
}

// Memory ------------------------------------------------------------------------------------------

TEST_F(SystemCacheNotifyTest, AFileThatIsAddedByItsNameHasItsSizeOrIsNotThereWhenMemoryIsRefused) {
  put(L"/m/Material/a.mov", 700);
  bool isDone = false;
  for (int nth = 0; !isDone; ++nth) {
    SystemCache::invalidate();
    bool isThrown = false;
    {
      FailingHeap heap;
      if (!heap.isAsked())
        GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
      heap.refuse(nth, true);
      try {
        SystemCache::addFile(kVision, MaterialFilename(DriveId('1'), kFile), false);
        isDone = !heap.letBe();
      } catch (const std::bad_alloc&) {
        isThrown = heap.letBe();
      }
    }
    EXPECT_EQ(SystemCache::findEntryForCookie(kVision) == nullptr, isThrown) << nth;
    EXPECT_EQ(SystemCache::fileSize(kVision), isThrown ? 0u : 700u) << nth;
  }
}

TEST_F(SystemCacheNotifyTest, WhereverMemoryIsRefusedTheCatalogueIsWholeAndItsLockFree) {
  bool isHeard = false;
  hear(SystemCache::proxyAddedMsgType_, [&isHeard](const NotifyMsg&) { isHeard = true; });
  bool isDone = false;
  for (int nth = 0; !isDone; ++nth) {
    SystemCache::invalidate();
    isHeard = false;
    add(kOther, kFile);
    {
      FailingHeap heap;
      if (!heap.isAsked())
        GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
      heap.refuse(nth, true);
      try {
        tellAdded(kVision, L"/Material/a.A2.proxy.360.mov");
        isDone = !heap.letBe();
      } catch (const std::bad_alloc&) {
        heap.letBe();
      }
    }
    EXPECT_FALSE(SystemCachePeer::isLocked()) << nth;
    EXPECT_EQ(pathOf(kOther), kFileText) << nth;
    EXPECT_EQ(SystemCache::findEntryForCookie(kVision) != nullptr, isHeard) << nth;
    EXPECT_EQ(proxiesOf(kVision).size(), isHeard ? 1u : 0u) << nth;
    SystemCache::addFile(kVision, info(L"/Material/a.A2.proxy.360.mov"), false);
    EXPECT_EQ(SystemCache::findEntryForCookie(kVision) != nullptr, true) << nth;
  }
  EXPECT_EQ(catalogued().size(), 4u);
}

TEST_F(SystemCacheNotifyTest, WhereverMemoryIsRefusedWhatComesToAnEntryIsToldOrNotThere) {
  bool isHeard = false;
  for (int type : {SystemCache::proxyAddedMsgType_, SystemCache::fileAddedMsgType_})
    hear(type, [&isHeard](const NotifyMsg&) { isHeard = true; });
  for (const wchar_t* added : {kProxy, L"/Material/b.mov"}) {
    bool isDone = false;
    for (int nth = 0; !isDone; ++nth) {
      SystemCache::invalidate();
      add(kVision, kFile);
      isHeard = false;
      {
        FailingHeap heap;
        if (!heap.isAsked())
          GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
        heap.refuse(nth, true);
        try {
          tellAdded(kVision, added);
          isDone = !heap.letBe();
        } catch (const std::bad_alloc&) {
          heap.letBe();
        }
      }
      EXPECT_EQ(proxiesOf(kVision).size(), isHeard ? 1u : 0u) << text(added) << " " << nth;
      EXPECT_EQ(pathOf(kVision), isHeard && added != kProxy ? "/Material/b.mov" : kFileText) << nth;
    }
  }
}

}  // namespace

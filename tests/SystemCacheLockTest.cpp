// What is done while the catalogue's lock is held, and what before.

#include "platform/fake/FakeErrors.h"
#include "tests/SystemCacheFixture.h"
#include "tests/support/ForwardingOS.h"

namespace {

// Files under a prefix: what is asked about them is noted, with whether the lock was held then.
struct WatchedFiles : iFileProvider {
  Qv::Ptr<iFile> open(const LightweightString<wchar_t>&, unsigned flags, bool) override {
    note(asked);
    return OS()->getFileManager()->openFile(L"/there", flags, iFileManager::eOpenExisting, 0, 0);
  }
  bool remove(const LightweightString<wchar_t>&) override {
    note(removed);
    return true;
  }
  static void note(std::string& notes) { notes += SystemCachePeer::isLocked() ? "held " : "free "; }

  std::string asked;
  std::string removed;
};

// Each time the file manager is asked for, it is noted whether the lock is held then.
struct WatchedSystem final : ForwardingOS {
  iFileManager* getFileManager() override {
    (SystemCachePeer::isLocked() ? held : free) += 1;
    return ForwardingOS::getFileManager();
  }
  unsigned held = 0;
  unsigned free = 0;
};

class SystemCacheLockTest : public SystemCacheFixture {
protected:
  static constexpr const wchar_t* kOlderProxy = L"/proxy/proxy-old/V4K7Q2M9A00.mov";

  SystemCacheLockTest() { files().addFile(L"/there"); }

  // That name, as it stands, and those that begin with it.
  void watch(const Text& prefix) { files().registerProvider(prefix, watched_); }
  void notesAre(const std::string& asked) {
    EXPECT_EQ(watched_->asked, asked);
    watched_->asked.clear();
  }

  Qv::Ptr<WatchedFiles> watched_{new WatchedFiles};
};

// Proxies of the older form -----------------------------------------------------------------------

TEST_F(SystemCacheLockTest, WhetherAFileIsAnOlderProxyIsAskedOnceAndBeforeTheLock) {
  watch(kOlderProxy);
  writeDown();
  const MediaFileInfo older = info(kOlderProxy);
  notesAre("free ");
  SystemCache::addFile(kVision, older, true);
  notesAre("free ");
  EXPECT_EQ(messages_, Texts{"SysCacheAddProxy V4K7Q2M9A00"});
  SystemCache::addFile(kOther, older.getMaterialFilename(), true);
  notesAre("free ");
  EXPECT_EQ(messages_.back(), "SysCacheAddProxy VZZZZZZZZ00");
  EXPECT_EQ(proxiesOf(kVision).size(), 1u);
  EXPECT_EQ(proxiesOf(kOther).size(), 1u);
}

TEST_F(SystemCacheLockTest, AnOlderProxyWithoutAFileIsOfHighResolution) {
  writeDown();
  SystemCache::addFile(kVision, info(kOlderProxy), true);
  SystemCache::addFile(kOther, info(kOlderProxy).getMaterialFilename(), true);
  EXPECT_EQ(messages_, (Texts{"SysCacheAdd V4K7Q2M9A00", "SysCacheAdd VZZZZZZZZ00"}));
  EXPECT_TRUE(SystemCache::findEntryForCookie(kVision)->hasHighRes());
  EXPECT_TRUE(SystemCache::findEntryForCookie(kOther)->hasHighRes());
}

TEST_F(SystemCacheLockTest, OfAFolderOfOlderProxiesEachFileIsAskedAboutOnceAndBeforeTheLock) {
  watch(kOlderProxy);
  for (const wchar_t* name :
       {L"S4K7Q2M9A01.wav", L"V4K7Q2M9A00.mov", L"VZZZZZZZZ00.mov", L"a.mov", L"VZZZZZZZZ01.vix"})
    put(Text(L"/m/proxy/proxy-old/") + name);
  put(L"/m/proxy/proxy-old/V0000000000.mov", 0);
  const unsigned before = os_->faults().calls(FaultPlan::eExists);
  SystemCache::addDirectory(MaterialFilename(DriveId('1'), L"/proxy/proxy-old/"));
  EXPECT_EQ(os_->faults().calls(FaultPlan::eExists), before + 3) << "of what is media alone";
  notesAre("free ");
  EXPECT_EQ(catalogued(), (Cookies{"S4K7Q2M9A01", "V4K7Q2M9A00", "VZZZZZZZZ00"}));
  EXPECT_EQ(proxiesOf(kVision), Texts{"/proxy/proxy-old/V4K7Q2M9A00.mov"});
  for (const Cookie& other : {kSound, kOther})
    EXPECT_TRUE(SystemCache::findEntryForCookie(other)->hasHighRes()) << "no file has its name";
}

TEST_F(SystemCacheLockTest, HowLargeAFileIsIsAskedBeforeTheLock) {
  watch(L"/m/Material/a.mov");
  SystemCache::addFile(kVision, MaterialFilename(DriveId('1'), L"/Material/a.mov"), true);
  notesAre("free ");
}

// One entry ---------------------------------------------------------------------------------------

TEST_F(SystemCacheLockTest, TheFilesOfAnEntryAreLookedForWithoutTheLock) {
  watch(L"/n/watched");
  for (const Cookie& cookie : {kVision, kOther})
    SystemCache::addFile(
        cookie, MediaFileInfo({DriveId('1'), L"/Material/a.mov"}, L"/n/watched", 512), false);
  SystemCache::updateStatus(kVision, 1);
  notesAre("free ");
  Text path;
  EXPECT_TRUE(SystemCache::findFileForCookie(kOther, path, DecodeFormat(eHighRes)));
  EXPECT_EQ(path, L"/n/watched");
  notesAre("free ");
}

TEST_F(SystemCacheLockTest, LinksOfAShotAreReadWithoutTheLock) {
  SystemCache::addFile(kVision, info(L"/Material/a.mov", 512), false);
  Vector<Text> files;
  WatchedSystem system;
  SystemCache::getFilesForShot(kVision, files);
  EXPECT_GT(system.free, 0u);
  EXPECT_EQ(system.held, 0u);
  EXPECT_EQ(files.size(), 1u);
}

TEST_F(SystemCacheLockTest, TheSizesOfAShotAreAskedForWithoutTheLock) {
  watch(L"watched:");
  SystemCache::addFile(kVision, MediaFileInfo({DriveId(), L"watched:a"}, 1), false);
  SystemCache::getShotFileSize(kVision);
  notesAre("free ");
}

TEST_F(SystemCacheLockTest, WhereProxiesLeadIsReadWithoutTheLockWhenOneIsRemoved) {
  SystemCache::addProxyFile(kVision, info(L"/Material/a.mov", 512));
  WatchedSystem system;
  SystemCache::removeProxyFile(kVision, info(L"/Material/b.mov"));
  const unsigned ofTheListed = system.free;
  EXPECT_GT(ofTheListed, 0u);
  SystemCache::removeProxyFile(kVision, info(L"/Material/c.mov", 512));
  EXPECT_GT(system.free, ofTheListed);
  EXPECT_EQ(system.held, 0u);
}

TEST_F(SystemCacheLockTest, AProxyThatCannotBeRenamedIsReportedWithoutTheLock) {
  SystemCache::addProxyFile(kVision, info(L"/Material/a.A0.proxy.1.mov"));
  DiagnosticSinks sinks;
  std::string notes;
  sinks.out = [&notes](const std::string&) { WatchedFiles::note(notes); };
  const DiagnosticSinks before = setDiagnosticSinks(sinks);
  EXPECT_FALSE(SystemCache::renameProxyFile(kVision, L"/none", L"/m/b.mov"));
  setDiagnosticSinks(before);
  EXPECT_EQ(notes, "free ");
}

TEST_F(SystemCacheLockTest, WhereALinkLeadsIsReadWithoutTheLockWhenItsDriveChanges) {
  SystemCache::addFile(kVision, info(L"/Material/a.mov", 512), false);
  WatchedSystem system;
  EXPECT_TRUE(SystemCache::updateLinks(kVision, DriveId('1')));
  EXPECT_GT(system.free, 0u);
  EXPECT_EQ(system.held, 0u);
}

TEST_F(SystemCacheLockTest, LinksAreWrittenWithoutTheLock) {
  SystemCache::addFile(kVision, MediaFileInfo({DriveId('1'), L"/Material/a.mov"}, L"/n/a.mov", 512),
                       false);
  WatchedSystem system;
  EXPECT_TRUE(SystemCache::realiseLinks(kVision));
  EXPECT_TRUE(files().hasFile(L"/m/Material/a.mov"));
  EXPECT_GT(system.free, 0u);
  EXPECT_EQ(system.held, 0u);
}

// Lines and deletions -----------------------------------------------------------------------------

TEST_F(SystemCacheLockTest, AFolderIsListedBeforeTheLockIsTakenAndMergedWhileItIsHeld) {
  put(L"/m/Material/V4K7Q2M9A00.A0.proxy.360.mov");
  put(L"/m/Material/V4K7Q2M9A00.mov");
  put(L"/m/Material/a.mov");
  put(L"/m/Material/b.vix");
  put(L"/m/Material/c.mov", 0);
  SystemCachePeer::setDebug(1);
  std::string notes;
  DiagnosticSinks sinks;
  sinks.log = [&notes](const std::string& line) {
    notes += line.substr(0, line.find_first_of(" :")) + (line.ends_with("-\n") ? "" : " ");
    WatchedFiles::note(notes);
  };
  const DiagnosticSinks before = setDiagnosticSinks(sinks);
  SystemCache::addDirectory(MaterialFilename(DriveId('1'), L"/Material/"));
  setDiagnosticSinks(before);
  const std::string rule = std::string(55, '-') + "\n";
  EXPECT_EQ(notes, rule +
                       "free SystemCache free Num free added held augmented held skipped held "
                       "skipped held skipped held Time held " +
                       rule + "held ");
}

TEST_F(SystemCacheLockTest, FilesAreDeletedWhileTheLockIsHeld) {
  watch(L"watched:");
  SystemCache::addFile(kVision, MediaFileInfo({DriveId(), L"watched:a.A0.proxy.1.mov"}, 1), false);
  SystemCache::addFile(kVision, MediaFileInfo({DriveId('1'), L"/Material/a.mov"}, 1), false);
  EXPECT_FALSE(SystemCache::removeFile(kVision, false, 3)) << "one of them is not there";
  EXPECT_EQ(watched_->removed, "held ");
  EXPECT_FALSE(SystemCachePeer::isLocked());
}

}  // namespace

// Folders that are scanned: what of their files is media, and what is said of it.

#include <algorithm>
#include <stdexcept>
#include <string>

#include "platform/fake/FakeErrors.h"
#include "tests/SystemCacheFixture.h"
#include "tests/support/CountingHeap.h"

namespace {

class SystemCacheScanTest : public SystemCacheFixture {
protected:
  static constexpr const char* kRule = "-------------------------------------------------------\n";

  static void scan(const Text& folder = L"/Material/", DriveId id = DriveId('1')) {
    SystemCache::addDirectory(MaterialFilename(id, folder));
  }
  static void list(const Text& pattern) {
    Vector<iFileManager::ListedFile> found;
    OS()->getFileManager()->listFiles(pattern, found);
  }
  template <typename Work>
  static unsigned allocationsOf(const Work& work) {
    CountingHeap heap;
    work();
    return heap.seesAllocations() ? heap.allocations() : 0;
  }
  // The lines of a scan, without those that stand around those of the files.
  Texts linesOfFiles() {
    SystemCachePeer::setDebug(1);
    scan();
    Texts lines = diagnostics_.log();
    return lines.size() < 5 ? Texts() : Texts(lines.begin() + 3, lines.end() - 2);
  }
};

TEST_F(SystemCacheScanTest, FilesAreCataloguedUnderTheCookiesOfTheirNames) {
  put(L"/m/Material/V4K7Q2M9A00.mov", 7000);
  put(L"/m/Material/v0000zzzz1f.mov", 5);
  scan();
  EXPECT_EQ(catalogued(), (Cookies{"V0000ZZZZ1F", "V4K7Q2M9A00"}));
  EXPECT_EQ(pathOf(kVision), "/Material/V4K7Q2M9A00.mov");
  EXPECT_EQ(SystemCache::find(kVision).getDrive(), DriveId('1'));
  EXPECT_EQ(SystemCache::fileSize(kVision), 7000u);
  EXPECT_EQ(pathOf(cookie(L"V0000ZZZZ1F")), "/Material/v0000zzzz1f.mov");
}

TEST_F(SystemCacheScanTest, TheTextEndsAtTheFirstDotAndANameWithoutOneIsUsedWhole) {
  put(L"/m/Material/V4K7Q2M9A00.a.b.c");
  put(L"/m/Material/VZZZZZZZZ00");
  put(L"/m/Material/a.V4K7Q2M9A01.c");
  put(L"/m/Material/.hidden");
  put(L"/m/Material/.V4K7Q2M9A02.mov");
  scan();
  EXPECT_EQ(catalogued(), (Cookies{"V4K7Q2M9A00", "VZZZZZZZZ00"}));
}

TEST_F(SystemCacheScanTest, ANameThatMerelyParsesIsNoCookies) {
  ASSERT_TRUE(Cookie(L"V4K7Q2M9A", true).isValid());
  ASSERT_TRUE(Cookie(L"V4K7Q2M9A00copy", true).isValid());
  put(L"/m/Material/V4K7Q2M9A.mov");
  put(L"/m/Material/V4K7Q2M9A00copy.mov");
  put(L"/m/Material/V4K7Q2M9A00 .mov");
  scan();
  EXPECT_EQ(catalogued(), Cookies{});
}

TEST_F(SystemCacheScanTest, NamesThatEndInTheTableAreNotEligible) {
  for (const wchar_t* ending : {L".partial", L".qvix", L".qaix", L".qvix2", L".qaix2", L".vix",
                                L".aix", L".vix2", L".aix2", L".reapeaks"}) {
    EXPECT_FALSE(SystemCache::isEligible(Text(L"clip") + ending)) << text(ending);
    EXPECT_FALSE(SystemCache::isEligible(ending)) << text(ending);
    EXPECT_FALSE(SystemCache::isEligible(Text(L"clip.mov") + ending)) << text(ending);
    EXPECT_TRUE(SystemCache::isEligible(Text(L"clip") + ending + L".mov")) << text(ending);
    EXPECT_TRUE(SystemCache::isEligible(Text(ending).substr(1))) << "the dot belongs to it";
    put(Text(L"/m/Material/V4K7Q2M9A00") + ending);
  }
  scan();
  EXPECT_EQ(catalogued(), Cookies{});
}

TEST_F(SystemCacheScanTest, TheCaseOfAnEndingCounts) {
  for (const wchar_t* name : {L"clip.VIX", L"clip.Partial", L"clip.QVIX", L"clip.reaPeaks", L"",
                              L"clip", L"clip.vix3", L"clip.qvix1", L"clip.peaks"})
    EXPECT_TRUE(SystemCache::isEligible(name)) << text(name);
  put(L"/m/Material/V4K7Q2M9A00.VIX");
  scan();
  EXPECT_EQ(catalogued(), Cookies{"V4K7Q2M9A00"});
}

TEST_F(SystemCacheScanTest, AnEmptyFileIsSkippedBeforeItsNameIsLookedAt) {
  put(L"/m/Material/V4K7Q2M9A00.mov", 0);
  put(L"/m/Material/a.vix", 0);
  put(L"/m/Material/b.mov", 0);
  EXPECT_EQ(linesOfFiles(),
            (Texts{"skipped empty file (V4K7Q2M9A00.mov)\n", "skipped empty file (a.vix)\n",
                   "skipped empty file (b.mov)\n"}));
  EXPECT_EQ(catalogued(), Cookies{});
}

TEST_F(SystemCacheScanTest, AnIneligibleFileIsSkippedBeforeItsCookieIsReadAndEachIsSaid) {
  put(L"/m/Material/V4K7Q2M9A00.vix");
  put(L"/m/Material/a.vix");
  put(L"/m/Material/b.VIX");
  EXPECT_EQ(linesOfFiles(),
            (Texts{"skipped ineligible file (V4K7Q2M9A00.vix)\n",
                   "skipped ineligible file (a.vix)\n", "skipped non-cookie file (b.VIX)\n"}));
}

TEST_F(SystemCacheScanTest, FilesOfOneCookieMakeOneEntry) {
  put(L"/m/Material/V4K7Q2M9A00.A0.proxy.360.mov");
  put(L"/m/Material/V4K7Q2M9A00.A0.proxy.720.mov");
  put(L"/m/Material/V4K7Q2M9A00.mov");
  EXPECT_EQ(linesOfFiles(), (Texts{"added cache entry     (V4K7Q2M9A00.A0.proxy.360.mov)\n",
                                   "augmented cache entry (V4K7Q2M9A00.A0.proxy.720.mov)\n",
                                   "augmented cache entry (V4K7Q2M9A00.mov)\n"}));
  EXPECT_EQ(catalogued(), Cookies{"V4K7Q2M9A00"});
  EXPECT_EQ(pathOf(kVision), "/Material/V4K7Q2M9A00.mov");
  EXPECT_EQ(proxiesOf(kVision), (Texts{"/Material/V4K7Q2M9A00.A0.proxy.360.mov",
                                       "/Material/V4K7Q2M9A00.A0.proxy.720.mov"}));
}

TEST_F(SystemCacheScanTest, AProxyWithSoundIsFoundUnderTheSoundCookiesOfItsChannels) {
  put(L"/m/Material/V4K7Q2M9A00.A2.proxy.360.mov");
  scan();
  EXPECT_EQ(catalogued(), (Cookies{"S4K7Q2M9A01", "S4K7Q2M9A02", "V4K7Q2M9A00"}));
  EXPECT_EQ(pathOf(kSound), "/Material/V4K7Q2M9A00.A2.proxy.360.mov");
}

// The entry that the proxy makes for its own sound stands there when the file's is put in.
TEST_F(SystemCacheScanTest, AnEntryTakesThePlaceOfTheOneThatItsOwnSoundMade) {
  put(L"/m/Sound/S4K7Q2M9A01.A2.proxy.360.mov");
  scan(L"/Sound/");
  EXPECT_EQ(catalogued(), (Cookies{"S4K7Q2M9A01", "S4K7Q2M9A02"}));
  EXPECT_EQ(proxiesOf(kSound), Texts{"/Sound/S4K7Q2M9A01.A2.proxy.360.mov"});
}

TEST_F(SystemCacheScanTest, TheLinesAroundAScanAreWrittenWithTheDebugKeyAlone) {
  put(L"/m/Material/V4K7Q2M9A00.mov");
  scan();
  EXPECT_EQ(diagnostics_.log(), Texts{});
  SystemCachePeer::setDebug(1);
  scan();
  EXPECT_EQ(diagnostics_.log(),
            (Texts{kRule, "SystemCache::addDirectory( /m/Material/*.* )\n", "Num files 1\n",
                   "augmented cache entry (V4K7Q2M9A00.mov)\n", "Time taken (0.0ms)\n", kRule}));
  EXPECT_EQ(std::string(kRule).find_first_not_of('-'), 55u);
}

TEST_F(SystemCacheScanTest, TheTimeThatAScanTookIsSaidToATenthOfAMillisecond) {
  os_->clock().step(1000);
  files().drive(L"/m/").silent = true;
  SystemCachePeer::setDebug(1);
  scan();
  EXPECT_EQ(diagnostics_.log()[4], "Time taken (1500.0ms)\n") << "the drive's patience";
}

TEST_F(SystemCacheScanTest, NamesAndTheFolderAreSaidInUtf8) {
  files().addFolder(L"/m/caf\u00e9");
  put(L"/m/caf\u00e9/\u4e2d.mov");
  SystemCachePeer::setDebug(1);
  scan(L"/caf\u00e9/");
  EXPECT_EQ(diagnostics_.log()[1], "SystemCache::addDirectory( /m/caf\xc3\xa9/*.* )\n");
  EXPECT_EQ(diagnostics_.log()[3], "skipped non-cookie file (\xe4\xb8\xad.mov)\n");
}

TEST_F(SystemCacheScanTest, AFolderThatCannotBeListedHasNoFilesAndIsNoError) {
  put(L"/m/Material/V4K7Q2M9A00.mov");
  SystemCachePeer::setDebug(1);
  os_->faults().fail(FaultPlan::eListFiles, eOsIoError);
  scan();
  scan(L"/None/");
  EXPECT_EQ(catalogued(), Cookies{});
  const Texts lines = diagnostics_.log();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "Num files 0\n"), 2);
}

TEST_F(SystemCacheScanTest, ADriveThatDoesNotAnswerIsNotListed) {
  put(L"/m/Material/V4K7Q2M9A00.mov");
  files().drive(L"/m/").silent = true;
  const unsigned listings = os_->faults().calls(FaultPlan::eListFiles);
  scan();
  EXPECT_EQ(catalogued(), Cookies{});
  EXPECT_EQ(os_->faults().calls(FaultPlan::eListFiles), listings);
  EXPECT_EQ(diagnostics_.log(),
            Texts{"/m/Material/ is not scanned: its drive does not answer (error " +
                  std::to_string(eOsTimedOut) + ")\n"});
}

TEST_F(SystemCacheScanTest, AFolderThatIsThereAndCannotBeListedIsSaidAndOneThatIsNotIsNot) {
  os_->faults().fail(FaultPlan::eListFiles, eOsIoError);
  scan();
  scan(L"/None/");
  EXPECT_EQ(diagnostics_.log(), Texts{"/m/Material/ is not scanned: it cannot be listed (error " +
                                      std::to_string(eOsIoError) + ")\n"});
}

TEST_F(SystemCacheScanTest, AScanTellsNobody) {
  writeDown();
  put(L"/m/Material/V4K7Q2M9A00.mov");
  put(L"/m/Material/V4K7Q2M9A00.A2.proxy.360.mov");
  SystemCache::addMediaLocation(DriveId('1'));
  EXPECT_EQ(messages_, Texts{});
}

// Locations ---------------------------------------------------------------------------------------

TEST_F(SystemCacheScanTest, ALocationsPictureIsScannedBeforeItsSoundAndBothAreSaid) {
  put(L"/m/Material/V4K7Q2M9A00.mov");
  put(L"/m/Sound/S4K7Q2M9A01.wav");
  SystemCachePeer::setDebug(1);
  TestDiagnostics all;
  SystemCache::addMediaLocation(DriveId('1'));
  EXPECT_EQ(catalogued(), (Cookies{"S4K7Q2M9A01", "V4K7Q2M9A00"}));
  EXPECT_EQ(all.log()[1], "SystemCache::addDirectory( /m/Material/*.* )\n");
  EXPECT_EQ(all.log()[7], "SystemCache::addDirectory( /m/Sound/*.* )\n");
  EXPECT_EQ(all.logBoth(),
            (Texts{"Added media location : /m/Material/\n", "Added media location : /m/Sound/\n"}));
}

TEST_F(SystemCacheScanTest, ALocationIsSaidWhenBothItsFoldersAreScanned) {
  SystemCachePeer::setDebug(1);
  Texts all;
  DiagnosticSinks sinks;
  sinks.log = sinks.logBoth = [&all](const std::string& line) {
    if (line != kRule) all.push_back(line);
  };
  const DiagnosticSinks before = setDiagnosticSinks(sinks);
  SystemCache::addMediaLocation(DriveId('1'));
  setDiagnosticSinks(before);
  EXPECT_EQ(all,
            (Texts{"SystemCache::addDirectory( /m/Material/*.* )\n", "Num files 0\n",
                   "Time taken (0.0ms)\n", "SystemCache::addDirectory( /m/Sound/*.* )\n",
                   "Num files 0\n", "Time taken (0.0ms)\n", "Added media location : /m/Material/\n",
                   "Added media location : /m/Sound/\n"}));
}

TEST_F(SystemCacheScanTest, ALocationIsSaidWithoutFoldersAndWithoutTheDebugKeyToo) {
  files().removeFolder(L"/m/Material");
  files().removeFolder(L"/m/Sound");
  TestDiagnostics all;
  SystemCache::addMediaLocation(DriveId('1'));
  EXPECT_EQ(all.log(), Texts{});
  EXPECT_EQ(all.logBoth(),
            (Texts{"Added media location : /m/Material/\n", "Added media location : /m/Sound/\n"}));
}

TEST_F(SystemCacheScanTest, OfDrive0TheFoldersAreThoseAtTheRootOfAll) {
  files().addFolder(L"/Material");
  put(L"/Material/V4K7Q2M9A00.mov");
  TestDiagnostics all;
  SystemCache::addMediaLocation(DriveId());
  EXPECT_EQ(catalogued(), Cookies{"V4K7Q2M9A00"});
  EXPECT_EQ(all.logBoth(),
            (Texts{"Added media location : /Material/\n", "Added media location : /Sound/\n"}));
}

TEST_F(SystemCacheScanTest, TheFoldersNamesStandBetweenTheSystemsSeparators) {
  files().setSeparator(L'\\');
  TestDiagnostics all;
  SystemCache::addMediaLocation(DriveId());
  EXPECT_EQ(all.logBoth(),
            (Texts{"Added media location : \\Material\\\n", "Added media location : \\Sound\\\n"}));
}

TEST_F(SystemCacheScanTest, ALocationOfAnotherNameThanAsciiIsSaidWhateverTheLocale) {
  addDisk(L"/caf\u00e9/");
  registerDrive(L"/caf\u00e9/");
  TestDiagnostics all;
  SystemCache::addMediaLocation(DriveId('3'));
  EXPECT_EQ(all.logBoth()[0], "Added media location : /caf\xc3\xa9/Material/\n");
}

TEST_F(SystemCacheScanTest, RemovingALocationForgetsTheEntriesWhoseFileLiesThere) {
  add(kVision, L"/Material/a.mov");
  SystemCache::addFile(kOther, info(L"/Material/b.mov", 1000, DriveId('2')), false);
  add(kSound, L"/Material/V4K7Q2M9A00.A0.proxy.360.mov");
  SystemCache::removeMediaLocation(DriveId('1'));
  EXPECT_EQ(catalogued(), (Cookies{"S4K7Q2M9A01", "VZZZZZZZZ00"}))
      << "an entry that has proxies alone lies on no drive";
  SystemCache::removeMediaLocation(DriveId());
  EXPECT_EQ(catalogued(), Cookies{"VZZZZZZZZ00"}) << "that is drive '0'";
}

TEST_F(SystemCacheScanTest, AnEntryWhoseFileLiesThereGoesWithItsProxiesElsewhere) {
  add(kVision, L"/Material/a.mov");
  SystemCache::addProxyFile(kVision, info(L"/Material/a.A0.proxy.1.mov", 9, DriveId('2')));
  SystemCache::removeMediaLocation(DriveId('1'));
  EXPECT_EQ(catalogued(), Cookies{});
}

// Initialising ------------------------------------------------------------------------------------

TEST_F(SystemCacheScanTest, InitialisingScansEveryDriveIntoAnEmptyCatalogueOnce) {
  put(L"/m/Material/V4K7Q2M9A00.mov");
  put(L"/n/Sound/S4K7Q2M9A01.wav");
  add(kOther, L"/Material/old.mov");
  SystemCache::initialise(false);
  EXPECT_EQ(catalogued(), (Cookies{"S4K7Q2M9A01", "V4K7Q2M9A00"}));
  EXPECT_EQ(SystemCache::find(kSound).getDrive(), DriveId('2'));
  add(kOther, L"/Material/new.mov");
  SystemCache::initialise(false);
  EXPECT_EQ(catalogued().size(), 3u) << "once alone";
  SystemCache::initialise(true);
  EXPECT_EQ(catalogued().size(), 2u);
}

TEST_F(SystemCacheScanTest, InitialisingByForceCountsAsTheOneTime) {
  SystemCache::initialise(true);
  EXPECT_TRUE(SystemCachePeer::isInitialised());
  add(kOther, L"/Material/new.mov");
  SystemCache::initialise(false);
  EXPECT_EQ(catalogued(), Cookies{"VZZZZZZZZ00"});
}

TEST_F(SystemCacheScanTest, AfterAScanThatThrewTheNextOneInitialises) {
  put(L"/m/Material/V4K7Q2M9A00.mov");
  put(L"/n/Sound/S4K7Q2M9A01.wav");
  whenTold() = [](const std::string&) { throw std::runtime_error("of the log"); };
  EXPECT_THROW(SystemCache::initialise(false), std::runtime_error);
  whenTold() = nullptr;
  EXPECT_FALSE(SystemCachePeer::isInitialised());
  EXPECT_EQ(catalogued(), Cookies{"V4K7Q2M9A00"}) << "what was scanned by then";
  SystemCache::initialise(false);
  EXPECT_TRUE(SystemCachePeer::isInitialised());
  EXPECT_EQ(catalogued(), (Cookies{"S4K7Q2M9A01", "V4K7Q2M9A00"}));
  EXPECT_EQ(proxiesOf(kVision), Texts{});
}

TEST_F(SystemCacheScanTest, AfterAForcedScanThatThrewTheNextOneInitialises) {
  put(L"/m/Material/V4K7Q2M9A00.mov");
  put(L"/n/Sound/S4K7Q2M9A01.wav");
  SystemCache::initialise(false);
  whenTold() = [](const std::string&) { throw std::runtime_error("of the log"); };
  EXPECT_THROW(SystemCache::initialise(true), std::runtime_error);
  whenTold() = nullptr;
  SystemCache::initialise(false);
  EXPECT_EQ(catalogued(), (Cookies{"S4K7Q2M9A01", "V4K7Q2M9A00"}));
}

TEST_F(SystemCacheScanTest, ACatalogueThatWasInvalidatedStaysInitialised) {
  put(L"/m/Material/V4K7Q2M9A00.mov");
  SystemCache::initialise(false);
  SystemCache::invalidate();
  SystemCache::initialise(false);
  EXPECT_EQ(catalogued(), Cookies{});
}

TEST_F(SystemCacheScanTest, InvalidatingEmptiesTheCatalogueAndIsTrue) {
  add(kVision, L"/Material/a.mov");
  const SystemCache::Entry held = SystemCache::findEntryForCookie(kVision);
  EXPECT_TRUE(SystemCache::invalidate());
  EXPECT_EQ(catalogued(), Cookies{});
  EXPECT_EQ(held->fileSize(), 1000u) << "who holds an entry keeps it";
}

// Memory ------------------------------------------------------------------------------------------

TEST_F(SystemCacheScanTest, AFileCostsNoAllocationBesideItsListingUnlessItIsKept) {
  constexpr unsigned kFiles = 200;
  constexpr unsigned kOfAScan = 40;  // at most, whatever the number of files
  for (unsigned i = 0; i < kFiles; ++i) {
    const Text channel = convertCookie(kVision, eCookieVision, static_cast<uint8_t>(i)).asWString();
    put(Text(L"/m/Material/") + channel + L".mov");
    put(Text(L"/m/Sound/") + channel + L".mov.vix");
    put(Text(L"/m/Sound/") + channel + L"copy.mov");
  }
  const unsigned listedSound = allocationsOf([] { list(L"/m/Sound/*.*"); });
  if (listedSound == 0) GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  const unsigned scannedSound = allocationsOf([] { scan(L"/Sound/"); });
  EXPECT_LE(scannedSound, listedSound + kOfAScan) << "what is skipped costs nothing";
  const unsigned listed = allocationsOf([] { list(L"/m/Material/*.*"); });
  const unsigned scanned = allocationsOf([] { scan(); });
  // The entry, its path's text in two parts, and the tree's share.
  EXPECT_LE(scanned, listed + kOfAScan + kFiles * 3 + kFiles / 4);
  EXPECT_EQ(catalogued().size(), kFiles);
}

}  // namespace

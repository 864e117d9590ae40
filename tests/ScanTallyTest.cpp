#include "fsys/ScanTally.h"

#include <gtest/gtest.h>

#include "tests/SystemCacheFixture.h"

namespace {

class ScanTallyTest : public StorageFixture {
protected:
  ScanTallyTest() : drive_(registeredId(L"/m/")) { SystemCache::invalidate(); }

  void scan() { SystemCache::addDirectory({drive_, L"/Material/"}); }

  const DriveId drive_;
};

TEST_F(ScanTallyTest, EachFileOfAScanIsCountedOnceByWhatBecameOfIt) {
  const std::vector<unsigned char> some(1);
  for (const wchar_t* name : {L"V4K7Q2M9A00.mov", L"V4K7Q2M9A00.A0.proxy.360.mov", L"notes.txt",
                              L"V4K7Q2M9A00.qvix", L"V4K7Q2M9A01.mov"})
    files().addFile(L"/m/Material/" + Text(name), some);
  files().addFile(L"/m/Material/V4K7Q2M9A02.mov");
  scan();
  ScanTally tally = SystemCache::getScanTally();
  EXPECT_EQ(tally.folders, 1u);
  EXPECT_EQ(tally.seen, 6u);
  EXPECT_EQ(tally.added, 2u);
  EXPECT_EQ(tally.augmented, 1u);
  EXPECT_EQ(tally.empty, 1u);
  EXPECT_EQ(tally.ineligible, 1u);
  EXPECT_EQ(tally.notCookies, 1u);
}

TEST_F(ScanTallyTest, ItGoesOnFromScanToScanUntilTheCatalogueIsEmptied) {
  files().addFile(L"/m/Material/V4K7Q2M9A00.mov", std::vector<unsigned char>(1));
  scan();
  scan();
  ScanTally tally = SystemCache::getScanTally();
  EXPECT_EQ(tally.folders, 2u);
  EXPECT_EQ(tally.seen, 2u);
  EXPECT_EQ(tally.augmented, 1u);
  SystemCache::invalidate();
  EXPECT_EQ(SystemCache::getScanTally().folders, 0u);
  EXPECT_EQ(SystemCache::getScanTally().seen, 0u);
}

TEST_F(ScanTallyTest, TheTimeIsThatOfListingAndCataloguingOfAllScans) {
  files().addFile(L"/m/Material/V4K7Q2M9A00.mov", std::vector<unsigned char>(1));
  scan();
  EXPECT_EQ(SystemCache::getScanTally().time_ms, 0) << "the clock stands still";
  DiagnosticSinks sinks;
  sinks.log = [this](const std::string& line) {
    if (line.starts_with("augmented")) os_->clock().step(0.5);
  };
  const DiagnosticSinks before = setDiagnosticSinks(sinks);
  SystemCachePeer::setDebug(1);
  scan();
  SystemCachePeer::setDebug(0);
  setDiagnosticSinks(before);
  EXPECT_EQ(SystemCache::getScanTally().time_ms, 0.5);
  files().setDrive(L"/m/", {.silent = true});
  scan();
  EXPECT_EQ(SystemCache::getScanTally().time_ms, 1500.5) << "and the drive's patience";
  SystemCache::invalidate();
  EXPECT_EQ(SystemCache::getScanTally().time_ms, 0);
}

}  // namespace

#include "fsys/ScanTally.h"

#include <gtest/gtest.h>

#include "fsys/SystemCache.h"
#include "tests/StorageFixture.h"

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

}  // namespace

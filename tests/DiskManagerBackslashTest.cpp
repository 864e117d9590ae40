// Locations whose paths have backslashes.

#include "tests/LocationsFixture.h"

namespace {

// On a system whose paths have them.
class DiskManagerBackslashTest : public LocationsFixture {
protected:
  static constexpr const wchar_t* kList = L"P:\\DefNetDrive.txt";

  DiskManagerBackslashTest() {
    files().setSeparator(L'\\');
    DiskManager::init(L"P:\\", true);
    forget();
  }
};

TEST_F(DiskManagerBackslashTest, DoubledOnesAreSingleOnesAndTheLineIsSaidAsItStands) {
  files().addFolder(L"D:\\media");
  write(kList, "D:\\\\media\\\\\nE:\\\\away\\\\\n");
  DiskManager::addDrivesFromFile(kList);
  EXPECT_EQ(drives(), Texts({"1 D:\\media"}));
  EXPECT_TRUE(DiskManager::getVolume(L"D:\\media\\"));
  EXPECT_EQ(diagnostics_.logBoth(), Texts({"** Can't add material drive 'E:\\\\away\\\\'\n"}));
  EXPECT_EQ(missing(), Texts({"E:\\away\\"}));
}

TEST_F(DiskManagerBackslashTest, ALineThatBeginsWithTwoStaysAsItIs) {
  files().addFolder(L"\\\\server\\share");
  write(kList, "\\\\server\\share\\\n\\\\\\\\server\\\\away\\\\\n");
  DiskManager::addDrivesFromFile(kList);
  EXPECT_EQ(drives(), Texts({"1 \\\\server\\share"}));
  EXPECT_EQ(missing(), Texts({"\\\\\\\\server\\\\away\\\\"}));
}

TEST_F(DiskManagerBackslashTest, ALineWithDoubledOnesIsFoundWhenItsLocationGoes) {
  added(L"D:\\media\\");
  write(kList, "C:\\\nD:\\\\Media\\\\\n");
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"D:\\media\\"));
  EXPECT_EQ(content(kList), "C:\\\n");
}

TEST_F(DiskManagerBackslashTest, AnEqualLineGoesBeforeOneWithDoubledOnes) {
  added(L"D:\\media\\");
  write(kList, "D:\\\\media\\\\\nd:\\media\\\n");
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"D:\\media\\"));
  EXPECT_EQ(content(kList), "D:\\\\media\\\\\n");
}

}  // namespace

#include "platform/PathHelpers.h"

#include <gtest/gtest.h>

TEST(PathHelpersTest, GetPathGivesTheFolderWithItsSeparator) {
  EXPECT_EQ(getPath(L"/media/reel.mxf"), L"/media/");
  EXPECT_EQ(getPath(L"/reel.mxf"), L"/");
  EXPECT_EQ(getPath(L"sub/reel.mxf"), L"sub/");
  EXPECT_EQ(getPath(L"/media/"), L"/media/");
}

TEST(PathHelpersTest, GetPathOfANameWithoutFolderIsEmpty) {
  EXPECT_EQ(getPath(L"reel.mxf"), L"");
  EXPECT_EQ(getPath(L""), L"");
  EXPECT_EQ(getPath(PathString()), L"");
}

TEST(PathHelpersTest, GetPathResolvesDotsAndDoubledSeparators) {
  EXPECT_EQ(getPath(L"/a/./b/../c/x"), L"/a/c/");
  EXPECT_EQ(getPath(L"//a///b//x"), L"/a/b/");
  EXPECT_EQ(getPath(L"./x"), L"");
  EXPECT_EQ(getPath(L"a/../x"), L"");
}

TEST(PathHelpersTest, DotDotNeverClimbsAboveTheRootAndStaysInARelativePath) {
  EXPECT_EQ(getPath(L"/../../x"), L"/");
  EXPECT_EQ(getPath(L"/a/../../../b/x"), L"/b/");
  EXPECT_EQ(getPath(L"../x"), L"../");
  EXPECT_EQ(getPath(L"a/../../b/x"), L"../b/");
  EXPECT_EQ(getPath(L"../../x"), L"../../");
}

TEST(PathHelpersTest, StripPathGivesWhatFollowsTheLastSeparator) {
  EXPECT_EQ(stripPath(L"/media/reel.mxf"), L"reel.mxf");
  EXPECT_EQ(stripPath(L"reel.mxf"), L"reel.mxf");
  EXPECT_EQ(stripPath(L"/media/"), L"");
  EXPECT_EQ(stripPath(L""), L"");
}

TEST(PathHelpersTest, StripExtensionCutsFromTheLastDotOfTheNameOnly) {
  EXPECT_EQ(stripExtension(L"/m/reel.mxf"), L"/m/reel");
  EXPECT_EQ(stripExtension(L"reel.1.mxf"), L"reel.1");
  EXPECT_EQ(stripExtension(L"/m.dir/reel"), L"/m.dir/reel");
  EXPECT_EQ(stripExtension(L"/m/.hidden"), L"/m/");
  EXPECT_EQ(stripExtension(L"reel."), L"reel");
  EXPECT_EQ(stripExtension(L"reel"), L"reel");
  EXPECT_EQ(stripExtension(L""), L"");
}

TEST(PathHelpersTest, JoinPathsPutsExactlyOneSeparatorBetweenTheTwo) {
  for (const wchar_t* folder : {L"/m", L"/m/", L"/m//"})
    for (const wchar_t* name : {L"x", L"/x", L"//x"}) EXPECT_EQ(joinPaths(folder, name), L"/m/x");
  EXPECT_EQ(joinPaths(L"/", L"x"), L"/x");
  EXPECT_EQ(joinPaths(L"/m", L""), L"/m/");
}

TEST(PathHelpersTest, JoinPathsWithoutAFolderGivesTheName) {
  EXPECT_EQ(joinPaths(L"", L"x"), L"x");
  EXPECT_EQ(joinPaths(PathString(), L"/x"), L"/x");
}

TEST(PathHelpersTest, FixForeignOSFileNameTurnsForeignSeparatorsIntoThisSystems) {
  EXPECT_EQ(fixForeignOSFileName(L"\\server\\share/sub\\x"), L"/server/share/sub/x");
  EXPECT_EQ(fixForeignOSFileName(L"plain"), L"plain");
  EXPECT_TRUE(fixForeignOSFileName(PathString()).isNull());
}

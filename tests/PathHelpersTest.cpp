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

TEST(PathHelpersTest, ANormalisedPathHasNoDotsAndNoDoubledSeparators) {
  EXPECT_EQ(normalisedPath(L"/a/./b/../c/x"), L"/a/c/x");
  EXPECT_EQ(normalisedPath(L"//a///b//x"), L"/a/b/x");
  EXPECT_EQ(normalisedPath(L"/a/b/.."), L"/a");
  EXPECT_EQ(normalisedPath(L"/a/b/."), L"/a/b");
  EXPECT_EQ(normalisedPath(L"a/./b"), L"a/b");
  EXPECT_EQ(normalisedPath(L"/a/...b/..c/x.."), L"/a/...b/..c/x..") << "a name with dots is one";
  EXPECT_EQ(normalisedPath(L"x"), L"x");
}

TEST(PathHelpersTest, ANormalisedPathKeepsASeparatorAtItsEnd) {
  EXPECT_EQ(normalisedPath(L"/a/b/"), L"/a/b/");
  EXPECT_EQ(normalisedPath(L"/a/b//"), L"/a/b/");
  EXPECT_EQ(normalisedPath(L"/a/b/../"), L"/a/");
  EXPECT_EQ(normalisedPath(L"/"), L"/");
  EXPECT_EQ(normalisedPath(L"//"), L"/");
}

TEST(PathHelpersTest, ANormalisedPathNeverClimbsAboveTheRootAndDoesInARelativePath) {
  EXPECT_EQ(normalisedPath(L"/.."), L"/");
  EXPECT_EQ(normalisedPath(L"/../../x"), L"/x");
  EXPECT_EQ(normalisedPath(L"../../x"), L"../../x");
  EXPECT_EQ(normalisedPath(L"a/../../x/"), L"../x/");
}

TEST(PathHelpersTest, OfAPathThatLeadsNowhereANormalisedOneIsEmpty) {
  for (const wchar_t* path : {L"", L".", L"./", L"a/..", L"a/../"})
    EXPECT_EQ(normalisedPath(path), L"") << toUTF8(path).c_str();
  EXPECT_EQ(normalisedPath(PathString()), L"");
}

TEST(PathHelpersTest, ALiteralNameHasSignsOfItsOwnForStarAndQuestionMark) {
  EXPECT_EQ(literalName(L"*a?.*"), L"\xDC2A\x61\xDC3F.\xDC2A");
  EXPECT_EQ(literalName(L"[clip] \xDCFF.mov"), L"[clip] \xDCFF.mov");
  EXPECT_EQ(literalName(literalName(L"*?")), literalName(L"*?"));
  EXPECT_EQ(literalName(L""), L"");
  EXPECT_FALSE(literalName(L"").isNull());
  EXPECT_TRUE(literalName(PathString()).isNull());
}

TEST(PathHelpersTest, ALiteralNameIsNoNameOfAFile) {
  std::string bytes;
  EXPECT_FALSE(toPathBytes(literalName(L"*"), bytes));
  EXPECT_FALSE(toPathBytes(literalName(L"?"), bytes));
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

TEST(PathHelpersTest, WithSeparatorAddsOneOnlyWhereNoneIs) {
  EXPECT_EQ(withSeparator(L"/media"), L"/media/");
  EXPECT_EQ(withSeparator(L"/media/"), L"/media/");
  EXPECT_EQ(withSeparator(L"/media//"), L"/media//");
  EXPECT_EQ(withSeparator(L"/"), L"/");
  EXPECT_EQ(withSeparator(L"a\\"), L"a\\/") << "another system's";
}

TEST(PathHelpersTest, WithSeparatorLeavesAnEmptyPathEmpty) {
  EXPECT_EQ(withSeparator(L""), L"");
  EXPECT_FALSE(withSeparator(L"").isNull());
  EXPECT_TRUE(withSeparator(PathString()).isNull());
}

TEST(PathHelpersTest, WithoutSeparatorTakesOneAwayWhereOneIs) {
  EXPECT_EQ(withoutSeparator(L"/media/"), L"/media");
  EXPECT_EQ(withoutSeparator(L"/media"), L"/media");
  EXPECT_EQ(withoutSeparator(L"/media//"), L"/media/");
  EXPECT_EQ(withoutSeparator(L"/"), L"");
  EXPECT_EQ(withoutSeparator(L""), L"");
  EXPECT_TRUE(withoutSeparator(PathString()).isNull());
}

TEST(PathHelpersTest, DoubledBackslashesBecomeSingleOnes) {
  EXPECT_EQ(undoubledBackslashes(L"D:\\\\media\\\\"), L"D:\\media\\");
  EXPECT_EQ(undoubledBackslashes(L"D:\\media\\"), L"D:\\media\\");
  EXPECT_EQ(undoubledBackslashes(L"a\\\\\\b"), L"a\\\\b") << "a pair, and one more";
  EXPECT_EQ(undoubledBackslashes(L"a\\\\\\\\b"), L"a\\\\b") << "two pairs";
  EXPECT_EQ(undoubledBackslashes(L"/a//b"), L"/a//b");
  EXPECT_EQ(undoubledBackslashes(L"\\a\\\\b"), L"\\a\\b");
}

TEST(PathHelpersTest, ANameOfAServerKeepsItsBackslashes) {
  EXPECT_EQ(undoubledBackslashes(L"\\\\server\\share\\"), L"\\\\server\\share\\");
  EXPECT_EQ(undoubledBackslashes(L"\\\\\\\\server\\\\share"), L"\\\\\\\\server\\\\share");
  EXPECT_EQ(undoubledBackslashes(L"\\\\"), L"\\\\");
  EXPECT_EQ(undoubledBackslashes(L""), L"");
  EXPECT_TRUE(undoubledBackslashes(PathString()).isNull());
}

TEST(PathHelpersTest, TheMediaLocationsStandInTheFileThatNewOnesAreAppendedTo) {
  EXPECT_EQ(getMediaLocationsFilename(), L"DefNetDrive.txt");
}

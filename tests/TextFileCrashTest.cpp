// What a loss of power at any moment of a save leaves.

#include <set>

#include "platform/TextFile.h"
#include "platform/fake/FakeCrash.h"
#include "tests/TextFileFixture.h"

namespace {

using Lines = TextLinesOfTest;

class TextFileCrashTest : public TextFileFixture {
protected:
  // A missing file counts as no lines.
  static Lines linesAfterCrash(const PathString& name) {
    TextFile file(name);
    EXPECT_NE(file.load(), TextFile::eFailed);
    return linesOf(file);
  }
  // Expects of every state that the file is one of these, and that a save then is the only file.
  // Which of them were met.
  std::set<Lines> expectOnly(FakeCrash& crash, const std::set<Lines>& allowed,
                             const PathString& name = kName) {
    std::set<Lines> met;
    size_t states = crash.forEachState([&](const std::string& what) {
      SCOPED_TRACE(what);
      Lines lines = linesAfterCrash(name);
      met.insert(lines);
      EXPECT_TRUE(allowed.contains(lines));
      EXPECT_TRUE(with({"saved after it"}, name).save());
      EXPECT_EQ(loaded(name), Lines{"saved after it"});
      EXPECT_EQ(names(), std::string(toUTF8(stripPath(name)).view())) << "something was left";
    });
    EXPECT_GT(states, allowed.size());
    return met;
  }
};

const Lines kOld = {"of before", "and more of it"};
const Lines kNew = {"what is new", "and its second line", "and its third"};

TEST_F(TextFileCrashTest, EveryStateOfASaveHasTheOldLinesOrTheNewOnes) {
  ASSERT_TRUE(with(kOld).save());
  FakeCrash crash(*os_);
  ASSERT_TRUE(with(kNew).save());
  EXPECT_EQ(expectOnly(crash, {kOld, kNew}), (std::set<Lines>{kOld, kNew}));
}

TEST_F(TextFileCrashTest, EveryStateOfAFirstSaveHasNoLinesOrTheNewOnes) {
  FakeCrash crash(*os_);
  ASSERT_TRUE(with(kNew).save());
  EXPECT_EQ(expectOnly(crash, {{}, kNew}), (std::set<Lines>{{}, kNew}));
}

TEST_F(TextFileCrashTest, AFirstSaveThatIsCutShortLeavesNoEmptyFileInItsPlace) {
  FakeCrash crash(*os_);
  ASSERT_TRUE(with(kNew).save());
  crash.forEachState([&](const std::string& what) {
    TextFile file(kName);
    TextFile::eLoad how = file.load();
    EXPECT_TRUE(how == TextFile::eMissing || linesOf(file) == kNew) << what;
  });
}

TEST_F(TextFileCrashTest, WhatWasSavedSurvivesALossOfPower) {
  ASSERT_TRUE(with(kOld).save());
  FakeCrash crash(*os_);
  ASSERT_TRUE(with(kNew).save());
  size_t states = crash.forEachStateNow(
      [&](const std::string& what) { EXPECT_EQ(linesAfterCrash(kName), kNew) << what; });
  EXPECT_GT(states, 0u);
}

TEST_F(TextFileCrashTest, WhatWasRemovedStaysAway) {
  ASSERT_TRUE(with(kOld).save());
  FakeCrash crash(*os_);
  ASSERT_TRUE(TextFile(kName).remove());
  crash.forEachStateNow([&](const std::string& what) {
    EXPECT_EQ(TextFile(kName).load(), TextFile::eMissing) << what;
  });
}

TEST_F(TextFileCrashTest, EveryStateOfASaveThroughALinkHasTheOldLinesOrTheNewOnes) {
  const PathString real = L"/p/real.txt";
  os_->files().addLink(L"/q/link.txt", real);
  ASSERT_TRUE(with(kOld, L"/q/link.txt").save());
  FakeCrash crash(*os_);
  ASSERT_TRUE(with(kNew, L"/q/link.txt").save());
  EXPECT_EQ(expectOnly(crash, {kOld, kNew}, real), (std::set<Lines>{kOld, kNew}));
  size_t states = crash.forEachStateNow(
      [&](const std::string& what) { EXPECT_EQ(linesAfterCrash(real), kNew) << what; });
  EXPECT_GT(states, 0u);
}

TEST_F(TextFileCrashTest, EveryStateOfASaveInALinksPlaceHasTheLinkOrTheNewLines) {
  const PathString link = L"/q/link.txt";
  os_->files().addFolder(L"/q");
  ASSERT_TRUE(with(kOld).save());
  os_->files().addLink(link, kName);
  FakeCrash crash(*os_);
  ASSERT_TRUE(with(kNew, link).save(TextFile::eLineFeed, TextFile::eReplaceLinks));
  std::set<Lines> met;
  crash.forEachState([&](const std::string& what) {
    SCOPED_TRACE(what);
    PathString target;
    ASSERT_TRUE(os_->files().followLinks(link, target));
    met.insert(linesAfterCrash(link));
    EXPECT_EQ(linesAfterCrash(link), target == link ? kNew : kOld);
    EXPECT_EQ(linesAfterCrash(kName), kOld) << "what the link led to";
    EXPECT_TRUE(with({"again"}, link).save(TextFile::eLineFeed, TextFile::eReplaceLinks));
    EXPECT_EQ(loaded(link), Lines{"again"});
    EXPECT_EQ(linesAfterCrash(kName), kOld);
  });
  EXPECT_EQ(met, (std::set<Lines>{kOld, kNew}));
  crash.forEachStateNow([&](const std::string& what) {
    EXPECT_EQ(linesAfterCrash(link), kNew) << what;
    EXPECT_EQ(linesAfterCrash(kName), kOld) << what;
  });
}

TEST_F(TextFileCrashTest, ASaveAfterOneThatWasCutShortIsAsSafe) {
  ASSERT_TRUE(with(kOld).save());
  put("half of it", L"/p/.fsys-list.txt.17-1");
  FakeCrash crash(*os_);
  ASSERT_TRUE(with(kNew).save());
  EXPECT_EQ(expectOnly(crash, {kOld, kNew}), (std::set<Lines>{kOld, kNew}));
}

TEST_F(TextFileCrashTest, SavesOneAfterTheOtherLeaveOneOfThem) {
  const Lines between = {"between"};
  ASSERT_TRUE(with(kOld).save());
  FakeCrash crash(*os_);
  ASSERT_TRUE(with(between).save());
  ASSERT_TRUE(with(kNew).save());
  EXPECT_EQ(expectOnly(crash, {kOld, between, kNew}), (std::set<Lines>{kOld, between, kNew}));
}

}  // namespace

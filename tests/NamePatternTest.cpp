#include "platform/common/NamePattern.h"

#include <gtest/gtest.h>

#include <string>

TEST(NamePatternTest, ATextWithoutSignsMatchesItselfAndNothingElse) {
  EXPECT_TRUE(matchesPattern(L"clip.mov", L"clip.mov"));
  EXPECT_FALSE(matchesPattern(L"clip.mov", L"clip.mo"));
  EXPECT_FALSE(matchesPattern(L"clip.mo", L"clip.mov"));
  EXPECT_FALSE(matchesPattern(L"aclip.mov", L"clip.mov"));
  EXPECT_TRUE(matchesPattern(L"", L""));
  EXPECT_FALSE(matchesPattern(L"a", L""));
  EXPECT_FALSE(matchesPattern(L"", L"a"));
}

TEST(NamePatternTest, CaseCounts) {
  EXPECT_FALSE(matchesPattern(L"Clip.mov", L"clip.mov"));
  EXPECT_FALSE(matchesPattern(L"a.ODB", L"*.odb"));
}

TEST(NamePatternTest, AStarStandsForAnyTextAlsoForNone) {
  EXPECT_TRUE(matchesPattern(L"", L"*"));
  EXPECT_TRUE(matchesPattern(L"anything", L"*"));
  EXPECT_TRUE(matchesPattern(L"a.odb", L"*.odb"));
  EXPECT_TRUE(matchesPattern(L".odb", L"*.odb"));
  EXPECT_FALSE(matchesPattern(L"a.odb2", L"*.odb"));
  EXPECT_TRUE(matchesPattern(L"clip0001.mov", L"clip*.mov"));
  EXPECT_TRUE(matchesPattern(L"clip", L"clip*"));
  EXPECT_TRUE(matchesPattern(L"clip", L"clip***"));
  EXPECT_FALSE(matchesPattern(L"clap", L"clip*"));
}

TEST(NamePatternTest, AStarIsTriedAgainWhereWhatFollowsItDoesNotMatch) {
  EXPECT_TRUE(matchesPattern(L"abab.ab", L"*ab"));
  EXPECT_TRUE(matchesPattern(L"aXbXc", L"a*X*c"));
  EXPECT_TRUE(matchesPattern(L"mississippi", L"m*iss*ip*i"));
  EXPECT_FALSE(matchesPattern(L"mississippi", L"m*iss*iss*iss*"));
  EXPECT_TRUE(matchesPattern(L"aab", L"*a?"));
  EXPECT_FALSE(matchesPattern(L"ab", L"*a?b"));
}

TEST(NamePatternTest, AQuestionMarkStandsForOneCharacterAndNotForNone) {
  EXPECT_TRUE(matchesPattern(L"a1", L"a?"));
  EXPECT_TRUE(matchesPattern(L"a?", L"a?"));
  EXPECT_FALSE(matchesPattern(L"a", L"a?"));
  EXPECT_FALSE(matchesPattern(L"a12", L"a?"));
  EXPECT_TRUE(matchesPattern(L"\U0001F3AC.mov", L"?.mov")) << "one code point is one character";
  EXPECT_TRUE(matchesPattern(L"a\xDCFF", L"a?")) << "so is one undecodable byte";
}

TEST(NamePatternTest, StarDotStarIsEveryNameAlsoOneWithoutADot) {
  EXPECT_TRUE(matchesPattern(L"README", L"*.*"));
  EXPECT_TRUE(matchesPattern(L"a.b", L"*.*"));
  EXPECT_TRUE(matchesPattern(L"", L"*.*"));
  EXPECT_FALSE(matchesPattern(L"README", L"R*.*")) << "only that pattern as a whole";
}

TEST(NamePatternTest, OtherSignsStandForThemselves) {
  EXPECT_TRUE(matchesPattern(L"[a]", L"[a]"));
  EXPECT_FALSE(matchesPattern(L"a", L"[a]"));
  EXPECT_TRUE(matchesPattern(L"a\\b", L"a\\b"));
  EXPECT_FALSE(matchesPattern(L"*", L"\\*"));
  EXPECT_FALSE(matchesPattern(std::wstring_view(L"a\0b", 3), L"a")) << "a NUL ends nothing";
  EXPECT_FALSE(matchesPattern(L"a", std::wstring_view(L"a\0", 2)));
}

TEST(NamePatternTest, ManyStarsCostNoMoreThanOne) {
  std::wstring name(2000, L'a');
  std::wstring pattern;
  for (int i = 0; i < 300; ++i) pattern += L"a*";
  EXPECT_TRUE(matchesPattern(name, pattern));
  pattern += L'b';
  EXPECT_FALSE(matchesPattern(name, pattern));
}

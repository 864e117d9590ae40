#include "platform/common/NamePattern.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <string>

#include "platform/PathHelpers.h"

namespace {

// Names as they come from a disk, and more often than there the signs of a pattern.
rc::Gen<std::wstring> anyName() {
  auto sign = rc::gen::element(L'*', L'?', L'.', L'[', L'\n', L'a', L'b', wchar_t{0xDCFF},
                               wchar_t{0xDCAA}, wchar_t{0x1F3AC});
  return rc::gen::container<std::wstring>(sign);
}

std::wstring literal(const std::wstring& name) {
  return std::wstring(literalName(PathString(std::wstring_view(name))).view());
}

}  // namespace

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

TEST(NamePatternTest, ALiteralSignStandsForItsCharacterAlone) {
  EXPECT_TRUE(matchesPattern(L"*", literal(L"*")));
  EXPECT_FALSE(matchesPattern(L"a", literal(L"*")));
  EXPECT_FALSE(matchesPattern(L"", literal(L"*")));
  EXPECT_FALSE(matchesPattern(L"?", literal(L"*")));
  EXPECT_TRUE(matchesPattern(L"?", literal(L"?")));
  EXPECT_FALSE(matchesPattern(L"a", literal(L"?")));
  EXPECT_FALSE(matchesPattern(L"*", literal(L"?")));
  EXPECT_FALSE(matchesPattern(L"\xDC2A", literal(L"*"))) << "no name has the sign itself";
  EXPECT_TRUE(matchesPattern(L"take*2.mov", literal(L"take*2") + L".*"));
  EXPECT_FALSE(matchesPattern(L"take12.mov", literal(L"take*2") + L".*"));
  EXPECT_TRUE(matchesPattern(L"x*y*", L"*" + literal(L"*") + L"?" + literal(L"*")));
}

TEST(NamePatternTest, ALiteralStarDotStarIsNotEveryName) {
  EXPECT_TRUE(matchesPattern(L"*.*", literal(L"*.*")));
  EXPECT_FALSE(matchesPattern(L"clip.mov", literal(L"*.*")));
  EXPECT_FALSE(matchesPattern(L"README", literal(L"*.*")));
}

TEST(NamePatternTest, LiteralSignsBecomeTheirCharactersAndNothingElseChanges) {
  EXPECT_EQ(withoutLiteralSigns(literal(L"*a?.") + L"*?"), L"*a?.*?");
  EXPECT_EQ(withoutLiteralSigns(L"\xDCFF\xDC2B"), L"\xDCFF\xDC2B");
  EXPECT_EQ(withoutLiteralSigns(L""), L"");
}

RC_GTEST_PROP(NamePatternPropertyTest, ALiteralNameMatchesItselfAndNoOther, ()) {
  std::wstring name = *anyName();
  std::wstring other = *anyName();
  RC_ASSERT(matchesPattern(name, literal(name)));
  RC_ASSERT(matchesPattern(other, literal(name)) == (other == name));
}

RC_GTEST_PROP(NamePatternPropertyTest, ALiteralNameDotStarMatchesTheNamesThatBeginWithItAndADot,
              ()) {
  std::wstring name = *anyName();
  std::wstring other = *rc::gen::oneOf(
      anyName(), rc::gen::map(anyName(), [&](const auto& tail) { return name + L'.' + tail; }));
  RC_ASSERT(matchesPattern(other, literal(name) + L".*") == other.starts_with(name + L'.'));
}

#include "platform/common/PreferenceLines.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using Wide = LightweightString<wchar_t>;
using Texts = std::vector<std::string>;

TextLines::Lines linesOf(const Texts& texts) {
  TextLines::Lines lines;
  for (const std::string& text : texts) lines.add(LightweightString<char>(std::string_view(text)));
  return lines;
}

Texts textsOf(const TextLines::Lines& lines) {
  Texts texts;
  for (const LightweightString<char>& line : lines) texts.emplace_back(line.view());
  return texts;
}

// The value in one line, "none" when there is none.
Wide valueIn(const std::string& line) {
  return PreferenceLines::find(linesOf({line}), "a").value_or(L"none");
}

Texts set(const Texts& before, const Wide& value) {
  return textsOf(PreferenceLines::changed(linesOf(before), "a", value));
}
Texts removed(const Texts& before) {
  return textsOf(PreferenceLines::changed(linesOf(before), "a", std::nullopt));
}

// The line that a setting gets.
std::string lineOf(std::string_view name, const Wide& value = L"1") {
  return textsOf(PreferenceLines::changed({}, name, value)).at(0);
}

// The line that has that value.
std::string written(const Wide& value) { return set({}, value).at(0); }

}  // namespace

TEST(PreferenceLinesTest, ASettingIsItsNameAnEqualsSignAndItsValue) {
  for (const char* line : {"a = b c", "a=b c", "  a  =  b c  ", "\ta\t=\tb c\t"})
    EXPECT_EQ(valueIn(line), L"b c") << line;
  EXPECT_EQ(valueIn("a ="), L"");
  EXPECT_EQ(valueIn("a=b=c"), L"b=c") << "the first one splits";
  EXPECT_EQ(valueIn("a=#b"), L"#b");
}

TEST(PreferenceLinesTest, WhatIsNoSettingOfThatNameHasNoValue) {
  for (const char* line :
       {"", "a", "b = 1", "A = 1", "#a = 1", " # a = 1", "aa = 1", "a b = 1", "= a", "b = a = 1"})
    EXPECT_EQ(valueIn(line), L"none") << line;
}

TEST(PreferenceLinesTest, NamesMayHaveParenthesesAndBlanksInside) {
  TextLines::Lines lines = linesOf({"Media Location () = /m/", "Media Location (A b) = /n/"});
  EXPECT_EQ(PreferenceLines::find(lines, "Media Location ()"), Wide(L"/m/"));
  EXPECT_EQ(PreferenceLines::find(lines, "Media Location (A b)"), Wide(L"/n/"));
}

TEST(PreferenceLinesTest, TheLastLineOfANameCounts) {
  EXPECT_EQ(PreferenceLines::find(linesOf({"a = 1", "b = 2", "a = 3"}), "a"), Wide(L"3"));
}

TEST(PreferenceLinesTest, ANameStandsOnItsLineAsItIs) {
  for (const char* name :
       {"a", "Media Location (Record)", "a#", "\xC3\xA4", "\xFF", "()", "\\n", "a\\\\e", "a\rb"})
    EXPECT_EQ(lineOf(name), std::string(name) + " = 1") << name;
}

TEST(PreferenceLinesTest, ANameThatNoLineCanHaveIsEscapedBehindAnEqualsSign) {
  using namespace std::string_view_literals;
  const std::pair<std::string_view, const char*> names[] = {
      {"a=b"sv, "= a\\eb = 1"},  {"="sv, "= \\e = 1"},
      {""sv, "=  = 1"},          {"#a"sv, "= #a = 1"},
      {"a\nb"sv, "= a\\nb = 1"}, {"a\r"sv, "= a\\r = 1"},
      {"a\0b"sv, "= a\\0b = 1"}, {" a b "sv, "= \\sa b\\s = 1"},
      {"\t"sv, "= \\t = 1"},     {"\\e=\\"sv, "= \\\\e\\e\\\\ = 1"}};
  for (const auto& [name, line] : names) {
    EXPECT_EQ(lineOf(name), line);
    EXPECT_EQ(PreferenceLines::find(linesOf({line}), name), Wide(L"1")) << line;
    EXPECT_EQ(textsOf(PreferenceLines::changed(linesOf({line}), name, Wide(L"2"))),
              Texts{lineOf(name, L"2")});
    EXPECT_EQ(textsOf(PreferenceLines::changed(linesOf({line}), name, std::nullopt)), Texts());
  }
}

TEST(PreferenceLinesTest, ANameThatNeedsNoEscapeIsNotReadBehindAnEqualsSign) {
  EXPECT_EQ(valueIn("= a = 1"), L"none");
  EXPECT_EQ(removed({"= a = 1"}), Texts{"= a = 1"});
}

TEST(PreferenceLinesTest, ABackslashAndAnEInAValueStandForThemselves) {
  EXPECT_EQ(valueIn("a = D:\\edit"), L"D:\\edit");
  EXPECT_EQ(written(L"b=c"), "a = b=c");
}

TEST(PreferenceLinesTest, TheFirstLineOfANameIsRewrittenInItsPlaceAndTheOthersGo) {
  EXPECT_EQ(set({"x", "a=1", "y", " a = 2", "#a = 3", "b = 4"}, L"new"),
            (Texts{"x", "a = new", "y", "#a = 3", "b = 4"}));
}

TEST(PreferenceLinesTest, ANewSettingStandsAtTheEnd) {
  EXPECT_EQ(set({}, L"1"), Texts{"a = 1"});
  EXPECT_EQ(set({"b = 2", ""}, L"1"), (Texts{"b = 2", "", "a = 1"}));
}

TEST(PreferenceLinesTest, ARemovedSettingLosesAllItsLinesAndNoOther) {
  EXPECT_EQ(removed({"a = 1", "  odd  ", "a=2", "A = 3", ""}), (Texts{"  odd  ", "A = 3", ""}));
  EXPECT_EQ(removed({"b = 1"}), Texts{"b = 1"});
}

TEST(PreferenceLinesTest, WhatALineCannotHoldIsWrittenWithABackslash) {
  EXPECT_EQ(written(L"D:\\media\\"), "a = D:\\\\media\\\\");
  EXPECT_EQ(written(L"1\r\n2"), "a = 1\\r\\n2");
  EXPECT_EQ(written(Wide(L"1\0002", 3)), "a = 1\\02");
  EXPECT_EQ(written(L""), "a = ");
}

TEST(PreferenceLinesTest, OnlyBlanksAtEitherEndAreWrittenWithABackslash) {
  EXPECT_EQ(written(L"b c\td"), "a = b c\td");
  EXPECT_EQ(written(L" b "), "a = \\sb\\s");
  EXPECT_EQ(written(L"\tb\t"), "a = \\tb\\t");
  EXPECT_EQ(written(L"  "), "a = \\s\\s");
  EXPECT_EQ(written(L" "), "a = \\s");
  EXPECT_EQ(valueIn("a = \\s  \\s"), L"    ");
}

TEST(PreferenceLinesTest, ABackslashThatBeginsNoEscapeStandsForItself) {
  EXPECT_EQ(valueIn("a = D:\\media\\x"), L"D:\\media\\x");
  EXPECT_EQ(valueIn("a = \\"), L"\\");
  EXPECT_EQ(valueIn("a = x\\"), L"x\\");
  EXPECT_EQ(valueIn("a = \\\\\\q"), L"\\\\q");
}

TEST(PreferenceLinesTest, UndecodableBytesOfAValueStayAsTheyAre) {
  Wide value = fromUTF8("\xFF/\xC3");
  EXPECT_EQ(written(value), "a = \xFF/\xC3");
  EXPECT_EQ(valueIn("a = \xFF/\xC3"), value);
}

RC_GTEST_PROP(PreferenceLinesPropertyTest, EveryValueComesBackFromOneLine, ()) {
  const std::wstring kCharacters = L" \t\\\\rnst0=#\r\na\u00E4\U0001F3AC\xDCFF\xDC80";
  std::wstring value;
  for (unsigned char index : *rc::gen::arbitrary<std::vector<unsigned char>>())
    value.push_back(index == 255 ? L'\0' : kCharacters[index % kCharacters.size()]);
  // Bytes that together make a character are read as that.
  const Wide expected = fromUTF8(toUTF8(Wide(std::wstring_view(value))).view());
  TextLines::Lines lines =
      PreferenceLines::changed(linesOf({"b = 1"}), "a", Wide(std::wstring_view(value)));
  std::string text;
  RC_ASSERT(TextLines::join(lines, "\r\n", 1 << 20, text));
  RC_ASSERT(text.find('\0') == text.npos);
  RC_ASSERT(textsOf(TextLines::split(text)) == textsOf(lines));
  RC_ASSERT(PreferenceLines::find(TextLines::split(text), "a") == expected);
  RC_ASSERT(PreferenceLines::find(TextLines::split(text), "b") == Wide(L"1"));
}

RC_GTEST_PROP(PreferenceLinesPropertyTest, EveryNameIsKnownAgainAndTakenForNoOther, ()) {
  const std::string kCharacters("a\\nres0=#\r\n \t\0\xFF", 15);
  auto anyName = [&kCharacters] {
    std::string name;
    for (unsigned char index : *rc::gen::arbitrary<std::vector<unsigned char>>())
      name.push_back(kCharacters[index % kCharacters.size()]);
    return name;
  };
  const std::string first = anyName();
  const std::string second = anyName();
  RC_PRE(first != second);
  TextLines::Lines lines = PreferenceLines::changed({}, first, Wide(L"1"));
  lines = PreferenceLines::changed(lines, second, Wide(L"2"));
  std::string text;
  RC_ASSERT(TextLines::join(lines, "\n", 1 << 20, text));
  lines = TextLines::split(text);
  RC_ASSERT(PreferenceLines::find(lines, first) == Wide(L"1"));
  RC_ASSERT(PreferenceLines::find(lines, second) == Wide(L"2"));
  lines = PreferenceLines::changed(lines, first, std::nullopt);
  RC_ASSERT(!PreferenceLines::find(lines, first));
  RC_ASSERT(PreferenceLines::find(lines, second) == Wide(L"2"));
}

#include "platform/TextHelpers.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "platform/common/CaseFolding.h"

namespace {

// A range whose characters are the large forms of others: each one, or every second.
struct Letters {
  wchar_t first;
  wchar_t last;
  int step;
  int distance;
};

constexpr std::array<Letters, 16> kAlphabets{{{L'A', L'Z', 1, 32},
                                              {0xC0, 0xD6, 1, 32},
                                              {0xD8, 0xDE, 1, 32},
                                              {0x100, 0x12E, 2, 1},
                                              {0x132, 0x136, 2, 1},
                                              {0x139, 0x147, 2, 1},
                                              {0x14A, 0x176, 2, 1},
                                              {0x179, 0x17D, 2, 1},
                                              {0x388, 0x38A, 1, 37},
                                              {0x391, 0x3A1, 1, 32},
                                              {0x3A3, 0x3AB, 1, 32},
                                              {0x3D8, 0x3EE, 2, 1},
                                              {0x3FD, 0x3FF, 1, -130},
                                              {0x400, 0x40F, 1, 80},
                                              {0x410, 0x42F, 1, 32},
                                              {0x4D0, 0x52E, 2, 1}}};

constexpr wchar_t kEndOfWhatFolds = 0x530;
constexpr wchar_t kNoLetters = 0x180;  // to kLettersAgain: not known here
constexpr wchar_t kLettersAgain = 0x370;

}  // namespace

TEST(TextHelpersTest, EveryLetterOfAnAlphabetFoldsFromItsFirstToItsLast) {
  for (const Letters& letters : kAlphabets)
    for (wchar_t c = letters.first; c <= letters.last; c += letters.step)
      EXPECT_EQ(foldCase(c), c + letters.distance) << std::hex << static_cast<unsigned>(c);
}

TEST(TextHelpersTest, TheNeighboursOfAnAlphabetAreNoneOfItsLetters) {
  for (wchar_t c :
       {L'@',      L'[',      L'`',      L'{',      L'\u00BF', L'\u00D7', L'\u00F7', L'\u0130',
        L'\u0131', L'\u0138', L'\u0149', L'\u0387', L'\u038B', L'\u0390', L'\u03A2', L'\u03AC',
        L'\u03FC', L'\u0430', L'\u0482', L'\u0489', L'\u052F', L'\u0530', L'\u0000'})
    EXPECT_EQ(foldCase(c), c) << std::hex << static_cast<unsigned>(c);
}

TEST(TextHelpersTest, LettersThatStandAloneFoldToTheirSmallForm) {
  const std::array<std::pair<wchar_t, wchar_t>, 22> known{
      {{0xB5, 0x3BC},  {0x178, 0xFF},  {0x17F, L's'},  {0x370, 0x371}, {0x376, 0x377},
       {0x37F, 0x3F3}, {0x386, 0x3AC}, {0x38C, 0x3CC}, {0x38F, 0x3CE}, {0x3C2, 0x3C3},
       {0x3CF, 0x3D7}, {0x3D0, 0x3B2}, {0x3D1, 0x3B8}, {0x3D5, 0x3C6}, {0x3D6, 0x3C0},
       {0x3F0, 0x3BA}, {0x3F4, 0x3B8}, {0x3F5, 0x3B5}, {0x3F9, 0x3F2}, {0x4C0, 0x4CF},
       {0x4C1, 0x4C2}, {0x480, 0x481}}};
  for (const auto& [large, small] : known)
    EXPECT_EQ(foldCase(large), small) << std::hex << static_cast<unsigned>(large);
}

TEST(TextHelpersTest, WhatACharacterFoldsToFoldsToItself) {
  for (wchar_t c = 0; c < 0x3000; ++c)
    EXPECT_EQ(foldCase(foldCase(c)), foldCase(c)) << std::hex << static_cast<unsigned>(c);
}

TEST(TextHelpersTest, CharactersOfOtherScriptsStandForThemselves) {
  for (wchar_t c = kNoLetters; c < kLettersAgain; ++c) ASSERT_EQ(foldCase(c), c);
  for (wchar_t c = kEndOfWhatFolds; c < 0x3000; ++c) ASSERT_EQ(foldCase(c), c);
  for (wchar_t c : {wchar_t{0xDC80}, wchar_t{0x10400}, wchar_t{0x10FFFF}, wchar_t{-1}})
    EXPECT_EQ(foldCase(c), c);
}

TEST(TextHelpersTest, WideTextsAreEqualInWhateverCaseTheyAre) {
  EXPECT_TRUE(equalsNoCase(L"/M/\u00C4rger.\u0416", L"/m/\u00E4RGER.\u0436"));
  EXPECT_TRUE(equalsNoCase(L"\u03A3\u03C2\u03C3", L"\u03C3\u03A3\u03C2"));
  EXPECT_TRUE(equalsNoCase(L"", L""));
  EXPECT_FALSE(equalsNoCase(L"reel", L"reel1"));
  EXPECT_FALSE(equalsNoCase(L"reel1", L"reel"));
  EXPECT_FALSE(equalsNoCase(L"\u00E4", L"a"));
  EXPECT_FALSE(equalsNoCase(L"\u00DF", L"ss"));
  EXPECT_FALSE(equalsNoCase(std::wstring_view(L"a\0b", 3), std::wstring_view(L"a\0c", 3)));
}

TEST(TextHelpersTest, NarrowTextsAreEqualInEitherCaseOfAToZAlone) {
  EXPECT_TRUE(equalsNoCase("NAME az", "name AZ"));
  EXPECT_FALSE(equalsNoCase("\xC3\x84", "\xC3\xA4"));
  EXPECT_FALSE(equalsNoCase("@[", "`{"));
  EXPECT_FALSE(equalsNoCase("name", "names"));
  EXPECT_TRUE(equalsNoCase("", ""));
}

TEST(TextHelpersTest, ATextStartsWithAPrefixInEitherCase) {
  EXPECT_TRUE(startsWithNoCase(L"MEM:file", L"mem:"));
  EXPECT_TRUE(startsWithNoCase(L"mem:", L"MEM:"));
  EXPECT_TRUE(startsWithNoCase(L"x", L""));
  EXPECT_FALSE(startsWithNoCase(L"me", L"mem:"));
  EXPECT_FALSE(startsWithNoCase(L"xmem:", L"mem:"));
}

TEST(TextHelpersTest, ATextEndsWithItsLastCharacterAndAnEmptyOneWithNone) {
  EXPECT_TRUE(Qv::endsWith(L"D:\\", L'\\'));
  EXPECT_FALSE(Qv::endsWith(L"\\D", L'\\'));
  EXPECT_FALSE(Qv::endsWith(L"", L'\\'));
  EXPECT_FALSE(Qv::endsWith(L"", L'\0', false));
  EXPECT_FALSE(Qv::endsWith(L"a", L'A'));
  EXPECT_TRUE(Qv::endsWith(L"a", L'A', false));
  EXPECT_TRUE(Qv::endsWith(L"\u0416", L'\u0436', false));
}

TEST(TextHelpersTest, APairIsSplitAtTheFirstSeparator) {
  Qv::AttribValuePair pair = Qv::splitPair("name=a=b");
  EXPECT_TRUE(pair.isPair);
  EXPECT_EQ(pair.attribute, "name");
  EXPECT_EQ(pair.value, "a=b");
  pair = Qv::splitPair("a::b:c", "::");
  EXPECT_EQ(pair.attribute, "a");
  EXPECT_EQ(pair.value, "b:c");
}

TEST(TextHelpersTest, EitherPartOfAPairMayBeEmptyAndBlanksStay) {
  EXPECT_EQ(Qv::splitPair("=").attribute, "");
  EXPECT_TRUE(Qv::splitPair("=").isPair);
  EXPECT_EQ(Qv::splitPair(" name = value ").attribute, " name ");
  EXPECT_EQ(Qv::splitPair(" name = value ").value, " value ");
}

TEST(TextHelpersTest, ATextWithoutTheSeparatorIsNoPair) {
  Qv::AttribValuePair pair = Qv::splitPair("name");
  EXPECT_FALSE(pair.isPair);
  EXPECT_EQ(pair.attribute, "name");
  EXPECT_EQ(pair.value, "");
  EXPECT_FALSE(Qv::splitPair("").isPair);
  EXPECT_FALSE(Qv::splitPair("a=b", "").isPair);
}

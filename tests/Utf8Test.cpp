#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "platform/LightweightString.h"

namespace {

using Wide = LightweightString<wchar_t>;

std::string bytesOf(const Wide& text) {
  std::string bytes;
  EXPECT_TRUE(toPathBytes(text, bytes));
  return bytes;
}

// Each byte stands for itself as U+DC00+b.
Wide escapesOf(std::string_view bytes) {
  Wide wide(L"");
  for (char byte : bytes) wide += static_cast<wchar_t>(0xDC00 + static_cast<unsigned char>(byte));
  return wide;
}

bool isName(const Wide& text) {
  std::string bytes = "left over";
  bool named = toPathBytes(text, bytes);
  EXPECT_EQ(bytes.empty(), !named || text.empty());
  return named;
}

}  // namespace

TEST(Utf8Test, TheFirstAndLastCodePointOfEachLengthComeAndGoUnchanged) {
  const std::pair<std::string, wchar_t> known[] = {
      {"\x01", 0x1},
      {"\x7F", 0x7F},
      {"\xC2\x80", 0x80},
      {"\xDF\xBF", 0x7FF},
      {"\xE0\xA0\x80", 0x800},
      {"\xEF\xBF\xBF", 0xFFFF},
      {"\xF0\x90\x80\x80", 0x10000},
      {"\xF4\x8F\xBF\xBF", 0x10FFFF},
      {"\xED\x9F\xBF", 0xD7FF},
      {"\xEE\x80\x80", 0xE000},
  };
  for (const auto& [bytes, character] : known) {
    EXPECT_EQ(fromUTF8(bytes), Wide(&character, 1)) << std::hex << static_cast<unsigned>(character);
    EXPECT_EQ(bytesOf(Wide(&character, 1)), bytes) << std::hex << static_cast<unsigned>(character);
  }
}

TEST(Utf8Test, OverlongFormsSurrogatesAndNumbersPastTheLastAreUndecodableBytes) {
  for (const char* bytes : {"\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF",
                            "\xF0\x80\x80\x80", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "\xED\xBF\xBF",
                            "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE", "\xFF", "\x80", "\xBF"})
    EXPECT_EQ(fromUTF8(bytes), escapesOf(bytes));
}

TEST(Utf8Test, ASequenceThatIsCutShortIsUndecodableAndWhatFollowsIsRead) {
  EXPECT_EQ(fromUTF8("\xE2\x82"), escapesOf("\xE2\x82"));
  EXPECT_EQ(fromUTF8("\xE2\x82"
                     "A"),
            escapesOf("\xE2\x82") + L"A");
  EXPECT_EQ(fromUTF8("\xC3\xC3\xA9"), escapesOf("\xC3") + L"\u00E9");
}

TEST(Utf8Test, EveryStringOfTwoBytesSurvivesTheWayToWideTextAndBack) {
  for (unsigned first = 1; first < 256; ++first)
    for (unsigned second = 1; second < 256; ++second) {
      std::string bytes{static_cast<char>(first), static_cast<char>(second)};
      ASSERT_EQ(bytesOf(fromUTF8(bytes)), bytes) << first << " " << second;
    }
}

TEST(Utf8Test, RandomBytesRichInLeadBytesSurviveTheWayToWideTextAndBack) {
  std::mt19937 random(20240611);
  const std::string leads =
      "\xC2\xE0\xED\xEF\xF0\xF4\x80\x8F\x90\x9F\xA0\xBF\xDC"
      "a/";
  for (int round = 0; round < 20000; ++round) {
    std::string bytes;
    for (size_t length = random() % 12; bytes.size() < length;)
      bytes.push_back(random() % 2 ? leads[random() % leads.size()]
                                   : static_cast<char>(1 + random() % 255));
    ASSERT_EQ(bytesOf(fromUTF8(bytes)), bytes) << "round " << round;
    ASSERT_EQ(toUTF8(fromUTF8(bytes)).view(), bytes) << "round " << round;
  }
}

RC_GTEST_PROP(Utf8Test, AnyBytesSurviveTheWayToWideTextAndBack, ()) {
  const auto anyByte =
      rc::gen::map(rc::gen::inRange(1, 256), [](int b) { return static_cast<char>(b); });
  // What begins a character, what goes on with one, and the limits of both.
  const auto telling = rc::gen::element('\x80', '\x8F', '\x90', '\x9F', '\xA0', '\xBF', '\xC2',
                                        '\xE0', '\xED', '\xEF', '\xF0', '\xF4', 'a');
  const auto bytes = *rc::gen::container<std::string>(rc::gen::oneOf(anyByte, telling));
  const Wide wide = fromUTF8(bytes);
  RC_ASSERT(wide.length() <= bytes.size());
  std::string back;
  RC_ASSERT(toPathBytes(wide, back));
  RC_ASSERT(back == bytes);
  RC_ASSERT(toUTF8(wide).view() == bytes);
}

TEST(Utf8Test, EscapesThatTogetherForgeACharacterAreNoName) {
  EXPECT_FALSE(isName(escapesOf("\xC3\xA9")));
  EXPECT_FALSE(isName(L"a" + escapesOf("\xE2\x82\xAC")));
  EXPECT_TRUE(isName(escapesOf("\xC3")));
  EXPECT_TRUE(isName(escapesOf("\xA9\xC3")));
}

TEST(Utf8Test, ATextWithAZeroInsideIsNoName) {
  EXPECT_FALSE(isName(Wide(L"a\0b", 3)));
  EXPECT_FALSE(isName(Wide(L"\0", 1)));
}

TEST(Utf8Test, OnlyTheEscapesOfUndecodableBytesHaveAByteForm) {
  for (wchar_t c : {0xD800, 0xDBFF, 0xDC00, 0xDC7F, 0xDD00, 0xDFFF, 0x110000, 0x7FFFFFFF})
    EXPECT_FALSE(isName(Wide(&c, 1))) << std::hex << static_cast<unsigned>(c);
  for (wchar_t c : {0xDC80, 0xDCFF})
    EXPECT_TRUE(isName(Wide(&c, 1))) << std::hex << static_cast<unsigned>(c);
}

TEST(Utf8Test, WhatHasNoUtf8FormBecomesTheReplacementCharacter) {
  const wchar_t text[] = {L'a', 0xD800, 0xDC10, 0x110000, L'b', 0};
  EXPECT_EQ(toUTF8(text),
            "a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"
            "b");
}

TEST(Utf8Test, NullStaysNullAndEmptyStaysEmpty) {
  EXPECT_TRUE(fromUTF8(static_cast<const char*>(nullptr)).isNull());
  EXPECT_FALSE(fromUTF8("").isNull());
  EXPECT_TRUE(toUTF8(Wide()).isNull());
  EXPECT_FALSE(toUTF8(Wide(L"")).isNull());
}

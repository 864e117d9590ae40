#include "platform/LightweightString.h"

#include <gtest/gtest.h>

using Wide = LightweightString<wchar_t>;
using Narrow = LightweightString<char>;

TEST(LightweightStringTest, ANullAndAnEmptyTextAreEqualAndOnlyIsNullTellsThemApart) {
  Wide null;
  Wide empty(L"");
  EXPECT_TRUE(null.isNull());
  EXPECT_FALSE(empty.isNull());
  EXPECT_TRUE(null.empty());
  EXPECT_TRUE(empty.empty());
  EXPECT_EQ(null, empty);
  EXPECT_STREQ(null.c_str(), L"");
}

TEST(LightweightStringTest, ANullPointerMakesANullText) {
  EXPECT_TRUE(Wide(static_cast<const wchar_t*>(nullptr)).isNull());
}

TEST(LightweightStringTest, ACopySharesTheTextOfItsOriginal) {
  Wide first(L"reel");
  Wide second(first);
  EXPECT_EQ(first.c_str(), second.c_str());
}

TEST(LightweightStringTest, ChangingACopyLeavesTheOriginalAsItWas) {
  Wide first(L"reel");
  Wide second(first);
  second += L" 2";
  EXPECT_EQ(first, L"reel");
  EXPECT_EQ(second, L"reel 2");
}

TEST(LightweightStringTest, ATextThatIsAloneChangesInPlaceWithoutLosingItsEnd) {
  Narrow text("a");
  for (int i = 0; i < 1000; ++i) text += 'b';
  EXPECT_EQ(text.length(), 1001u);
  EXPECT_EQ(text[1000], 'b');
  EXPECT_EQ(text.c_str()[1001], '\0');
}

TEST(LightweightStringTest, ATextCanBeAppendedToItself) {
  Narrow text("ab");
  text += text;
  EXPECT_EQ(text, "abab");
}

TEST(LightweightStringTest, AMovedFromTextIsNull) {
  Narrow from("x");
  Narrow to(std::move(from));
  EXPECT_TRUE(from.isNull());
  EXPECT_EQ(to, "x");
}

TEST(LightweightStringTest, AssignmentToItselfKeepsTheText) {
  Narrow text("keep");
  const Narrow& same = text;
  text = same;
  EXPECT_EQ(text, "keep");
}

TEST(LightweightStringTest, AZeroInsideCountsAsACharacter) {
  Narrow text("a\0b", 3);
  EXPECT_EQ(text.length(), 3u);
  EXPECT_EQ(text[1], '\0');
  EXPECT_EQ(text[2], 'b');
}

TEST(LightweightStringTest, AnIndexPastTheEndGivesZero) {
  EXPECT_EQ(Narrow("ab")[2], '\0');
  EXPECT_EQ(Narrow("ab")[100], '\0');
  EXPECT_EQ(Narrow()[0], '\0');
}

TEST(LightweightStringTest, ASubstringFromPastTheEndIsEmpty) {
  Narrow text("abc");
  EXPECT_EQ(text.substr(1, 1), "b");
  EXPECT_EQ(text.substr(3), "");
  EXPECT_EQ(text.substr(4), "");
}

TEST(LightweightStringTest, FindAnswersTheFirstAndRfindTheLastPlace) {
  Narrow text("a.b.c");
  EXPECT_EQ(text.find("."), 1u);
  EXPECT_EQ(text.find(".", 2), 3u);
  EXPECT_EQ(text.rfind("."), 3u);
  EXPECT_EQ(text.find("x"), Narrow::npos);
}

TEST(LightweightStringTest, TextsAreOrderedCharacterByCharacter) {
  EXPECT_TRUE(Narrow("a") < Narrow("b"));
  EXPECT_TRUE(Narrow("a") < Narrow("aa"));
  EXPECT_TRUE(Narrow() < Narrow("a"));
  EXPECT_FALSE(Narrow("b") < Narrow("a"));
}

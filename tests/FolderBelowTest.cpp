#include "platform/common/FolderBelow.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// The names on the way down, with a blank between.
std::wstring below(std::wstring_view folder, std::wstring_view subfolder) {
  std::wstring text;
  for (const auto& name : namesBelow(folder, subfolder, L'/'))
    text.append(text.empty() ? L"" : L" ").append(name.view());
  return text;
}

}  // namespace

TEST(FolderBelowTest, TheNamesBelowAFolderAreWhatFollowsIt) {
  EXPECT_EQ(below(L"/m/Mat", L"/m/Mat/x"), L"x");
  EXPECT_EQ(below(L"/m/Mat", L"/m/Mat/x/y/z"), L"x y z");
  EXPECT_EQ(below(L"/m/Mat/", L"/m/Mat/x/"), L"x") << "one separator at the end is no part of it";
  EXPECT_EQ(below(L"/", L"/x/y"), L"x y");
  EXPECT_EQ(namesBelow(L"D:\\m", L"D:\\m\\x\\y", L'\\').size(), 2u);
}

TEST(FolderBelowTest, TheFolderIsComparedWithoutRegardToCaseAndTheNamesStayAsTheyAre) {
  EXPECT_EQ(below(L"/m/Mat", L"/M/mAT/X\xC9"), L"X\xC9");
  EXPECT_EQ(below(L"/m/\xC9", L"/m/\xE9/x"), L"x");
}

TEST(FolderBelowTest, WhatDoesNotLieBelowHasNoNames) {
  EXPECT_EQ(below(L"/m/Mat", L"/m/Material/x"), L"") << "only the text begins so";
  EXPECT_EQ(below(L"/m/Mat", L"/m/Material"), L"");
  EXPECT_EQ(below(L"/m/Mat", L"/n/Mat/x"), L"");
  EXPECT_EQ(below(L"/m/Mat", L"/m"), L"");
  EXPECT_EQ(below(L"/m/Mat", L"/m/Mat"), L"");
  EXPECT_EQ(below(L"/m/Mat", L"/m/Mat/"), L"");
  EXPECT_EQ(below(L"/m/Mat/", L"/m/Mat"), L"");
  EXPECT_EQ(below(L"/m/Mat", L""), L"");
  EXPECT_EQ(below(L"/", L"/"), L"");
  EXPECT_EQ(below(L"", L""), L"");
  EXPECT_EQ(below(L"/m", L"m/x"), L"");
}

TEST(FolderBelowTest, DotsAndDoubledSeparatorsAreNoWayDown) {
  for (const wchar_t* subfolder : {L"/m/..", L"/m/x/..", L"/m/x/../y", L"/m/.", L"/m/./x", L"/m//x",
                                   L"/m/x//y", L"/m/x//", L"/m/../m/x"})
    EXPECT_EQ(below(L"/m", subfolder), L"") << LightweightString<wchar_t>(subfolder).length();
  EXPECT_EQ(below(L"/m//", L"/m/x"), L"");
  EXPECT_EQ(below(L"/m", L"/m/.../..x/x../.y"), L"... ..x x.. .y") << "these are names";
}

#include "fsys/MediaName.h"

#include <gtest/gtest.h>

namespace {

MediaName::eVerdict verdict(const wchar_t* name, uint64_t bytes = 1) {
  return MediaName(name, bytes).verdict;
}

TEST(MediaNameTest, AFileIsMediaUnderTheCookieBeforeItsFirstDot) {
  for (const wchar_t* name :
       {L"V4K7Q2M9A00", L"V4K7Q2M9A00.mov", L"v4k7q2m9a00.A2.proxy.360.mov"}) {
    MediaName media(name, 1);
    EXPECT_EQ(media.verdict, MediaName::eMedia);
    EXPECT_EQ(media.cookie, Cookie(L"V4K7Q2M9A00"));
  }
}

TEST(MediaNameTest, TheFirstReasonCountsAgainstAFileThatIsNone) {
  EXPECT_EQ(verdict(L"V4K7Q2M9A00.mov.qvix", 0), MediaName::eEmpty);
  EXPECT_EQ(verdict(L"notes.partial"), MediaName::eIneligible);
  EXPECT_EQ(verdict(L"V4K7Q2M9A00.vix"), MediaName::eIneligible);
  EXPECT_EQ(verdict(L"V4K7Q2M9A00.VIX"), MediaName::eMedia);
  EXPECT_FALSE(MediaName(L"V4K7Q2M9A00.vix", 1).cookie.isValid());
}

TEST(MediaNameTest, WhatCanOnlyBeReadAsACookieIsNone) {
  for (const wchar_t* name : {L"", L".hidden", L"notes.txt", L"V4K7Q2M9A", L"V4K7Q2M9A00x.mov",
                              L"I4K7Q2M9A00", L"V4K7Q2M9A0G"})
    EXPECT_EQ(verdict(name), MediaName::eNoCookie);
}

TEST(MediaNameTest, AWholeTextIsACookiesInEitherCase) {
  EXPECT_EQ(MediaName::cookieOf(L"s4k7q2m9aFf"), Cookie(L"S4K7Q2M9AFF"));
  EXPECT_FALSE(MediaName::cookieOf(L"V4K7Q2M9A00.mov").isValid());
  EXPECT_FALSE(MediaName::cookieOf(L"").isValid());
}

}  // namespace

#include "platform/Cookie.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <string>

namespace {

using Wide = LightweightString<wchar_t>;

constexpr wchar_t kVision[] = L"V4K7Q2M9A00";

bool isCookie(const wchar_t* text, bool lenient) { return Cookie(text, lenient).isValid(); }
Wide lenient(const wchar_t* text) { return Cookie(text, true).asWString(); }

}  // namespace

TEST(CookieTest, ATextGivesItsTypeAndItsChannelAndComesBack) {
  Cookie vision(kVision);
  EXPECT_TRUE(vision.isValid());
  EXPECT_EQ(vision.getType(), eCookieVision);
  EXPECT_EQ(vision.getChannel(), 0);
  EXPECT_EQ(vision.asWString(), kVision);
  EXPECT_EQ(vision.asString(), "V4K7Q2M9A00");
  EXPECT_EQ(vision.asString(true), "V4K7Q2M9A00");
  Cookie sound(L"S0000ZZZZAF");
  EXPECT_EQ(sound.getType(), eCookieSound);
  EXPECT_EQ(sound.getChannel(), 0xAF);
  EXPECT_EQ(sound.asWString(), L"S0000ZZZZAF");
}

TEST(CookieTest, TheTypesAreTheirLetters) {
  EXPECT_EQ(static_cast<char>(eCookieVision), 'V');
  EXPECT_EQ(static_cast<char>(eCookieSound), 'S');
  EXPECT_EQ(static_cast<char>(eCookieInvalid), 'I');
}

TEST(CookieTest, WhatIsNoCookieHasTypeIAndAnEmptyText) {
  for (const Cookie& none : {Cookie(), Cookie(L""), Cookie(Wide()), Cookie(L"reel")}) {
    EXPECT_EQ(none.getType(), eCookieInvalid);
    EXPECT_FALSE(none.isValid());
    EXPECT_EQ(none.asString(), "");
    EXPECT_EQ(none.asWString(), L"");
    EXPECT_EQ(none.getChannel(), 0);
    EXPECT_EQ(none, Cookie());
  }
}

TEST(CookieTest, OnlyElevenCharactersInCapitalsAreStrictlyACookie) {
  EXPECT_TRUE(isCookie(L"V4K7Q2M9A00", false));
  for (const wchar_t* text : {L"V4K7Q2M9A", L"V4K7Q2M9A0", L"V4K7Q2M9A000", L"v4K7Q2M9A00",
                              L"V4k7Q2M9A00", L"V4K7Q2M9Aa0", L" V4K7Q2M9A00", L"V4K7Q2M9A00 "})
    EXPECT_FALSE(isCookie(text, false)) << toUTF8(text).c_str();
}

TEST(CookieTest, ATypeAShotOrAChannelOfOtherCharactersIsNone) {
  for (const wchar_t* text :
       {L"I4K7Q2M9A00", L"A4K7Q2M9A00", L"V4K7Q2M9-00", L"V/K7Q2M9A00", L"V:K7Q2M9A00",
        L"V@K7Q2M9A00", L"V[K7Q2M9A00", L"V4K7Q2M9AG0", L"V4K7Q2M9A0G", L"V4K7Q2M9A0/",
        L"V4K7Q2M9A0:", L"V4K7Q2M9A@0", L"V\u00C4K7Q2M9A00", L"V\u0134K7Q2M9A00"})
    for (bool lenient : {false, true})
      EXPECT_FALSE(isCookie(text, lenient)) << toUTF8(text).c_str() << lenient;
}

TEST(CookieTest, LenientlyLettersMayHaveEitherCase) {
  EXPECT_EQ(lenient(L"v4k7q2m9aff"), L"V4K7Q2M9AFF");
  EXPECT_EQ(lenient(L"sAzAzAzAza0"), L"SAZAZAZAZA0");
  EXPECT_FALSE(isCookie(L"v`k7q2m9a00", true));
  EXPECT_FALSE(isCookie(L"v{k7q2m9a00", true));
}

TEST(CookieTest, LenientlyAMissingChannelIsZero) {
  EXPECT_EQ(lenient(L"V4K7Q2M9A"), L"V4K7Q2M9A00");
  EXPECT_EQ(lenient(L"V4K7Q2M9A0"), L"") << "half a channel is none";
  EXPECT_EQ(lenient(L"V4K7Q2M9"), L"");
}

TEST(CookieTest, LenientlyWhatFollowsTheChannelIsIgnored) {
  EXPECT_EQ(lenient(L"V4K7Q2M9A01_proxy.mxf"), L"V4K7Q2M9A01");
  EXPECT_EQ(lenient(L"V4K7Q2M9A.mxf"), L"") << "no channel";
}

TEST(CookieTest, CookiesAreOrderedByShotThenTypeThenChannel) {
  EXPECT_LT(Cookie(L"V0000000100").compare(Cookie(L"S0000000200")), 0);
  EXPECT_GT(Cookie(L"S0000000A00").compare(Cookie(L"V00000009FF")), 0);
  EXPECT_LT(Cookie(L"S00000001FF").compare(Cookie(L"V0000000100")), 0);
  EXPECT_LT(Cookie(L"V0000000100").compare(Cookie(L"V00000001FF")), 0);
  EXPECT_EQ(Cookie(L"V0000000180").compare(Cookie(L"V0000000180")), 0);
  EXPECT_LT(Cookie(), Cookie(L"S0000000000"));
  EXPECT_FALSE(Cookie(kVision) < Cookie(kVision));
}

TEST(CookieTest, AConvertedCookieIsOfTheSameShot) {
  EXPECT_EQ(convertCookie(Cookie(kVision), eCookieSound, 0x1F).asWString(), L"S4K7Q2M9A1F");
  EXPECT_EQ(convertCookie(Cookie(L"S4K7Q2M9A1F"), eCookieVision, 0), Cookie(kVision));
}

TEST(CookieTest, NothingValidIsMadeOfAnInvalidCookieOrForAnInvalidType) {
  EXPECT_EQ(convertCookie(Cookie(), eCookieSound, 1), Cookie());
  EXPECT_FALSE(convertCookie(Cookie(), eCookieSound, 1).isValid());
  EXPECT_EQ(convertCookie(Cookie(kVision), eCookieInvalid, 1), Cookie());
  EXPECT_EQ(convertCookie(Cookie(kVision), static_cast<CookieType>('X'), 1), Cookie());
}

RC_GTEST_PROP(CookiePropertyTest, EveryLenientCookieWritesATextThatIsStrictlyTheSameCookie, ()) {
  const std::wstring kCharacters = L"vVsSiI09aAfFgGzZ_./";
  std::wstring text;
  for (size_t index : *rc::gen::container<std::vector<size_t>>(
           13, rc::gen::inRange<size_t>(0, kCharacters.size())))
    text.push_back(kCharacters[index]);
  Cookie cookie(Wide(std::wstring_view(text)), true);
  RC_ASSERT(Cookie(cookie.asWString()) == cookie);
  RC_ASSERT(cookie.asWString() == fromUTF8(cookie.asString().view()));
  RC_ASSERT(cookie.asString().length() == (cookie.isValid() ? 11u : 0u));
}

RC_GTEST_PROP(CookiePropertyTest, TheOrderIsOne, ()) {
  auto anyCookie = [] {
    std::wstring text(1, *rc::gen::element(L'V', L'S'));
    text += *rc::gen::element(std::wstring(L"00000000"), std::wstring(L"0000000Z"));
    text += *rc::gen::element(std::wstring(L"00"), std::wstring(L"7F"), std::wstring(L"80"));
    return Cookie(Wide(std::wstring_view(text)));
  };
  Cookie a = anyCookie();
  Cookie b = anyCookie();
  Cookie c = anyCookie();
  RC_ASSERT((a.compare(b) < 0) == (b.compare(a) > 0));
  RC_ASSERT((a.compare(b) == 0) == (a.asString() == b.asString()));
  RC_ASSERT(!(a < b && b < c) || a < c);
}

TEST(CookieTest, APartOfATextIsReadAsTheWholeOfOne) {
  std::wstring_view path = L"/Material/v4k7q2m9a1f.mov";
  EXPECT_EQ(Cookie::fromView(path.substr(10, 11), true), Cookie(L"V4K7Q2M9A1F"));
  EXPECT_EQ(Cookie::fromView(path.substr(10, 9), true), Cookie(L"V4K7Q2M9A00"));
  EXPECT_EQ(Cookie::fromView(path.substr(10, 11), false), Cookie());
  EXPECT_EQ(Cookie::fromView(path.substr(10, 10), true), Cookie());
  EXPECT_EQ(Cookie::fromView(path.substr(0, 0), true), Cookie());
}

TEST(CookieTest, ATextIsItsOwnInEitherCaseOrItIsNot) {
  Cookie cookie(kVision);
  EXPECT_TRUE(cookie.isTextNoCase(L"V4K7Q2M9A00"));
  EXPECT_TRUE(cookie.isTextNoCase(L"v4k7q2m9a00"));
  for (const wchar_t* other : {L"V4K7Q2M9A01", L"V4K7Q2M9A", L"V4K7Q2M9A00x", L"S4K7Q2M9A00", L""})
    EXPECT_FALSE(cookie.isTextNoCase(other)) << toUTF8(other).c_str();
  EXPECT_TRUE(Cookie().isTextNoCase(L""));
  EXPECT_FALSE(Cookie().isTextNoCase(L"I"));
}

TEST(CookieTest, CookiesCompareAsTheirShotsTexts) {
  const char* ascending[] = {"V000000000F", "S0000000100", "V00000001FF", "VZ000000000",
                             "SZZZZZZZZ00"};
  for (size_t i = 0; i + 1 < std::size(ascending); ++i)
    EXPECT_LT(Cookie(fromUTF8(ascending[i])), Cookie(fromUTF8(ascending[i + 1]))) << i;
}

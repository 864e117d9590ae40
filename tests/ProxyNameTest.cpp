// The names of proxies, made and read.
#include "fsys/ProxyName.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cwchar>
#include <string>

namespace {

using ProxyName::audioChannels;
using ProxyName::height;

constexpr uint32_t kNone = 4294967295;

TEST(ProxyNameTest, ANameIsMadeOfSixParts) {
  EXPECT_EQ(ProxyName::make(L"clip", L"mov", 360, 2), L"clip.A2.proxy.360.mov");
  EXPECT_EQ(ProxyName::make(L"clip", L"mxf", 720, 0), L"clip.A0.proxy.720.mxf");
  EXPECT_EQ(ProxyName::make(L"clip", L"mov", 240, 8), L"clip.A8.proxy.240.mov");
  EXPECT_EQ(ProxyName::make(L"", L"", 0, 255), L".A255.proxy.0.");
  EXPECT_EQ(ProxyName::make(L"a.b", L".x", kNone, 10), L"a.b.A10.proxy.4294967295..x");
}

TEST(ProxyNameTest, HeightAndChannelsAreRead) {
  EXPECT_EQ(height(L"clip.A2.proxy.360.mov"), 360u);
  EXPECT_EQ(audioChannels(L"clip.A2.proxy.360.mov"), 2u);
  EXPECT_EQ(height(L"clip.proxy.360"), 360u);
  EXPECT_EQ(audioChannels(L"clip.A300"), 300u);
  EXPECT_EQ(height(L"proxy.0"), 0u);
}

TEST(ProxyNameTest, ANameWithoutThePartHasNone) {
  for (const wchar_t* name : {L"", L"clip.mov", L"clip.proxy.mov", L"clip.proxy.", L"clip.proxy",
                              L"proxy360", L"clip.Proxy.360.mov", L"prox"})
    EXPECT_EQ(height(name), kNone) << std::string(name, name + std::wcslen(name));
  for (const wchar_t* name : {L"", L"clip.mov", L"clip.A.proxy.360.mov", L"clip.a2.proxy.360.mov",
                              L"clip.A", L"A2.proxy.360.mov"})
    EXPECT_EQ(audioChannels(name), 0u) << std::string(name, name + std::wcslen(name));
  EXPECT_EQ(height(L"clip.A.proxy.360.mov"), 360u);
}

TEST(ProxyNameTest, OnlyTheFirstMarkOfANameCounts) {
  EXPECT_EQ(height(L"proxy/clip.A2.proxy.360.mov"), kNone);
  EXPECT_EQ(height(L"proxy.7/clip.A2.proxy.360.mov"), 7u);
  EXPECT_EQ(audioChannels(L".Archive/clip.A2.proxy.360.mov"), 0u);
  EXPECT_EQ(audioChannels(L"clip.A5.A2.proxy.360.mov"), 5u);
}

TEST(ProxyNameTest, BlanksAndASignMayStandBeforeTheDigitsAndAnythingBehindThem) {
  EXPECT_EQ(height(L"proxy. \t\n\v\f\r360x"), 360u);
  EXPECT_EQ(height(L"proxy.+360"), 360u);
  EXPECT_EQ(height(L"proxy. +0360."), 360u);
  EXPECT_EQ(height(L"proxy.0x10"), 0u);
  EXPECT_EQ(audioChannels(L".A +2"), 2u);
  for (const wchar_t* name : {L"proxy.+", L"proxy.-", L"proxy. ", L"proxy.+-3", L"proxy.- 3",
                              L"proxy.\x00A0"
                              L"3",
                              L"proxy.\x0663"})
    EXPECT_EQ(height(name), kNone);
}

TEST(ProxyNameTest, ANumberThatDoesNotFit32BitsIsNone) {
  EXPECT_EQ(height(L"proxy.4294967294"), 4294967294u);
  EXPECT_EQ(height(L"proxy.4294967295"), kNone) << "which it is, as it happens";
  EXPECT_EQ(height(L"proxy.4294967296"), kNone);
  EXPECT_EQ(height(L"proxy.18446744073709551976"), kNone) << "2^64 and 360";
  EXPECT_EQ(height(L"proxy.00000000000000000000000000000000360"), 360u);
  EXPECT_EQ(audioChannels(L".A4294967295"), 4294967295u);
  EXPECT_EQ(audioChannels(L".A4294967296"), 0u);
  EXPECT_EQ(audioChannels(std::wstring(L".A") + std::wstring(10000, L'9')), 0u);
}

TEST(ProxyNameTest, ANegativeNumberIsReadAsTheNumberThatItIsWithoutASign) {
  EXPECT_EQ(height(L"proxy.-360"), 4294966936u);
  EXPECT_EQ(height(L"proxy.-1"), kNone);
  EXPECT_EQ(height(L"proxy.-0"), 0u);
  EXPECT_EQ(height(L"proxy.-2147483648"), 2147483648u);
  EXPECT_EQ(height(L"proxy.-2147483649"), kNone);
  EXPECT_EQ(audioChannels(L".A-2"), 4294967294u);
}

TEST(ProxyNameTest, TheOlderFormIsANameThatBeginsWithProxyInAFolderProxy) {
  EXPECT_TRUE(ProxyName::isOlderForm(L"/m/proxy/proxy-clip.mov"));
  EXPECT_FALSE(ProxyName::isOlderForm(L"proxy/proxy-clip.mov"));
  EXPECT_FALSE(ProxyName::isOlderForm(L"/m/proxy/clip.mov"));
  EXPECT_FALSE(ProxyName::isOlderForm(L"/m/Proxy/proxy-clip.mov"));
  EXPECT_FALSE(ProxyName::isOlderForm(L""));
}

std::wstring anyName(const std::string& characters) {
  auto text = *rc::gen::container<std::wstring>(
      rc::gen::map(rc::gen::elementOf(characters), [](char c) { return wchar_t(c); }));
  return text;
}

RC_GTEST_PROP(ProxyNamePropertyTest, WhatIsMadeIsReadBackForAnyStemWithoutTheMarks, ()) {
  std::wstring stem = anyName("abprox.-/ 019B");
  RC_PRE(stem.find(L"proxy") == stem.npos);
  auto high = *rc::gen::inRange<uint32_t>(0, kNone);
  auto channels = *rc::gen::arbitrary<uint8_t>();
  std::wstring name = ProxyName::make(stem, anyName("movA.proxy"), high, channels);
  RC_ASSERT(height(name) == high);
  RC_ASSERT(audioChannels(name) == channels);
}

// A text of these is a mark more often than not.
RC_GTEST_PROP(ProxyNamePropertyTest, AnyTextIsReadToItsEndAndNotPastIt, ()) {
  std::wstring text;
  for (int part : *rc::gen::container<std::vector<int>>(rc::gen::inRange(0, 8)))
    text += std::vector<std::wstring>{
        L"proxy.", L".A", L"-", L"+", L" ", L"9", L"4294967296", L"x"}[static_cast<size_t>(part)];
  const std::wstring whole = text + L"99";
  std::wstring_view view = std::wstring_view(whole).substr(0, text.size());
  RC_ASSERT(height(view) == height(text));
  RC_ASSERT(audioChannels(view) == audioChannels(text));
}

}  // namespace

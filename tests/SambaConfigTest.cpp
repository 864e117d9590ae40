#include "platform/linux/SambaConfig.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using Share = SambaConfig::Share;
using Shares = std::vector<Share>;

Shares sharesOf(std::string_view text) { return SambaConfig(text).shares(); }

// The folder of the share, "-" when it is not served.
std::string folderOf(std::string_view text, std::string_view name) {
  for (const Share& share : sharesOf(text))
    if (share.name == name) return share.folder;
  return "-";
}

// What a share with that line has for a folder.
std::string folderWith(const std::string& line) { return folderOf("[media]\n" + line, "media"); }

}  // namespace

TEST(SambaConfigTest, EachSectionIsAShareWithItsPath) {
  EXPECT_EQ(sharesOf("[media]\npath = /srv/media\n\t [Sound]\n  path=/srv/sound"),
            (Shares{{"media", "/srv/media"}, {"Sound", "/srv/sound"}}));
  EXPECT_TRUE(sharesOf("").empty());
  EXPECT_TRUE(sharesOf("\n\n   \n").empty());
}

TEST(SambaConfigTest, KeysCountWithoutTheirCaseAndTheirBlanks) {
  EXPECT_EQ(folderWith("PATH = /a"), "/a");
  EXPECT_EQ(folderWith("\t pA  tH\t=\t/a \r"), "/a");
  EXPECT_EQ(folderWith("directory=/a"), "/a");
  EXPECT_EQ(folderWith("pathname=/a"), "-");
}

TEST(SambaConfigTest, RemarksAndOtherLinesArePassedOver) {
  EXPECT_EQ(folderWith("; path = /no\n # path = /no\n  comment = x\nno sense\npath = /a"), "/a");
  EXPECT_EQ(folderWith("path = /a ; b # c"), "/a ; b # c") << "a remark has a line of its own";
}

TEST(SambaConfigTest, ALineThatEndsInABackslashGoesOnInTheNext) {
  EXPECT_EQ(folderWith("path = /srv/\\\nme\\  \n  dia"), "/srv/me dia");
  EXPECT_EQ(folderWith("pa\\\nth = /a\\\r\n/b"), "/a/b");
  EXPECT_EQ(folderWith("path = \\\n/a"), "/a");
  EXPECT_EQ(folderOf("[me\\\ndia]\npath=/a", "media"), "/a");
  EXPECT_EQ(folderWith("path = /a\\"), "/a") << "also when there is none";
  EXPECT_EQ(folderWith("path = /a\\\\"), "/a");
}

TEST(SambaConfigTest, ARemarkDoesNotGoOn) {
  EXPECT_EQ(folderWith("; remark \\\npath = /a"), "/a");
  EXPECT_EQ(folderWith("# remark \\\npath = /a"), "/a");
  EXPECT_EQ(folderWith(" \t; remark \\\npath = /a"), "/a");
}

TEST(SambaConfigTest, BlanksAroundAValueAreNoneOfItAndThoseInItAreOne) {
  EXPECT_EQ(folderWith("path =   /srv/my \t media \t"), "/srv/my media");
  EXPECT_EQ(folderOf("[ my \t media ]\npath=/a", "my media"), "/a");
}

TEST(SambaConfigTest, QuotesAroundAPathAreNoneOfIt) {
  EXPECT_EQ(folderWith("path = \"/srv/my media\""), "/srv/my media");
  EXPECT_EQ(folderWith("path = \"/a"), "-");
  EXPECT_EQ(folderWith("path = \""), "-");
}

TEST(SambaConfigTest, OfTwoValuesTheLaterCountsAlsoInASectionThatIsOpenedAgain) {
  EXPECT_EQ(folderWith("path = /a\npath = /b"), "/b");
  EXPECT_EQ(sharesOf("[Media]\npath = /a\n[x]\npath = /x\n[mEDIA]\navailable = yes\npath = /b"),
            (Shares{{"Media", "/b"}, {"x", "/x"}}));
  EXPECT_EQ(folderWith("path = /a\npath ="), "-");
}

TEST(SambaConfigTest, WhatStandsInGlobalHoldsForSharesThatDoNotSayOtherwise) {
  EXPECT_EQ(folderOf("[global]\npath = /g\n[a]\ncomment = x", "a"), "/g");
  EXPECT_EQ(folderOf("path = /g\n[a]\n", "a"), "/g") << "also before the first section";
  EXPECT_EQ(folderOf("[a]\n[GLO BAL]\npath = /g", "a"), "/g") << "wherever it stands";
  EXPECT_EQ(folderOf("[global]\npath = /g\n[a]\npath = /a", "a"), "/a");
  EXPECT_EQ(folderOf("[global]\navailable = no\n[a]\npath = /a", "a"), "-");
  EXPECT_EQ(folderOf("[global]\navailable = no\n[a]\npath = /a\navailable = yes", "a"), "/a");
  EXPECT_TRUE(sharesOf("[global]\npath = /g").empty()) << "it is no share itself";
}

TEST(SambaConfigTest, AShareThatIsSwitchedOffIsPassedOver) {
  for (const char* no : {"no", "No", "FALSE", "off", "0"})
    EXPECT_EQ(folderWith("path = /a\navailable = " + std::string(no)), "-") << no;
  for (const char* yes : {"yes", "True", "on", "1", "maybe", ""})
    EXPECT_EQ(folderWith("path = /a\navailable = " + std::string(yes)), "/a") << yes;
}

TEST(SambaConfigTest, PrintersAndTheServersOwnSharesAreNone) {
  for (const char* own : {"homes", "Homes", "printers", "print$", "PRINT$", "global", "glo bal"})
    EXPECT_TRUE(sharesOf("[" + std::string(own) + "]\npath = /a").empty()) << own;
  EXPECT_EQ(folderWith("path = /a\nprintable = yes"), "-");
  EXPECT_EQ(folderWith("path = /a\nprint ok = yes"), "-");
  EXPECT_EQ(folderWith("path = /a\nprintable = no"), "/a");
  EXPECT_EQ(folderOf("[media]\npath = /a\n[homes]\npath = /b", "media"), "/a");
}

TEST(SambaConfigTest, AFolderThatTheTextAloneDoesNotTellIsPassedOver) {
  EXPECT_EQ(folderWith("path = /home/%U"), "-");
  EXPECT_EQ(folderWith("path = srv/media"), "-");
  EXPECT_EQ(folderWith("path ="), "-");
  EXPECT_EQ(folderWith("comment = no path"), "-");
  EXPECT_EQ(folderWith("path = /a\ncopy = other"), "-");
  EXPECT_EQ(folderWith(std::string("path = /a\0b", 11)), "-");
  EXPECT_EQ(folderWith("path = /"), "/");
}

TEST(SambaConfigTest, IncludedFilesAreNotFollowed) {
  EXPECT_EQ(sharesOf("include = /etc/more.conf\n[a]\npath = /a\ninclude = /etc/%m.conf"),
            (Shares{{"a", "/a"}}));
}

TEST(SambaConfigTest, TheNameOfTheMachineIsNotTheConfigurations) {
  EXPECT_EQ(sharesOf("[global]\nnetbios name = OTHER\n[a]\npath = /a"), (Shares{{"a", "/a"}}));
}

TEST(SambaConfigTest, ANameThatCannotStandInAUncNameIsPassedOverWithWhatItSays) {
  for (const char* name : {"", "  ", "a/b", "a\\b", "..", ".", "a\x01", "a\x7F", "a:b", "%u", "a*"})
    EXPECT_EQ(sharesOf("[good]\npath = /g\n[" + std::string(name) + "]\npath = /a"),
              (Shares{{"good", "/g"}}))
        << name;
  EXPECT_EQ(sharesOf(std::string_view("[a\0b]\npath = /a", 15)), Shares());
  EXPECT_EQ(sharesOf("[good]\npath = /g\n[broken\npath = /a"), (Shares{{"good", "/g"}}));
  EXPECT_EQ(sharesOf("[m\xC3\xA9"
                     "dia\xFF]\npath = /\xFF"),
            (Shares{{"m\xC3\xA9"
                     "dia\xFF",
                     "/\xFF"}}));
}

TEST(SambaConfigTest, OnlyTheFirst1000SharesCount) {
  std::string text;
  for (unsigned i = 0; i < SambaConfig::kMostShares + 1; ++i)
    text += "[s" + std::to_string(i) + "]\npath = /s\n";
  text += "[s0]\npath = /again\n";
  Shares shares = sharesOf(text);
  ASSERT_EQ(shares.size(), SambaConfig::kMostShares);
  EXPECT_EQ(shares.front(), (Share{"s0", "/again"}));
  EXPECT_EQ(shares.back(), (Share{"s999", "/s"})) << "the one too many changes none before it";
}

TEST(SambaConfigTest, TheFolderOfUsersSharesIsTheGlobalOne) {
  auto folder = [](std::string_view text) {
    return SambaConfig(text).userShareFolder().value_or("none");
  };
  EXPECT_EQ(folder("[global]\nUsershare Path = /var/us"), "/var/us");
  EXPECT_EQ(folder("[global]\nusershare path = \"/var/us\"\n"), "/var/us");
  EXPECT_EQ(folder("[a]\nusershare path = /var/us"), "none");
  EXPECT_EQ(folder("[global]\nusershare max shares = 100"), "none");
  EXPECT_EQ(folder("[global]\nusershare path = /var/us\nusershare max shares = 0"), "");
}

TEST(SambaConfigTest, AUsersShareIsAFileOfLines) {
  EXPECT_EQ(
      SambaConfig::userShare("media",
                             "#VERSION 2\npath=/srv/x\ncomment=path=/no\nusershare_acl=S-1-1-0:F\n"
                             "guest_ok=y\nsharename=Media\n"),
      (Share{"Media", "/srv/x"}));
  EXPECT_EQ(SambaConfig::userShare("media", "#VERSION 1\r\npath=/srv/x\r\n"),
            (Share{"media", "/srv/x"}));
  EXPECT_EQ(SambaConfig::userShare("media", "#VERSION 2\npath=/my  media\\"),
            (Share{"media", "/my  media\\"}));
}

TEST(SambaConfigTest, AUsersShareThatIsNoneIsPassedOver) {
  auto isNone = [](std::string_view name, const std::string& lines) {
    return !SambaConfig::userShare(name, "#VERSION 2\n" + lines);
  };
  EXPECT_FALSE(isNone("media", "path=/a"));
  EXPECT_TRUE(isNone("media", ""));
  EXPECT_TRUE(isNone("media", "#path=/srv/x"));
  EXPECT_TRUE(isNone("media", "path=srv/x"));
  EXPECT_TRUE(isNone("media", "path=/srv/%u"));
  EXPECT_TRUE(isNone("media", std::string("path=/a\0b", 9)));
  EXPECT_TRUE(isNone("media", "path=/a\nsharename=other"));
  EXPECT_TRUE(isNone("media", "path=/a\nsharename="));
  EXPECT_TRUE(isNone("me:dia", "path=/a"));
  EXPECT_FALSE(SambaConfig::userShare("media", "path=/a")) << "it does not say of what kind it is";
}

TEST(SambaConfigTest, AnyTextIsReadToItsEnd) {
  std::string deep(300'000, '\\');
  EXPECT_TRUE(sharesOf(deep).empty());
  std::string folded;
  for (unsigned i = 0; i < 200'000; ++i) folded += "a\\\n";
  EXPECT_TRUE(sharesOf("[a]\n" + folded).empty());
  EXPECT_TRUE(sharesOf(std::string(1 << 20, '[')).empty());
}

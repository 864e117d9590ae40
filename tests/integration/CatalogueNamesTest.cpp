// Files in media folders with the names and the content that nobody expects.

#include <utility>

#include "fsys/FsysDirectoryEntry.h"
#include "tests/integration/CatalogueFixture.h"

namespace {

class CatalogueNamesTest : public CatalogueFixture {
protected:
  CatalogueNamesTest() : drive_(madeDrive("drive")) {}

  // In the drive's folder of pictures.
  std::string put(const std::string& name, const std::string& content) const {
    scratch_.put("drive/Material/" + name, content);
    return drive_ + "/Material/" + name;
  }
  static std::string padded(std::string begin, size_t bytes, char with) {
    begin.resize(bytes, with);
    return begin;
  }

  static std::string channelOf(const std::string& shot, unsigned channel) {
    const Cookie picture(wide("V" + shot + "00"));
    const auto number = static_cast<unsigned char>(channel);
    return convertCookie(picture, eCookieSound, number).asString(true).c_str();
  }

  const std::string drive_;
};

// What follows the cookie and its dot, and of how many sound channels it tells.
struct Ending {
  std::string text;
  unsigned channels = 0;
};

TEST_F(CatalogueNamesTest, WhateverFollowsTheCookieInANameTheFileIsFoundAndPlays) {
  const Ending endings[] = {{"\xFF\xFE\x80.mov"},
                            {"\xED\xA0\x80.mov"},
                            {std::string(255 - 12, 'x')},
                            {"*.mov"},
                            {"?.mov"},
                            {"[a-z].mov"},
                            {"["},
                            {"a\nb.mov"},
                            {"\x01\x7F.mov"},
                            {".mov"},
                            {".."},
                            {"a\\b.mov"},
                            {"%s%n.mov"},
                            {"proxy"},
                            {"proxy."},
                            {"proxy.x.mov"},
                            {"proxyproxy.360.mov"},
                            {"A"},
                            {"A.proxy.360.mov"},
                            {"A2.A3.proxy.360.mov", 2},
                            {"A99999999999999999999.proxy.99999999999999999999.mov"},
                            {"A-1.proxy.-360.mov", 255},
                            {"A0.proxy.4294967295.mov"},
                            {"A1.proxy.360.mov", 1}};
  std::vector<std::pair<std::string, std::string>> files;
  Paths cookies;
  for (const Ending& ending : endings) {
    const std::string shot = "4K7Q2M9" + std::string(1, static_cast<char>('A' + files.size()));
    const std::string content = "media " + std::to_string(files.size()) + std::string(3000, '.');
    files.emplace_back(put("V" + shot + "00." + ending.text, content), content);
    cookies.push_back("V" + shot + "00");
    for (unsigned i = 1; i <= ending.channels; ++i) cookies.push_back(channelOf(shot, i));
  }
  ASSERT_TRUE(add(drive_));
  for (const auto& [path, content] : files) {
    const std::string text = path.substr(path.rfind('/') + 1, 11);
    EXPECT_EQ(find(text), path);
    EXPECT_TRUE(plays(find(text), content));
  }
  EXPECT_EQ(known(), sorted(cookies));
}

TEST_F(CatalogueNamesTest, ANameThatIsNoCookieUpToItsFirstDotIsNotCatalogued) {
  for (const char* name :
       {".V4K7Q2M9A00.mov", "..V4K7Q2M9A00.mov", "...", "V4K7Q2M9A.mov", "V4K7Q2M9A000.mov",
        "V4K7Q2M9A00 .mov", " V4K7Q2M9A00.mov", "V4K7Q2M9A0G.mov", "X4K7Q2M9A00.mov",
        "I4K7Q2M9A00.mov", "V4K7Q2M9A00*.mov", "*.mov", "?", "\xFF", "V4K7Q2M9A\xFF\x30.mov",
        "V4K7Q2M9A00\n.mov", "V4K7Q2M9A00\\.mov"})
    put(name, "media");
  put(std::string(255, 'V'), "media");
  put("V4K7Q2M9\xC3\x89"
      "00.mov",
      "media");
  ASSERT_TRUE(add(drive_));
  EXPECT_EQ(known(), Paths());
}

TEST_F(CatalogueNamesTest, ACookieInSmallLettersIsTheSame) {
  const std::string path = put("v4k7q2m9a0b.mov", "media in small letters");
  ASSERT_TRUE(add(drive_));
  EXPECT_EQ(known(), Paths({"V4K7Q2M9A0B"}));
  EXPECT_TRUE(plays(find("V4K7Q2M9A0B"), "media in small letters"));
}

TEST_F(CatalogueNamesTest, AFileWhoseNameIsAPatternTakesNoOtherWithIt) {
  for (const char* sign : {"*", "?", "[a-c]"}) {
    const std::string media = std::string("V4K7Q2M9A00.") + sign + ".mov";
    const Paths its = {put(media, "media"), put(media + ".qvix", "its own")};
    const Paths others = {put("V4K7Q2M9A00.b.mov.qvix", "another's"),
                          put("V4K7Q2M9A00.x", "another's"), put(media + "x", "no side file")};
    ASSERT_TRUE(SystemCache::invalidate());
    std::filesystem::remove(others[1]);  // of the same cookie
    std::filesystem::rename(others[2], others[2] + ".qvix");
    ASSERT_TRUE(add(drive_));
    ASSERT_EQ(find("V4K7Q2M9A00"), its[0]);
    EXPECT_TRUE(SystemCache::removeFile(cookie("V4K7Q2M9A00"), false, 3));
    for (const std::string& path : its) EXPECT_FALSE(std::filesystem::exists(path)) << path;
    EXPECT_TRUE(std::filesystem::exists(others[0])) << sign;
    EXPECT_TRUE(std::filesystem::exists(others[2] + ".qvix")) << sign;
    ASSERT_TRUE(remove(drive_));
  }
}

// Content ----------------------------------------------------------------------------------------

TEST_F(CatalogueNamesTest, AnEmptyFileIsNotCatalogued) {
  put("V4K7Q2M9A00.mov", "");
  ASSERT_TRUE(add(drive_));
  EXPECT_EQ(known(), Paths());
}

TEST_F(CatalogueNamesTest, AByteLessOrMoreThanALinkIsMedia) {
  for (size_t bytes : {1u, 511u, 513u}) {
    const std::string content = padded("/", bytes, 'x');
    const std::string path = put("V4K7Q2M9A00.mov", content);
    ASSERT_TRUE(add(drive_));
    EXPECT_FALSE(SystemCache::isLinked(cookie("V4K7Q2M9A00"))) << bytes;
    EXPECT_EQ(find("V4K7Q2M9A00"), path) << bytes;
    EXPECT_TRUE(plays(path, content)) << bytes;
    ASSERT_TRUE(remove(drive_));
  }
}

TEST_F(CatalogueNamesTest, MediaOf512BytesIsItself) {
  const std::string content = padded("RIFF", 512, '\0');
  const std::string path = put("S4K7Q2M9A01.wav", content);
  ASSERT_TRUE(add(drive_));
  EXPECT_EQ(find("S4K7Q2M9A01"), path);
  EXPECT_TRUE(plays(path, content));
}

TEST_F(CatalogueNamesTest, ALinkThatNamesNothingIsMissingAndDoesNotOpen) {
  const std::string contents[] = {padded("", 512, '\0'),
                                  padded("\xFF\xFE\x80/\xC0", 512, '\0'),
                                  padded("/", 512, 'x'),
                                  padded("\xFF", 512, '\xFF'),
                                  padded("relative", 512, '\0'),
                                  padded("RIF", 512, '\0'),
                                  padded(drive_ + "/none", 512, '\0')};
  for (const std::string& content : contents) {
    const std::string path = put("V4K7Q2M9A00.mov", content);
    ASSERT_TRUE(add(drive_));
    EXPECT_TRUE(SystemCache::isLinked(cookie("V4K7Q2M9A00")));
    EXPECT_EQ(find("V4K7Q2M9A00"), "") << content;
    EXPECT_EQ(SystemCache::updateStatus(cookie("V4K7Q2M9A00"), 1), 1u) << content;
    EXPECT_FALSE(opens(path)) << content;
    ASSERT_TRUE(remove(drive_));
  }
}

// Nobody's answer stays after its file has changed under its name: it is scanned anew.
TEST_F(CatalogueNamesTest, MediaThatTakesALinksPlaceIsFoundAtTheNextScan) {
  const std::string path = put("V4K7Q2M9A00.mov", padded(drive_ + "/none", 512, '\0'));
  ASSERT_TRUE(add(drive_));
  EXPECT_EQ(find("V4K7Q2M9A00"), "");
  put("V4K7Q2M9A00.mov", "media");
  SystemCache::initialise(true);
  EXPECT_EQ(find("V4K7Q2M9A00"), path);
  EXPECT_TRUE(plays(path, "media"));
}

}  // namespace

// The catalogue over media that ffmpeg made, in three resolutions.

#include <cstdlib>

#include "fsys/FsysDirectoryEntry.h"
#include "fsys/MediaFileInfo.h"
#include "tests/integration/CatalogueFixture.h"

namespace {

constexpr unsigned kHeight = 720;
constexpr unsigned kMiddle = 360;
constexpr unsigned kLow = 180;
constexpr unsigned kChannels = 2;

class CatalogueMediaTest : public CatalogueFixture {
protected:
  static constexpr std::string_view kPicture = "V4K7Q2M9A00";

  void SetUp() override {
    if (!run("ffmpeg -version")) GTEST_SKIP() << "ffmpeg is not installed";
    CatalogueFixture::SetUp();
    drive_ = madeDrive("drive");
    ASSERT_TRUE(makePicture(fullName(), kHeight, ""));
    for (unsigned height : {kMiddle, kLow}) ASSERT_TRUE(makeProxy(height));
    ASSERT_TRUE(makeSound("S4K7Q2M9A01.wav"));
  }
  void TearDown() override {
    if (!drive_.empty()) CatalogueFixture::TearDown();
  }

  static bool run(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
  }
  static std::string pictureOf(unsigned height) {
    return "-f lavfi -i testsrc2=duration=0.4:size=" + std::to_string(height * 16 / 9) + "x" +
           std::to_string(height) + ":rate=25 ";
  }
  static std::string soundOf(unsigned channels) {
    return "-f lavfi -i sine=frequency=440:duration=0.4 -ac " + std::to_string(channels) + " ";
  }
  bool make(const std::string& what, const std::string& path) const {
    return run("ffmpeg -v error " + what + "'" + path + "'");
  }
  bool makePicture(const std::string& name, unsigned height, const std::string& sound) const {
    const std::string coded = "-map 0:v " + std::string(sound.empty() ? "" : "-map 1:a ");
    const std::string all = pictureOf(height) + sound + coded + "-c:v mpeg4 -q:v 3 ";
    return make(all, material(name));
  }
  bool makeProxy(unsigned height) const {
    return makePicture(proxyName(height), height, soundOf(kChannels));
  }
  bool makeSound(const std::string& name) const { return make(soundOf(1), sound(name)); }

  static std::string fullName() { return std::string(kPicture) + ".mov"; }
  static std::string proxyName(unsigned height) {
    return toUTF8(MediaFileInfo::makeProxyName(wide(fullName()), L"mov", height, kChannels))
        .c_str();
  }
  std::string material(const std::string& name) const { return drive_ + "/Material/" + name; }
  std::string sound(const std::string& name) const { return drive_ + "/Sound/" + name; }
  std::string full() const { return material(fullName()); }
  std::string proxy(unsigned height) const { return material(proxyName(height)); }
  // As ffmpeg sees the file.
  std::string heightOf(const std::string& path) const {
    const std::string answer = scratch_.bytes("height");
    std::system(("ffprobe -v error -select_streams v -show_entries stream=height -of csv=p=0 '" +
                 path + "' >'" + answer + "'")
                    .c_str());
    return scratch_.content("height");
  }
  std::string content(const std::string& path) const {
    return scratch_.content(path.substr(scratch_.path().size() + 1));
  }

  std::string drive_;
};

TEST_F(CatalogueMediaTest, EachLevelAndHeightIsServedByItsFile) {
  ASSERT_TRUE(add(drive_));
  EXPECT_EQ(find(kPicture, format(eHighRes)), full());
  EXPECT_EQ(find(kPicture, format(eHighRes, kLow)), full()) << "whatever the height";
  EXPECT_EQ(find(kPicture, format(eProxy)), proxy(kLow)) << "the first in the order of the names";
  EXPECT_EQ(find(kPicture, format(eProxy, kMiddle)), proxy(kLow)) << "whatever the height";
  EXPECT_EQ(find(kPicture, format(eAuto)), full()) << "without a height no proxy is tried";
  EXPECT_EQ(find(kPicture, format(eAuto, 1)), proxy(kLow));
  EXPECT_EQ(find(kPicture, format(eAuto, kLow)), proxy(kLow));
  EXPECT_EQ(find(kPicture, format(eAuto, kLow + 1)), proxy(kMiddle));
  EXPECT_EQ(find(kPicture, format(eAuto, kMiddle)), proxy(kMiddle));
  EXPECT_EQ(find(kPicture, format(eAuto, kMiddle + 1)), full()) << "no proxy is as high";
}

TEST_F(CatalogueMediaTest, WhatIsAnsweredIsAsHighAsItsNameSaysAndPlays) {
  ASSERT_TRUE(add(drive_));
  for (unsigned height : {kLow, kMiddle, kHeight}) {
    const std::string path = find(kPicture, format(eAuto, height));
    EXPECT_EQ(heightOf(path), std::to_string(height) + "\n") << path;
    EXPECT_TRUE(plays(path, content(path)));
  }
}

TEST_F(CatalogueMediaTest, TheSoundOfAProxyIsFoundByTheCookieOfEachOfItsChannels) {
  ASSERT_TRUE(add(drive_));
  EXPECT_EQ(known(), Paths({"S4K7Q2M9A01", "S4K7Q2M9A02", "V4K7Q2M9A00"}));
  const std::string own = sound("S4K7Q2M9A01.wav");
  EXPECT_EQ(find("S4K7Q2M9A01"), own);
  EXPECT_TRUE(plays(own, content(own)));
  EXPECT_EQ(find("S4K7Q2M9A01", format(eProxy)), proxy(kLow));
  EXPECT_EQ(find("S4K7Q2M9A02", format(eProxy)), proxy(kLow));
  EXPECT_EQ(find("S4K7Q2M9A02", format(eAuto, kMiddle)), proxy(kMiddle));
  const std::string instead = find("S4K7Q2M9A02");
  EXPECT_EQ(instead, proxy(kLow)) << "there is no other file with the second channel";
  EXPECT_TRUE(plays(instead, content(instead)));
}

TEST_F(CatalogueMediaTest, AShotHasItsPictureAndItsSoundAndTheirSizes) {
  ASSERT_TRUE(add(drive_));
  Vector<Text> files;
  SystemCache::getFilesForShot(cookie(kPicture), files);
  ASSERT_EQ(files.size(), 3u);
  EXPECT_EQ(files[0], wide(full()));
  EXPECT_EQ(files[1], wide(sound("S4K7Q2M9A01.wav")));
  EXPECT_TRUE(files[2].empty()) << "the second channel has a proxy alone";
  EXPECT_EQ(SystemCache::getShotFileSize(cookie(kPicture)),
            content(full()).size() + content(sound("S4K7Q2M9A01.wav")).size());
  EXPECT_EQ(SystemCache::getClipMediaFiles(cookie(kPicture)).size(), 3u);
  EXPECT_EQ(SystemCache::getDriveForCookie(cookie(kPicture), EditChanType(2)), idOf(drive_));
}

TEST_F(CatalogueMediaTest, WhatLiesBesideMediaIsNotCatalogued) {
  for (const char* ending : {".partial", ".qvix", ".qaix", ".qvix2", ".qaix2", ".vix", ".aix",
                             ".vix2", ".aix2", ".reapeaks"}) {
    scratch_.put("drive/Material/" + fullName() + ending, "beside");
    scratch_.put("drive/Sound/S4K7Q2M9A07.wav" + std::string(ending), "beside");
  }
  scratch_.put("drive/Material/notes.txt", "no cookie");
  scratch_.put("drive/Material/V4K7Q2M9B00.mov", "");
  ASSERT_TRUE(add(drive_));
  ASSERT_TRUE(DiskManager::renameMediaLocation(idOf(drive_), L"media"));
  SystemCache::initialise(true);
  EXPECT_EQ(known(), Paths({"S4K7Q2M9A01", "S4K7Q2M9A02", "V4K7Q2M9A00"}));
  EXPECT_EQ(find(kPicture), full());
  Qv::Ptr<FsysDirectoryEntry> entry = SystemCache::findEntryForCookie(cookie(kPicture));
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->getProxyFiles().size(), 2u);
}

TEST_F(CatalogueMediaTest, WithoutTheFileOfFullHeightTheFirstProxyTakesItsPlace) {
  ASSERT_TRUE(add(drive_));
  scratch_.put("drive/Material/" + fullName() + ".qvix", "its index");
  EXPECT_TRUE(SystemCache::removeFile(cookie(kPicture), false, eHighRes));
  EXPECT_FALSE(std::filesystem::exists(full()));
  EXPECT_FALSE(std::filesystem::exists(full() + ".qvix"));
  EXPECT_TRUE(std::filesystem::exists(proxy(kLow)));
  EXPECT_TRUE(std::filesystem::exists(proxy(kMiddle)));
  EXPECT_EQ(find(kPicture), proxy(kLow));
  EXPECT_TRUE(plays(proxy(kLow), content(proxy(kLow))));
}

}  // namespace

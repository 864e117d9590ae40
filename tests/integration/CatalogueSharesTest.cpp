// Links to the names that other machines have for the folders of this one.

#include <filesystem>
#include <string>

#include "fsys/FsysDirectoryEntry.h"
#include "fsys/MaterialLink.h"
#include "fsys/VolumeRegistry.h"
#include "platform/OS.h"
#include "tests/integration/CatalogueFixture.h"

namespace {

// The drive's folder is served under the name "media".
class CatalogueSharesTest : public CatalogueFixture {
protected:
  CatalogueSharesTest() : drive_(madeDrive("drive")) {
    madeFolder("users");
    madeFolder("drive/Material/clip");
    scratch_.put("drive/Material/clip/a.mxf", "media");
    scratch_.put("drive/Sound/other.wav", "kept");
    scratch_.put("users/media", "#VERSION 2\npath=" + drive_ +
                                    "\ncomment=\nusershare_acl=S-1-1-0:R\n" +
                                    "guest_ok=n\nsharename=media\n");
  }
  void SetUp() override {
    CatalogueFixture::SetUp();
    VolumeRegistry::get().shares.forget();
    ASSERT_TRUE(add(drive_));
  }

  void TearDown() override {
    VolumeRegistry::get().shares.forget();
    CatalogueFixture::TearDown();
  }

  // A link in the folder of pictures to a path below the share.
  MaterialFilename link(const Text& below) const {
    const MaterialFilename name(idOf(drive_), L"/Material/V4K7Q2M9A00.mov");
    const Text target =
        Text(L"\\\\") + OS()->getSystemInfo()->getWorkstationName() + L"\\media\\" + below;
    EXPECT_EQ(MaterialLink::createLink(name.getOsPath(), target, true), 1u);
    EXPECT_EQ(MaterialLink::resolveLink(name), target) << "as it was written";
    return name;
  }
  bool isThere(const std::string& name) const {
    return std::filesystem::exists(scratch_.bytes("drive/" + name));
  }

  const std::string drive_;
  ScopedEnvironment users_{"FSYS_SHARES", scratch_.bytes("users").c_str()};
  ScopedEnvironment configuration_{"FSYS_SAMBA_CONFIG", scratch_.bytes("none").c_str()};
};

}  // namespace

TEST_F(CatalogueSharesTest, ALinkToAShareOfThisMachineIsThereWhereItsFileLies) {
  const MaterialFilename there = link(L"Material\\clip\\a.mxf");
  EXPECT_TRUE(MaterialLink::linkedFileExists(there));
  FsysDirectoryEntry entry;
  entry.addFile(cookie("V4K7Q2M9A00"), MediaFileInfo(there, 512));
  EXPECT_EQ(entry.updateStatus(eHighRes), 2u);
  const MaterialFilename away = link(L"Material\\clip\\b.mxf");
  EXPECT_FALSE(MaterialLink::linkedFileExists(away));
  FsysDirectoryEntry other;
  other.addFile(cookie("V4K7Q2M9A00"), MediaFileInfo(away, 512));
  EXPECT_EQ(other.updateStatus(eHighRes), 1u);
}

TEST_F(CatalogueSharesTest, TheFolderBelowTheLinksOwnGoesThoughItIsNamedByTheShare) {
  FsysDirectoryEntry entry;
  EXPECT_EQ(entry.deleteFile(link(L"Material\\clip\\a.mxf")), 1u);
  EXPECT_FALSE(isThere("Material/clip"));
  EXPECT_FALSE(isThere("Material/V4K7Q2M9A00.mov"));
  EXPECT_TRUE(isThere("Sound/other.wav"));
}

TEST_F(CatalogueSharesTest, AFolderOfTheShareThatIsNotBelowTheLinksOwnStays) {
  FsysDirectoryEntry entry;
  EXPECT_EQ(entry.deleteFile(link(L"Sound\\other.wav")), 1u);
  EXPECT_FALSE(isThere("Material/V4K7Q2M9A00.mov"));
  EXPECT_TRUE(isThere("Sound/other.wav"));
  EXPECT_TRUE(isThere("Material/clip/a.mxf"));
}

// Identifiers of drives, and the names of media files on them.
#include "fsys/MaterialFilename.h"

#include <string>
#include <type_traits>

#include "tests/StorageFixture.h"

namespace {

using Text = LightweightString<wchar_t>;

// DriveId ----------------------------------------------------------------------------------------

TEST(DriveIdTest, ADriveIdIsTheDigit0UntilItIsGivenACode) {
  EXPECT_EQ(DriveId().code(), '0');
  EXPECT_EQ(DriveId(), DriveId('0'));
}

TEST(DriveIdTest, EveryCodeButTheDigit0IsValid) {
  for (int code = 0; code <= 0xFF; ++code)
    EXPECT_EQ(DriveId(static_cast<unsigned char>(code)).valid(), code != '0') << code;
}

TEST(DriveIdTest, DriveIdsAreEqualByTheirCodes) {
  EXPECT_TRUE(DriveId('A') == DriveId('A'));
  EXPECT_TRUE(DriveId('A') != DriveId('a'));
  EXPECT_FALSE(DriveId(0xFF) == DriveId(0x7F));
}

TEST(DriveIdTest, AsAStringADriveIdIsExactlyItsOneCharacter) {
  for (int code = 0; code <= 0xFF; ++code) {
    LightweightString<char> text = DriveId(static_cast<unsigned char>(code)).asString();
    ASSERT_EQ(text.length(), 1u);
    EXPECT_EQ(static_cast<unsigned char>(text[0]), code);
  }
  EXPECT_EQ(DriveId().asString(), "0");
}

TEST(DriveIdTest, ADriveIdIsPassedAsOneCharacter) {
  static_assert(sizeof(DriveId) == 1 && std::is_trivially_copyable_v<DriveId>);
  EXPECT_EQ(DriveId::kNone, 0x30);
  EXPECT_EQ(DriveId::kLast, 0xFF);
}

// MaterialFilename -------------------------------------------------------------------------------

class MaterialFilenameTest : public StorageFixture {
protected:
  static Text withExtension(const Text& path, const Text& extension) {
    MaterialFilename file(DriveId('1'), path);
    file.setExtension(extension);
    return file.getPath();
  }
};

TEST_F(MaterialFilenameTest, ADefaultOneHasNoDriveAndNoPath) {
  MaterialFilename none;
  EXPECT_EQ(none.getDrive(), DriveId('0'));
  EXPECT_TRUE(none.getPath().empty());
  EXPECT_TRUE(none.getOsPath().empty());
}

TEST_F(MaterialFilenameTest, ItKeepsWhatItIsMadeOfUnchangedAndSharesTheText) {
  const Text path(L"\\Material/x..mov");
  MaterialFilename file(DriveId('Q'), path);
  MaterialFilename copy(file);
  EXPECT_EQ(copy.getDrive(), DriveId('Q'));
  EXPECT_EQ(copy.getPath(), path);
  EXPECT_EQ(copy.getPath().c_str(), path.c_str());
}

TEST_F(MaterialFilenameTest, TheOsPathIsTheDrivesLocalNameAndThePath) {
  DriveId id = registeredId(L"/media/a/");
  EXPECT_EQ(MaterialFilename(id, L"/Material/x.mov").getOsPath(), L"/media/a/Material/x.mov");
  EXPECT_EQ(MaterialFilename(id, L"x.mov").getOsPath(), L"/media/a/x.mov");
}

TEST_F(MaterialFilenameTest, OfAShareOfThisMachineTheOsPathIsTheFolderBehindIt) {
  Vector<iFileManager::Share> shares;
  shares.add({L"\\\\STATION\\media", L"/srv/media/"});
  files().setShares(shares);
  Qv::Ptr<MediaDrive> drive = registerDrive(L"\\\\station\\media\\a", iDiskDrive::eNetwork);
  EXPECT_EQ(MaterialFilename(drive->getId(), L"/Material/x.mov").getOsPath(),
            L"/srv/media/a/Material/x.mov");
}

TEST_F(MaterialFilenameTest, WithoutARegisteredDriveTheOsPathIsThePathAsItStands) {
  registerDrive(L"/media/a/");
  EXPECT_EQ(MaterialFilename(DriveId(), L"/elsewhere/x.mov").getOsPath(), L"/elsewhere/x.mov");
  EXPECT_EQ(MaterialFilename(DriveId('2'), L"Material/x.mov").getOsPath(), L"Material/x.mov");
}

TEST_F(MaterialFilenameTest, OfADriveThatHasGoneTheOsPathIsThePathAgain) {
  DriveId id = registeredId(L"/media/a/");
  DiskManager::deleteMaterialVolume(id);
  EXPECT_EQ(MaterialFilename(id, L"/Material/x.mov").getOsPath(), L"/Material/x.mov");
}

TEST_F(MaterialFilenameTest, WhatIsToBeChangedHasNoPathWhenItsDriveIsNotRegistered) {
  const DriveId id = registeredId(L"/media/a/");
  const MaterialFilename name(id, L"/Material/x.mov");
  Text path(L"before");
  EXPECT_TRUE(name.getOsPathToChange(path));
  EXPECT_EQ(path, L"/media/a/Material/x.mov");
  DiskManager::deleteMaterialVolume(id);
  for (const DriveId gone : {id, DriveId('Z'), DriveId(0), DriveId(0xFF)}) {
    os_->errors().setLastError(0);
    EXPECT_FALSE(MaterialFilename(gone, L"/Material/x.mov").getOsPathToChange(path));
    EXPECT_EQ(os_->errors().getLastError(), eOsNotFound);
    EXPECT_EQ(path, L"/media/a/Material/x.mov") << "left alone";
  }
}

TEST_F(MaterialFilenameTest, WhatIsToBeChangedOfNoDriveHasItsWholePath) {
  Text path;
  EXPECT_TRUE(MaterialFilename(DriveId(), L"/elsewhere/x.mov").getOsPathToChange(path));
  EXPECT_EQ(path, L"/elsewhere/x.mov");
}

TEST_F(MaterialFilenameTest, OnTheDriveAtTheRootTheOsPathIsThePath) {
  DriveId id = registeredId(L"/");
  EXPECT_EQ(MaterialFilename(id, L"/Material/x.mov").getOsPath(), L"/Material/x.mov");
}

TEST_F(MaterialFilenameTest, AnExtensionReplacesTheOneThatIsThereOrIsPutBehind) {
  EXPECT_EQ(withExtension(L"a/b.avi", L"mov"), L"a/b.mov");
  EXPECT_EQ(withExtension(L"a/b", L"mov"), L"a/b.mov");
  EXPECT_EQ(withExtension(L"a.b/c", L"mov"), L"a.b/c.mov");
  EXPECT_EQ(withExtension(L"a/b.c.avi", L"mov"), L"a/b.c.mov");
}

TEST_F(MaterialFilenameTest, TheDotIsAlwaysPut) {
  EXPECT_EQ(withExtension(L"a/b.avi", L""), L"a/b.");
  EXPECT_EQ(withExtension(L"a/b.avi", L".mov"), L"a/b..mov");
  EXPECT_EQ(withExtension(L"", L"mov"), L".mov");
}

TEST_F(MaterialFilenameTest, AnExtensionChangesOnlyTheOneNameAndNotItsDrive) {
  MaterialFilename file(DriveId('7'), L"a/b.avi");
  MaterialFilename copy(file);
  copy.setExtension(L"mov");
  EXPECT_EQ(copy.getDrive(), DriveId('7'));
  EXPECT_EQ(file.getPath(), L"a/b.avi");
}

// getDrive ---------------------------------------------------------------------------------------

TEST_F(MaterialFilenameTest, TheDriveOfAPathIsItsFirstCharacterAndTheColonBehindIt) {
  EXPECT_EQ(getDrive(L"D:foo"), L"D:");
  EXPECT_EQ(getDrive(L"D:"), L"D:");
  EXPECT_EQ(getDrive(L"/:x"), L"/:");
  EXPECT_EQ(getDrive(L"D::"), L"D:");
}

TEST_F(MaterialFilenameTest, WithoutAColonInItsSecondPlaceAPathHasNoDrive) {
  for (const wchar_t* path : {L"", L":", L":x", L"::x", L"DD:x", L"foo", L"D"})
    EXPECT_TRUE(getDrive(path).empty()) << toUTF8(path).c_str();
}

// isValidFsysMediaFolderPath ---------------------------------------------------------------------

TEST_F(MaterialFilenameTest, AMediaFolderLiesAtTheRootOfADriveInAnyCase) {
  for (const wchar_t* path :
       {L"C:/MATERIAL", L"c:/sound/x", L"C:/Material", L"?:/mAtErIaL/", L"::/Sound", L"0:/sOUND"})
    EXPECT_TRUE(isValidFsysMediaFolderPath(path)) << toUTF8(path).c_str();
}

TEST_F(MaterialFilenameTest, OnlyTheBeginningOfAMediaFoldersNameCounts) {
  EXPECT_TRUE(isValidFsysMediaFolderPath(L"D:/materials/x"));
  EXPECT_TRUE(isValidFsysMediaFolderPath(L"D:/Sounds"));
}

TEST_F(MaterialFilenameTest, WhatIsNoMediaFolderIsToldApart) {
  for (const wchar_t* path : {L"", L"C", L"C:", L"C:/", L"C:Material", L"C:/Video", L"C:/Materia",
                              L"C:/Soun", L"CC:/Material", L"CC/Material", L"C/:Material",
                              L"/Material", L"C://Material", L"C:\\Material", L"C:/ Material"})
    EXPECT_FALSE(isValidFsysMediaFolderPath(path)) << toUTF8(path).c_str();
}

TEST_F(MaterialFilenameTest, TheSeparatorOfAMediaFolderIsTheSystems) {
  files().setSeparator(L'\\');
  EXPECT_TRUE(isValidFsysMediaFolderPath(L"C:\\Material"));
  EXPECT_FALSE(isValidFsysMediaFolderPath(L"C:/Material"));
}

}  // namespace

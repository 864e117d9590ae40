// Deleting media: the file, what lies beside it, and a folder below its own.

#include <string>

#include "tests/conformance/Environments.h"

// Serves names and has no file.
struct NoFiles final : iFileProvider {
  Qv::Ptr<iFile> open(const LightweightString<wchar_t>&, unsigned, bool) override { return {}; }
  bool remove(const LightweightString<wchar_t>&) override { return false; }
};

template <typename Environment>
class SubfoldersConformance : public ConformanceTest<Environment> {
protected:
  using Base = ConformanceTest<Environment>;
  using Base::files;
  using Base::forgetLastError;
  using Base::lastError;

  void makeTree(const std::wstring& top) {
    for (const wchar_t* name : {L"", L"/deep", L"/deep/deeper", L"/empty"})
      EXPECT_TRUE(files()->createFolder(at(top + name)));
    for (const wchar_t* name : {L"/a", L"/*", L"/a\nb", L"/.hidden", L"/b\xDCFF\xDCC3",
                                L"/deep/\U0001F3AC", L"/deep/deeper/d"})
      this->makeFile((top + name).c_str(), std::string("x"));
  }
  // Also with a NUL in it.
  PathString at(std::wstring_view name) const { return this->path(L"") + PathString(name); }
  bool isWhole(const std::wstring& top) {
    return files()->exists(at(top + L"/a")) && files()->exists(at(top + L"/deep/deeper/d")) &&
           files()->folderExists(at(top + L"/empty"));
  }
  // What a file of that folder takes along when it is deleted. 1, or why that stayed.
  uint32_t taken(const std::wstring& folder, const std::wstring& subfolder) {
    MediaLeft left{0, 0};
    this->makeFile((folder + L"/a.mov").c_str(), std::string("link"));
    forgetLastError();
    EXPECT_TRUE(
        files()->deleteMedia({at(folder + L"/a.mov"), L"none", at(subfolder), "link"}, left));
    EXPECT_EQ(lastError(), 0u);
    EXPECT_EQ(left.sideFiles, 1u);
    EXPECT_FALSE(files()->exists(at(folder + L"/a.mov")));
    return left.subfolder;
  }
  void expectRefused(const std::wstring& folder, const std::wstring& subfolder, uint32_t error) {
    EXPECT_EQ(taken(folder, subfolder), error) << toUTF8(at(subfolder)).c_str();
  }
  // Nothing goes, not even the file.
  void expectNothingGoes(const MediaRemoval& media, uint32_t error) {
    MediaLeft left{0, 0};
    forgetLastError();
    EXPECT_FALSE(files()->deleteMedia(media, left)) << toUTF8(media.path).c_str();
    EXPECT_EQ(lastError(), error) << toUTF8(media.path).c_str();
    EXPECT_EQ(left.subfolder, 1u);
    EXPECT_EQ(left.sideFiles, 1u);
  }
};

TYPED_TEST_SUITE(SubfoldersConformance, Environments, EnvironmentNames);

TYPED_TEST(SubfoldersConformance, ASubfolderGoesWithEverythingInItAndNothingElse) {
  this->makeTree(L"m/sub");
  this->makeTree(L"m/other");
  EXPECT_EQ(this->taken(L"m", L"m/sub"), 1u);
  EXPECT_FALSE(this->files()->folderExists(this->at(L"m/sub")));
  EXPECT_TRUE(this->isWhole(L"m/other"));
}

TYPED_TEST(SubfoldersConformance, OneSeparatorMayStandAtItsEnd) {
  this->makeTree(L"m/sub");
  EXPECT_EQ(this->taken(L"m", L"m/sub/"), 1u);
  EXPECT_FALSE(this->files()->folderExists(this->at(L"m/sub")));
  EXPECT_TRUE(this->files()->folderExists(this->at(L"m")));
}

TYPED_TEST(SubfoldersConformance, ItMayLieSeveralFoldersBelowAndThoseStay) {
  this->makeTree(L"m/sub");
  EXPECT_EQ(this->taken(L"m", L"m/sub/deep/deeper"), 1u);
  EXPECT_FALSE(this->files()->folderExists(this->at(L"m/sub/deep/deeper")));
  EXPECT_TRUE(this->files()->exists(this->at(L"m/sub/deep/\U0001F3AC")));
  EXPECT_TRUE(this->files()->exists(this->at(L"m/sub/a")));
}

TYPED_TEST(SubfoldersConformance, WhatIsNoWayDownIsRefused) {
  this->makeTree(L"m/sub");
  this->makeTree(L"m/subtle");
  for (const wchar_t* subfolder :
       {L"m", L"m/", L"m/.", L"m/..", L"m/sub/..", L"m/sub/../sub", L"m/./sub", L"m//sub",
        L"m/sub//deep", L"m/sub//", L"n/sub", L"subtle", L"n"})
    this->expectRefused(L"m", subfolder, eOsInvalid);
  this->expectRefused(L"m/sub", L"m/subtle", eOsInvalid);
  this->expectRefused(L"m/sub", L"m/subtle/deep", eOsInvalid);
  EXPECT_TRUE(this->isWhole(L"m/sub"));
  EXPECT_TRUE(this->isWhole(L"m/subtle"));
}

TYPED_TEST(SubfoldersConformance, AFolderThatTheWholeNameDoesNotLeadToStays) {
  this->makeTree(L"Mat/sub");
  this->expectRefused(L"Mat", L"mat/sub", eOsNotFound);
  this->makeTree(L"mat/sub");
  this->expectRefused(L"Mat", L"mat/sub", eOsInvalid);
  ASSERT_TRUE(this->files()->createFolder(this->at(L"mAT")));
  this->makeFile(L"mAT/sub", std::string("x"));
  this->expectRefused(L"Mat", L"mAT/sub", eOsInvalid);
  EXPECT_TRUE(this->isWhole(L"Mat/sub"));
  EXPECT_TRUE(this->isWhole(L"mat/sub"));
}

TYPED_TEST(SubfoldersConformance, OnlyAFolderIsDeleted) {
  this->makeTree(L"m/sub");
  this->expectRefused(L"m", L"m/none", eOsNotFound);
  this->expectRefused(L"m", L"m/none/sub", eOsNotFound);
  this->expectRefused(L"m", L"m/sub/a", eOsNotAFolder);
  this->expectRefused(L"m", L"m/sub/a/b", eOsNotAFolder);
  EXPECT_TRUE(this->isWhole(L"m/sub"));
}

TYPED_TEST(SubfoldersConformance, WhereTheFileBeginsOtherwiseNothingGoes) {
  this->makeTree(L"m/sub");
  this->makeFile(L"m/a.mov", std::string("/m/sub/x\0\0\0", 11));
  this->makeFile(L"m/a.mov.1", std::string("side"));
  this->makeFile(L"m/short", std::string("/m/su"));
  auto order = [this](const wchar_t* file, const std::string& start) {
    return MediaRemoval{this->at(file), L"a.mov.*", this->at(L"m/sub"), start};
  };
  for (const wchar_t* other : {L"m/short", L"m/sub", L"m/a.mov.1"})
    this->expectNothingGoes(order(other, "/m/sub/x"), eOsInvalid);
  this->expectNothingGoes(order(L"m/a.mov", "/m/sub/y"), eOsInvalid);
  this->expectNothingGoes(order(L"m/a.mov", std::string("/m/sub/x\0\0\0\0", 12)), eOsInvalid);
  this->expectNothingGoes(order(L"m/none", "/m/sub/x"), eOsNotFound);
  for (const wchar_t* kept : {L"m/short", L"m/a.mov", L"m/a.mov.1"})
    EXPECT_TRUE(this->files()->exists(this->at(kept)));
  EXPECT_TRUE(this->isWhole(L"m/sub"));
  MediaLeft left;
  const MediaRemoval media = order(L"m/a.mov", std::string("/m/sub/x\0", 9));
  EXPECT_TRUE(this->files()->deleteMedia(media, left));
  for (const wchar_t* gone : {L"m/sub", L"m/a.mov", L"m/a.mov.1"})
    EXPECT_FALSE(this->files()->exists(this->at(gone)));
}

TYPED_TEST(SubfoldersConformance, WithoutASubfolderNobodyLooksAtWhatTheFileBeginsWith) {
  this->makeTree(L"m/sub");
  this->makeFile(L"m/a.mov", std::string("x"));
  MediaLeft left;
  EXPECT_TRUE(this->files()->deleteMedia({this->at(L"m/a.mov"), {}, {}, "other"}, left));
  EXPECT_FALSE(this->files()->exists(this->at(L"m/a.mov")));
  EXPECT_TRUE(this->isWhole(L"m/sub"));
}

TYPED_TEST(SubfoldersConformance, WhatIsNoNameOrServedIsRefused) {
  this->makeTree(L"m/sub");
  this->makeFile(L"m/a.mov", std::string("x"));
  this->expectRefused(L"m", std::wstring(L"m/s\0b", 5), eOsInvalid);
  this->expectRefused(L"m", L"m/s\xD800", eOsInvalid);
  this->makeFile(L"m/a.mov", std::string("x"));
  const PathString subfolder = this->at(L"m/sub");
  this->expectNothingGoes({this->at(std::wstring(L"m/\0", 3)), L"*", subfolder, "x"}, eOsInvalid);
  this->expectNothingGoes({L"", {}, L"/none", "x"}, eOsNotFound);
  this->expectNothingGoes({this->at(L"none/a.mov"), L"*", this->at(L"none/sub"), "x"}, eOsNotFound);
  this->expectNothingGoes({this->at(L"m/a.mov/b"), L"*", this->at(L"m/a.mov/sub"), "x"},
                          eOsNotAFolder);
  EXPECT_TRUE(this->files()->exists(this->at(L"m/a.mov")));
  EXPECT_TRUE(this->isWhole(L"m/sub"));
}

TYPED_TEST(SubfoldersConformance, OfAServedFileNothingElseGoesNorASubfolderThatIsServed) {
  this->makeTree(L"m/sub");
  Qv::Ptr<iFile> served = this->files()->openServed(L"mem:m/a.mov", Files::eFlagWrite, true);
  Qv::Ptr<iFile> beside = this->files()->openServed(L"mem:m/a.mov.1", Files::eFlagWrite, true);
  ASSERT_TRUE(served && beside);
  MediaLeft left;
  EXPECT_TRUE(this->files()->deleteMedia({L"mem:m/a.mov", {}, {}, {}}, left));
  EXPECT_EQ(left.subfolder, 1u);
  EXPECT_EQ(left.sideFiles, 1u);
  this->forgetLastError();
  EXPECT_FALSE(this->files()->deleteMedia({L"mem:m/a.mov", L"*", L"mem:m/sub", {}}, left));
  EXPECT_EQ(this->lastError(), eOsNotFound);
  EXPECT_EQ(left.subfolder, eOsNotSupported);
  EXPECT_EQ(left.sideFiles, eOsNotSupported);
  EXPECT_TRUE(this->files()->exists(L"mem:m/a.mov.1"));
  this->files()->deleteFile(L"mem:m/a.mov.1");
  const Qv::Ptr<iFileProvider> provider(new NoFiles);
  this->files()->registerProvider(this->at(L"m/sub"), provider);
  this->expectRefused(L"m", L"m/sub", eOsNotSupported);
  this->files()->registerProvider(this->at(L"m/sub"), {});
  EXPECT_TRUE(this->isWhole(L"m/sub"));
}

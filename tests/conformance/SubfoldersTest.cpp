// Deleting a folder that lies below another.

#include <string>

#include "tests/conformance/Environments.h"

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
  bool deleted(const std::wstring& folder, const std::wstring& subfolder) {
    forgetLastError();
    return files()->deleteSubfolder(at(folder), at(subfolder), {});
  }
  bool deletedBeside(const std::wstring& witness, const std::string& start) {
    forgetLastError();
    return files()->deleteSubfolder(at(L"m"), at(L"m/sub"), {PathString(witness), start});
  }
  void expectRefused(const std::wstring& folder, const std::wstring& subfolder, uint32_t error) {
    EXPECT_FALSE(deleted(folder, subfolder)) << toUTF8(at(subfolder)).c_str();
    EXPECT_EQ(lastError(), error) << toUTF8(at(subfolder)).c_str();
  }
};

TYPED_TEST_SUITE(SubfoldersConformance, Environments, EnvironmentNames);

TYPED_TEST(SubfoldersConformance, ASubfolderGoesWithEverythingInItAndNothingElse) {
  this->makeTree(L"m/sub");
  this->makeTree(L"m/other");
  EXPECT_TRUE(this->deleted(L"m", L"m/sub"));
  EXPECT_EQ(this->lastError(), 0u);
  EXPECT_FALSE(this->files()->folderExists(this->at(L"m/sub")));
  EXPECT_TRUE(this->isWhole(L"m/other"));
}

TYPED_TEST(SubfoldersConformance, OneSeparatorMayStandAtTheEnds) {
  this->makeTree(L"m/sub");
  EXPECT_TRUE(this->deleted(L"m/", L"m/sub/"));
  EXPECT_FALSE(this->files()->folderExists(this->at(L"m/sub")));
  EXPECT_TRUE(this->files()->folderExists(this->at(L"m")));
}

TYPED_TEST(SubfoldersConformance, ItMayLieSeveralFoldersBelowAndThoseStay) {
  this->makeTree(L"m/sub");
  EXPECT_TRUE(this->deleted(L"m", L"m/sub/deep/deeper"));
  EXPECT_FALSE(this->files()->folderExists(this->at(L"m/sub/deep/deeper")));
  EXPECT_TRUE(this->files()->exists(this->at(L"m/sub/deep/\U0001F3AC")));
  EXPECT_TRUE(this->files()->exists(this->at(L"m/sub/a")));
}

TYPED_TEST(SubfoldersConformance, WhatIsNoWayDownIsRefused) {
  this->makeTree(L"m/sub");
  this->makeTree(L"m/subtle");
  for (const wchar_t* subfolder :
       {L"m", L"m/", L"m/.", L"m/..", L"m/sub/..", L"m/sub/../sub", L"m/./sub", L"m//sub",
        L"m/sub//deep", L"m/sub//", L"n/sub", L"subtle", L""})
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
  this->expectRefused(L"none", L"none/sub", eOsNotFound);
  this->expectRefused(L"m", L"m/sub/a", eOsNotAFolder);
  this->expectRefused(L"m", L"m/sub/a/b", eOsNotAFolder);
  this->expectRefused(L"m/sub/a", L"m/sub/a/b", eOsNotAFolder);
  EXPECT_TRUE(this->isWhole(L"m/sub"));
}

TYPED_TEST(SubfoldersConformance, ItGoesOnlyFromTheFolderInWhichTheWitnessBeginsSo) {
  this->makeTree(L"m/sub");
  this->makeFile(L"m/a.mov", std::string("/m/sub/x\0\0\0", 11));
  this->makeFile(L"m/short", std::string("/m/su"));
  this->makeFile(L"elsewhere", std::string("/m/sub/x"));
  for (const wchar_t* witness : {L"none", L"short", L"sub"}) {
    EXPECT_FALSE(this->deletedBeside(witness, "/m/sub/x")) << toUTF8(witness).c_str();
    EXPECT_EQ(this->lastError(), eOsInvalid);
  }
  EXPECT_FALSE(this->deletedBeside(L"a.mov", "/m/sub/y"));
  EXPECT_FALSE(this->deletedBeside(L"a.mov", std::string("/m/sub/x\0\0\0\0", 12)));
  EXPECT_TRUE(this->isWhole(L"m/sub"));
  EXPECT_TRUE(this->deletedBeside(L"a.mov", std::string("/m/sub/x\0", 9)));
  EXPECT_FALSE(this->files()->folderExists(this->at(L"m/sub")));
}

TYPED_TEST(SubfoldersConformance, WhatIsNoNameOrServedIsRefused) {
  this->makeTree(L"m/sub");
  this->expectRefused(L"m", std::wstring(L"m/s\0b", 5), eOsInvalid);
  this->expectRefused(std::wstring(L"\0", 1), L"m/sub", eOsInvalid);
  this->expectRefused(L"m", L"m/s\xD800", eOsInvalid);
  for (auto [folder, subfolder] :
       {std::pair(L"mem:a", L"mem:a/b"), std::pair(L"mem:", L"mem:/b")}) {
    this->forgetLastError();
    EXPECT_FALSE(this->files()->deleteSubfolder(folder, subfolder, {}));
    EXPECT_EQ(this->lastError(), eOsNotSupported);
  }
  EXPECT_FALSE(this->files()->deleteSubfolder(L"", L"/none", {}));
  EXPECT_EQ(this->lastError(), eOsNotFound);
  EXPECT_TRUE(this->isWhole(L"m/sub"));
}

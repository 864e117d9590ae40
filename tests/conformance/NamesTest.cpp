#include <string>
#include <vector>

#include "tests/conformance/Environments.h"

template <typename Environment>
class NamesConformance : public ConformanceTest<Environment> {
protected:
  using Base = ConformanceTest<Environment>;
  using Base::files;
  using Base::forgetLastError;
  using Base::lastError;
  using Base::openFile;
  using Base::path;

  // What a listing says, a file a word: "name:size".
  std::string listed(const wchar_t* pattern) {
    Vector<Files::ListedFile> found;
    found.add({L"left over", 1});
    if (!files()->listFiles(path(pattern), found))
      return found.empty() ? "not read" : "not read, but not empty";
    std::string text;
    for (const Files::ListedFile& file : found) {
      if (!text.empty()) text += ' ';
      text += toUTF8(file.name).c_str() + (":" + std::to_string(file.bytes));
    }
    return text;
  }
  PathString makeFolder(const wchar_t* name) {
    EXPECT_TRUE(files()->createFolder(path(name)));
    return path(name);
  }
  // Deletes a file with what lies beside it. 1, or why some of that stayed.
  uint32_t leftBeside(const wchar_t* name, const PathString& pattern) {
    MediaLeft left{0, 0};
    forgetLastError();
    EXPECT_TRUE(files()->deleteMedia({path(name), pattern, {}, {}}, left));
    EXPECT_EQ(lastError(), 0u);
    return left.sideFiles;
  }
  static std::string content(const PathString& name) {
    Qv::Ptr<iFile> file = openFile(name, Files::eAccessRead, Files::eOpenExisting);
    if (!file) return "none";
    std::string bytes(file->getSize(), '\0');
    uint32_t done = 0;
    file->readAt(0, bytes.data(), static_cast<uint32_t>(bytes.size()), &done);
    return bytes;
  }
  static void expectError(bool succeeded, uint32_t error) {
    EXPECT_FALSE(succeeded);
    EXPECT_EQ(lastError(), error);
    forgetLastError();
  }
};

TYPED_TEST_SUITE(NamesConformance, Environments, EnvironmentNames);

namespace {
const PathString kNulName(L"/a\0b", 4);
}

TYPED_TEST(NamesConformance, AFolderIsAFolderWithAndWithoutASeparatorAtItsEnd) {
  PathString folder = this->makeFolder(L"media");
  this->forgetLastError();
  EXPECT_TRUE(this->files()->folderExists(folder));
  EXPECT_TRUE(this->files()->folderExists(folder + this->files()->getSeparator()));
  EXPECT_EQ(this->lastError(), 0u);
}

TYPED_TEST(NamesConformance, AFileOrNothingIsNoFolder) {
  PathString file = this->makeFile(L"file", std::string("x"));
  this->expectError(this->files()->folderExists(file), eOsNotAFolder);
  this->expectError(this->files()->folderExists(this->path(L"none")), eOsNotFound);
  this->expectError(this->files()->folderExists(L""), eOsNotFound);
  this->expectError(this->files()->folderExists(kNulName), eOsInvalid);
}

TYPED_TEST(NamesConformance, WhatThisProcessMayWriteIsWritable) {
  EXPECT_TRUE(this->files()->isWritable(this->path(L"")));
  EXPECT_TRUE(this->files()->isWritable(this->makeFolder(L"media")));
  EXPECT_TRUE(this->files()->isWritable(this->makeFile(L"file", std::string("x"))));
  EXPECT_EQ(this->content(this->path(L"file")), "x") << "nothing is written";
  EXPECT_FALSE(this->files()->isWritable(this->path(L"file/"))) << "it is no folder";
  this->expectError(this->files()->isWritable(L""), eOsNotFound);
  this->expectError(this->files()->isWritable(this->path(L"none")), eOsNotFound);
  this->expectError(this->files()->isWritable(kNulName), eOsInvalid);
}

TYPED_TEST(NamesConformance, AReadOnlyFileIsNotWritable) {
  PathString name = this->makeFile(L"clip", std::string("x"));
  if (!this->environment_.makeReadOnly(name))
    GTEST_SKIP() << "this process may write to every file";
  this->expectError(this->files()->isWritable(name), eOsAccessDenied);
}

TYPED_TEST(NamesConformance, AListingHasTheMatchingFilesSortedByNameWithTheirSizes) {
  this->makeFile(L"b.odb", std::string(3, 'x'));
  this->makeFile(L"a.odb", std::string());
  this->makeFile(L"B.odb", std::string(2, 'x'));
  this->makeFile(L"a.mov", std::string(1, 'x'));
  this->makeFile(L"readme", std::string(4, 'x'));
  EXPECT_EQ(this->listed(L"*.odb"), "B.odb:2 a.odb:0 b.odb:3");
  EXPECT_EQ(this->listed(L"?.odb"), "B.odb:2 a.odb:0 b.odb:3");
  EXPECT_EQ(this->listed(L"a.*"), "a.mov:1 a.odb:0");
  EXPECT_EQ(this->listed(L"*.*"), "B.odb:2 a.mov:1 a.odb:0 b.odb:3 readme:4");
  EXPECT_EQ(this->listed(L"*"), "B.odb:2 a.mov:1 a.odb:0 b.odb:3 readme:4");
  EXPECT_EQ(this->listed(L"readme"), "readme:4");
}

TYPED_TEST(NamesConformance, AListingWithoutAMatchIsEmptyAndNoFailure) {
  this->makeFile(L"a.mov", std::string("x"));
  this->forgetLastError();
  EXPECT_EQ(this->listed(L"*.odb"), "");
  EXPECT_EQ(this->listed(L"A.mov"), "") << "case counts";
  EXPECT_EQ(this->listed(L""), "") << "no file has no name";
  EXPECT_EQ(this->lastError(), 0u);
}

TYPED_TEST(NamesConformance, AListingHasNoFoldersAndNothingThatIsInThem) {
  wchar_t separator = this->files()->getSeparator();
  PathString folder = this->makeFolder(L"inner");
  this->makeFile(L"outer", std::string("x"));
  std::wstring inside = std::wstring(L"inner") + separator + L"deep";
  this->makeFile(inside.c_str(), std::string("xy"));
  EXPECT_EQ(this->listed(L"*"), "outer:1");
  EXPECT_EQ(this->listed((std::wstring(L"inner") + separator + L"*").c_str()), "deep:2");
}

TYPED_TEST(NamesConformance, ALiteralNameListsThatFileAlone) {
  std::wstring longest(255, L'?');
  std::vector<std::wstring> names = {L"*",  L"?",       L"*.*", L"[a]", L"a\nb", L".hidden", L"*a",
                                     L"a?", L"b\xDCFF", L"a",   L"ab",  L"a.b",  longest};
  for (const std::wstring& name : names) this->makeFile(name.c_str(), std::string("x"));
  for (const std::wstring& name : names) {
    Vector<Files::ListedFile> found;
    PathString pattern = this->path(L"") + literalName(PathString(std::wstring_view(name)));
    EXPECT_TRUE(this->files()->listFiles(pattern, found));
    ASSERT_EQ(found.size(), 1u) << toUTF8(PathString(std::wstring_view(name))).c_str();
    EXPECT_TRUE(found[0].name.view() == name);
  }
}

TYPED_TEST(NamesConformance, ALiteralNameWithAnEndingListsWhatBelongsToThatFile) {
  for (const wchar_t* name : {L"take*", L"take*.idx", L"take*.pk.tmp", L"take1", L"take1.idx"})
    this->makeFile(name, std::string("x"));
  PathString pattern = literalName(L"take*") + L".*";
  EXPECT_EQ(this->listed(pattern.c_str()), "take*.idx:1 take*.pk.tmp:1");
  EXPECT_EQ(this->listed(L"take*.idx"), "take*.idx:1 take1.idx:1") << "which is not literal";
}

TYPED_TEST(NamesConformance, OnlyTheLastComponentOfAPatternIsOne) {
  wchar_t separator = this->files()->getSeparator();
  this->makeFolder(L"a*b");
  this->makeFolder(L"axb");
  std::wstring literal = std::wstring(L"a*b") + separator;
  std::wstring other = std::wstring(L"axb") + separator;
  this->makeFile((literal + L"one").c_str(), std::string("1"));
  this->makeFile((other + L"two").c_str(), std::string("22"));
  EXPECT_EQ(this->listed((literal + L"*").c_str()), "one:1");
  this->expectError(this->listed((std::wstring(L"a?b") + separator + L"*").c_str()) != "not read",
                    eOsNotFound);
}

TYPED_TEST(NamesConformance, WhatIsNoFolderCannotBeListed) {
  wchar_t separator = this->files()->getSeparator();
  this->makeFile(L"file", std::string("x"));
  auto isRead = [&](const wchar_t* folder) {
    return this->listed((std::wstring(folder) + separator + L"*").c_str()) != "not read";
  };
  this->expectError(isRead(L"none"), eOsNotFound);
  this->expectError(isRead(L"file"), eOsNotAFolder);
  Vector<Files::ListedFile> found;
  this->expectError(this->files()->listFiles(PathString(L"/a\0/*", 5), found), eOsInvalid);
}

TYPED_TEST(NamesConformance, WhatGoesBesideAFileIsWhatAListingHasAndNothingElse) {
  wchar_t separator = this->files()->getSeparator();
  for (const wchar_t* name : {L"take*", L"take*.idx", L"take*.b\xDCFF", L"take1.idx", L"take*x"})
    this->makeFile(name, std::string("x"));
  std::wstring folder = std::wstring(L"take*.folder") + separator;
  this->makeFolder(folder.c_str());
  this->makeFile((folder + L"inside").c_str(), std::string("12"));
  EXPECT_EQ(this->leftBeside(L"take*", literalName(L"take*") + L".*"), 1u);
  EXPECT_EQ(this->listed(L"*"), "take*x:1 take1.idx:1");
  EXPECT_EQ(this->listed((folder + L"*").c_str()), "inside:2");
  this->makeFile(L"take*", std::string("x"));
  EXPECT_EQ(this->leftBeside(L"take*", L"none*"), 1u);
  EXPECT_EQ(this->listed(L"*"), "take*x:1 take1.idx:1");
  this->makeFile(L"file", std::string("x"));
  EXPECT_EQ(this->leftBeside(L"file", L""), 1u);
  EXPECT_EQ(this->listed(L"*"), "take*x:1 take1.idx:1") << "an empty pattern is that of none";
  this->makeFile(L"file", std::string("x"));
  EXPECT_EQ(this->leftBeside(L"file", L"take*"), 1u);
  EXPECT_EQ(this->listed(L"*"), "");
}

TYPED_TEST(NamesConformance, WhatLiesBesideAFileThatStaysGoesAllTheSame) {
  PathString folder = this->makeFolder(L"folder");
  MediaLeft left;
  for (const wchar_t* name : {L"folder.1", L"none.1"}) this->makeFile(name, std::string("x"));
  this->expectError(this->files()->deleteMedia({folder, L"folder.*", {}, {}}, left), eOsIsAFolder);
  EXPECT_EQ(this->listed(L"*"), "none.1:1");
  this->expectError(this->files()->deleteMedia({this->path(L"none"), L"none.*", {}, {}}, left),
                    eOsNotFound);
  EXPECT_EQ(this->listed(L"*"), "");
  EXPECT_TRUE(this->files()->folderExists(folder));
}

TYPED_TEST(NamesConformance, AListedNameIsTheNameByWhichTheFileIsOpened) {
  this->makeFile(L"bad\xDCFF\xDCC3\xE9\U0001F3AC", std::string("bytes"));
  Vector<Files::ListedFile> found;
  ASSERT_TRUE(this->files()->listFiles(this->path(L"bad????"), found));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(this->content(this->path(L"") + found[0].name), "bytes");
  EXPECT_EQ(found[0].bytes, 5u);
}

TYPED_TEST(NamesConformance, ARenamedFileHasItsNewNameAlone) {
  PathString from = this->makeFile(L"from", std::string("content"));
  PathString to = this->path(L"to");
  Qv::Ptr<iFile> open = this->openFile(from, Files::eAccessRead, Files::eOpenExisting);
  EXPECT_TRUE(this->files()->renameFile(from, to));
  EXPECT_FALSE(this->files()->exists(from));
  EXPECT_EQ(this->content(to), "content");
  ASSERT_TRUE(open);
  EXPECT_EQ(open->getSize(), 7u) << "who has it open keeps it";
}

TYPED_TEST(NamesConformance, ARenamedFileReplacesTheOneOfThatName) {
  PathString from = this->makeFile(L"from", std::string("new"));
  PathString to = this->makeFile(L"to", std::string("older"));
  Qv::Ptr<iFile> replaced = this->openFile(to, Files::eAccessRead, Files::eOpenExisting);
  EXPECT_TRUE(this->files()->renameFile(from, to));
  EXPECT_EQ(this->content(to), "new");
  EXPECT_EQ(this->listed(L"*"), "to:3");
  ASSERT_TRUE(replaced);
  EXPECT_EQ(replaced->getSize(), 5u) << "who has the old one open keeps it";
  EXPECT_TRUE(this->files()->renameFile(to, to));
  EXPECT_EQ(this->content(to), "new");
}

TYPED_TEST(NamesConformance, OnlyAFileIsRenamedAndNeverOntoAFolder) {
  PathString file = this->makeFile(L"file", std::string("x"));
  PathString folder = this->makeFolder(L"folder");
  PathString none = this->path(L"none");
  this->expectError(this->files()->renameFile(none, file), eOsNotFound);
  this->expectError(this->files()->renameFile(folder, none), eOsIsAFolder);
  this->expectError(this->files()->renameFile(file, folder), eOsIsAFolder);
  this->expectError(this->files()->renameFile(file, kNulName), eOsInvalid);
  this->expectError(this->files()->renameFile(kNulName, file), eOsInvalid);
  EXPECT_EQ(this->content(file), "x");
  EXPECT_TRUE(this->files()->folderExists(folder));
  EXPECT_FALSE(this->files()->exists(none));
}

TYPED_TEST(NamesConformance, AFileIsNotMovedWhereItsFolderIsMissing) {
  PathString file = this->makeFile(L"file", std::string("x"));
  PathString inNone = this->path(L"none") + this->files()->getSeparator() + L"clip";
  PathString inAFile = this->makeFile(L"other", std::string("y")) + this->files()->getSeparator();
  this->expectError(this->files()->renameFile(file, inNone), eOsNotFound);
  this->expectError(this->files()->renameFile(file, inAFile + L"clip"), eOsNotAFolder);
  EXPECT_EQ(this->content(file), "x");
  EXPECT_FALSE(this->files()->folderExists(this->path(L"none")));
}

TYPED_TEST(NamesConformance, TheNamesOfAFolderAreMadeDurable) {
  PathString file = this->makeFile(L"file", std::string("x"));
  EXPECT_TRUE(this->files()->syncFolder(this->path(L"")));
  EXPECT_TRUE(this->files()->syncFolder(this->makeFolder(L"media")));
  this->expectError(this->files()->syncFolder(this->path(L"none")), eOsNotFound);
  this->expectError(this->files()->syncFolder(file), eOsNotAFolder);
  this->expectError(this->files()->syncFolder(kNulName), eOsInvalid);
}

TYPED_TEST(NamesConformance, WhatIsWrittenIsMadeDurable) {
  Qv::Ptr<iFile> file =
      this->openFile(this->path(L"file"), Files::eAccessReadWrite, Files::eCreateNew);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->write("abc", 3, nullptr), 1u);
  EXPECT_EQ(file->flush(), 1u);
  EXPECT_EQ(file->flush(), 1u) << "also when there is nothing to do";
  file->close();
  EXPECT_EQ(file->flush(), eOsInvalid);
}

TYPED_TEST(NamesConformance, WithoutLinksANameLeadsToItself) {
  PathString folder;
  ASSERT_TRUE(this->files()->followLinks(withoutSeparator(this->path(L"")), folder));
  PathString file = this->makeFile(L"file", std::string("x"));
  PathString target;
  EXPECT_TRUE(this->files()->followLinks(file, target));
  EXPECT_TRUE(target == joinPaths(folder, L"file"));
  EXPECT_TRUE(this->files()->followLinks(this->path(L"none"), target));
  EXPECT_TRUE(target == joinPaths(folder, L"none")) << "the last component need not exist";
}

TYPED_TEST(NamesConformance, ANameThatIsNoneLeadsNowhere) {
  PathString target = L"left over";
  this->expectError(this->files()->followLinks(kNulName, target), eOsInvalid);
  EXPECT_TRUE(target.empty());
  this->expectError(this->files()->followLinks(L"", target), eOsNotFound);
}

TYPED_TEST(NamesConformance, TheModeIsThatOfAFileAndGoesToAFile) {
  PathString from = this->makeFile(L"from", std::string("x"));
  PathString to = this->makeFile(L"to", std::string("y"));
  PathString folder = this->makeFolder(L"folder");
  PathString none = this->path(L"none");
  EXPECT_TRUE(this->files()->copyMode(from, to));
  EXPECT_EQ(this->content(to), "y");
  this->expectError(this->files()->copyMode(none, to), eOsNotFound);
  this->expectError(this->files()->copyMode(from, none), eOsNotFound);
  this->expectError(this->files()->copyMode(folder, to), eOsIsAFolder);
  this->expectError(this->files()->copyMode(from, folder), eOsIsAFolder);
  this->expectError(this->files()->copyMode(kNulName, to), eOsInvalid);
  this->expectError(this->files()->copyMode(from, kNulName), eOsInvalid);
}

TYPED_TEST(NamesConformance, OnlyAFileIsMarked) {
  PathString file = this->makeFile(L"file", std::string());
  this->forgetLastError();
  EXPECT_TRUE(this->files()->markFile(file));
  EXPECT_EQ(this->lastError(), 0u);
  EXPECT_EQ(this->content(file), "");
  this->expectError(this->files()->markFile(this->makeFolder(L"folder")), eOsIsAFolder);
  this->expectError(this->files()->markFile(this->path(L"none")), eOsNotFound);
  this->expectError(this->files()->markFile(file + this->files()->getSeparator() + L"x"),
                    eOsNotAFolder);
  this->expectError(this->files()->markFile(kNulName), eOsInvalid);
  this->expectError(this->files()->markFile(L"mem:served"), eOsNotSupported);
  EXPECT_FALSE(this->files()->exists(this->path(L"none")));
}

TYPED_TEST(NamesConformance, AFileThatHoldsAnythingIsNotMarked) {
  PathString file = this->makeFile(L"file", std::string("x"));
  this->expectError(this->files()->markFile(file), eOsNotPermitted);
  EXPECT_EQ(this->content(file), "x");
}

TYPED_TEST(NamesConformance, AReadOnlyModeIsCopied) {
  PathString from = this->makeFile(L"from", std::string("x"));
  PathString to = this->makeFile(L"to", std::string("y"));
  if (!this->environment_.makeReadOnly(from))
    GTEST_SKIP() << "this process may write to every file";
  EXPECT_TRUE(this->files()->copyMode(from, to));
  EXPECT_EQ(this->content(to), "y");
}

TYPED_TEST(NamesConformance, WithoutAWorkstationThereAreNoShares) {
  EXPECT_TRUE(this->files()->getShares(L"").empty());
}

TYPED_TEST(NamesConformance, WhatIsNoNameHasNoneForTheNetwork) {
  EXPECT_TRUE(this->files()->getUNCName(kNulName).empty());
  EXPECT_TRUE(this->files()->getUNCName(L"").empty());
}

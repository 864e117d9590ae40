#include <cstdint>
#include <string>
#include <vector>

#include "tests/conformance/Environments.h"
#include "tests/support/Pattern.h"

template <typename Environment>
class FilesConformance : public ConformanceTest<Environment> {
protected:
  using Base = ConformanceTest<Environment>;
  using Base::openFile;

  // What the file holds.
  static std::vector<unsigned char> contents(const PathString& name) {
    Qv::Ptr<iFile> file = openFile(name, Files::eAccessRead, Files::eOpenExisting);
    if (!file) return {};
    std::vector<unsigned char> bytes(file->getSize());
    uint32_t done = 0;
    file->readAt(0, bytes.data(), static_cast<uint32_t>(bytes.size()), &done);
    bytes.resize(done);
    return bytes;
  }
};

TYPED_TEST_SUITE(FilesConformance, Environments, EnvironmentNames);

TYPED_TEST(FilesConformance, AMissingFileCannotBeRead) {
  this->forgetLastError();
  EXPECT_FALSE(this->openMedia(this->path(L"none"), false));
  EXPECT_EQ(this->lastError(), eOsNotFound);
  this->forgetLastError();
  EXPECT_FALSE(this->openMedia(this->path(L"none"), false, 0, 0));
  EXPECT_EQ(this->lastError(), eOsNotFound);
  this->forgetLastError();
  EXPECT_FALSE(this->openFile(this->path(L"none"), Files::eAccessReadWrite, Files::eOpenExisting));
  EXPECT_EQ(this->lastError(), eOsNotFound);
  EXPECT_FALSE(this->files()->exists(this->path(L"none")));
}

TYPED_TEST(FilesConformance, NoFileIsMadeWhereItsFolderIsMissing) {
  wchar_t separator = this->files()->getSeparator();
  PathString inNone = this->path(L"none") + separator + L"clip";
  PathString inAFile = this->makeFile(L"file", std::string("abc")) + separator + L"clip";
  for (const auto& [name, error] : {std::pair(inNone, eOsNotFound), {inAFile, eOsNotAFolder}}) {
    auto expectRefused = [&](const Qv::Ptr<iFile>& file) {
      EXPECT_FALSE(file);
      EXPECT_EQ(this->lastError(), uint32_t{error});
      this->forgetLastError();
    };
    this->forgetLastError();
    expectRefused(this->openMedia(name, true));
    expectRefused(this->openMedia(name, true, 0, 0));
    expectRefused(this->openMedia(name, false));
    for (unsigned creation : {Files::eCreateNew, Files::eCreateOrReplace, Files::eOpenOrCreate})
      expectRefused(this->openFile(name, Files::eAccessReadWrite, creation));
    expectRefused(this->openFile(name, Files::eAccessRead, Files::eOpenExisting));
    EXPECT_FALSE(this->files()->exists(name));
  }
  EXPECT_FALSE(this->files()->folderExists(this->path(L"none")));
  EXPECT_EQ(this->contents(this->path(L"file")).size(), 3u);
}

TYPED_TEST(FilesConformance, OpeningForWritingMakesTheFileAndNeverTruncatesIt) {
  PathString name = this->path(L"clip");
  {
    Qv::Ptr<iFile> file = this->openMedia(name, true);
    ASSERT_TRUE(file);
    EXPECT_TRUE(file->isOpen());
    EXPECT_EQ(file->getSize(), 0u);
    uint32_t done = 0;
    ASSERT_EQ(file->writeAt(0, "abcde", 5, &done), 1u);
    EXPECT_EQ(done, 5u);
  }
  Qv::Ptr<iFile> again = this->openMedia(name, true);
  ASSERT_TRUE(again);
  EXPECT_EQ(again->getSize(), 5u);
  FILE_INFO info;
  EXPECT_EQ(again->getInfo(&info), 1u);
  EXPECT_EQ(info.writePosition, 5u);
}

TYPED_TEST(FilesConformance, AProbeMakesTheFileSaysWhatItCanAndTransfersNothing) {
  PathString name = this->path(L"probed");
  Qv::Ptr<iFile> probe = this->openMedia(name, true, 0, 0);
  ASSERT_TRUE(probe);
  EXPECT_TRUE(probe->isOpen());
  EXPECT_EQ(probe->getCapabilities(), unsigned{iFile::eAsyncTransfers});
  EXPECT_TRUE(this->files()->exists(name));
  char byte = 'x';
  uint32_t done = 7;
  EXPECT_EQ(probe->writeAt(0, &byte, 1, &done), eOsNotSupported);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(probe->readAt(0, &byte, 1, &done), eOsNotSupported);
  uint64_t bytes = 9;
  EXPECT_TRUE(this->files()->getFileSize(name, bytes));
  EXPECT_EQ(bytes, 0u);
}

TYPED_TEST(FilesConformance, WhatIsWrittenBehindIsReadAtOnceAndSettles) {
  PathString name = this->makeFile(L"clip", std::string(6, 'x'));
  Qv::Ptr<iFile> file = this->openMedia(name, true, Files::eFlagRead | Files::eFlagWrite);
  ASSERT_TRUE(file);
  uint32_t done = 0;
  ASSERT_EQ(file->writeBehind(3, "abc", 3, &done), 1u);
  EXPECT_EQ(done, 3u);
  std::array<char, 6> bytes;
  ASSERT_EQ(file->readAt(0, bytes.data(), 6, &done), 1u);
  EXPECT_EQ(std::string(bytes.data(), 6), "xxxabc");
  EXPECT_EQ(file->settle(), 1u);
  EXPECT_EQ(file->writeBehind(0, nullptr, 1, &done), eOsInvalid);
  EXPECT_EQ(done, 0u);
  file->close();
  EXPECT_EQ(file->writeBehind(0, "a", 1, &done), eOsInvalid);
  EXPECT_EQ(file->settle(), eOsInvalid);
}

TYPED_TEST(FilesConformance, OnlyTheAsynchronousModeGivesAsynchronousTransfers) {
  PathString name = this->makeFile(L"clip", std::string("x"));
  auto capabilities = [&](unsigned mode) {
    Qv::Ptr<iFile> file = this->openMedia(name, false, 0, mode);
    if (!file) return 99u;
    return file->getCapabilities() & ~unsigned{iFile::eTransfersByCaller};
  };
  EXPECT_EQ(capabilities(Files::eModeAsync), unsigned{iFile::eAsyncTransfers});
  EXPECT_EQ(capabilities(Files::eModeDirect | Files::eModeAsync), unsigned{iFile::eAsyncTransfers});
  EXPECT_EQ(capabilities(Files::eModeDirect), 0u);
  Qv::Ptr<iFile> general = this->openFile(name, Files::eAccessRead, Files::eOpenExisting);
  ASSERT_TRUE(general);
  EXPECT_EQ(general->getCapabilities(), 0u);
}

TYPED_TEST(FilesConformance, AFileIsReadAndWrittenOnlyAsItWasOpened) {
  PathString name = this->makeFile(L"clip", std::string("abc"));
  char byte = 'x';
  uint32_t done = 9;
  Qv::Ptr<iFile> reader = this->openMedia(name, false);
  EXPECT_EQ(reader->writeAt(0, &byte, 1, &done), eOsAccessDenied);
  EXPECT_EQ(done, 0u);
  Qv::Ptr<iFile> writer = this->openMedia(name, true, Files::eFlagWrite);
  EXPECT_EQ(writer->readAt(0, &byte, 1, &done), eOsAccessDenied);
  Qv::Ptr<iFile> both = this->openMedia(name, true, Files::eFlagRead | Files::eFlagWrite);
  EXPECT_EQ(both->readAt(0, &byte, 1, &done), 1u);
  EXPECT_EQ(byte, 'a');
  EXPECT_EQ(both->writeAt(0, "z", 1, &done), 1u);
  Qv::Ptr<iFile> general = this->openFile(name, Files::eAccessWrite, Files::eOpenExisting);
  EXPECT_EQ(general->read(&byte, 1, &done), eOsAccessDenied);
  EXPECT_EQ(this->contents(name), (std::vector<unsigned char>{'z', 'b', 'c'}));
}

TYPED_TEST(FilesConformance, ReadingAcrossTheEndZeroFillsTheRest) {
  PathString name = this->makeFile(L"clip", patternBytes(5000));
  Qv::Ptr<iFile> file = this->openMedia(name, false);
  std::vector<unsigned char> buffer(8192, 0xEE);
  uint32_t done = 0;
  EXPECT_EQ(file->readAt(0, buffer.data(), 8192, &done), 1u);
  EXPECT_EQ(done, 5000u);
  EXPECT_EQ("", whyNotPattern(buffer.data(), 5000, 0));
  EXPECT_EQ("", whyNotZeros(buffer.data() + 5000, 3192));
}

TYPED_TEST(FilesConformance, ReadingAtOrPastTheEndMovesNothingAndIsNoError) {
  PathString name = this->makeFile(L"clip", patternBytes(512));
  Qv::Ptr<iFile> file = this->openMedia(name, false);
  for (uint64_t offset : {uint64_t{512}, uint64_t{513}, uint64_t{1} << 40}) {
    std::vector<unsigned char> buffer(512, 0xEE);
    uint32_t done = 9;
    EXPECT_EQ(file->readAt(offset, buffer.data(), 512, &done), 1u) << offset;
    EXPECT_EQ(done, 0u) << offset;
    EXPECT_EQ("", whyNotZeros(buffer.data(), 512)) << offset;
  }
}

TYPED_TEST(FilesConformance, AnyAddressOffsetAndLengthWillDo) {
  PathString name = this->path(L"odd");
  Qv::Ptr<iFile> file = this->openMedia(name, true, iFileManager::eFlagRead);
  ASSERT_TRUE(file);
  std::vector<unsigned char> memory(3 * 4096 + 64);
  struct Piece {
    uint64_t offset;
    uint32_t bytes;
    size_t shift;
  };
  for (Piece piece : {Piece{0, 4096, 1}, Piece{4096, 513, 3}, Piece{4609, 8191, 0},
                      Piece{12800, 1, 7}, Piece{12801, 4096, 16}}) {
    fillPattern(memory.data() + piece.shift, piece.bytes, piece.offset);
    uint32_t done = 0;
    ASSERT_EQ(file->writeAt(piece.offset, memory.data() + piece.shift, piece.bytes, &done), 1u);
    ASSERT_EQ(done, piece.bytes);
  }
  EXPECT_EQ(file->getSize(), 16897u);
  uint32_t done = 0;
  ASSERT_EQ(file->readAt(511, memory.data() + 5, 4099, &done), 1u);
  EXPECT_EQ(done, 4099u);
  EXPECT_EQ("", whyNotPattern(memory.data() + 5, 4099, 511));
  EXPECT_EQ("", whyNotPattern(this->contents(name)));
}

TYPED_TEST(FilesConformance, WritingPastTheEndLeavesZerosInBetween) {
  PathString name = this->makeFile(L"clip", patternBytes(100));
  Qv::Ptr<iFile> file = this->openMedia(name, true);
  uint32_t done = 0;
  std::vector<unsigned char> tail = patternBytes(10, 5000);
  ASSERT_EQ(file->writeAt(5000, tail.data(), 10, &done), 1u);
  std::vector<unsigned char> all = this->contents(name);
  ASSERT_EQ(all.size(), 5010u);
  EXPECT_EQ("", whyNotPattern(all.data(), 100, 0));
  EXPECT_EQ("", whyNotZeros(all.data() + 100, 4900));
  EXPECT_EQ("", whyNotPattern(all.data() + 5000, 10, 5000));
}

TYPED_TEST(FilesConformance, TheEndOfAllOffsetsIsRefused) {
  PathString name = this->makeFile(L"clip", patternBytes(100));
  Qv::Ptr<iFile> file = this->openMedia(name, true, iFileManager::eFlagRead);
  const uint64_t last = INT64_MAX;
  char bytes[16] = {};
  uint32_t done = 9;
  EXPECT_EQ(file->readAt(last + 1, bytes, 1, &done), eOsInvalid);
  EXPECT_EQ(file->readAt(last - 15, bytes, 16, &done), eOsInvalid);
  EXPECT_EQ(file->readAt(UINT64_MAX, bytes, 16, &done), eOsInvalid);
  EXPECT_EQ(file->writeAt(last - 15, bytes, 16, &done), eOsInvalid);
  EXPECT_EQ(file->writeAt(UINT64_MAX - 3, bytes, 16, &done), eOsInvalid);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(file->getSize(), 100u);
}

TYPED_TEST(FilesConformance, NothingIsTransferredWithoutABuffer) {
  PathString name = this->makeFile(L"clip", patternBytes(100));
  Qv::Ptr<iFile> file = this->openMedia(name, true, iFileManager::eFlagRead);
  uint32_t done = 9;
  EXPECT_EQ(file->readAt(0, nullptr, 1, &done), eOsInvalid);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(file->writeAt(0, nullptr, 1, &done), eOsInvalid);
  EXPECT_EQ(file->readAt(0, nullptr, 0, &done), 1u);
  EXPECT_EQ(file->writeAt(0, nullptr, 0, nullptr), 1u);
  char byte = 0;
  EXPECT_EQ(file->readAt(0, &byte, 1, nullptr), 1u);
  EXPECT_EQ(static_cast<unsigned char>(byte), patternByte(0));
}

TYPED_TEST(FilesConformance, ThePositionMovesByWhatWasDone) {
  PathString name = this->path(L"notes");
  Qv::Ptr<iFile> file = this->openFile(name, Files::eAccessReadWrite, Files::eCreateNew);
  ASSERT_TRUE(file);
  uint32_t done = 0;
  EXPECT_EQ(file->write("abc", 3, &done), 1u);
  EXPECT_EQ(file->write("def", 3, &done), 1u);
  char text[8] = "xxxxxxx";
  EXPECT_EQ(file->read(text, 4, &done), 1u);
  EXPECT_EQ(done, 0u) << "the position stands at the end";
  file->seek(1);
  EXPECT_EQ(file->read(text, 2, &done), 1u);
  EXPECT_EQ(std::string(text, 2), "bc");
  EXPECT_EQ(file->readAt(0, text, 1, &done), 1u);
  EXPECT_EQ(file->read(text, 8, &done), 1u) << "a transfer at an offset moves no position";
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(std::string(text, 3), "def");
  file->seek(5);
  EXPECT_EQ(file->write("xyz", 3, &done), 1u);
  EXPECT_EQ(file->getSize(), 8u);
}

TYPED_TEST(FilesConformance, TheCreationSaysWhatHappensToAFileThatIsThere) {
  auto sizeAfter = [&](const PathString& name, unsigned creation) -> int64_t {
    this->forgetLastError();
    Qv::Ptr<iFile> file = this->openFile(name, Files::eAccessReadWrite, creation);
    return file ? static_cast<int64_t>(file->getSize()) : -int64_t{this->lastError()};
  };
  PathString there = this->makeFile(L"there", std::string("abc"));
  EXPECT_EQ(sizeAfter(there, Files::eOpenExisting), 3);
  EXPECT_EQ(sizeAfter(there, Files::eCreateNew), -int64_t{eOsExists});
  EXPECT_EQ(sizeAfter(there, Files::eOpenOrCreate), 3);
  EXPECT_EQ(sizeAfter(there, Files::eCreateOrReplace), 0);
  EXPECT_EQ(sizeAfter(this->path(L"1"), Files::eOpenExisting), -int64_t{eOsNotFound});
  EXPECT_EQ(sizeAfter(this->path(L"2"), Files::eCreateNew), 0);
  EXPECT_EQ(sizeAfter(this->path(L"3"), Files::eCreateOrReplace), 0);
  EXPECT_EQ(sizeAfter(this->path(L"4"), Files::eOpenOrCreate), 0);
  EXPECT_FALSE(this->files()->exists(this->path(L"1")));
}

TYPED_TEST(FilesConformance, ArgumentsThatMeanNothingAreRefused) {
  PathString name = this->makeFile(L"there", std::string("abc"));
  auto refusal = [&](const Qv::Ptr<iFile>& file) { return file ? 0 : this->lastError(); };
  EXPECT_EQ(refusal(this->openFile(name, 0, Files::eOpenExisting)), eOsInvalid);
  EXPECT_EQ(refusal(this->openFile(name, 4, Files::eOpenExisting)), eOsInvalid);
  EXPECT_EQ(refusal(this->openFile(name, Files::eAccessWrite, 4)), eOsInvalid);
  EXPECT_EQ(refusal(this->openFile(name, Files::eAccessRead, Files::eCreateOrReplace)), eOsInvalid);
  EXPECT_EQ(refusal(this->files()->openMedia(name, 1, false, 3, 3)), eOsInvalid);
  EXPECT_EQ(this->contents(name).size(), 3u);
}

TYPED_TEST(FilesConformance, NamesThatAreNoNamesAreRefused) {
  PathString nul(L"clip\0more", 9);
  PathString withNul = this->path(L"") + nul;
  PathString noBytes = this->path(L"x") + wchar_t{0xD800};
  for (const PathString& name : {withNul, noBytes}) {
    this->forgetLastError();
    EXPECT_FALSE(this->openMedia(name, true));
    EXPECT_EQ(this->lastError(), eOsInvalid);
    EXPECT_FALSE(this->openFile(name, Files::eAccessRead, Files::eOpenExisting));
    EXPECT_FALSE(this->files()->exists(name));
    EXPECT_FALSE(this->files()->deleteFile(name));
    EXPECT_FALSE(this->files()->createFolder(name));
    EXPECT_EQ(this->lastError(), eOsInvalid);
  }
  for (const PathString& name : {PathString(), PathString(L"")}) {
    this->forgetLastError();
    EXPECT_FALSE(this->openMedia(name, true));
    EXPECT_EQ(this->lastError(), eOsNotFound);
  }
}

TYPED_TEST(FilesConformance, ANameNeedNotBeUtf8) {
  PathString name = this->path(L"") + fromUTF8(std::string_view("caf\xE9 \xF0\x9F\x8E\xAC"));
  Qv::Ptr<iFile> file = this->openMedia(name, true);
  ASSERT_TRUE(file);
  EXPECT_TRUE(this->files()->exists(name));
  EXPECT_TRUE(this->files()->deleteFile(name));
  EXPECT_FALSE(this->files()->exists(name));
}

TYPED_TEST(FilesConformance, AFolderIsNoFile) {
  PathString folder = this->path(L"a");
  ASSERT_TRUE(this->files()->createFolder(folder));
  for (bool write : {false, true}) {
    this->forgetLastError();
    EXPECT_FALSE(this->openMedia(folder, write));
    EXPECT_EQ(this->lastError(), eOsIsAFolder);
    EXPECT_FALSE(this->openFile(folder, write ? 3 : 1, Files::eOpenExisting));
    EXPECT_EQ(this->lastError(), eOsIsAFolder);
  }
  EXPECT_TRUE(this->files()->exists(folder));
  uint64_t bytes = 0;
  this->forgetLastError();
  EXPECT_FALSE(this->files()->getFileSize(folder, bytes));
  EXPECT_EQ(this->lastError(), eOsIsAFolder);
  this->forgetLastError();
  EXPECT_FALSE(this->files()->deleteFile(folder));
  EXPECT_EQ(this->lastError(), eOsIsAFolder);
  EXPECT_TRUE(this->files()->exists(folder));
}

TYPED_TEST(FilesConformance, MakingAFolderMakesItsParentsAndTwiceIsNoError) {
  PathString deep = this->path(L"a") + this->files()->getSeparator() + L"b" +
                    this->files()->getSeparator() + L"c";
  EXPECT_TRUE(this->files()->createFolder(deep));
  EXPECT_TRUE(this->files()->createFolder(deep));
  EXPECT_TRUE(this->files()->createFolder(deep + this->files()->getSeparator()));
  EXPECT_TRUE(this->files()->exists(this->path(L"a")));
  EXPECT_TRUE(this->openMedia(deep + this->files()->getSeparator() + L"clip", true));
  PathString file = this->makeFile(L"file", std::string("x"));
  this->forgetLastError();
  EXPECT_FALSE(this->files()->createFolder(file));
  EXPECT_EQ(this->lastError(), eOsExists);
}

TYPED_TEST(FilesConformance, AClosedFileAnswersEverythingWithInvalid) {
  PathString name = this->makeFile(L"clip", patternBytes(100));
  Qv::Ptr<iFile> file = this->openMedia(name, true, iFileManager::eFlagRead);
  file->close();
  file->close();
  EXPECT_FALSE(file->isOpen());
  EXPECT_EQ(file->getSize(), 0u);
  FILE_INFO info;
  EXPECT_EQ(file->getInfo(&info), eOsInvalid);
  char byte = 0;
  uint32_t done = 9;
  EXPECT_EQ(file->readAt(0, &byte, 1, &done), eOsInvalid);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(file->writeAt(0, &byte, 1, &done), eOsInvalid);
  EXPECT_EQ(file->read(&byte, 1, &done), eOsInvalid);
  EXPECT_EQ(file->write(&byte, 1, &done), eOsInvalid);
}

TYPED_TEST(FilesConformance, ADeletedFileLivesOnForThoseWhoHaveItOpen) {
  PathString name = this->makeFile(L"clip", patternBytes(100));
  Qv::Ptr<iFile> file = this->openMedia(name, false);
  EXPECT_TRUE(this->files()->deleteFile(name));
  EXPECT_FALSE(this->files()->exists(name));
  std::vector<unsigned char> buffer(100);
  uint32_t done = 0;
  EXPECT_EQ(file->readAt(0, buffer.data(), 100, &done), 1u);
  EXPECT_EQ("", whyNotPattern(buffer));
  this->forgetLastError();
  EXPECT_FALSE(this->files()->deleteFile(name));
  EXPECT_EQ(this->lastError(), eOsNotFound);
  uint64_t bytes = 0;
  EXPECT_FALSE(this->files()->getFileSize(name, bytes));
}

TYPED_TEST(FilesConformance, AReadOnlyFileCannotBeOpenedForWriting) {
  PathString name = this->makeFile(L"clip", patternBytes(100));
  if (!this->environment_.makeReadOnly(name))
    GTEST_SKIP() << "this process may write to every file";
  this->forgetLastError();
  EXPECT_FALSE(this->openMedia(name, true));
  EXPECT_EQ(this->lastError(), eOsAccessDenied);
  EXPECT_FALSE(this->openFile(name, Files::eAccessWrite, Files::eCreateOrReplace));
  EXPECT_EQ("", whyNotPattern(this->contents(name)));
}

TYPED_TEST(FilesConformance, HoldersOfALockShareItSaveOneThatOnlyWrites) {
  PathString name = this->makeFile(L"clip", patternBytes(100));
  auto hold = [&](unsigned access) {
    return this->openFile(name, access, Files::eOpenExisting, Files::eAttributeHoldLock);
  };
  Qv::Ptr<iFile> first = hold(Files::eAccessReadWrite);
  Qv::Ptr<iFile> second = hold(Files::eAccessRead);
  ASSERT_TRUE(first && second);
  this->forgetLastError();
  EXPECT_FALSE(hold(Files::eAccessWrite));
  EXPECT_EQ(this->lastError(), eOsAccessDenied);
  EXPECT_TRUE(this->openFile(name, Files::eAccessWrite, Files::eOpenExisting))
      << "who asks for no lock is not kept out";
  first->close();
  EXPECT_FALSE(hold(Files::eAccessWrite));
  second.reset();
  Qv::Ptr<iFile> sole = hold(Files::eAccessWrite);
  EXPECT_TRUE(sole);
  EXPECT_FALSE(hold(Files::eAccessReadWrite));
  EXPECT_FALSE(hold(Files::eAccessWrite));
}

TYPED_TEST(FilesConformance, WhetherALockIsHeldIsToldToWhoeverAsks) {
  PathString name = this->makeFile(L"clip", patternBytes(100));
  auto state = [&] {
    Files::LockState told = Files::eLockUnknown;
    EXPECT_TRUE(this->files()->askLock(name, told));
    return told;
  };
  EXPECT_EQ(state(), Files::eLockFree);
  Qv::Ptr<iFile> unlocked = this->openFile(name, Files::eAccessReadWrite, Files::eOpenExisting);
  EXPECT_EQ(state(), Files::eLockFree) << "that it is open is no lock";
  for (unsigned access : {Files::eAccessRead, Files::eAccessWrite, Files::eAccessReadWrite}) {
    Qv::Ptr<iFile> holder =
        this->openFile(name, access, Files::eOpenExisting, Files::eAttributeHoldLock);
    EXPECT_EQ(state(), Files::eLockHeld) << access;
    holder->close();
    EXPECT_EQ(state(), Files::eLockFree) << access;
  }
  EXPECT_TRUE(
      this->openFile(name, Files::eAccessWrite, Files::eOpenExisting, Files::eAttributeHoldLock))
      << "who asks takes none";
  EXPECT_EQ(this->contents(name).size(), 100u);
}

TYPED_TEST(FilesConformance, ALockIsTheOneOfAFileThatIsThere) {
  PathString folder = this->path(L"folder");
  EXPECT_TRUE(this->files()->createFolder(folder));
  PathString file = this->makeFile(L"file", std::string("abc"));
  wchar_t separator = this->files()->getSeparator();
  for (const auto& [name, error] : {std::pair(this->path(L"none"), eOsNotFound),
                                    {folder, eOsIsAFolder},
                                    {file + separator + L"clip", eOsNotAFolder},
                                    {PathString(L"/a\0b", 4), eOsInvalid},
                                    {PathString(L"mem:clip"), eOsNotSupported}}) {
    Files::LockState state = Files::eLockHeld;
    this->forgetLastError();
    EXPECT_FALSE(this->files()->askLock(name, state));
    EXPECT_EQ(this->lastError(), uint32_t{error});
    EXPECT_EQ(state, Files::eLockUnknown);
  }
  EXPECT_FALSE(this->files()->exists(this->path(L"none")));
}

TYPED_TEST(FilesConformance, ReplacingALockedFileDoesNotEmptyIt) {
  PathString name = this->makeFile(L"clip", patternBytes(100));
  Qv::Ptr<iFile> holder =
      this->openFile(name, Files::eAccessRead, Files::eOpenExisting, Files::eAttributeHoldLock);
  EXPECT_FALSE(this->openFile(name, Files::eAccessWrite, Files::eCreateOrReplace,
                              Files::eAttributeHoldLock));
  EXPECT_EQ(this->contents(name).size(), 100u);
}

TYPED_TEST(FilesConformance, AFailureIsTheLastErrorAndASuccessLeavesItAlone) {
  PathString name = this->makeFile(L"clip", patternBytes(100));
  Qv::Ptr<iFile> file = this->openMedia(name, false);
  char byte = 0;
  EXPECT_EQ(file->writeAt(0, &byte, 1, nullptr), eOsAccessDenied);
  EXPECT_EQ(this->lastError(), eOsAccessDenied);
  EXPECT_EQ(file->readAt(0, &byte, 1, nullptr), 1u);
  EXPECT_TRUE(this->files()->exists(name));
  EXPECT_TRUE(this->openMedia(name, false));
  EXPECT_EQ(this->lastError(), eOsAccessDenied);
}

TYPED_TEST(FilesConformance, TwoOpensOfAFileSeeEachOthersBytes) {
  PathString name = this->path(L"growing");
  Qv::Ptr<iFile> writer = this->openMedia(name, true);
  Qv::Ptr<iFile> reader = this->openMedia(name, false);
  ASSERT_TRUE(writer && reader);
  std::vector<unsigned char> bytes = patternBytes(3000);
  ASSERT_EQ(writer->writeAt(0, bytes.data(), 3000, nullptr), 1u);
  EXPECT_EQ(reader->getSize(), 3000u);
  std::vector<unsigned char> buffer(3000);
  uint32_t done = 0;
  EXPECT_EQ(reader->readAt(0, buffer.data(), 3000, &done), 1u);
  EXPECT_EQ(done, 3000u);
  EXPECT_EQ("", whyNotPattern(buffer));
}

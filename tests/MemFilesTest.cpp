#include "platform/common/MemFiles.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/OS.h"
#include "platform/common/ProviderTable.h"

namespace {

constexpr uint32_t kDone = 1;
constexpr unsigned kBoth = iFileManager::eFlagRead | iFileManager::eFlagWrite;

class MemFilesTest : public testing::Test {
protected:
  Qv::Ptr<iFile> forWriting(const wchar_t* name) { return provider_->open(name, kBoth, true); }
  Qv::Ptr<iFile> forReading(const wchar_t* name) {
    return provider_->open(name, iFileManager::eFlagRead, false);
  }
  static uint32_t put(iFile& file, uint64_t offset, const std::string& text) {
    uint32_t done = 0;
    EXPECT_EQ(file.writeAt(offset, text.data(), static_cast<uint32_t>(text.size()), &done), kDone);
    return done;
  }
  // What a read of that many bytes leaves in the buffer, and how much was transferred.
  static std::string get(iFile& file, uint64_t offset, uint32_t bytes, uint32_t& done) {
    std::string buffer(bytes, '?');
    EXPECT_EQ(file.readAt(offset, buffer.data(), bytes, &done), kDone);
    return buffer;
  }
  static uint32_t lastError() { return OS()->getErrors()->getLastError(); }

  Qv::Ptr<iFileProvider> provider_ = makeMemFileProvider();
  uint32_t done_ = 0;
};

TEST_F(MemFilesTest, AFileIsSharedByItsName) {
  put(*forWriting(L"mem:a"), 0, "hello");
  EXPECT_EQ(get(*forReading(L"mem:a"), 0, 5, done_), "hello");
  EXPECT_EQ(forReading(L"mem:a")->getSize(), 5u);
}

TEST_F(MemFilesTest, ReadingWhatIsNotThereFailsWithNotFound) {
  EXPECT_FALSE(forReading(L"mem:nothing"));
  EXPECT_EQ(lastError(), eOsNotFound);
}

TEST_F(MemFilesTest, OpeningForWritingNeverTruncatesAndTellsWhereToContinue) {
  put(*forWriting(L"mem:a"), 0, "12345");
  Qv::Ptr<iFile> again = forWriting(L"mem:a");
  FILE_INFO info;
  EXPECT_EQ(again->getInfo(&info), kDone);
  EXPECT_EQ(info.writePosition, 5u);
}

TEST_F(MemFilesTest, WhatAReadDidNotReachIsZeroFilled) {
  Qv::Ptr<iFile> file = forWriting(L"mem:a");
  put(*file, 0, "abc");
  EXPECT_EQ(get(*file, 1, 5, done_), std::string("bc\0\0\0", 5));
  EXPECT_EQ(done_, 2u);
  EXPECT_EQ(get(*file, 3, 2, done_), std::string(2, '\0'));
  EXPECT_EQ(done_, 0u);
  EXPECT_EQ(get(*file, UINT64_MAX, 2, done_), std::string(2, '\0'));
  EXPECT_EQ(done_, 0u);
}

TEST_F(MemFilesTest, AHoleReadsAsZerosAndCountsAsSize) {
  Qv::Ptr<iFile> file = forWriting(L"mem:a");
  put(*file, 1'000'000'000'000, "far");
  EXPECT_EQ(file->getSize(), 1'000'000'000'003u);
  EXPECT_EQ(get(*file, 999'999'999'999, 4, done_), std::string("\0far", 4));
  EXPECT_EQ(get(*file, 5, 3, done_), std::string(3, '\0'));
  EXPECT_EQ(done_, 3u);
}

TEST_F(MemFilesTest, AWriteAcrossBlocksOf64KiBIsReadBackWhole) {
  Qv::Ptr<iFile> file = forWriting(L"mem:a");
  std::string text(200'003, ' ');
  for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 31 + i / 65536);
  EXPECT_EQ(put(*file, 65'531, text), 200'003u);
  EXPECT_EQ(get(*file, 65'531, 200'003, done_), text);
}

TEST_F(MemFilesTest, NothingCanBeWrittenPastTheLargestFile) {
  Qv::Ptr<iFile> file = forWriting(L"mem:a");
  EXPECT_EQ(file->writeAt(INT64_MAX - 2ull, "abcd", 4, &done_), eOsTooLarge);
  EXPECT_EQ(done_, 2u);
  EXPECT_EQ(file->getSize(), static_cast<uint64_t>(INT64_MAX));
  EXPECT_EQ(file->writeAt(INT64_MAX, "a", 1, &done_), eOsTooLarge);
  EXPECT_EQ(file->writeAt(UINT64_MAX, "a", 1, &done_), eOsTooLarge);
  EXPECT_EQ(done_, 0u);
}

TEST_F(MemFilesTest, TransfersOfNoBytesSucceed) {
  Qv::Ptr<iFile> file = forWriting(L"mem:a");
  EXPECT_EQ(file->writeAt(10, nullptr, 0, &done_), kDone);
  EXPECT_EQ(file->readAt(10, nullptr, 0, &done_), kDone);
  EXPECT_EQ(file->getSize(), 0u);
}

TEST_F(MemFilesTest, ANullBufferIsInvalid) {
  EXPECT_EQ(forWriting(L"mem:a")->readAt(0, nullptr, 1, &done_), eOsInvalid);
  EXPECT_EQ(lastError(), eOsInvalid);
}

TEST_F(MemFilesTest, TheCurrentPositionMovesByWhatWasDone) {
  Qv::Ptr<iFile> file = forWriting(L"mem:a");
  EXPECT_EQ(file->write("abc", 3, &done_), kDone);
  EXPECT_EQ(file->write("def", 3, &done_), kDone);
  file->seek(4);
  char buffer[4] = {};
  EXPECT_EQ(file->read(buffer, 4, &done_), kDone);
  EXPECT_EQ(done_, 2u);
  EXPECT_EQ(std::memcmp(buffer, "ef\0\0", 4), 0);
  EXPECT_EQ(file->read(buffer, 4, &done_), kDone);
  EXPECT_EQ(done_, 0u);
}

TEST_F(MemFilesTest, AFileIsUsedOnlyInTheDirectionsItWasOpenedFor) {
  Qv::Ptr<iFile> writeOnly = provider_->open(L"mem:a", iFileManager::eFlagWrite, true);
  char byte = 1;
  EXPECT_EQ(writeOnly->readAt(0, &byte, 1, &done_), eOsAccessDenied);
  EXPECT_EQ(byte, 0);
  EXPECT_EQ(forReading(L"mem:a")->writeAt(0, "x", 1, &done_), eOsAccessDenied);
  EXPECT_EQ(writeOnly->getSize(), 0u);
}

TEST_F(MemFilesTest, AClosedFileFailsAndHasNoSize) {
  Qv::Ptr<iFile> file = forWriting(L"mem:a");
  put(*file, 0, "abc");
  file->close();
  char byte = 1;
  FILE_INFO info;
  EXPECT_FALSE(file->isOpen());
  EXPECT_EQ(file->getSize(), 0u);
  EXPECT_EQ(file->readAt(0, &byte, 1, &done_), eOsInvalid);
  EXPECT_EQ(file->getInfo(&info), eOsInvalid);
  EXPECT_EQ(forReading(L"mem:a")->getSize(), 3u);
}

TEST_F(MemFilesTest, AFileHasNoAsynchronousTransfers) {
  Qv::Ptr<iFile> file = forWriting(L"mem:a");
  EXPECT_EQ(file->getCapabilities(), 0u);
  EXPECT_EQ(file->attach(nullptr), eOsNotSupported);
  EXPECT_EQ(file->startRead({}, {}), eOsNotSupported);
  EXPECT_EQ(file->startWrite({}, {}), eOsNotSupported);
}

TEST_F(MemFilesTest, ARemovedFileLivesOnForThoseWhoHaveItOpen) {
  Qv::Ptr<iFile> file = forWriting(L"mem:a");
  put(*file, 0, "abc");
  EXPECT_TRUE(provider_->remove(L"mem:a"));
  EXPECT_FALSE(provider_->remove(L"mem:a"));
  EXPECT_EQ(lastError(), eOsNotFound);
  EXPECT_FALSE(forReading(L"mem:a"));
  EXPECT_EQ(get(*file, 0, 3, done_), "abc");
  EXPECT_EQ(forWriting(L"mem:a")->getSize(), 0u);
}

TEST_F(MemFilesTest, TheTableServesMemNamesFromTheStart) {
  ProviderTable table;
  EXPECT_TRUE(table.isServed(L"mem:x"));
  EXPECT_FALSE(table.isServed(L"/mem:x"));
  EXPECT_FALSE(table.isServed(L"me"));
  ASSERT_TRUE(table.open(L"mem:x", kBoth, true));
  EXPECT_FALSE(table.open(L"/x", kBoth, true));
  EXPECT_EQ(lastError(), eOsNotFound);
}

TEST_F(MemFilesTest, TheLongestPrefixOfTheTableCountsInAnyOrderOfRegistration) {
  for (bool longerFirst : {false, true}) {
    ProviderTable table;
    Qv::Ptr<iFileProvider> longer = makeMemFileProvider();
    if (longerFirst) table.set(L"pool:a", longer);
    table.set(L"pool:", provider_);
    if (!longerFirst) table.set(L"pool:a", longer);
    EXPECT_EQ(table.find(L"pool:ax"), longer);
    EXPECT_EQ(table.find(L"pool:bx"), provider_);
  }
}

TEST_F(MemFilesTest, ANullProviderTakesAPrefixOutOfTheTableAndAnotherReplacesIt) {
  ProviderTable table;
  table.set(L"mem:", provider_);
  EXPECT_EQ(table.find(L"mem:x"), provider_);
  table.set(L"mem:", {});
  EXPECT_FALSE(table.isServed(L"mem:x"));
  table.set(L"", provider_);
  EXPECT_FALSE(table.isServed(L"anything"));
}

}  // namespace

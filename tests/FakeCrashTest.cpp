// What a loss of power leaves of the fake's files, shown by saves that are right and wrong.

#include "platform/fake/FakeCrash.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <string>

#include "platform/TextFile.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/support/AsyncTester.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSubsetOf;
using testing::Not;
using testing::UnorderedElementsAre;

namespace {

constexpr const wchar_t* kName = L"/m/file";
constexpr const wchar_t* kTemporary = L"/m/new";

class FakeCrashTest : public testing::Test {
protected:
  FakeCrashTest() { put(kName, "old text"); }

  static iFileManager* files() { return OS()->getFileManager(); }
  void put(const wchar_t* name, const std::string& text) {
    os_->files().addFile(name, std::vector<unsigned char>(text.begin(), text.end()));
  }
  // "(none)" when it is not there.
  std::string textOf(const wchar_t* name) {
    if (!os_->files().hasFile(name)) return "(none)";
    std::vector<unsigned char> bytes = os_->files().bytesOf(name);
    return {bytes.begin(), bytes.end()};
  }
  static Qv::Ptr<iFile> open(const wchar_t* name, unsigned creation) {
    return files()->openFile(name, iFileManager::eAccessWrite, creation, 0, 0);
  }
  static void write(const Qv::Ptr<iFile>& file, uint64_t offset, const std::string& text) {
    uint32_t done = 0;
    file->writeAt(offset, text.data(), static_cast<uint32_t>(text.size()), &done);
  }
  static void makeTemporary(const std::string& text, bool flushed) {
    Qv::Ptr<iFile> file = open(kTemporary, iFileManager::eCreateNew);
    write(file, 0, text);
    if (flushed) file->flush();
  }
  // What that file may hold after a crash.
  std::set<std::string> left(FakeCrash& crash, const wchar_t* name = kName) {
    std::set<std::string> all;
    crash.forEachState([&](const std::string&) { all.insert(textOf(name)); });
    return all;
  }
  std::set<std::string> leftNow(FakeCrash& crash, const wchar_t* name = kName) {
    std::set<std::string> all;
    crash.forEachStateNow([&](const std::string&) { all.insert(textOf(name)); });
    return all;
  }
  static size_t count(FakeCrash& crash) {
    return crash.forEachState([](const std::string&) {});
  }

  FakeOSScope os_;
};

const std::string kZeros(1, '\0');

}  // namespace

TEST_F(FakeCrashTest, ASaveInPlaceIsFoundTorn) {
  FakeCrash crash(*os_);
  write(open(kName, iFileManager::eOpenExisting), 0, "new bits");
  EXPECT_THAT(left(crash), UnorderedElementsAre("old text", "new bits", "new text", "old bits"));
}

TEST_F(FakeCrashTest, ASaveThatEmptiesTheFileFirstMayLeaveItEmptyOrAPart) {
  FakeCrash crash(*os_);
  write(open(kName, iFileManager::eCreateOrReplace), 0, "1234");
  EXPECT_THAT(left(crash), UnorderedElementsAre("old text", "", "12", kZeros + kZeros + "34",
                                                "1234", "12d text", "ol34text", "1234text"));
}

TEST_F(FakeCrashTest, ARenameWithoutAFlushMayLeaveTheFileEmpty) {
  FakeCrash crash(*os_);
  makeTemporary("1234", false);
  files()->renameFile(kTemporary, kName);
  files()->syncFolder(L"/m/");
  EXPECT_THAT(left(crash),
              UnorderedElementsAre("old text", "", "12", kZeros + kZeros + "34", "1234"));
  EXPECT_THAT(leftNow(crash), Not(Contains("old text"))) << "the new name is certain";
}

TEST_F(FakeCrashTest, ASaveThatFlushesRenamesAndSyncsIsOldOrNewAndThenNew) {
  FakeCrash crash(*os_);
  makeTemporary("1234", true);
  files()->renameFile(kTemporary, kName);
  EXPECT_THAT(leftNow(crash), UnorderedElementsAre("old text", "1234")) << "not durable yet";
  files()->syncFolder(L"/m/");
  EXPECT_THAT(left(crash), UnorderedElementsAre("old text", "1234"));
  EXPECT_THAT(leftNow(crash), ElementsAre("1234"));
}

TEST_F(FakeCrashTest, AFlushThatFailsMakesNothingDurable) {
  FakeCrash crash(*os_);
  os_->faults().fail(FaultPlan::eFlush, eOsIoError);
  os_->faults().fail(FaultPlan::eSyncFolder, eOsIoError);
  makeTemporary("1234", true);
  files()->renameFile(kTemporary, kName);
  files()->syncFolder(L"/m/");
  EXPECT_THAT(leftNow(crash), Contains(""));
  EXPECT_THAT(leftNow(crash), Contains("old text"));
}

TEST_F(FakeCrashTest, ATextFilesSaveIsOldOrNew) {
  TextFile text{PathString(kName)};
  ASSERT_EQ(text.load(), TextFile::eLoaded);
  ASSERT_TRUE(text.appendLine("and more"));
  FakeCrash crash(*os_);
  ASSERT_TRUE(text.save());
  EXPECT_THAT(left(crash), UnorderedElementsAre("old text", "old text\nand more\n"));
  EXPECT_THAT(leftNow(crash), ElementsAre("old text\nand more\n"));
}

TEST_F(FakeCrashTest, EverySetOfWhatMayBeLostIsOneState) {
  FakeCrash crash(*os_);
  EXPECT_EQ(count(crash), 1u) << "nothing was done";
  Qv::Ptr<iFile> file = open(kTemporary, iFileManager::eCreateNew);
  EXPECT_EQ(count(crash), 2u);
  write(file, 0, "1");
  EXPECT_EQ(count(crash), 4u) << "one byte is one effect";
  file->flush();
  EXPECT_EQ(count(crash), 4u) << "a barrier is none";
  EXPECT_EQ(crash.forEachStateNow([](const std::string&) {}), 2u) << "the byte is there";
  files()->renameFile(kTemporary, kName);
  EXPECT_EQ(count(crash), 6u) << "renamed, or created and renamed, and the byte";
  files()->syncFolder(L"/m");
  EXPECT_EQ(crash.forEachStateNow([](const std::string&) {}), 1u);
  write(file, 1, "23");
  EXPECT_EQ(count(crash), 9u) << "two bytes are two effects, on top of all that is certain";
  EXPECT_EQ(crash.forEachStateNow([](const std::string&) {}), 4u);
  EXPECT_EQ(crash.journal().effects().size(), 7u);
}

TEST_F(FakeCrashTest, BeyondTwelvePendingEffectsTheyAreLostFromTheEndOrOneOrAllButOne) {
  FakeCrash crash(*os_);
  Qv::Ptr<iFile> file = open(kName, iFileManager::eOpenExisting);
  for (unsigned i = 0; i < FakeCrash::kMostPending; ++i) write(file, i, "x");
  EXPECT_EQ(crash.forEachStateNow([](const std::string&) {}), 4096u);
  EXPECT_EQ(count(crash), 4096u);
  write(file, 12, "x");
  // 14 beginnings, of which one lacks the last alone and one has the first alone.
  EXPECT_EQ(crash.forEachStateNow([](const std::string&) {}), 14u + 12u + 12u);
  // Of these, what keeps the thirteenth is new: all, it alone, and each of the others missing.
  EXPECT_EQ(count(crash), 4096u + 1u + 1u + 12u);
}

TEST_F(FakeCrashTest, AKilledProcessLosesNothingThatItDid) {
  FakeCrash crash(*os_);
  std::set<std::string> words;
  files()->deleteFile(kName);
  open(kTemporary, iFileManager::eCreateNew);
  crash.forEachState([&](const std::string& what) { words.insert(what); });
  EXPECT_THAT(words, UnorderedElementsAre("the power went after 0 of 2 effects",
                                          "the power went after 1 of 2 effects",
                                          "the power went after 2 of 2 effects",
                                          "the power went after 2 of 2 effects; lost: delete "
                                          "/m/file"));
}

TEST_F(FakeCrashTest, WhatIsLostIsNamed) {
  FakeCrash crash(*os_);
  Qv::Ptr<iFile> file = open(kTemporary, iFileManager::eCreateNew);
  write(file, 0, "1234");
  files()->copyMode(kName, kTemporary);
  files()->renameFile(kTemporary, kName);
  files()->createFolder(L"/m/folder");
  write(open(kName, iFileManager::eCreateOrReplace), 0, "");
  std::string words;
  crash.forEachStateNow([&](const std::string& what) { words += what + "\n"; });
  EXPECT_THAT(words, HasSubstr("; lost: create /m/new, write 2 bytes at 0 of /m/new, write 2 bytes "
                               "at 2 of /m/new, set mode of /m/new, rename to /m/file, make folder "
                               "/m/folder, empty /m/file\n"));
}

TEST_F(FakeCrashTest, ADeletedFileAndACreatedFolderMayBeThereOrNot) {
  FakeCrash crash(*os_);
  files()->createFolder(L"/m/a/b");
  open(L"/m/a/b/c", iFileManager::eCreateNew);
  files()->deleteFile(kName);
  std::set<std::string> kinds;
  crash.forEachStateNow([&](const std::string& what) {
    bool holds = os_->files().hasFile(L"/m/a/b/c");
    EXPECT_TRUE(!holds || files()->folderExists(L"/m/a/b")) << what;
    bool lostFolder = what.find("make folder") != std::string::npos;
    EXPECT_FALSE(holds && lostFolder) << what;
    EXPECT_FALSE(lostFolder && files()->folderExists(L"/m/a/b")) << what;
    kinds.insert(textOf(kName) + (holds ? " and the other" : ""));
  });
  EXPECT_THAT(kinds, UnorderedElementsAre("old text", "old text and the other", "(none)",
                                          "(none) and the other"));
  files()->syncFolder(L"/m/a/b");
  files()->syncFolder(L"/m/a");
  files()->syncFolder(L"/m");
  EXPECT_THAT(leftNow(crash, L"/m/a/b/c"), ElementsAre(""));
  EXPECT_THAT(leftNow(crash), ElementsAre("(none)"));
}

TEST_F(FakeCrashTest, AModeComesWithTheFlushOfItsFile) {
  os_->files().setMode(kName, 0600);
  put(L"/m/other", "text");
  FakeCrash crash(*os_);
  files()->copyMode(kName, L"/m/other");
  auto modes = [&] {
    std::set<unsigned> all;
    crash.forEachStateNow([&](const std::string&) {
      all.insert(os_->files().modeOf(L"/m/other"));
      EXPECT_EQ(os_->files().modeOf(kName), 0600u);
    });
    return all;
  };
  EXPECT_THAT(modes(), UnorderedElementsAre(0644u, 0600u));
  open(L"/m/other", iFileManager::eOpenExisting)->flush();
  EXPECT_THAT(modes(), ElementsAre(0600u));
}

TEST_F(FakeCrashTest, ALinkMayBeReplacedOrNot) {
  os_->files().addLink(L"/m/link", kName);
  makeTemporary("1234", true);
  FakeCrash crash(*os_);
  files()->renameFile(kTemporary, L"/m/link");
  EXPECT_THAT(left(crash, L"/m/link"), UnorderedElementsAre("old text", "1234"));
  EXPECT_THAT(left(crash), ElementsAre("old text"));
  os_->files().addLink(L"/m/second", kName);
  files()->renameFile(L"/m/second", L"/m/third");
  EXPECT_THAT(left(crash, L"/m/third"), UnorderedElementsAre("(none)", "old text"));
}

TEST_F(FakeCrashTest, AWriteBehindThatIsSettledIsNotDurableBeforeAFlush) {
  FakeCrash crash(*os_);
  Qv::Ptr<iFile> file = files()->openMedia(kName, 3, true, 4, 3);
  file->writeBehind(0, "new ", 4, nullptr);
  file->settle();
  EXPECT_THAT(leftNow(crash), Contains("old text"));
  EXPECT_THAT(leftNow(crash), Contains("new text"));
  file->flush();
  EXPECT_THAT(leftNow(crash), ElementsAre("new text"));
}

TEST_F(FakeCrashTest, AnAsynchronousWriteIsRecordedWhenItsBytesMove) {
  FakeCrash crash(*os_);
  Qv::Ptr<iFile> file = files()->openMedia(kName, 3, true, 4, 3);
  AsyncTester tester;
  ASSERT_EQ(file->attach(tester.handler()), 1u);
  AsyncTester::Request request(2);
  std::fill_n(request.buffer.data(), 2, static_cast<unsigned char>('x'));
  ASSERT_EQ(tester.write(file, request, 0), 1u);
  EXPECT_THAT(left(crash), ElementsAre("old text"));
  os_->run();
  EXPECT_THAT(left(crash), UnorderedElementsAre("old text", "xld text", "oxd text", "xxd text"));
}

TEST_F(FakeCrashTest, TheFilesAreAsTheyWereWhateverTheCallbackDoes) {
  FakeCrash crash(*os_);
  Qv::Ptr<iFile> file = open(kName, iFileManager::eOpenExisting);
  write(file, 0, "new text");
  size_t before = crash.journal().effects().size();
  crash.forEachState([&](const std::string&) {
    files()->deleteFile(kName);
    open(L"/m/added", iFileManager::eCreateNew);
  });
  EXPECT_EQ(textOf(kName), "new text");
  EXPECT_FALSE(os_->files().hasFile(L"/m/added"));
  EXPECT_EQ(crash.journal().effects().size(), before) << "none of it was recorded";
  EXPECT_THROW(crash.forEachState([](const std::string&) { throw std::runtime_error("no"); }),
               std::runtime_error);
  EXPECT_EQ(textOf(kName), "new text");
  write(file, 0, "two text");
  EXPECT_EQ(textOf(kName), "two text") << "who had it open still has";
  EXPECT_THAT(leftNow(crash), Contains("two text")) << "and is recorded again";
}

TEST_F(FakeCrashTest, ALockGoesWithItsProcess) {
  Qv::Ptr<iFile> held =
      files()->openFile(kName, iFileManager::eAccessWrite, iFileManager::eOpenExisting, 0,
                        iFileManager::eAttributeHoldLock);
  auto canLock = [] {
    return static_cast<bool>(files()->openFile(kName, iFileManager::eAccessRead,
                                               iFileManager::eOpenExisting, 0,
                                               iFileManager::eAttributeHoldLock));
  };
  FakeCrash crash(*os_);
  crash.forEachState([&](const std::string& what) { EXPECT_TRUE(canLock()) << what; });
  EXPECT_FALSE(canLock());
}

TEST_F(FakeCrashTest, OneRecordsAtATime) {
  {
    FakeCrash crash(*os_);
    EXPECT_THROW(FakeCrash another(*os_), std::logic_error);
    write(open(kName, iFileManager::eOpenExisting), 0, "n");
    EXPECT_EQ(crash.journal().effects().size(), 1u) << "the first goes on";
  }
  FakeCrash next(*os_);
  EXPECT_EQ(count(next), 1u);
}

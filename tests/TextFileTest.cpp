// What is loaded of a text file, and what its lines are.

#include "platform/TextFile.h"

#include "tests/TextFileFixture.h"
#include "tests/support/FailingHeap.h"

namespace {

class TextFileTest : public TextFileFixture {
protected:
  // Expects the failure after which there are no lines and nothing is saved.
  void expectFailure(uint32_t error) {
    TextFile file = with({"of before"});
    EXPECT_EQ(file.load(), TextFile::eFailed);
    EXPECT_EQ(lastError(), error);
    EXPECT_EQ(file.lineCount(), 0u);
    EXPECT_FALSE(file.save());
    EXPECT_EQ(lastError(), eOsInvalid);
  }
};

using Lines = TextLinesOfTest;

// Lines -------------------------------------------------------------------------------------------

TEST_F(TextFileTest, LinesEndInALineFeedOrInACarriageReturnAndALineFeed) {
  put("one\ntwo\r\nthree\n");
  EXPECT_EQ(loaded(), (Lines{"one", "two", "three"}));
}

TEST_F(TextFileTest, ALastLineWithoutAnEndIsALine) {
  put("one\ntwo");
  EXPECT_EQ(loaded(), (Lines{"one", "two"}));
}

TEST_F(TextFileTest, AnEmptyFileHasNoLinesAndAnEndAloneIsAnEmptyOne) {
  put("");
  EXPECT_EQ(loaded(), Lines{});
  put("\n");
  EXPECT_EQ(loaded(), Lines{""});
  put("\r\n\n\nx");
  EXPECT_EQ(loaded(), (Lines{"", "", "", "x"}));
}

TEST_F(TextFileTest, ACarriageReturnThatNoLineFeedFollowsIsPartOfItsLine) {
  put("a\rb\nc\r\r\nd\r");
  EXPECT_EQ(loaded(), (Lines{"a\rb", "c\r", "d\r"}));
}

TEST_F(TextFileTest, AByteOrderMarkAtTheStartIsNoPartOfTheText) {
  put("\xEF\xBB\xBFone\n\xEF\xBB\xBFtwo\n");
  EXPECT_EQ(loaded(), (Lines{"one", "\xEF\xBB\xBFtwo"}));
  put("\xEF\xBB\xBF");
  EXPECT_EQ(loaded(), Lines{});
  put("\xEF\xBB");
  EXPECT_EQ(loaded(), Lines{"\xEF\xBB"});
}

TEST_F(TextFileTest, BytesThatAreNoUtf8StayAsTheyAre) {
  put("\xFF\xC3\n\x01\n");
  EXPECT_EQ(loaded(), (Lines{"\xFF\xC3", "\x01"}));
}

TEST_F(TextFileTest, ALinePastTheEndIsEmptyAndNobodyRemovesIt) {
  TextFile file = with({"one"});
  EXPECT_EQ(file[0], "one");
  EXPECT_TRUE(file[1].empty());
  EXPECT_TRUE(file[SIZE_MAX].empty());
  file.removeLine(1);
  file.removeLine(SIZE_MAX);
  EXPECT_EQ(linesOf(file), Lines{"one"});
}

TEST_F(TextFileTest, LinesAreAppendedAndRemovedInTheirOrder) {
  TextFile file = with({"a", "b", "c"});
  file.removeLine(1);
  EXPECT_TRUE(file.appendLine("d"));
  EXPECT_EQ(linesOf(file), (Lines{"a", "c", "d"}));
  EXPECT_EQ(file.name(), kName);
}

TEST_F(TextFileTest, ATextThatIsNoLineIsNotAppended) {
  TextFile file(kName);
  EXPECT_FALSE(file.appendLine("a\nb"));
  EXPECT_FALSE(file.appendLine("a\r"));
  EXPECT_FALSE(file.appendLine(LightweightString<char>("a\0b", 3)));
  EXPECT_EQ(file.lineCount(), 0u);
  EXPECT_TRUE(file.appendLine(""));
  EXPECT_TRUE(file.appendLine({}));
  EXPECT_EQ(file.lineCount(), 2u);
}

TEST_F(TextFileTest, ALineHasNoEndInItAndNoZero) {
  using namespace std::string_view_literals;
  for (std::string_view line : {"x"sv, ""sv, "a\rb"sv, "\xFF"sv, " "sv})
    EXPECT_TRUE(TextFile::isLine(line)) << line;
  for (std::string_view none : {"\n"sv, "x\n"sv, "a\nb"sv, "\r"sv, "x\r"sv, "\0"sv, "a\0"sv})
    EXPECT_FALSE(TextFile::isLine(none)) << none;
}

// Loading -----------------------------------------------------------------------------------------

TEST_F(TextFileTest, ALoadReplacesTheLines) {
  put("new\n");
  TextFile file = with({"of", "before"});
  EXPECT_EQ(file.load(), TextFile::eLoaded);
  EXPECT_EQ(linesOf(file), Lines{"new"});
}

TEST_F(TextFileTest, ALoadThatGoesWellLeavesTheLastErrorAsItWas) {
  put("x\n");
  OS()->getErrors()->setLastError(eOsExists);
  EXPECT_EQ(TextFile(kName).load(), TextFile::eLoaded);
  EXPECT_EQ(lastError(), eOsExists);
  os_->files().setDrive(L"/p/", {.type = iDiskDrive::eNetwork});
  EXPECT_EQ(loaded(), Lines{"x"});
  EXPECT_EQ(lastError(), eOsExists) << "also where another thread reads it";
}

TEST_F(TextFileTest, AMissingFileHasNoLinesAndMayBeSaved) {
  TextFile file = with({"of before"});
  EXPECT_EQ(file.load(), TextFile::eMissing);
  EXPECT_EQ(lastError(), eOsNotFound);
  EXPECT_EQ(file.lineCount(), 0u);
  EXPECT_TRUE(file.appendLine("first"));
  EXPECT_TRUE(file.save());
  EXPECT_EQ(content(), "first\n");
}

TEST_F(TextFileTest, AFolderIsNoTextFile) {
  os_->files().addFolder(kName);
  expectFailure(eOsIsAFolder);
}

TEST_F(TextFileTest, AFileWithAZeroInItIsNoTextFileAndStaysAsItIs) {
  const std::string binary("a\nb\0c\n", 6);
  put(binary);
  expectFailure(eOsInvalid);
  EXPECT_EQ(content(), binary);
}

TEST_F(TextFileTest, AFileThatCannotBeOpenedOrReadIsAFailure) {
  put("x\n");
  os_->faults().fail(FaultPlan::eOpenFile, eOsAccessDenied);
  expectFailure(eOsAccessDenied);
  os_->faults().fail(FaultPlan::eRead, eOsIoError, 2);
  expectFailure(eOsIoError);
  EXPECT_EQ(content(), "x\n");
}

TEST_F(TextFileTest, AfterALoadThatFailedALoadThatGoesWellAllowsASave) {
  put("x\n");
  os_->faults().fail(FaultPlan::eOpenFile, eOsIoError);
  TextFile file(kName);
  ASSERT_EQ(file.load(), TextFile::eFailed);
  EXPECT_FALSE(file.save());
  ASSERT_EQ(file.load(), TextFile::eLoaded);
  EXPECT_TRUE(file.save());
  EXPECT_EQ(content(), "x\n");
}

TEST_F(TextFileTest, AFileIsReadToItsEndHoweverShortEachReadIs) {
  put("first line\nsecond line\n");
  os_->faults().shorten(FaultPlan::eRead, 3, 1, FaultPlan::eFromThenOn);
  EXPECT_EQ(loaded(), (Lines{"first line", "second line"}));
}

TEST_F(TextFileTest, AFileThatGrowsWhileItIsReadIsReadToItsNewEnd) {
  put("first\n");
  bool grown = false;
  AtEachMove atEachMove(*os_, [&](const FakeMove& move) {
    if (std::exchange(grown, true) || move.write) return;
    Qv::Ptr<iFile> file = OS()->getFileManager()->openFile(kName, 2, 0, 0, 0);
    file->writeAt(6, "second\n", 7, nullptr);
  });
  EXPECT_EQ(loaded(), (Lines{"first", "second"}));
}

// Size --------------------------------------------------------------------------------------------

TEST_F(TextFileTest, SixteenMebibytesAreLoadedAndNotOneByteMore) {
  std::string most(TextFile::kMostBytes, 'x');
  put(most);
  EXPECT_EQ(loaded(), Lines{most});
  put(most + "x");
  expectFailure(eOsTooLarge);
}

TEST_F(TextFileTest, WhatIsTooLargeIsNotRead) {
  put(std::string(TextFile::kMostBytes + 1, 'x'));
  os_->files().clearRecords();
  EXPECT_EQ(TextFile(kName).load(), TextFile::eFailed);
  EXPECT_TRUE(os_->files().transfers().empty());
}

TEST_F(TextFileTest, AFileThatGrowsPastTheMostWhileItIsReadIsAFailure) {
  put("first\n");
  AtEachMove atEachMove(*os_, [&](const FakeMove&) {
    Qv::Ptr<iFile> file = OS()->getFileManager()->openFile(kName, 2, 0, 0, 0);
    if (file->getSize() < TextFile::kMostBytes)
      file->writeAt(TextFile::kMostBytes, "xx", 2, nullptr);
  });
  EXPECT_EQ(TextFile(kName).load(), TextFile::eFailed);
  EXPECT_EQ(lastError(), eOsTooLarge);
}

TEST_F(TextFileTest, SeventyThousandLinesAreLinesEach) {
  constexpr size_t kCount = 70'000;
  std::string all;
  for (size_t i = 0; i < kCount; ++i) all += std::to_string(i) + "\n";
  put(all);
  TextFile file(kName);
  ASSERT_EQ(file.load(), TextFile::eLoaded);
  ASSERT_EQ(file.lineCount(), kCount);
  EXPECT_EQ(file[0], "0");
  EXPECT_EQ(file[65'536], "65536");
  EXPECT_EQ(file[kCount - 1], "69999");
  EXPECT_TRUE(file.save());
  EXPECT_EQ(content(), all);
}

TEST_F(TextFileTest, AFileOfNothingButLineEndsIsAsManyEmptyLines) {
  put(std::string(TextFile::kMostBytes, '\n'));
  TextFile file(kName);
  ASSERT_EQ(file.load(), TextFile::eLoaded);
  EXPECT_EQ(file.lineCount(), TextFile::kMostBytes);
}

// Drives ------------------------------------------------------------------------------------------

TEST_F(TextFileTest, ADriveThatDoesNotAnswerIsAFailureAfterItsPatience) {
  put("x\n");
  os_->files().setDrive(L"/p/", {.type = iDiskDrive::eNetwork, .silent = true});
  TextFile file = with({"of before"});
  double before_ms = os_->clock().now_ms();
  EXPECT_EQ(file.load(), TextFile::eFailed);
  EXPECT_EQ(lastError(), eOsTimedOut);
  EXPECT_EQ(os_->clock().now_ms() - before_ms, TextFile::kPatience_ms);
  EXPECT_EQ(file.lineCount(), 0u);
  EXPECT_FALSE(file.save());
  EXPECT_EQ(lastError(), eOsInvalid);
}

TEST_F(TextFileTest, ALoadThatEndsLateChangesNothing) {
  put("x\n");
  os_->files().setDrive(L"/p/", {.type = iDiskDrive::eNetwork, .silent = true});
  TextFile file(kName);
  EXPECT_EQ(file.load(), TextFile::eFailed);
  os_->files().drive(L"/p/").silent = false;
  EXPECT_EQ(os_->files().runLateErrands(), 1u);
  EXPECT_EQ(file.lineCount(), 0u);
  EXPECT_EQ(file.load(), TextFile::eLoaded);
  EXPECT_EQ(linesOf(file), Lines{"x"});
}

TEST_F(TextFileTest, WhyALoadFailedComesFromTheDrivesOwnThread) {
  os_->files().setDrive(L"/p/", {.type = iDiskDrive::eNetwork});
  put(std::string("\0", 1));
  expectFailure(eOsInvalid);
}

// Removing ----------------------------------------------------------------------------------------

TEST_F(TextFileTest, ARemovedFileIsGoneForGood) {
  put("x\n");
  unsigned synced = os_->faults().calls(FaultPlan::eSyncFolder);
  EXPECT_TRUE(TextFile(kName).remove());
  EXPECT_FALSE(os_->files().hasFile(kName));
  EXPECT_EQ(os_->faults().calls(FaultPlan::eSyncFolder), synced + 1);
}

TEST_F(TextFileTest, ToRemoveAFileThatIsNotThereGoesWellAndLeavesTheLastError) {
  OS()->getErrors()->setLastError(eOsExists);
  EXPECT_TRUE(TextFile(kName).remove());
  EXPECT_EQ(lastError(), eOsExists);
}

TEST_F(TextFileTest, AFileThatCannotBeRemovedIsAFailure) {
  put("x\n");
  os_->faults().fail(FaultPlan::eDeleteFile, eOsAccessDenied);
  EXPECT_FALSE(TextFile(kName).remove());
  EXPECT_EQ(lastError(), eOsAccessDenied);
  EXPECT_EQ(content(), "x\n");
  os_->faults().fail(FaultPlan::eSyncFolder, eOsIoError);
  EXPECT_FALSE(TextFile(kName).remove());
  EXPECT_EQ(lastError(), eOsIoError);
  os_->files().addFolder(kName);
  EXPECT_FALSE(TextFile(kName).remove());
  EXPECT_EQ(lastError(), eOsIsAFolder);
}

TEST_F(TextFileTest, ADriveThatDoesNotAnswerRemovesNothingInTime) {
  put("x\n");
  os_->files().setDrive(L"/p/", {.type = iDiskDrive::eNetwork, .silent = true});
  EXPECT_FALSE(TextFile(kName).remove());
  EXPECT_EQ(lastError(), eOsTimedOut);
  os_->files().drive(L"/p/").silent = false;
  os_->files().runLateErrands();
  EXPECT_FALSE(os_->files().hasFile(kName));
}

// Memory ------------------------------------------------------------------------------------------

TEST_F(TextFileTest, ALoadWithoutMemoryIsAFailureThatForbidsASave) {
  put("one\ntwo\nthree\n");
  FailingHeap heap;
  if (!heap.isAsked()) GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  bool refused = true;
  int nth = 0;
  for (; refused && nth < 500; ++nth) {
    TextFile file = with({"of before"});
    heap.refuse(nth, true);
    bool thrown = false;
    TextFile::eLoad how = TextFile::eFailed;
    try {
      how = file.load();
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    refused = heap.letBe();
    ASSERT_EQ(how == TextFile::eLoaded, linesOf(file).size() == 3) << "allocation " << nth;
    ASSERT_EQ(file.save(), how == TextFile::eLoaded) << "allocation " << nth;
    ASSERT_TRUE(refused || !thrown);
    ASSERT_EQ(content(), "one\ntwo\nthree\n");
  }
  EXPECT_FALSE(refused) << "a load asks for memory without end";
  EXPECT_GT(nth, 5);
}

}  // namespace

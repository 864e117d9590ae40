// How a text file is saved: what is written, what it replaces, and what of it stays where.

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "platform/TextFile.h"
#include "tests/TextFileFixture.h"
#include "tests/support/FailingHeap.h"

namespace {

using Lines = TextLinesOfTest;
using Files = iFileManager;

class TextFileSaveTest : public TextFileFixture {
protected:
  static bool save(const Lines& lines, const PathString& name = kName,
                   TextFile::eLinks links = TextFile::eFollowLinks) {
    return with(lines, name).save(TextFile::eLineFeed, links);
  }
  static Qv::Ptr<iFile> lockedToWrite(const PathString& name) {
    return OS()->getFileManager()->openFile(name, Files::eAccessWrite, Files::eOpenOrCreate, 0,
                                            Files::eAttributeHoldLock);
  }
  // The last file that was made under a name of its own.
  std::wstring lastTemporary() {
    std::wstring last;
    for (const FakeOpen& open : os_->files().opens())
      if (open.creation == Files::eCreateNew) last = open.path;
    return last;
  }
};

// What is written ---------------------------------------------------------------------------------

TEST_F(TextFileSaveTest, EveryLineGetsAnEndOfTheStyleThatWasAskedFor) {
  EXPECT_TRUE(with({"one", "", "two"}).save());
  EXPECT_EQ(content(), "one\n\ntwo\n");
  EXPECT_TRUE(with({"one", "", "two"}).save(TextFile::eCarriageReturnLineFeed));
  EXPECT_EQ(content(), "one\r\n\r\ntwo\r\n");
  EXPECT_TRUE(with({}).save());
  EXPECT_EQ(content(), "");
}

TEST_F(TextFileSaveTest, TheStylesHaveTheirNumbers) {
  EXPECT_EQ(unsigned{TextFile::eLineFeed}, 1u);
  EXPECT_EQ(unsigned{TextFile::eCarriageReturnLineFeed}, 2u);
  EXPECT_TRUE(with({"one"}).save(7));
  EXPECT_EQ(content(), "one\n") << "no style of that number";
}

TEST_F(TextFileSaveTest, ALineThatWasReadWithACarriageReturnAtItsEndIsReadSoAgain) {
  put("a\r\r\nb\r");
  TextFile file(kName);
  ASSERT_EQ(file.load(), TextFile::eLoaded);
  EXPECT_TRUE(file.save());
  EXPECT_EQ(loaded(), (Lines{"a\r", "b\r"}));
}

TEST_F(TextFileSaveTest, AFirstLineThatBeginsWithAByteOrderMarkKeepsIt) {
  EXPECT_TRUE(save({"\xEF\xBB\xBFone", "\xEF\xBB\xBFtwo"}));
  EXPECT_EQ(loaded(), (Lines{"\xEF\xBB\xBFone", "\xEF\xBB\xBFtwo"}));
  EXPECT_TRUE(save({"\xEF\xBB\xBF\xEF\xBB\xBF"}));
  EXPECT_EQ(loaded(), Lines{"\xEF\xBB\xBF\xEF\xBB\xBF"});
}

TEST_F(TextFileSaveTest, MoreThanCouldBeReadBackIsNotWritten) {
  put("old\n");
  const std::string line(TextFile::kMostBytes - 1, 'x');
  EXPECT_FALSE(save({line, ""}));
  EXPECT_EQ(lastError(), eOsTooLarge);
  EXPECT_EQ(content(), "old\n");
  EXPECT_FALSE(with({line}).save(TextFile::eCarriageReturnLineFeed));
  EXPECT_EQ(content(), "old\n");
  EXPECT_TRUE(save({line}));
  EXPECT_EQ(loaded(), Lines{line});
}

TEST_F(TextFileSaveTest, AllIsWrittenHoweverLittleIsTakenAtATime) {
  os_->faults().shorten(FaultPlan::eWrite, 2, 1, FaultPlan::eFromThenOn);
  EXPECT_TRUE(save({"one", "two"}));
  EXPECT_EQ(content(), "one\ntwo\n");
  os_->faults().clear();
  os_->faults().shorten(FaultPlan::eWrite, 0, 2, FaultPlan::eFromThenOn);
  os_->faults().shorten(FaultPlan::eWrite, 2, 1);
  EXPECT_FALSE(save({"new"})) << "nothing is taken any more";
  EXPECT_EQ(lastError(), eOsIoError);
  EXPECT_EQ(content(), "one\ntwo\n");
}

TEST_F(TextFileSaveTest, ASaveThatGoesWellLeavesTheLastErrorAsItWas) {
  OS()->getErrors()->setLastError(eOsExists);
  EXPECT_TRUE(save({"one"}));
  EXPECT_EQ(lastError(), eOsExists);
}

// What it replaces --------------------------------------------------------------------------------

TEST_F(TextFileSaveTest, NothingStaysBesideTheFile) {
  EXPECT_TRUE(save({"one"}));
  EXPECT_TRUE(save({"two"}));
  EXPECT_EQ(names(), "list.txt");
  EXPECT_EQ(content(), "two\n");
}

TEST_F(TextFileSaveTest, TheNewOneIsWrittenUnderANameOfItsOwnInTheSameFolder) {
  EXPECT_TRUE(save({"one"}));
  std::wstring first = lastTemporary();
  EXPECT_TRUE(first.starts_with(L"/p/.fsys-list.txt.4711-"));
  EXPECT_TRUE(save({"one"}));
  EXPECT_NE(lastTemporary(), first);
}

TEST_F(TextFileSaveTest, AnOldFilesModeStaysFromTheFirstByteOn) {
  put("old\n");
  os_->files().setMode(kName, 0600);
  unsigned seen = 0;
  AtEachMove atEachMove(*os_, [&](const FakeMove& move) {
    if (move.write) seen = os_->files().modeOf(PathString(std::wstring_view(move.path)));
  });
  EXPECT_TRUE(save({"new"}));
  EXPECT_EQ(os_->files().modeOf(kName), 0600u);
  EXPECT_EQ(seen, 0600u) << "others could read the new content";
  EXPECT_TRUE(save({"newer"}, kName, TextFile::eReplaceLinks));
  EXPECT_EQ(os_->files().modeOf(kName), 0600u) << "also where links are replaced";
}

TEST_F(TextFileSaveTest, ALinkIsFollowedAndStaysALink) {
  put("old\n", L"/q/real.txt");
  os_->files().setMode(L"/q/real.txt", 0640);
  os_->files().addLink(kName, L"/q/real.txt");
  EXPECT_TRUE(save({"new"}));
  EXPECT_EQ(content(L"/q/real.txt"), "new\n");
  EXPECT_EQ(os_->files().modeOf(L"/q/real.txt"), 0640u);
  EXPECT_TRUE(lastTemporary().starts_with(L"/q/.fsys-real.txt."));
  PathString target;
  EXPECT_TRUE(os_->files().followLinks(kName, target));
  EXPECT_EQ(target, L"/q/real.txt");
}

TEST_F(TextFileSaveTest, ALinkToNothingLeadsToTheFileThatIsMade) {
  os_->files().addFolder(L"/q");
  os_->files().addLink(kName, L"/q/real.txt");
  EXPECT_TRUE(save({"new"}));
  EXPECT_EQ(content(L"/q/real.txt"), "new\n");
}

TEST_F(TextFileSaveTest, ALinkItselfIsReplacedWhenThatIsAskedFor) {
  put("old\n", L"/q/real.txt");
  os_->files().addLink(kName, L"/q/real.txt");
  EXPECT_TRUE(save({"new"}, kName, TextFile::eReplaceLinks));
  EXPECT_EQ(content(L"/q/real.txt"), "old\n");
  EXPECT_EQ(content(), "new\n");
  EXPECT_EQ(names(), "list.txt");
}

TEST_F(TextFileSaveTest, ALinkToAFolderIsReplacedWhenLinksAreAndRefusedWhenTheyAreFollowed) {
  os_->files().addFolder(L"/q/folder");
  os_->files().addLink(kName, L"/q/folder");
  EXPECT_FALSE(save({"new"}));
  EXPECT_EQ(lastError(), eOsIsAFolder);
  EXPECT_TRUE(save({"new"}, kName, TextFile::eReplaceLinks));
  EXPECT_EQ(content(), "new\n");
  EXPECT_TRUE(os_->files().folderExists(L"/q/folder"));
}

TEST_F(TextFileSaveTest, AFolderInItsPlaceIsNotReplaced) {
  os_->files().addFolder(kName);
  for (TextFile::eLinks links : {TextFile::eFollowLinks, TextFile::eReplaceLinks}) {
    EXPECT_FALSE(save({"new"}, kName, links));
    EXPECT_EQ(lastError(), eOsIsAFolder);
    EXPECT_TRUE(os_->files().folderExists(kName));
    EXPECT_EQ(names(), "");
  }
}

TEST_F(TextFileSaveTest, WhatCannotBeReadAsAFileIsNotReplaced) {
  put("old\n");
  for (uint32_t error : {eOsNotSupported, eOsAccessDenied, eOsIoError}) {
    os_->faults().fail(FaultPlan::eOpenFile, error);
    EXPECT_FALSE(save({"new"}));
    EXPECT_EQ(lastError(), error);
    EXPECT_EQ(content(), "old\n");
  }
}

TEST_F(TextFileSaveTest, ANameThatIsNoFilesIsRefused) {
  for (const wchar_t* name : {L"", L"/p/"}) {
    EXPECT_FALSE(save({"new"}, name));
    EXPECT_EQ(lastError(), eOsInvalid);
  }
  EXPECT_FALSE(save({"new"}, PathString(L"/p/a\0b", 6)));
  EXPECT_EQ(lastError(), eOsInvalid);
  EXPECT_EQ(names(), "");
}

// What it was writing -----------------------------------------------------------------------------

TEST_F(TextFileSaveTest, TheNewOneIsLockedWhileItIsBeingWritten) {
  unsigned tried = 0;
  AtEachMove atEachMove(*os_, [&](const FakeMove& move) {
    if (!move.write) return;
    ++tried;
    EXPECT_FALSE(lockedToWrite(PathString(std::wstring_view(move.path))));
    EXPECT_EQ(lastError(), eOsAccessDenied);
  });
  EXPECT_TRUE(save({"new"}));
  EXPECT_GT(tried, 0u);
  EXPECT_TRUE(lockedToWrite(kName)) << "the lock stayed on";
}

TEST_F(TextFileSaveTest, WhatAnInterruptedSaveLeftIsRemovedByTheNextOne) {
  put("half of it", L"/p/.fsys-list.txt.17-1");
  put("", L"/p/.fsys-list.txt.4711-999999");
  EXPECT_TRUE(save({"new"}));
  EXPECT_EQ(names(), "list.txt");
}

TEST_F(TextFileSaveTest, WhatASaveThroughALinkLeftIsRemovedWhereTheLinkLeads) {
  put("old\n", L"/q/real.txt");
  put("half of it", L"/q/.fsys-real.txt.17-1");
  put("of a file with the link's name", L"/p/.fsys-list.txt.17-1");
  os_->files().addLink(kName, L"/q/real.txt");
  EXPECT_TRUE(save({"new"}));
  EXPECT_FALSE(os_->files().hasFile(L"/q/.fsys-real.txt.17-1"));
  EXPECT_TRUE(os_->files().hasFile(L"/p/.fsys-list.txt.17-1"));
}

TEST_F(TextFileSaveTest, AWriteProtectedLeftoverIsRemovedToo) {
  put("half of it", L"/p/.fsys-list.txt.17-1");
  os_->files().setReadOnly(L"/p/.fsys-list.txt.17-1");
  EXPECT_TRUE(save({"new"}));
  EXPECT_EQ(names(), "list.txt");
}

TEST_F(TextFileSaveTest, WhatAnotherSaveIsWritingStays) {
  Qv::Ptr<iFile> other = lockedToWrite(L"/p/.fsys-list.txt.17-1");
  EXPECT_TRUE(save({"new"}));
  EXPECT_EQ(names(), ".fsys-list.txt.17-1 list.txt");
  other.reset();
  EXPECT_TRUE(save({"new"}));
  EXPECT_EQ(names(), "list.txt");
}

TEST_F(TextFileSaveTest, FilesThatNoSaveOfThisFileMadeStay) {
  for (const wchar_t* name :
       {L"/p/.fsys-list.txt", L"/p/.fsys-list.txt.", L"/p/.fsys-list.txt.1",
        L"/p/.fsys-list.txt.1-", L"/p/.fsys-list.txt.-1", L"/p/.fsys-list.txt.1-x",
        L"/p/.fsys-list.txt.x-1", L"/p/.fsys-list.txt.1-1 ", L"/p/.fsys-list.txt.bak.1-1",
        L"/p/.fsys-list.1-1", L"/p/list.txt.1-1", L"/p/x.fsys-list.txt.1-1",
        L"/p/.fsys-LIST.TXT.1-1"})
    put("of somebody else", name);
  put("old\n");
  std::string before = names();
  EXPECT_TRUE(save({"new"}));
  EXPECT_EQ(names(), before);
}

TEST_F(TextFileSaveTest, ANameWithPatternCharactersIsTakenLiterally) {
  put("of another", L"/p/.fsys-listing.1-1");
  put("of another", L"/p/.fsys-li??.1-1");
  put("left", L"/p/.fsys-l*i?.1-1");
  EXPECT_TRUE(save({"new"}, L"/p/l*i?"));
  EXPECT_EQ(names(), ".fsys-li??.1-1 .fsys-listing.1-1 l*i?");
  EXPECT_EQ(loaded(L"/p/l*i?"), Lines{"new"});
}

TEST_F(TextFileSaveTest, AFolderThatCannotBeListedIsNoReasonNotToSave) {
  put("left", L"/p/.fsys-list.txt.1-1");
  os_->faults().fail(FaultPlan::eListFiles, eOsAccessDenied);
  OS()->getErrors()->setLastError(0);
  EXPECT_TRUE(save({"new"}));
  EXPECT_EQ(lastError(), 0u);
  EXPECT_EQ(names(), ".fsys-list.txt.1-1 list.txt");
}

TEST_F(TextFileSaveTest, ANameThatIsTakenIsPassedOver) {
  for (uint32_t error : {eOsExists, eOsAccessDenied}) {
    os_->files().clearRecords();
    os_->faults().fail(FaultPlan::eOpenFile, error, 2);
    put("old\n");
    EXPECT_TRUE(save({"new"}));
    EXPECT_EQ(content(), "new\n");
  }
}

TEST_F(TextFileSaveTest, WhenNoNameCanBeHadTheSaveIsRefusedAfterSixteen) {
  put("old\n");
  os_->faults().fail(FaultPlan::eOpenFile, eOsAccessDenied, 2, FaultPlan::eFromThenOn);
  unsigned before = os_->faults().calls(FaultPlan::eOpenFile);
  EXPECT_FALSE(save({"new"}));
  EXPECT_EQ(lastError(), eOsAccessDenied);
  EXPECT_EQ(os_->faults().calls(FaultPlan::eOpenFile), before + 1 + 16);
  EXPECT_EQ(content(), "old\n");
}

TEST_F(TextFileSaveTest, ASaveWhoseNewFileIsTakenAwayBeginsAnew) {
  put("old\n");
  unsigned taken = 0;
  AtEachMove atEachMove(*os_, [&](const FakeMove& move) {
    if (!move.write || taken == 3) return;
    ++taken;
    EXPECT_TRUE(os_->files().deleteFile(PathString(std::wstring_view(move.path))));
  });
  EXPECT_TRUE(save({"new"}));
  EXPECT_EQ(taken, 3u);
  EXPECT_EQ(content(), "new\n");
  EXPECT_EQ(names(), "list.txt");
}

TEST_F(TextFileSaveTest, ASaveThatMissesAFileAtAnyStepBeginsAnew) {
  for (FaultPlan::eCall step :
       {FaultPlan::eOpenFile, FaultPlan::eCopyMode, FaultPlan::eWrite, FaultPlan::eRenameFile}) {
    put("old\n");
    os_->files().setMode(kName, 0600);
    os_->faults().fail(step, eOsNotFound, step == FaultPlan::eOpenFile ? 2 : 1);
    EXPECT_TRUE(save({"new"})) << step;
    EXPECT_EQ(content(), "new\n");
    EXPECT_EQ(os_->files().modeOf(kName), 0600u);
    EXPECT_EQ(names(), "list.txt");
  }
}

TEST_F(TextFileSaveTest, ASaveWhoseNewFileIsTakenAwayEachTimeGivesUpAfterSixteen) {
  put("old\n");
  unsigned taken = 0;
  AtEachMove atEachMove(*os_, [&](const FakeMove& move) {
    if (!move.write) return;
    os_->files().deleteFile(PathString(std::wstring_view(move.path)));
    ++taken;
  });
  EXPECT_FALSE(save({"new"}));
  EXPECT_EQ(taken, 16u);
  EXPECT_EQ(lastError(), eOsNotFound);
  EXPECT_EQ(content(), "old\n");
}

// What fails --------------------------------------------------------------------------------------

TEST_F(TextFileSaveTest, AFullDriveKeepsTheOldFile) {
  put("old\n");
  os_->files().setDrive(L"/p/", {.capacity = 10});
  EXPECT_FALSE(save({"much that is new"}));
  EXPECT_EQ(lastError(), eOsNoSpace);
  EXPECT_EQ(content(), "old\n");
  EXPECT_EQ(names(), "list.txt");
}

TEST_F(TextFileSaveTest, AFolderWhoseNamesMayNotBeDurableIsAFailureThoughTheFileIsThere) {
  put("old\n");
  os_->faults().fail(FaultPlan::eSyncFolder, eOsIoError);
  EXPECT_FALSE(save({"new"}));
  EXPECT_EQ(lastError(), eOsIoError);
  EXPECT_EQ(content(), "new\n");
  EXPECT_EQ(names(), "list.txt");
}

TEST_F(TextFileSaveTest, WhyASaveFailedIsNotWhatItsCleaningUpMet) {
  put("old\n");
  os_->faults().fail(FaultPlan::eFlush, eOsNoSpace);
  os_->faults().fail(FaultPlan::eDeleteFile, eOsReadOnly);
  EXPECT_FALSE(save({"new"}));
  EXPECT_EQ(lastError(), eOsNoSpace);
  EXPECT_EQ(content(), "old\n");
  EXPECT_TRUE(save({"new"}));
  EXPECT_EQ(names(), "list.txt") << "what could not be removed then";
}

TEST_F(TextFileSaveTest, WhateverCallFailsTheFileIsWholeAndTheNextSaveLeavesNothingBeside) {
  for (size_t kind = 0; kind < FaultPlan::eCallKinds; ++kind)
    for (FaultPlan::eSpan span : {FaultPlan::eOnce, FaultPlan::eFromThenOn})
      for (unsigned nth = 1, struck = 1; struck != 0 && nth < 20; ++nth) {
        SCOPED_TRACE(testing::Message() << "call " << kind << ", number " << nth << " " << span);
        put("old\n");
        put("left", L"/p/.fsys-list.txt.1-1");
        auto call = static_cast<FaultPlan::eCall>(kind);
        unsigned before = os_->faults().fired(call);
        os_->faults().fail(call, eOsIoError, nth, span);
        bool saved = save({"new"});
        struck = os_->faults().fired(call) - before;
        os_->faults().clear();
        ASSERT_TRUE(content() == "new\n" || (!saved && content() == "old\n")) << content();
        ASSERT_TRUE(saved || lastError() == eOsIoError);
        ASSERT_TRUE(save({"newer"}));
        ASSERT_EQ(content(), "newer\n");
        ASSERT_EQ(names(), "list.txt");
      }
}

TEST_F(TextFileSaveTest, ADriveThatDoesNotAnswerMaySaveLaterWhatWasToBeSavedThen) {
  put("old\n");
  os_->files().setDrive(L"/p/", {.type = iDiskDrive::eNetwork, .silent = true});
  double before_ms = os_->clock().now_ms();
  {
    TextFile file = with({"new"});
    EXPECT_FALSE(file.save());
    EXPECT_EQ(lastError(), eOsTimedOut);
    EXPECT_EQ(os_->clock().now_ms() - before_ms, TextFile::kPatience_ms);
    EXPECT_TRUE(file.appendLine("of later"));
  }
  EXPECT_EQ(content(), "old\n");
  os_->files().drive(L"/p/").silent = false;
  EXPECT_EQ(os_->files().runLateErrands(), 1u);
  EXPECT_EQ(content(), "new\n");
  EXPECT_EQ(names(), "list.txt");
}

TEST_F(TextFileSaveTest, WithoutMemoryTheFileIsWholeAndTheNextSaveLeavesNothingBeside) {
  FailingHeap heap;
  if (!heap.isAsked()) GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  for (bool once : {true, false}) {
    bool refused = true;
    int nth = 0;
    for (; refused && nth < 500; ++nth) {
      put("old\n");
      put("left", L"/p/.fsys-list.txt.1-1");
      TextFile file = with({"new"});
      bool saved = false;
      bool thrown = false;
      heap.refuse(nth, once);
      try {
        saved = file.save();
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
      refused = heap.letBe();
      ASSERT_TRUE(refused || !thrown) << nth;
      ASSERT_TRUE(saved || refused);
      ASSERT_TRUE(content() == "new\n" || (!saved && content() == "old\n")) << nth;
      ASSERT_EQ(linesOf(file), Lines{"new"}) << nth;
      ASSERT_TRUE(file.save()) << nth;
      ASSERT_EQ(names(), "list.txt") << nth;
    }
    EXPECT_FALSE(refused) << "a save asks for memory without end";
    EXPECT_GT(nth, 10);
  }
}

RC_GTEST_PROP(TextFileSavePropertyTest, WhatIsSavedIsReadBack, ()) {
  const std::string kBytes = "ab\r\r\xEF\xBB\xBF\xFF \t";
  FakeOSScope os;
  os->files().addFolder(L"/p");
  TextFile file(L"/p/list.txt");
  for (const auto& indices : *rc::gen::arbitrary<std::vector<std::vector<unsigned char>>>()) {
    std::string line;
    for (unsigned char index : indices) line += kBytes[index % kBytes.size()];
    bool appended = file.appendLine(LightweightString<char>(std::string_view(line)));
    RC_ASSERT(appended == TextFile::isLine(line));
  }
  RC_ASSERT(file.save(
      *rc::gen::element<unsigned>(TextFile::eLineFeed, TextFile::eCarriageReturnLineFeed)));
  TextFile again(file.name());
  RC_ASSERT(again.load() == TextFile::eLoaded);
  RC_ASSERT(again.lineCount() == file.lineCount());
  for (size_t i = 0; i < file.lineCount(); ++i) RC_ASSERT(again[i] == file[i]);
}

}  // namespace

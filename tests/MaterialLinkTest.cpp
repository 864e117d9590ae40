// Link files: how they are made, told from media, and followed.
#include "fsys/MaterialLink.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <string>

#include "tests/StorageFixture.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr char kMediaIsNoLink[] = "assertion failed false at fsys/MaterialLink line 129\n";
const Text kLink = L"/m/clip.mov";
const Text kTarget = L"/far/clip.mov";

std::string linkTo(const std::string& target) {
  return target + std::string(MaterialLink::kBytes - target.size(), '\0');
}

class MaterialLinkTest : public StorageFixture {
protected:
  MaterialLinkTest() { files().addFolder(L"/m"); }

  unsigned create(bool replace, const Text& target = kTarget) {
    return MaterialLink::createLink(kLink, target, replace);
  }
  // What getLinkedFilename answers; `result` had another text before.
  bool reads(Text& result) {
    result = L"before";
    return MaterialLink::getLinkedFilename(kLink, result);
  }
  void expectTarget(const Text& target) {
    Text result;
    EXPECT_TRUE(reads(result));
    EXPECT_EQ(result, target);
    EXPECT_TRUE(MaterialLink::isLink(kLink));
  }
  // No link, and the file to open is the file itself.
  void expectMedia() {
    Text result;
    EXPECT_FALSE(reads(result));
    EXPECT_EQ(result, kLink);
    EXPECT_FALSE(MaterialLink::isLink(kLink));
  }
  void expectUnreadable() {
    Text result;
    EXPECT_FALSE(reads(result));
    EXPECT_EQ(result, L"");
  }
  Texts namesIn(const Text& folder) {
    Vector<iFileManager::ListedFile> listed;
    files().listFiles(folder + L"*", listed);
    Texts names;
    for (const auto& file : listed) names.emplace_back(toUTF8(file.name).c_str());
    return names;
  }
  const FakeOpen& lastOpen() { return files().opens().back(); }
};

// Made ------------------------------------------------------------------------------------------

TEST_F(MaterialLinkTest, ALinkIs512BytesOfItsTargetAndZeros) {
  for (bool replace : {false, true}) {
    files().deleteFile(kLink);
    EXPECT_EQ(create(replace), 1u);
    EXPECT_EQ(content(kLink), linkTo("/far/clip.mov"));
    expectTarget(kTarget);
    EXPECT_EQ(namesIn(L"/m/"), Texts{"clip.mov"}) << "nothing else is left";
  }
  EXPECT_EQ(MaterialLink::kBytes, 512u);
}

TEST_F(MaterialLinkTest, ATargetIsWrittenInUtf8) {
  EXPECT_EQ(create(false, L"/far/Ü\u20AC\U0001F3AC"), 1u);
  EXPECT_EQ(content(kLink), linkTo("/far/\xC3\x9C\xE2\x82\xAC\xF0\x9F\x8E\xAC"));
  expectTarget(L"/far/Ü\u20AC\U0001F3AC");
}

TEST_F(MaterialLinkTest, ATargetsUndecodableBytesComeBackAsTheyWere) {
  write(kLink, linkTo("/far/\xFF\xC3("));
  Text target;
  ASSERT_TRUE(reads(target));
  EXPECT_EQ(target, fromUTF8("/far/\xFF\xC3("));
  EXPECT_EQ(create(true, target), 1u);
  EXPECT_EQ(content(kLink), linkTo("/far/\xFF\xC3("));
}

TEST_F(MaterialLinkTest, AnEmptyTargetGivesALinkOfZerosThatLeadsNowhere) {
  EXPECT_EQ(create(false, Text()), 1u);
  EXPECT_EQ(content(kLink), std::string(512, '\0'));
  expectTarget(L"");
}

TEST_F(MaterialLinkTest, OpensAndReadsAreThoseThatAreFixed) {
  EXPECT_EQ(create(false), 1u);
  EXPECT_EQ(lastOpen().door, FakeOpen::eGeneral);
  EXPECT_EQ(lastOpen().path, kLink.view());
  EXPECT_EQ(lastOpen().access, 2u);
  EXPECT_EQ(lastOpen().creation, 1u);
  EXPECT_EQ(lastOpen().flags, 4u);
  EXPECT_EQ(lastOpen().attributes, 0u);
  files().clearRecords();
  EXPECT_TRUE(MaterialLink::isLink(kLink));
  ASSERT_EQ(files().opens().size(), 1u);
  EXPECT_EQ(lastOpen().access, 1u);
  EXPECT_EQ(lastOpen().creation, 0u);
  EXPECT_EQ(lastOpen().flags, 4u);
  ASSERT_EQ(files().transfers().size(), 1u);
  EXPECT_EQ(files().transfers()[0].bytes, 4095u);
  Text result;
  EXPECT_TRUE(reads(result));
  ASSERT_EQ(files().transfers().size(), 2u);
  EXPECT_EQ(files().transfers()[1].way, FakeTransferRecord::eAtOffset);
  EXPECT_EQ(files().transfers()[1].offset, 0u);
  EXPECT_EQ(files().transfers()[1].bytes, 511u);
  EXPECT_EQ(files().liveFiles(), 0u);
}

TEST_F(MaterialLinkTest, WithoutReplaceAPathThatExistsIsLeftAlone) {
  for (const char* text : {"", "media", "RIFF"}) {
    write(kLink, text);
    EXPECT_EQ(create(false), 0u);
    EXPECT_EQ(content(kLink), text);
    EXPECT_EQ(os_->errors().getLastError(), uint32_t{eOsExists});
  }
  EXPECT_EQ(diagnostics_.outText(), "");
}

TEST_F(MaterialLinkTest, WithoutReplaceASymbolicLinkThatLeadsNowhereExists) {
  files().addLink(kLink, L"/m/elsewhere");
  EXPECT_EQ(create(false), 0u);
  EXPECT_FALSE(files().hasFile(L"/m/elsewhere"));
}

TEST_F(MaterialLinkTest, WithReplaceALinkLeadsElsewhere) {
  EXPECT_EQ(create(false, L"/a/rather/long/target"), 1u);
  files().setMode(kLink, 0640);
  EXPECT_EQ(create(true, L"/b"), 1u);
  EXPECT_EQ(content(kLink), linkTo("/b"));
  EXPECT_EQ(files().modeOf(kLink), 0640u) << "who may read it stays";
  EXPECT_EQ(namesIn(L"/m/"), Texts{"clip.mov"});
}

TEST_F(MaterialLinkTest, MediaOf512BytesIsReplacedByALink) {
  write(kLink, "RIFF" + std::string(508, 'x'));
  EXPECT_EQ(create(true), 1u);
  expectTarget(kTarget);
}

TEST_F(MaterialLinkTest, AFileOf513BytesIsMediaThatIsNeverEmptied) {
  write(kLink, std::string(513, 'x'));
  files().clearRecords();
  EXPECT_EQ(create(true), 0u);
  EXPECT_EQ(diagnostics_.outText(), kMediaIsNoLink);
  EXPECT_EQ(content(kLink), std::string(513, 'x'));
  EXPECT_TRUE(files().opens().empty()) << "looked at before anything is opened";
  diagnostics_.clear();
  EXPECT_EQ(create(false), 0u);
  EXPECT_EQ(diagnostics_.outText(), "") << "only where it would have been replaced";
}

TEST_F(MaterialLinkTest, WhatCannotBeLookedAtIsNotReplaced) {
  write(kLink, linkTo("/old"));
  os_->faults().fail(FaultPlan::eGetFileSize, eOsIoError);
  EXPECT_EQ(create(true), 0u);
  EXPECT_EQ(content(kLink), linkTo("/old"));
  EXPECT_EQ(os_->errors().getLastError(), uint32_t{eOsIoError});
}

TEST_F(MaterialLinkTest, WhatComesMeanwhileIsNotReplaced) {
  write(kLink, std::string(513, 'x'));
  os_->faults().fail(FaultPlan::eGetFileSize, eOsNotFound);  // not there yet
  EXPECT_EQ(create(true), 0u);
  EXPECT_EQ(content(kLink), std::string(513, 'x'));
  EXPECT_EQ(diagnostics_.outText(), kMediaIsNoLink);
  EXPECT_EQ(namesIn(L"/m/"), Texts{"clip.mov"});
}

TEST_F(MaterialLinkTest, ALinkThatCameMeanwhileIsReplaced) {
  write(kLink, linkTo("/old"));
  os_->faults().fail(FaultPlan::eGetFileSize, eOsNotFound);
  EXPECT_EQ(create(true), 1u);
  expectTarget(kTarget);
}

TEST_F(MaterialLinkTest, WhatIsReplacedIsLookedAtOnceMoreJustBefore) {
  write(kLink, linkTo("/old"));
  files().clearRecords();
  for (unsigned look : {1u, 2u, 3u}) os_->faults().fail(FaultPlan::eGetFileSize, eOsIoError, look);
  unsigned refused = 0;
  while (create(true) == 0) {
    EXPECT_EQ(content(kLink), linkTo("/old"));
    EXPECT_EQ(namesIn(L"/m/"), Texts{"clip.mov"});
    ++refused;
  }
  EXPECT_EQ(refused, 3u);
  os_->faults().fail(FaultPlan::eGetFileSize, eOsIoError, 3);
  write(kLink, linkTo("/old"));
  files().clearRecords();
  EXPECT_EQ(create(true), 0u);
  EXPECT_EQ(files().transfers().size(), 1u) << "it was written beside its place by then";
  EXPECT_EQ(content(kLink), linkTo("/old"));
  EXPECT_EQ(namesIn(L"/m/"), Texts{"clip.mov"});
}

TEST_F(MaterialLinkTest, AFileThatMayNotBeWrittenIsNotReplaced) {
  write(kLink, linkTo("/old"));
  files().setReadOnly(kLink);
  EXPECT_EQ(create(true), 0u);
  EXPECT_EQ(content(kLink), linkTo("/old"));
}

TEST_F(MaterialLinkTest, ASymbolicLinkIsReplacedItself) {
  write(L"/m/other", linkTo("/other"));
  files().addLink(kLink, L"/m/other");
  EXPECT_EQ(create(true), 1u);
  expectTarget(kTarget);
  EXPECT_EQ(content(L"/m/other"), linkTo("/other")) << "nothing is written through it";
  write(L"/m/media", std::string(600, 'x'));
  files().addLink(kLink, L"/m/media");
  EXPECT_EQ(create(true), 0u);
  EXPECT_EQ(diagnostics_.outText(), kMediaIsNoLink);
}

TEST_F(MaterialLinkTest, ATargetOf512BytesIsRefusedBeforeAnythingIsOpened) {
  const std::string most(511, 'x');
  for (const Text& target : {fromUTF8(most + "x"), fromUTF8(most.substr(1) + "\xC3\x9C"),
                             fromUTF8(std::string(4000, 'x'))}) {
    for (bool replace : {false, true}) EXPECT_EQ(create(replace, target), 0u);
  }
  EXPECT_TRUE(files().opens().empty());
  EXPECT_EQ(os_->faults().calls(FaultPlan::eGetFileSize), 0u);
  EXPECT_EQ(create(false, fromUTF8(most)), 1u);
  EXPECT_EQ(content(kLink), most + '\0');
}

TEST_F(MaterialLinkTest, ATargetOf510BytesIsReadBackAndOneOf511IsNot) {
  const std::string most(510, 'x');
  EXPECT_EQ(create(false, fromUTF8(most)), 1u);
  expectTarget(fromUTF8(most));
  EXPECT_EQ(create(true, fromUTF8(most + "x")), 1u);
  expectUnreadable();
  EXPECT_EQ(os_->errors().getLastError(), uint32_t{eOsInvalid});
}

TEST_F(MaterialLinkTest, ATargetThatWouldMakeMediaOfTheLinkIsRefused) {
  EXPECT_EQ(create(false, L"RIFF/clip.mov"), 0u);
  EXPECT_FALSE(files().hasFile(kLink));
  EXPECT_EQ(create(false, L"RIF/clip.mov"), 1u);
}

TEST_F(MaterialLinkTest, ATargetThatIsNoNameIsRefused) {
  for (const Text& target : {Text(L"/far\0/a", 7), Text(L"/far/\xD800"), Text(L"/\xDCC3\xDC9C")})
    EXPECT_EQ(create(false, target), 0u);
  EXPECT_FALSE(files().hasFile(kLink));
}

TEST_F(MaterialLinkTest, APathWithoutALastPartIsRefusedBeforeAnythingIsOpened) {
  for (const Text& path : {Text(), Text(L"/"), Text(L"/m/"), Text(L"m/")})
    for (bool replace : {false, true}) {
      os_->errors().setLastError(0);
      EXPECT_EQ(MaterialLink::createLink(path, kTarget, replace), 0u);
      EXPECT_EQ(os_->errors().getLastError(), uint32_t{eOsInvalid});
    }
  EXPECT_TRUE(files().opens().empty());
  EXPECT_EQ(os_->faults().calls(FaultPlan::eGetFileSize), 0u);
}

// What goes wrong while it is made ----------------------------------------------------------------

TEST_F(MaterialLinkTest, AFolderThatIsNotThereTakesNoLink) {
  for (bool replace : {false, true})
    EXPECT_EQ(MaterialLink::createLink(L"/none/clip.mov", kTarget, replace), 0u);
  EXPECT_EQ(os_->errors().getLastError(), uint32_t{eOsNotFound});
}

TEST_F(MaterialLinkTest, WhatFailsLeavesNothingWhereNothingWas) {
  for (bool replace : {false, true}) {
    for (auto call : {FaultPlan::eOpenFile, FaultPlan::eWrite, FaultPlan::eFlush}) {
      os_->faults().fail(call, eOsNoSpace);
      EXPECT_EQ(create(replace), 0u);
      EXPECT_EQ(os_->errors().getLastError(), uint32_t{eOsNoSpace});
      EXPECT_EQ(namesIn(L"/m/"), Texts{}) << call << replace;
    }
    os_->faults().shorten(FaultPlan::eWrite, 511);
    EXPECT_EQ(create(replace), 0u);
    EXPECT_EQ(namesIn(L"/m/"), Texts{});
  }
}

TEST_F(MaterialLinkTest, WhateverFailsWhileALinkIsReplacedTheOldOneStays) {
  for (auto call : {FaultPlan::eIsWritable, FaultPlan::eOpenFile, FaultPlan::eCopyMode,
                    FaultPlan::eWrite, FaultPlan::eFlush, FaultPlan::eRenameFile}) {
    write(kLink, linkTo("/old"));
    os_->faults().fail(call, eOsNoSpace);
    EXPECT_EQ(create(true), 0u);
    EXPECT_EQ(os_->errors().getLastError(), uint32_t{eOsNoSpace});
    EXPECT_EQ(content(kLink), linkTo("/old")) << call;
    EXPECT_EQ(namesIn(L"/m/"), Texts{"clip.mov"}) << call;
  }
}

TEST_F(MaterialLinkTest, WhatAnInterruptedReplacementLeavesIsAnUnfinishedSideFile) {
  write(kLink, linkTo("/old"));
  os_->faults().fail(FaultPlan::eRenameFile, eOsIoError);
  os_->faults().fail(FaultPlan::eDeleteFile, eOsIoError);
  EXPECT_EQ(create(true), 0u);
  Texts names = namesIn(L"/m/");
  ASSERT_EQ(names.size(), 2u);
  EXPECT_TRUE(names[1].starts_with("clip.mov.")) << "goes with the file that it is named after";
  EXPECT_TRUE(names[1].ends_with(".partial")) << "never media";
  EXPECT_EQ(create(true), 1u) << "and is in nobody's way";
  EXPECT_EQ(content(kLink), linkTo("/far/clip.mov"));
}

TEST_F(MaterialLinkTest, NamesThatOthersTookForTheirUnfinishedFilesAreLeftToThem) {
  os_->faults().fail(FaultPlan::eOpenFile, eOsExists, 1);
  os_->faults().fail(FaultPlan::eOpenFile, eOsExists, 2);
  EXPECT_EQ(create(true), 1u);
  ASSERT_EQ(files().opens().size(), 3u);
  EXPECT_NE(files().opens()[0].path, files().opens()[1].path);
  os_->faults().fail(FaultPlan::eOpenFile, eOsExists, 1, FaultPlan::eFromThenOn);
  EXPECT_EQ(create(true), 0u) << "but not for ever";
}

// Told from media -------------------------------------------------------------------------------

TEST_F(MaterialLinkTest, OnlyAFileOfExactly512BytesIsALink) {
  for (size_t size : {0u, 1u, 511u, 513u, 1024u}) {
    write(kLink, std::string(size, '\0'));
    files().clearRecords();
    expectMedia();
    EXPECT_TRUE(files().opens().empty()) << "not even opened";
  }
  write(kLink, std::string(512, '\0'));
  expectTarget(L"");
}

TEST_F(MaterialLinkTest, AFileOf512BytesThatBeginsWithRiffIsMedia) {
  write(kLink, "RIFF" + std::string(508, '\0'));
  expectMedia();
  write(kLink, linkTo("RIF/F"));
  expectTarget(L"RIF/F");
  write(kLink, linkTo("riff"));
  expectTarget(L"riff");
}

TEST_F(MaterialLinkTest, AFileThatIsNotThereIsItsOwnPath) {
  expectMedia();
  files().addFolder(kLink);
  expectMedia();
}

TEST_F(MaterialLinkTest, AFileOf512BytesThatCannotBeReadIsNoLinkAndLeadsNowhere) {
  write(kLink, linkTo("/far"));
  for (auto call : {FaultPlan::eOpenFile, FaultPlan::eRead}) {
    os_->faults().fail(call, eOsAccessDenied);
    expectUnreadable();
    EXPECT_EQ(os_->errors().getLastError(), uint32_t{eOsAccessDenied});
    os_->faults().fail(call, eOsAccessDenied);
    EXPECT_FALSE(MaterialLink::isLink(kLink));
  }
  os_->faults().shorten(FaultPlan::eRead, 0);
  expectUnreadable();
  EXPECT_EQ(os_->errors().getLastError(), uint32_t{eOsIoError});
  os_->faults().shorten(FaultPlan::eRead, 0);
  EXPECT_FALSE(MaterialLink::isLink(kLink));
  os_->faults().fail(FaultPlan::eOpenFile, eOsAccessDenied);
  EXPECT_EQ(MaterialLink::resolveLink({DriveId(), kLink}), L"");
  expectTarget(L"/far");
}

TEST_F(MaterialLinkTest, AFileOf512BytesThatWasCutOffMeanwhileIsNotReadAsAShorterName) {
  write(kLink, linkTo("/far/clip.mov"));
  os_->faults().shorten(FaultPlan::eRead, 4);
  expectUnreadable();
}

TEST_F(MaterialLinkTest, ATextWithoutAnEndIsNotReadPastIt) {
  write(kLink, std::string(512, 'x'));
  expectUnreadable();
  write(kLink, std::string(511, 'x') + '\0');
  expectUnreadable();
}

TEST_F(MaterialLinkTest, WhatStandsBehindTheFirstZeroIsNoPartOfATarget) {
  std::string bytes = linkTo("/far");
  bytes[5] = 'x';
  bytes[511] = 'y';
  write(kLink, bytes);
  expectTarget(L"/far");
}

TEST_F(MaterialLinkTest, TheResultMayBeTheVeryTextThatWasAsked) {
  EXPECT_EQ(create(false), 1u);
  Text path = kLink;
  EXPECT_TRUE(MaterialLink::getLinkedFilename(path, path));
  EXPECT_EQ(path, kTarget);
  path = L"/m/none";
  EXPECT_FALSE(MaterialLink::getLinkedFilename(path, path));
  EXPECT_EQ(path, L"/m/none");
}

TEST_F(MaterialLinkTest, ALinkToALinkLeadsToThatLink) {
  EXPECT_EQ(create(false, L"/m/second"), 1u);
  EXPECT_EQ(MaterialLink::createLink(L"/m/second", kTarget, false), 1u);
  expectTarget(L"/m/second");
  EXPECT_EQ(create(true, kLink), 1u);
  expectTarget(kLink);
}

// By the name on a drive ------------------------------------------------------------------------

TEST_F(MaterialLinkTest, AFilesNameIsResolvedToThePathToOpen) {
  addDisk(L"/disk/");
  MaterialFilename name(registeredId(L"/disk/"), L"Material/clip.mov");
  EXPECT_EQ(MaterialLink::resolveLink(name), L"/disk/Material/clip.mov");
  EXPECT_FALSE(MaterialLink::linkedFileExists(name));
  write(L"/disk/Material/clip.mov", linkTo("/far/clip.mov"));
  EXPECT_EQ(MaterialLink::resolveLink(name), kTarget);
  EXPECT_FALSE(MaterialLink::linkedFileExists(name)) << "a link to a missing file";
  write(kTarget, "");
  EXPECT_TRUE(MaterialLink::linkedFileExists(name));
  write(L"/disk/Material/clip.mov", "RIFF" + std::string(508, 'x'));
  EXPECT_EQ(MaterialLink::resolveLink(name), L"/disk/Material/clip.mov");
  EXPECT_FALSE(MaterialLink::linkedFileExists(name)) << "it exists, but is no link";
}

TEST_F(MaterialLinkTest, ANetworkNameOfAShareHereIsLookedForWhereItLies) {
  Vector<iFileManager::Share> shares;
  shares.add({L"\\\\STATION\\media", L"/srv/"});
  files().setShares(shares);
  VolumeRegistry::get().shares.forget();
  const MaterialFilename name(DriveId(), kLink);
  for (const wchar_t* target : {L"\\\\STATION\\media\\sub\\a.mov", L"\\\\OTHER\\media\\sub\\a.mov"})
    EXPECT_EQ(create(true, target), 1u);
  write(L"/srv/sub/a.mov", "");
  EXPECT_FALSE(MaterialLink::linkedFileExists(name)) << "of another machine";
  EXPECT_EQ(create(true, L"\\\\station\\media\\sub\\a.mov"), 1u);
  EXPECT_TRUE(MaterialLink::linkedFileExists(name));
  expectTarget(L"\\\\station\\media\\sub\\a.mov");
  for (const wchar_t* other : {L"\\\\", L"\\\\STATION", L"\\\\STATION\\media", L"\\x", L""})
    EXPECT_EQ(MaterialLink::localTarget(other), other);
}

TEST_F(MaterialLinkTest, ATargetWithoutAFolderOfItsOwnIsAsGoodAsMissing) {
  const MaterialFilename name(DriveId(), kLink);
  for (const wchar_t* target :
       {L"clip.mov", L"./clip.mov", L"../far/clip.mov", L"m", L" /far/a.mov", L"C:\\clip.mov",
        L"\\\\OTHER\\media\\clip.mov", L"mem:clip.mov"}) {
    write(target, "");
    EXPECT_TRUE(files().openServed(L"mem:clip.mov", iFileManager::eFlagWrite, true));
    EXPECT_EQ(create(true, target), 1u);
    expectTarget(target);
    EXPECT_EQ(MaterialLink::resolveLink(name), target) << "as it stands";
    EXPECT_FALSE(MaterialLink::linkedFileExists(name)) << toUTF8(target).c_str();
  }
}

RC_GTEST_PROP(MaterialLinkPropertyTest, AnyTargetBelow511BytesComesBack, ()) {
  // Half of the lengths lie about the border.
  auto length = rc::gen::oneOf(rc::gen::inRange(0, 500), rc::gen::inRange(500, 520));
  auto byte = rc::gen::inRange(1, 256);
  auto bytes =
      *rc::gen::container<std::vector<int>>(*rc::gen::resize(rc::kNominalSize, length), byte);
  std::string target(bytes.begin(), bytes.end());
  FakeOSScope os;
  os->files().addFolder(L"/m");
  const Text wide = fromUTF8(target);
  const bool isTaken = target.size() < 512 && !target.starts_with("RIFF");
  RC_ASSERT(MaterialLink::createLink(kLink, wide, false) == (isTaken ? 1u : 0u));
  Text result;
  const bool isRead = MaterialLink::getLinkedFilename(kLink, result);
  RC_ASSERT(isRead == (isTaken && target.size() < 511));
  RC_ASSERT(!isRead || result == wide);
}

}  // namespace

// Opening by the name of a link: the bytes are its target's.

#include "fsys/MaterialLink.h"
#include "tests/FsysFileFixture.h"

namespace {

const Text kLink = L"/m/clip.mov";
const Text kTarget = L"/far/clip.mov";

class FsysLinkTest : public FsysFileFixture {
protected:
  void SetUp() override {
    FsysFileFixture::SetUp();
    os_->files().addFolder(L"/far");
  }
  void link(const Text& target) {
    ASSERT_EQ(MaterialLink::createLink(kLink, target, true), 1u);
    before_ = os_->files().bytesOf(kLink);
  }
  void expectLinkUntouched() { EXPECT_EQ(os_->files().bytesOf(kLink), before_); }
  void expectRefused(uint32_t flags, uint32_t error) {
    FsysFile* file = nullptr;
    EXPECT_EQ(FsysOpen(&file, kLink, 0, flags, nullptr), 0u);
    EXPECT_EQ(FsysGetLastError(), error);
    EXPECT_EQ(os_->files().liveFiles(), 0u);
  }
  // Of the second open, which transfers.
  std::wstring openedPath() {
    std::wstring path;
    for (const FakeOpen& open : os_->files().opens())
      if (open.door == FakeOpen::eMedia) path = open.path;
    return path;
  }

  Bytes before_;
};

TEST_F(FsysLinkTest, AReadOfALinkGivesItsTargetsBytes) {
  os_->files().addFile(kTarget, patternBytes(2000));
  link(kTarget);
  FsysFile* file = openForReading(kLink);
  EXPECT_EQ(openedPath(), kTarget.view());
  EXPECT_EQ(read(file, 0, 2000), 1u);
  os_->run();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
  EXPECT_EQ(recorder_->at(0).bytes, patternBytes(2000));
}

TEST_F(FsysLinkTest, AWriteToALinkGoesOnAtItsTargetsEnd) {
  os_->files().addFile(kTarget, patternBytes(1000));
  link(kTarget);
  FsysFile* file = openForWriting(kLink);
  EXPECT_EQ(file->GetPosition(), 1000u);
  EXPECT_EQ(write(file, TestHolder::ofPattern(700, 1000)), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(kTarget), patternBytes(1700));
  expectLinkUntouched();
}

TEST_F(FsysLinkTest, AWriteToALinkWhoseTargetIsMissingMakesIt) {
  link(kTarget);
  FsysFile* file = openForWriting(kLink);
  EXPECT_EQ(write(file, TestHolder::ofPattern(700)), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(kTarget), patternBytes(700));
  expectLinkUntouched();
}

TEST_F(FsysLinkTest, ALinkWhoseTargetIsMissingIsNotFoundForReading) {
  link(kTarget);
  expectRefused(1, eOsNotFound);
}

TEST_F(FsysLinkTest, ALinkThatLeadsNowhereIsNotFound) {
  link(Text());
  expectRefused(1, eOsNotFound);
  expectRefused(2, eOsNotFound);
  expectLinkUntouched();
}

TEST_F(FsysLinkTest, ALinkWhoseTargetHasNoFolderOfItsOwnIsRefused) {
  for (const wchar_t* target : {L"clip.mov", L"./clip.mov", L"../far/clip.mov", L"far/clip.mov",
                                L"\\\\STATION\\media\\clip.mov", L" /far/clip.mov", L"mem:clip.mov",
                                L"mem:/far/clip.mov", L"mem:"}) {
    for (bool isThere : {false, true}) {
      if (isThere) os_->files().addFile(target, patternBytes(2000));
      link(target);
      expectRefused(1, eOsInvalid);
      expectRefused(2, eOsInvalid);
      EXPECT_EQ(os_->files().hasFile(target), isThere);
      expectLinkUntouched();
    }
  }
}

TEST_F(FsysLinkTest, MediaOf512BytesIsOpenedItself) {
  Bytes media = patternBytes(512);
  std::copy_n("RIFF", 4, media.begin());
  os_->files().addFile(kLink, media);
  FsysFile* file = openForReading(kLink);
  EXPECT_EQ(openedPath(), kLink.view());
  EXPECT_EQ(read(file, 0, 512), 1u);
  os_->run();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).bytes, media);
}

TEST_F(FsysLinkTest, ALinkToALinkIsFollowedOnce) {
  link(L"/far/second");
  ASSERT_EQ(MaterialLink::createLink(L"/far/second", kTarget, false), 1u);
  os_->files().addFile(kTarget, patternBytes(2000));
  FsysFile* file = openForReading(kLink);
  EXPECT_EQ(openedPath(), L"/far/second");
  EXPECT_EQ(read(file, 0, 512), 1u);
  os_->run();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).bytes, os_->files().bytesOf(L"/far/second"));
}

TEST_F(FsysLinkTest, ALinkThatCannotBeReadSaysWhy) {
  for (uint32_t flags : {1u, 2u}) {
    link(kTarget);
    os_->faults().fail(FaultPlan::eRead, eOsIoError);
    expectRefused(flags, eOsIoError);
    os_->faults().fail(FaultPlan::eOpenFile, eOsAccessDenied);
    expectRefused(flags, eOsAccessDenied);
    os_->files().addFile(kLink, Bytes(512, 'x'));
    expectRefused(flags, eOsInvalid);
  }
  EXPECT_FALSE(os_->files().hasFile(kTarget));
}

TEST_F(FsysLinkTest, AFileThatIsNoLinkIsOpenedOnceMoreAndNotRead) {
  os_->files().addFile(kLink, patternBytes(513));
  os_->files().clearRecords();
  openForReading(kLink);
  EXPECT_EQ(os_->files().opens().size(), 2u);
  EXPECT_TRUE(os_->files().transfers().empty());
}

}  // namespace

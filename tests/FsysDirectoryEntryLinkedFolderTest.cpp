// What goes with a link: the folder below its own in which the media lies, and nothing else,
// whatever somebody wrote into it.

#include <array>

#include <functional>
#include <utility>

#include "tests/DirectoryEntryFixture.h"
#include "tests/support/ForwardingOS.h"

namespace {

// Does something when the files are asked for the nth time.
class ChangeBeforeCall final : public ForwardingOS {
public:
  ChangeBeforeCall(unsigned nth, std::function<void()> change)
      : left_(nth), change_(std::move(change)) {}

  iFileManager* getFileManager() override {
    if (left_ > 0 && --left_ == 0) change_();
    return ForwardingOS::getFileManager();
  }
  bool isDone() const { return left_ == 0; }

private:
  unsigned left_;
  std::function<void()> change_;
};

class FsysDirectoryEntryLinkedFolderTest : public DirectoryEntryFixture {
protected:
  static constexpr const wchar_t* kLink = L"/m/Material/a.mov";

  FsysDirectoryEntryLinkedFolderTest() {
    for (const wchar_t* path : kCanaries) files().addFile(path);
  }

  // Deletes a link to that, which was made before.
  void deleteLinkTo(const Text& target) {
    link(L"/Material/a.mov", target);
    EXPECT_EQ(entry_.deleteFile(name(L"/Material/a.mov")), 1u);
    EXPECT_FALSE(isThere(kLink));
  }
  void expectCanaries() {
    for (const wchar_t* path : kCanaries) EXPECT_TRUE(isThere(path)) << toUTF8(path).c_str();
  }
  unsigned deletions() { return os_->faults().calls(FaultPlan::eDeleteSubfolder); }
  // Nothing goes but the link itself.
  void expectHarmless(const Text& target) {
    SCOPED_TRACE(toUTF8(target).c_str());
    const Text local = MaterialLink::localTarget(target);
    if (!files().exists(local)) files().addFile(local);
    const unsigned before = deletions();
    deleteLinkTo(target);
    EXPECT_EQ(deletions(), before);
    expectCanaries();
  }
  void serve(const wchar_t* share, const wchar_t* folder) {
    Vector<iFileManager::Share> shares;
    shares.add({share, folder});
    files().setShares(shares);
    VolumeRegistry::get().shares.forget();
  }

  // In the link's folder, beside it, and where hostile targets lead.
  static constexpr std::array kCanaries{
      L"/m/Material/other.mov",
      L"/m/Material/own/x.mov",
      L"/m/Materials/sub/x.mov",
      L"/m/Material.old/x.mov",
      L"/m/Sound/x.mov",
      L"/m/x.mov",
      L"/n/Material/sub/x.mov",
      L"/n/x.mov",
      L"/x.mov",
      L"/M/MATERIAL/sub/x.mov",
      L"/m/Mat/x.mov",
      L"/srv/other/x.mov",
  };
};

TEST_F(FsysDirectoryEntryLinkedFolderTest, TheFolderBelowTheLinksOwnGoesWhole) {
  files().addFile(L"/m/Material/clip/deep/a.mxf");
  files().addFile(L"/m/Material/clip/deep/b.mxf");
  files().addFile(L"/m/Material/clip/deep/more/c.mxf");
  files().addFile(L"/m/Material/clip/kept.mxf");
  deleteLinkTo(L"/m/Material/clip/deep/a.mxf");
  EXPECT_FALSE(files().folderExists(L"/m/Material/clip/deep"));
  EXPECT_TRUE(isThere(L"/m/Material/clip/kept.mxf"));
  expectCanaries();
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, TheFolderGoesFirst) {
  files().addFile(L"/m/Material/clip/a.mxf");
  link(L"/Material/a.mov", L"/m/Material/clip/a.mxf");
  FakeJournal journal(L'/');
  files().setJournal(&journal);
  entry_.deleteFile(name(L"/Material/a.mov"));
  files().setJournal(nullptr);
  ASSERT_GE(journal.effects().size(), 2u);
  EXPECT_EQ(journal.effects().front().name, L"/m/Material/clip/a.mxf");
  EXPECT_EQ(journal.effects().back().name, kLink);
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, AFolderThatCannotBeDeletedIsNotTold) {
  files().addFile(L"/m/Material/clip/a.mxf");
  os_->faults().fail(FaultPlan::eDeleteSubfolder, eOsAccessDenied);
  deleteLinkTo(L"/m/Material/clip/a.mxf");
  EXPECT_TRUE(isThere(L"/m/Material/clip/a.mxf"));
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, FilesOfAnEntryTakeTheirFoldersAlong) {
  files().addFile(L"/m/Material/clip/a.mxf");
  files().addFile(L"/m/Material/small/a.mxf");
  add(link(L"/Material/a.mov", L"/m/Material/clip/a.mxf"));
  addProxy(link(L"/Material/a.A0.proxy.360.mov", L"/m/Material/small/a.mxf"));
  EXPECT_EQ(entry_.deleteFiles(eHighRes | eProxy), 1u);
  EXPECT_FALSE(files().folderExists(L"/m/Material/clip"));
  EXPECT_FALSE(files().folderExists(L"/m/Material/small"));
  expectCanaries();
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, ALinkToNowhereTakesNothingAlong) {
  files().addFile(L"/m/Material/clip/b.mxf");
  deleteLinkTo(L"/m/Material/clip/away.mxf");
  EXPECT_TRUE(isThere(L"/m/Material/clip/b.mxf"));
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, MediaThatHoldsAPathTakesNothingAlong) {
  files().addFile(L"/m/Material/clip/b.mxf");
  for (size_t bytes : {511u, 513u}) {
    std::string content = "/m/Material/clip/b.mxf";
    content.resize(bytes);
    write(kLink, content);
    EXPECT_EQ(entry_.deleteFile(name(L"/Material/a.mov")), 1u);
  }
  std::string riff = "RIFF/m/Material/clip/b.mxf";
  riff.resize(512);
  write(kLink, riff);
  EXPECT_EQ(entry_.deleteFile(name(L"/Material/a.mov")), 1u);
  EXPECT_TRUE(isThere(L"/m/Material/clip/b.mxf"));
}

// Hostile ones -----------------------------------------------------------------------------------

TEST_F(FsysDirectoryEntryLinkedFolderTest, ALinkToItselfOrIntoItsOwnFolderTakesNothingAlong) {
  expectHarmless(kLink);
  expectHarmless(L"/m/Material/other.mov");
  expectHarmless(L"/m/Material/./other.mov");
  expectHarmless(L"/m//Material///other.mov");
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, ALinkOutOfItsFolderTakesNothingAlong) {
  for (const wchar_t* target : {L"/x.mov", L"/m/x.mov", L"/m/Sound/x.mov", L"/n/x.mov",
                                L"/n/Material/sub/x.mov", L"/srv/other/x.mov"})
    expectHarmless(target);
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, AFolderThatOnlyBeginsAlikeIsAnother) {
  for (const wchar_t* target :
       {L"/m/Materials/sub/x.mov", L"/m/Material.old/x.mov", L"/m/Mat/x.mov", L"/m/Material"})
    expectHarmless(target);
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, WhatLeadsOutByDotsIsOutside) {
  for (const wchar_t* target :
       {L"/m/Material/own/../../Sound/x.mov", L"/m/Material/own/../other.mov",
        L"/m/Material/../Material.old/x.mov", L"/m/Material/own/../../../n/x.mov",
        L"/m/Material/own/..", L"/m/Material/own/../", L"/m/Material/..", L"/m/Material/own/."})
    expectHarmless(target);
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, WhatLeadsInByDotsIsBelow) {
  files().addFile(L"/m/Sound/../Material/clip/./a.mxf");
  files().addFile(L"/m/Material/clip/a.mxf");
  deleteLinkTo(L"/m/Sound/../Material/clip/./a.mxf");
  EXPECT_FALSE(isThere(L"/m/Material/clip/a.mxf"));
  expectCanaries();
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, ALinkToAFolderTakesNothingAlong) {
  for (const wchar_t* target :
       {L"/m/Material/own", L"/m/Material/own/", L"/m/Material/", L"/m/", L"/", L"/n/Material/sub"})
    expectHarmless(target);
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, APathWithoutAFolderOrFromElsewhereTakesNothingAlong) {
  for (const wchar_t* target : {L"x.mov", L"own/x.mov", L"./own/x.mov", L"../Material/own/x.mov"})
    expectHarmless(target);
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, ALinkWithoutAFolderOfItsOwnTakesNothingAlong) {
  addLinkFile(L"a.mov", L"/m/Material/own/x.mov");
  const unsigned before = deletions();
  EXPECT_EQ(entry_.deleteFile(MaterialFilename(DriveId(), L"a.mov")), 1u);
  EXPECT_EQ(deletions(), before);
  expectCanaries();
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, NoLinkIsFollowedOnTheWayDown) {
  files().addLink(L"/m/Material/door", L"/n/Material/sub");
  deleteLinkTo(L"/m/Material/door/x.mov");
  expectCanaries();
  files().addFile(L"/m/Material/clip/a.mxf");
  files().addLink(L"/m/Material/clip/door", L"/n/Material");
  deleteLinkTo(L"/m/Material/clip/a.mxf");
  EXPECT_FALSE(isThere(L"/m/Material/clip/a.mxf"));
  expectCanaries();
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, ALinkThatLiesElsewhereThanItsPathSaysTakesNothingAlong) {
  files().addFile(L"/m/Material/clip/a.mxf");
  files().addLink(L"/m/Material/door", L"/n/Material/sub");
  addLinkFile(L"/n/Material/sub/../a.mov", L"/m/Material/clip/a.mxf");
  addLinkFile(L"/m/Material/./b.mov", L"/m/Material/clip/a.mxf");
  const MaterialFilename doubled = name(L"//Material///c.mov");
  // On a disk both are one name.
  addLinkFile(doubled.getOsPath(), L"/m/Material/clip/a.mxf");
  for (const wchar_t* path : {L"/m/Material/a.mov", L"/m/Material/b.mov", L"/m/Material/c.mov"})
    addLinkFile(path, L"/m/Material/clip/a.mxf");
  EXPECT_EQ(entry_.deleteFile(name(L"/Material/door/../a.mov")), 1u);
  EXPECT_EQ(entry_.deleteFile(name(L"/Material/./b.mov")), 1u);
  EXPECT_TRUE(isThere(L"/m/Material/clip/a.mxf"));
  EXPECT_EQ(entry_.deleteFile(doubled), 1u) << "doubled separators are one";
  EXPECT_FALSE(isThere(L"/m/Material/clip/a.mxf"));
  expectCanaries();
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, ThePlaceOfTheFolderIsThatOfALinkThatSaysTheSame) {
  files().addFile(L"/m/Material/clip/a.mxf");
  files().addLink(L"/m/Material/a.mov", L"/n/a.mov");
  addLinkFile(L"/n/a.mov", L"/m/Material/clip/a.mxf");
  EXPECT_EQ(entry_.deleteFile(name(L"/Material/a.mov")), 1u);
  EXPECT_TRUE(isThere(L"/m/Material/clip/a.mxf")) << "what said so lies in another folder";
  expectCanaries();
}

// One whose text begins alike is another, too.
TEST_F(FsysDirectoryEntryLinkedFolderTest,
       ALinkThatIsAnotherWhenTheDeletionBeginsStaysWithAllOfIt) {
  unsigned refused = 0;
  for (unsigned nth = 1;; ++nth) {
    for (const wchar_t* path : {L"/m/Material/clip/a.mxf", L"/m/Material/clip/a.mxf.more/b.mxf",
                                L"/m/Material/a.mov.qvix"})
      files().addFile(path);
    link(L"/Material/a.mov", L"/m/Material/clip/a.mxf");
    uint32_t result = 0;
    {
      ChangeBeforeCall door(
          nth, [this] { link(L"/Material/a.mov", L"/m/Material/clip/a.mxf.more/b.mxf"); });
      result = entry_.deleteFile(name(L"/Material/a.mov"));
      if (!door.isDone()) break;
    }
    EXPECT_TRUE(isThere(L"/m/Material/clip/a.mxf")) << nth;
    const bool isWhole = isThere(kLink) && isThere(L"/m/Material/a.mov.qvix") &&
                         isThere(L"/m/Material/clip/a.mxf.more/b.mxf");
    EXPECT_EQ(result, isWhole ? uint32_t{eOsInvalid} : 1u) << nth;
    EXPECT_EQ(isThere(kLink), isWhole) << nth;
    refused += isWhole;
    expectCanaries();
  }
  EXPECT_GT(refused, 0u);
  EXPECT_FALSE(isThere(L"/m/Material/clip/a.mxf")) << "it stayed the same";
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, ALinkThatIsGoneWhenTheDeletionBeginsKeepsItsFolder) {
  unsigned kept = 0;
  for (unsigned nth = 1;; ++nth) {
    files().addFile(L"/m/Material/clip/a.mxf");
    link(L"/Material/a.mov", L"/m/Material/clip/a.mxf");
    ChangeBeforeCall door(nth, [this] { remove(kLink); });
    const uint32_t result = entry_.deleteFile(name(L"/Material/a.mov"));
    if (!door.isDone()) break;
    EXPECT_EQ(result, eOsNotFound) << nth;
    EXPECT_TRUE(isThere(L"/m/Material/clip/a.mxf")) << nth;
    ++kept;
  }
  EXPECT_GT(kept, 0u);
}

// Letters ----------------------------------------------------------------------------------------

TEST_F(FsysDirectoryEntryLinkedFolderTest, AFolderOfOtherLettersThatIsAnotherStays) {
  files().addFile(L"/m/Material/sub/x.mov");
  for (const wchar_t* target :
       {L"/M/MATERIAL/sub/x.mov", L"/M/MATERIAL/x.mov", L"/m/material/x.mov"}) {
    if (!isThere(target)) files().addFile(target);
    deleteLinkTo(target);
    EXPECT_TRUE(isThere(target));
    EXPECT_TRUE(isThere(L"/m/Material/sub/x.mov"));
    expectCanaries();
  }
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, OtherLettersOfTheSameFolderAreTheSame) {
  files().addLink(L"/m/MATERIAL", L"/m/Material");
  files().addFile(L"/m/Material/clip/a.mxf");
  deleteLinkTo(L"/m/MATERIAL/clip/a.mxf");
  EXPECT_FALSE(isThere(L"/m/Material/clip/a.mxf"));
  expectCanaries();
}

// Network names ----------------------------------------------------------------------------------

TEST_F(FsysDirectoryEntryLinkedFolderTest, ANetworkNameOfAFolderHereIsThatFolder) {
  serve(L"\\\\STATION\\media", L"/m/Material/");
  for (const wchar_t* target :
       {L"\\\\STATION\\media\\clip\\a.mxf", L"\\\\station\\Media\\clip/a.mxf"}) {
    files().addFile(L"/m/Material/clip/a.mxf");
    deleteLinkTo(target);
    EXPECT_FALSE(isThere(L"/m/Material/clip/a.mxf"));
    expectCanaries();
  }
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, ANetworkNameHereThatIsMissingTakesNothingAlong) {
  serve(L"\\\\STATION\\media", L"/m/Material/");
  files().addFile(L"/m/Material/clip/a.mxf");
  files().addFile(L"\\\\STATION\\media\\clip\\away.mxf");
  deleteLinkTo(L"\\\\STATION\\media\\clip\\away.mxf");
  EXPECT_TRUE(isThere(L"/m/Material/clip/a.mxf"));
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, ANetworkNameThatLeadsElsewhereTakesNothingAlong) {
  serve(L"\\\\STATION\\media", L"/m/");
  for (const wchar_t* target :
       {L"\\\\STATION\\media\\Sound\\x.mov", L"\\\\STATION\\media\\Material\\other.mov",
        L"\\\\STATION\\media\\Material\\own\\..\\..\\Sound\\x.mov",
        L"\\\\STATION\\media\\Material\\own\\..", L"\\\\STATION\\media\\Material\\own\\",
        L"\\\\STATION\\media\\..\\n\\x.mov", L"\\\\STATION\\media", L"\\\\STATION", L"\\\\"})
    expectHarmless(target);
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, ANetworkNameOfNoShareOfThisMachineTakesNothingAlong) {
  serve(L"\\\\STATION\\media", L"/m/");
  for (const wchar_t* target :
       {L"\\\\OTHER\\media\\Material\\own\\x.mov", L"\\\\STATION\\m\\Material\\own\\x.mov"})
    expectHarmless(target);
}

TEST_F(FsysDirectoryEntryLinkedFolderTest, AFolderOfAShareMayHaveABackslashOfItsOwn) {
  serve(L"\\\\STATION\\media", L"/m/Material\\own/");
  expectHarmless(L"\\\\STATION\\media\\x.mov");
}

// Not converted then: it is compared as it stands.
TEST_F(FsysDirectoryEntryLinkedFolderTest, BesideALinkWithANetworkNameTheTargetStaysAsItStands) {
  serve(L"\\\\STATION\\media", L"/m/Material/");
  const Text own = L"\\\\STATION\\media\\/a.mov";
  const Text inside = L"\\\\STATION\\media\\/clip/a.mxf";
  const Text here = MaterialLink::localTarget(inside);
  addLinkFile(own, inside);
  for (const Text& media : {inside, here, Text(L"/m/Material/clip/a.mxf")}) files().addFile(media);
  EXPECT_EQ(entry_.deleteFile(MaterialFilename(DriveId(), own)), 1u);
  EXPECT_FALSE(isThere(inside));
  EXPECT_TRUE(isThere(here));
  EXPECT_TRUE(isThere(L"/m/Material/clip/a.mxf"));
  expectCanaries();
}

// Such a target is as good as missing, even below the link's own folder.
TEST_F(FsysDirectoryEntryLinkedFolderTest, ATargetWithoutAFolderOfItsOwnTakesNothingAlong) {
  for (const wchar_t* folder : {L"\\\\STATION\\media/", L"Material/", L"./"}) {
    const Text own = Text(folder) + L"a.mov";
    const Text inside = Text(folder) + L"clip/a.mxf";
    addLinkFile(own, inside);
    files().addFile(inside);
    EXPECT_EQ(entry_.deleteFile(MaterialFilename(DriveId(), own)), 1u);
    EXPECT_FALSE(isThere(own));
    EXPECT_TRUE(isThere(inside));
  }
}

}  // namespace

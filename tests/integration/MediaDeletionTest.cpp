// Links that lead astray, on a real tree: what lies beside a link's folder stays whole.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "fsys/DiskManager.h"
#include "fsys/FsysDirectoryEntry.h"
#include "fsys/VolumeRegistry.h"
#include "platform/OsErrors.h"
#include "tests/support/ScratchFolder.h"

namespace {

namespace fs = std::filesystem;

class MediaDeletionTest : public testing::Test {
protected:
  MediaDeletionTest() {
    for (const char* folder : {"disk/Material/own", "disk/Materials/sub", "disk/Sound", "disk/Mat",
                               "other/Material/sub"})
      fs::create_directories(scratch_.bytes(folder));
    for (const char* file : {"disk/Materials/sub/x.mov", "disk/Sound/x.mov", "disk/Mat/x.mov",
                             "disk/x.mov", "other/Material/sub/x.mov", "other/x.mov", "x.mov",
                             "disk/Material/other.mov", "disk/Material/own/x.mov"})
      scratch_.put(file, "canary");
    before_ = tree();
    drive_ =
        VolumeRegistry::get().registerDrive(scratch_ / "disk/", iDiskDrive::eFixed, false)->getId();
  }
  ~MediaDeletionTest() override { DiskManager::deInit(); }

  // Every name below the scratch folder, links themselves.
  std::vector<std::string> tree() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(scratch_.path()))
      names.push_back(entry.path().string());
    std::sort(names.begin(), names.end());
    return names;
  }
  std::string path(const std::string& name) const { return scratch_.bytes(name); }
  void makeLink(std::string target) const {
    target.resize(MaterialLink::kBytes);
    scratch_.put("disk/Material/a.mov", target);
  }
  uint32_t deleteLink() { return entry_.deleteFile(MaterialFilename(drive_, L"/Material/a.mov")); }
  void expectHarmless(const std::string& target) {
    SCOPED_TRACE(target);
    makeLink(target);
    EXPECT_EQ(deleteLink(), 1u);
    EXPECT_EQ(tree(), before_);
  }
  void makeClip() const {
    fs::create_directories(path("disk/Material/clip/deep"));
    scratch_.put("disk/Material/clip/a.mxf", "media");
    scratch_.put("disk/Material/clip/deep/b.mxf", "media");
  }

  ScratchFolder scratch_;
  DriveId drive_;
  FsysDirectoryEntry entry_;
  std::vector<std::string> before_;
};

TEST_F(MediaDeletionTest, TheFolderBelowALinksOwnGoesWithIt) {
  makeClip();
  makeLink(path("disk/Material/clip/a.mxf"));
  EXPECT_EQ(deleteLink(), 1u);
  EXPECT_EQ(tree(), before_);
}

TEST_F(MediaDeletionTest, BesideAFileIsWhatLiesInTheFolderToWhichItsPathLeads) {
  fs::create_directory_symlink("../../other/Material/sub", path("disk/Material/door"));
  scratch_.put("other/Material/a.mov.qvix", "beside");
  scratch_.put("disk/Material/a.mov.qvix", "canary");
  scratch_.put("disk/Sound/a.mov.qvix", "beside");
  before_ = tree();
  scratch_.put("other/Material/a.mov", "media");
  scratch_.put("disk/Sound/a.mov", "media");
  for (const wchar_t* name : {L"/Material/door/../a.mov", L"/Material/../Sound/a.mov"})
    EXPECT_EQ(entry_.deleteFile(MaterialFilename(drive_, name)), 1u);
  for (const char* gone : {"other/Material/a.mov.qvix", "disk/Sound/a.mov.qvix"})
    EXPECT_EQ(std::erase(before_, path(gone)), 1u);
  EXPECT_EQ(tree(), before_);
}

TEST_F(MediaDeletionTest, LinksThatLeadAstrayTakeNothingAlong) {
  for (const char* target :
       {"disk/Material/a.mov", "disk/Material/other.mov", "disk/Material/own", "disk/Material/own/",
        "disk/Material/own/..", "disk/Material/own/../", "disk/Material/own/../other.mov",
        "disk/Material/own/../../Sound/x.mov", "disk/Material/..", "disk/Material", "disk/x.mov",
        "disk/Materials/sub/x.mov", "disk/Mat/x.mov", "disk/Sound/x.mov", "other/x.mov",
        "other/Material/sub/x.mov", "x.mov", "", "disk//Material//own//..//other.mov"})
    expectHarmless(path(target));
  for (const char* target :
       {"/", "/etc/passwd", "relative.mov", "../x.mov", "\\\\nobody\\share\\x"})
    expectHarmless(target);
}

TEST_F(MediaDeletionTest, ALinkThroughASymbolicLinkTakesAtMostThatAlong) {
  fs::create_directory_symlink(path("other/Material"), path("disk/Material/door"));
  makeLink(path("disk/Material/door/sub/x.mov"));
  EXPECT_EQ(deleteLink(), 1u);
  fs::remove(path("disk/Material/door"));
  EXPECT_EQ(tree(), before_);
}

TEST_F(MediaDeletionTest, SymbolicLinksInTheFolderGoThemselves) {
  makeClip();
  fs::create_directory_symlink(path("other"), path("disk/Material/clip/door"));
  fs::create_symlink(path("disk/Sound/x.mov"), path("disk/Material/clip/deep/file"));
  makeLink(path("disk/Material/clip/a.mxf"));
  EXPECT_EQ(deleteLink(), 1u);
  EXPECT_EQ(tree(), before_);
}

TEST_F(MediaDeletionTest, AFolderOfOtherLettersIsAnother) {
  fs::create_directories(path("disk/MATERIAL/clip"));
  scratch_.put("disk/MATERIAL/clip/a.mxf", "canary");
  makeClip();
  before_ = tree();
  expectHarmless(path("disk/MATERIAL/clip/a.mxf"));
}

TEST_F(MediaDeletionTest, ALinkThatIsASymbolicLinkGoesItselfAndItsTargetStays) {
  std::string target = path("other/x.mov");
  fs::create_symlink(target, path("disk/Material/a.mov"));
  EXPECT_EQ(deleteLink(), 1u);
  EXPECT_EQ(tree(), before_);
}

TEST_F(MediaDeletionTest, WhatLiesBesideAFileGoesButFoldersAndTheTargetsOfLinksStay) {
  scratch_.put("disk/Material/a.mov", "media");
  scratch_.put("disk/Material/a.mov.qvix", "index");
  scratch_.put("disk/Material/a.mov.x.partial", "part");
  fs::create_directory(path("disk/Material/a.mov.folder"));
  scratch_.put("disk/Material/a.mov.folder/inside", "canary");
  fs::create_symlink(path("other/x.mov"), path("disk/Material/a.mov.link"));
  EXPECT_EQ(deleteLink(), 1u);
  EXPECT_FALSE(fs::exists(path("disk/Material/a.mov.qvix")));
  EXPECT_FALSE(fs::exists(path("disk/Material/a.mov.x.partial")));
  EXPECT_EQ(scratch_.content("disk/Material/a.mov.folder/inside"), "canary");
  EXPECT_EQ(scratch_.content("other/x.mov"), "canary");
}

TEST_F(MediaDeletionTest, ANameWithSignsOfAPatternTakesNoOtherFileAlong) {
  for (const char* name : {"*", "?", "*.mov", "o*", "[o]ther.mov", "a\n.mov"}) {
    SCOPED_TRACE(name);
    scratch_.put("disk/Material/other.mov.qvix", "canary");
    scratch_.put(std::string("disk/Material/") + name, "media");
    scratch_.put(std::string("disk/Material/") + name + ".qvix", "index");
    const std::string relative = std::string("/Material/") + name;
    EXPECT_EQ(entry_.deleteFile(MaterialFilename(drive_, fromUTF8(std::string_view(relative)))),
              1u);
    fs::remove(path("disk/Material/other.mov.qvix"));
    EXPECT_EQ(tree(), before_);
  }
}

TEST_F(MediaDeletionTest, AFileThatIsNotThereIsToldAndAFolderStays) {
  EXPECT_EQ(deleteLink(), eOsNotFound);
  EXPECT_EQ(entry_.deleteFile(MaterialFilename(drive_, L"/Material/own")), eOsIsAFolder);
  EXPECT_NE(entry_.deleteFile(MaterialFilename(drive_, L"/Material/")), 1u);
  EXPECT_EQ(tree(), before_);
}

}  // namespace

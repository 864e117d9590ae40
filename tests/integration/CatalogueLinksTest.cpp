// Links in media folders: to other disks, to one another, and to where nothing should lead.

#include <sys/mount.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <map>

#include "fsys/FsysDirectoryEntry.h"
#include "fsys/MaterialLink.h"
#include "platform/OS.h"
#include "tests/integration/CatalogueFixture.h"
#include "tests/support/MountedFolder.h"

namespace {

constexpr const char* kName = "V4K7Q2M9A00.mov";
constexpr std::string_view kPicture = "V4K7Q2M9A00";

class CatalogueLinksTest : public CatalogueFixture {
protected:
  CatalogueLinksTest() : drive_(madeDrive("drive")) {}

  static void write(const std::string& path, std::string_view content) {
    std::ofstream(path, std::ios::binary) << content;
  }
  // A link in the drive's folder of pictures, under that name; its path.
  std::string link(const std::string& target, const char* name = kName) const {
    const std::string path = material(name);
    EXPECT_EQ(MaterialLink::createLink(wide(path), wide(target), true), 1u) << path;
    return path;
  }
  std::string material(const std::string& name) const { return drive_ + "/Material/" + name; }
  // Everything below a folder: paths, and what stands in the files.
  static std::map<std::string, std::string> treeOf(const std::string& folder) {
    std::map<std::string, std::string> tree;
    for (const auto& each : std::filesystem::recursive_directory_iterator(folder)) {
      std::ifstream file(each.path(), std::ios::binary);
      tree[each.path()] = each.is_regular_file()
                              ? std::string(std::istreambuf_iterator<char>(file), {})
                              : "no file";
    }
    return tree;
  }

  const std::string drive_;
};

// Two disks --------------------------------------------------------------------------------------

// A folder that is mounted a second time, in another.
class BoundFolder {
public:
  BoundFolder(const std::string& folder, const std::string& place)
      : place_(place),
        isMounted_(mount(folder.c_str(), place.c_str(), nullptr, MS_BIND, nullptr) == 0),
        why_(isMounted_ ? "" : std::string("no folder can be mounted here: ") + strerror(errno)) {}
  ~BoundFolder() { unmount(); }
  BoundFolder(const BoundFolder&) = delete;
  BoundFolder& operator=(const BoundFolder&) = delete;

  void unmount() {
    if (isMounted_) umount2(place_.c_str(), MNT_DETACH);
    isMounted_ = false;
  }
  const std::string& why() const { return why_; }

private:
  const std::string place_;
  bool isMounted_;
  const std::string why_;
};

TEST_F(CatalogueLinksTest, ALinkIsFoundAsTheMediaOnTheOtherDiskAndPlaysItsBytes) {
  const MountedFolder here(MountedFolder::eExt4, 16), there(MountedFolder::eExt4, 16);
  for (const MountedFolder* disk : {&here, &there})
    if (disk->path().empty()) GTEST_SKIP() << disk->why();
  std::filesystem::create_directories(here.path() + "/Material");
  const std::string content(100'000, 'm');
  const std::string media = there.path() + "/media on the other disk.mov";
  write(media, content);
  const std::string link = here.path() + "/Material/" + kName;
  ASSERT_EQ(MaterialLink::createLink(wide(link), wide(media), false), 1u);
  ASSERT_TRUE(add(here.path()));
  EXPECT_TRUE(SystemCache::isLinked(cookie(kPicture)));
  EXPECT_EQ(SystemCache::fileSize(cookie(kPicture)), 512u);
  EXPECT_EQ(find(kPicture), media);
  EXPECT_TRUE(plays(media, content));
  EXPECT_TRUE(plays(link, content)) << "the link itself is opened as its media";
  EXPECT_EQ(SystemCache::getShotFileSize(cookie(kPicture)), content.size());
}

TEST_F(CatalogueLinksTest, DeletingALinkLeavesTheMediaOnTheOtherDisk) {
  const MountedFolder there(MountedFolder::eExt4, 16);
  if (there.path().empty()) GTEST_SKIP() << there.why();
  write(there.path() + "/media.mov", "media");
  const std::string path = link(there.path() + "/media.mov");
  ASSERT_TRUE(add(drive_));
  EXPECT_TRUE(SystemCache::removeFile(cookie(kPicture), false, 3));
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_TRUE(plays(there.path() + "/media.mov", "media"));
}

TEST_F(CatalogueLinksTest, ALinkToADiskThatIsAwayIsMissingUntilItIsScannedWithTheDiskThere) {
  const std::string store = madeFolder("store");
  const std::string place = madeFolder("place");
  write(store + "/media.mov", "media");
  link(place + "/media.mov");
  ASSERT_TRUE(add(drive_));
  EXPECT_EQ(find(kPicture), "");
  const BoundFolder disk(store, place);
  if (!disk.why().empty()) GTEST_SKIP() << disk.why();
  EXPECT_EQ(find(kPicture), "") << "what was looked for once is not looked for again";
  SystemCache::initialise(true);
  EXPECT_EQ(find(kPicture), place + "/media.mov");
  EXPECT_TRUE(plays(find(kPicture), "media"));
}

TEST_F(CatalogueLinksTest, ADriveThatGoesTakesItsFilesAlongAndBringsThemBack) {
  const std::string store = madeDrive("store");
  const std::string place = madeFolder("place");
  write(store + "/Material/" + kName, "media");
  write(material("V4K7Q2M9B00.mov"), "stays");
  {
    const BoundFolder disk(store, place);
    if (!disk.why().empty()) GTEST_SKIP() << disk.why();
    ASSERT_TRUE(add(drive_));
    ASSERT_TRUE(add(place));
    EXPECT_TRUE(plays(find(kPicture), "media"));
    ASSERT_TRUE(remove(place));
  }
  EXPECT_EQ(known(), Paths({"V4K7Q2M9B00"}));
  EXPECT_EQ(find(kPicture), "");
  ASSERT_TRUE(add(place)) << "the folder is there, the disk is not";
  EXPECT_EQ(known(), Paths({"V4K7Q2M9B00"}));
  ASSERT_TRUE(remove(place));
  const BoundFolder again(store, place);
  ASSERT_TRUE(add(place));
  EXPECT_EQ(known(), Paths({"V4K7Q2M9A00", "V4K7Q2M9B00"}));
  EXPECT_TRUE(plays(find(kPicture), "media"));
  EXPECT_TRUE(plays(find("V4K7Q2M9B00"), "stays"));
}

TEST_F(CatalogueLinksTest, WhatIsHeldOfADriveThatWentIsStillWhole) {
  const std::string path = material(kName);
  write(path, "media");
  ASSERT_TRUE(add(drive_));
  Qv::Ptr<FsysDirectoryEntry> entry = SystemCache::findEntryForCookie(cookie(kPicture));
  ASSERT_TRUE(entry);
  const uint64_t size = entry->fileSize();
  ASSERT_TRUE(remove(drive_));
  EXPECT_FALSE(SystemCache::findEntryForCookie(cookie(kPicture)));
  EXPECT_EQ(entry->fileSize(), size);
}

// The folder in which the process is, for a scope.
class WorkingFolder {
public:
  explicit WorkingFolder(const std::string& folder) : before_(std::filesystem::current_path()) {
    std::filesystem::current_path(folder);
  }
  ~WorkingFolder() { std::filesystem::current_path(before_); }
  WorkingFolder(const WorkingFolder&) = delete;
  WorkingFolder& operator=(const WorkingFolder&) = delete;

private:
  const std::filesystem::path before_;
};

// Where nothing should lead ----------------------------------------------------------------------

TEST_F(CatalogueLinksTest, ALinkToALinkIsFollowedOnceByTheCatalogueAndOnceByTheEngine) {
  const std::string media = scratch_.bytes("media.mov");
  write(media, "media");
  const std::string second = link(media, "V4K7Q2M9B00.mov");
  const std::string first = link(second);
  ASSERT_TRUE(add(drive_));
  EXPECT_EQ(find(kPicture), second);
  EXPECT_TRUE(plays(second, "media"));
  EXPECT_EQ(played(first, 512).substr(0, media.size()), media) << "the bytes of the second link";
}

TEST_F(CatalogueLinksTest, ALinkToItselfIsAFileOf512Bytes) {
  const std::string path = link(material(kName));
  ASSERT_TRUE(add(drive_));
  EXPECT_EQ(find(kPicture), path);
  std::string content = path;
  content.resize(512);
  EXPECT_TRUE(plays(path, content));
}

TEST_F(CatalogueLinksTest, ALinkToAFolderDoesNotOpen) {
  for (const std::string& target :
       {drive_, drive_ + "/Material/..", std::string("/"), std::string("/dev/null")}) {
    const std::string path = link(target);
    ASSERT_TRUE(add(drive_));
    EXPECT_EQ(find(kPicture), target) << "something is there";
    EXPECT_FALSE(opens(path)) << target;
    EXPECT_FALSE(opens(find(kPicture))) << target;
    ASSERT_TRUE(remove(drive_));
  }
}

// It would be another file, wherever the process happens to be.
TEST_F(CatalogueLinksTest, ALinkWithoutAFolderOfItsOwnIsMissingWhereverTheProcessIs) {
  const std::string here = madeFolder("here");
  const WorkingFolder working(here);
  const std::string targets[] = {"media.mov",         "./media.mov", "sub/media.mov",
                                 "../here/media.mov", "..",          "mem:media.mov"};
  madeFolder("here/sub");
  for (const char* file : {"/media.mov", "/sub/media.mov", "/mem:media.mov"})
    write(here + file, "media");
  ASSERT_TRUE(OS()->getFileManager()->openServed(L"mem:media.mov", 2, true));
  const auto before = treeOf(here);
  for (const std::string& target : targets) {
    SCOPED_TRACE(target);
    const std::string path = link(target);
    ASSERT_TRUE(add(drive_));
    EXPECT_EQ(find(kPicture), "");
    EXPECT_EQ(SystemCache::updateStatus(cookie(kPicture), 1), 1u);
    const MaterialFilename name = SystemCache::find(cookie(kPicture));
    EXPECT_FALSE(MaterialLink::linkedFileExists(name));
    EXPECT_EQ(MaterialLink::resolveLink(name), wide(target)) << "the text as it stands";
    EXPECT_FALSE(opens(path));
    FsysFile* file = nullptr;
    EXPECT_EQ(FsysOpen(&file, wide(path), 0, 2, nullptr), 0u);
    EXPECT_TRUE(SystemCache::removeFile(cookie(kPicture), false, 3));
    EXPECT_EQ(treeOf(here), before);
    ASSERT_TRUE(remove(drive_));
  }
  OS()->getFileManager()->deleteFile(L"mem:media.mov");
}

TEST_F(CatalogueLinksTest, ALinkThroughASymbolicLinkPlaysWhatLiesBehindIt) {
  write(madeFolder("store") + "/media.mov", "media");
  ASSERT_EQ(symlink("../../store", material("way").c_str()), 0);
  link(material("way/media.mov"));
  ASSERT_TRUE(add(drive_));
  EXPECT_EQ(find(kPicture), material("way/media.mov"));
  EXPECT_TRUE(plays(find(kPicture), "media"));
}

TEST_F(CatalogueLinksTest, DeletingALinkTakesTheFolderOfItsMediaBelowItAndNothingElse) {
  const std::string own = madeFolder("drive/Material/clip");
  write(own + "/media.mov", "media");
  write(madeFolder("drive/Material/clip/more") + "/index", "index");
  write(material("other.mov"), "another's");
  const std::string path = link(own + "/media.mov");
  ASSERT_TRUE(add(drive_));
  EXPECT_TRUE(SystemCache::removeFile(cookie(kPicture), false, 3));
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_FALSE(std::filesystem::exists(own));
  EXPECT_TRUE(std::filesystem::exists(material("other.mov")));
}

// Of each nothing goes but the link.
TEST_F(CatalogueLinksTest, WhereverALinkLeadsNothingOutsideItsOwnFolderIsDeleted) {
  write(madeFolder("canary/below") + "/bird", "sings");
  write(scratch_.bytes("canary/bird"), "sings");
  write(material("other.mov"), "another's");
  write(madeFolder("drive/MaterialAndMore") + "/bird", "sings");
  const std::string way = material("way");
  ASSERT_EQ(symlink("../../canary", way.c_str()), 0);
  const std::string targets[] = {scratch_.bytes("canary/bird"),
                                 scratch_.bytes("canary/below/bird"),
                                 way + "/bird",
                                 way + "/below/bird",
                                 material("../../canary/bird"),
                                 material("./../../canary/below/bird"),
                                 material("x/../other.mov"),
                                 material("other.mov"),
                                 material(""),
                                 material("."),
                                 material(".."),
                                 material("../MaterialAndMore/bird"),
                                 drive_ + "/MaterialAndMore/bird",
                                 "..",
                                 "/",
                                 "\\\\server\\share\\bird",
                                 material(kName)};
  const auto before = treeOf(scratch_.path());
  for (const std::string& target : targets) {
    const std::string path = link(target);
    ASSERT_TRUE(add(drive_));
    SystemCache::removeFile(cookie(kPicture), false, 3);
    EXPECT_FALSE(std::filesystem::exists(path)) << target;
    EXPECT_EQ(treeOf(scratch_.path()), before) << target;
    ASSERT_TRUE(remove(drive_));
  }
}

}  // namespace

#include "platform/linux/UncName.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

namespace {

struct Mount {
  std::string_view fileSystem;
  std::string_view source;
  std::string_view options = "rw";
  std::string_view root = "/";
};

std::string nameOf(const Mount& mount, std::string_view rest = "") {
  LightweightString<wchar_t> name =
      UncName::ofMount({mount.source, mount.fileSystem, mount.options, mount.root}, rest);
  return toUTF8(name).c_str();
}

}  // namespace

TEST(UncNameTest, OfASambaMountItIsTheSource) {
  EXPECT_EQ(nameOf({"cifs", "//server/share"}), R"(\\server\share)");
  EXPECT_EQ(nameOf({"smb3", "//server/share"}, "/a/b.mov"), R"(\\server\share\a\b.mov)");
  EXPECT_EQ(nameOf({"cifs", "//server/share/"}, "a"), R"(\\server\share\a)");
  EXPECT_EQ(nameOf({"cifs", "//server/share/deep/er"}, "/a"), R"(\\server\share\deep\er\a)");
}

TEST(UncNameTest, TheFolderInAShareMayStandAmongTheOptions) {
  EXPECT_EQ(nameOf({"cifs", "//server/share", "rw,prefixpath=deep/er,vers=3"}, "/a"),
            R"(\\server\share\deep\er\a)");
  EXPECT_EQ(nameOf({"cifs", "//server/share", "prefixpath=/deep/"}), R"(\\server\share\deep)");
  EXPECT_EQ(nameOf({"cifs", "//server/share/deep", "prefixpath=deep"}), R"(\\server\share\deep)")
      << "and when both say it, it counts once";
  EXPECT_EQ(nameOf({"cifs", "//server/share", "prefixpathology=x,noprefixpath=y,prefixpath"}),
            R"(\\server\share)");
}

TEST(UncNameTest, OfAnNfsMountTheExportedFolderIsTheShare) {
  EXPECT_EQ(nameOf({"nfs", "server:/export/dir"}), R"(\\server\export\dir)");
  EXPECT_EQ(nameOf({"nfs4", "server:/export/dir"}, "/a/b"), R"(\\server\export\dir\a\b)");
  EXPECT_EQ(nameOf({"nfs4", "server:/"}, "/a"), R"(\\server\a)");
  EXPECT_EQ(nameOf({"nfs", "10.0.0.2:/x"}), R"(\\10.0.0.2\x)");
}

TEST(UncNameTest, AnAddressLosesItsBrackets) {
  EXPECT_EQ(nameOf({"nfs", "[fe80::1]:/x"}, "/a"), R"(\\fe80::1\x\a)");
  EXPECT_EQ(nameOf({"nfs4", "fe80::1:/x"}, "/a"), R"(\\fe80::1\x\a)");
  EXPECT_EQ(nameOf({"fuse.sshfs", "me@[fe80::1%eth0]:/x"}), R"(\\fe80::1%eth0\x)");
}

TEST(UncNameTest, OfAnSshMountTheUserIsNotTold) {
  EXPECT_EQ(nameOf({"fuse.sshfs", "user@host:/dir"}, "/a"), R"(\\host\dir\a)");
  EXPECT_EQ(nameOf({"fuse.sshfs", "host:"}), R"(\\host)");
  EXPECT_EQ(nameOf({"fuse.sshfs", "host:"}, "/a"), R"(\\host\a)");
  EXPECT_EQ(nameOf({"fuse.sshfs", "me@work@host:dir/at@home"}), R"(\\host\dir\at@home)");
  EXPECT_EQ(nameOf({"fuse.sshfs", "host:a:/b"}), R"(\\host\a:\b)");
}

TEST(UncNameTest, OfAPartOfAMountTheFolderIsToldOnce) {
  // The system says it in the source, in the root, or in both.
  EXPECT_EQ(nameOf({"cifs", "//s/share/sub", "rw", "/"}, "a"), R"(\\s\share\sub\a)");
  EXPECT_EQ(nameOf({"cifs", "//s/share/sub", "rw", "/sub"}, "a"), R"(\\s\share\sub\a)");
  EXPECT_EQ(nameOf({"cifs", "//s/share/sub/er/", "rw", "/sub/er"}), R"(\\s\share\sub\er)");
  EXPECT_EQ(nameOf({"nfs4", "s:/x/sub", "rw", "/sub"}, "a"), R"(\\s\x\sub\a)");
  EXPECT_EQ(nameOf({"nfs", "s:/sub", "rw", "/sub"}), R"(\\s\sub)");
  // And a part of that.
  EXPECT_EQ(nameOf({"cifs", "//s/share", "rw", "/part"}, "a"), R"(\\s\share\part\a)");
  EXPECT_EQ(nameOf({"cifs", "//s/share/sub", "rw", "/sub/part"}), R"(\\s\share\sub\part)");
  EXPECT_EQ(nameOf({"cifs", "//s/share/sub", "rw", "/part"}), R"(\\s\share\sub\part)");
  EXPECT_EQ(nameOf({"nfs4", "s:/x/sub/part", "rw", "/sub/part"}), R"(\\s\x\sub\part)");
  EXPECT_EQ(nameOf({"nfs4", "s:/x", "rw", "/part"}), R"(\\s\x\part)");
  EXPECT_EQ(nameOf({"fuse.sshfs", "s:/x", "rw", "/part"}, "a"), R"(\\s\x\part\a)");
}

TEST(UncNameTest, AFolderInAFolderOfTheSameNameIsAnother) {
  EXPECT_EQ(nameOf({"cifs", "//s/sub", "rw", "/sub"}), R"(\\s\sub\sub)") << "a share's own name";
  EXPECT_EQ(nameOf({"cifs", "//s/share/sub", "rw,prefixpath=sub", "/sub"}), R"(\\s\share\sub\sub)");
  EXPECT_EQ(nameOf({"cifs", "//s/share/sub", "rw", "/subway"}), R"(\\s\share\sub\subway)");
  EXPECT_EQ(nameOf({"cifs", "//s/share/sub", "rw", "/sub/sub"}), R"(\\s\share\sub\sub)");
  EXPECT_EQ(nameOf({"nfs", "s:/x/sub/sub", "rw", "/sub"}), R"(\\s\x\sub\sub)");
  EXPECT_EQ(nameOf({"nfs", "s:/x/club", "rw", "/lub"}), R"(\\s\x\club\lub)");
  EXPECT_EQ(nameOf({"nfs", "s:/sub/x", "rw", "/sub"}), R"(\\s\sub\x\sub)");
  EXPECT_EQ(nameOf({"fuse.sshfs", "s:/x/sub", "rw", "/sub"}), R"(\\s\x\sub\sub)");
}

TEST(UncNameTest, WithoutAServerThereIsNone) {
  for (const char* source : {"", "/dev/sda1", "server/share", "//", "///share", "//server",
                             "//server/", R"(\\server\share)"})
    EXPECT_EQ(nameOf({"cifs", source}, "/a"), "") << source;
  for (const char* source :
       {"", ":/x", "server", "server:x", "[]:/x", "[fe80::1", "[fe80::1]/x", "a/b:/x"})
    EXPECT_EQ(nameOf({"nfs", source}, "/a"), "") << source;
  for (const char* source : {"", ":", "me@:/x", "host", "a/b:/x", "sshfs"})
    EXPECT_EQ(nameOf({"fuse.sshfs", source}, "/a"), "") << source;
  for (const char* fileSystem : {"ext4", "fuse.rclone", "fuse", "ceph", "", "nfsd"})
    EXPECT_EQ(nameOf({fileSystem, "//server/share"}, "/a") + nameOf({fileSystem, "a:/b"}), "")
        << fileSystem;
}

TEST(UncNameTest, ABackslashInANameLeavesNone) {
  EXPECT_EQ(nameOf({"cifs", "//server/share"}, "/a\\b"), "");
  EXPECT_EQ(nameOf({"cifs", "//server/sh\\are"}), "");
  EXPECT_EQ(nameOf({"cifs", "//ser\\ver/share"}), "");
  EXPECT_EQ(nameOf({"nfs", "server:/a\\b"}), "");
}

TEST(UncNameTest, ASeparatorAtTheEndIsNoPartOfIt) {
  EXPECT_EQ(nameOf({"nfs", "server:/x/"}), R"(\\server\x)");
  EXPECT_EQ(nameOf({"nfs", "server:/x/"}, "/"), R"(\\server\x)");
  EXPECT_EQ(nameOf({"nfs", "server:/x"}, "/a/"), R"(\\server\x\a)");
  EXPECT_EQ(nameOf({"nfs", "server:/x//y"}, "//a//b//"), R"(\\server\x\y\a\b)");
}

TEST(UncNameTest, UndecodableNamesKeepTheirBytes) {
  LightweightString<wchar_t> name =
      UncName::ofMount({"//s/\xFF", "cifs", "", "/"}, "/\xC3\xA9\xC3");
  EXPECT_TRUE(name == L"\\\\s\\\xDCFF\\\xE9\xDCC3");
}

TEST(UncNameTest, OfAShareItIsTheWorkstationAsItStands) {
  auto share = [](const wchar_t* workstation, std::string_view name, std::string_view rest) {
    return std::string(toUTF8(UncName::ofShare(workstation, name, rest)).c_str());
  };
  EXPECT_EQ(share(L"Edit-1", "My Media", ""), R"(\\Edit-1\My Media)");
  EXPECT_EQ(share(L"Edit-1", "media", "/a/b"), R"(\\Edit-1\media\a\b)");
  EXPECT_EQ(share(L"Edit-1", "media", "/"), R"(\\Edit-1\media)");
  EXPECT_EQ(share(L"", "media", "/a"), "");
  EXPECT_EQ(share(L"a/b", "media", "/a"), "");
  EXPECT_EQ(share(L"a\\b", "media", "/a"), "");
  EXPECT_EQ(share(L"Edit-1", "media", "/a\\b"), "");
}

TEST(UncNameTest, APathLiesBelowAFolderByWholeNames) {
  auto below = [](std::string_view folder, std::string_view path) {
    return UncName::restBelow(folder, path).value_or("no");
  };
  EXPECT_EQ(below("/srv/media", "/srv/media/a"), "/a");
  EXPECT_EQ(below("/srv/media/", "/srv/media/a/"), "/a/");
  EXPECT_EQ(below("/srv/media", "/srv/media"), "");
  EXPECT_EQ(below("/srv/media", "/srv/media/"), "/");
  EXPECT_EQ(below("/srv/media", "/srv/media2"), "no");
  EXPECT_EQ(below("/srv/media", "/srv"), "no");
  EXPECT_EQ(below("/srv/media", "/SRV/media/a"), "no");
  EXPECT_EQ(below("/", "/srv"), "/srv");
  EXPECT_EQ(below("/", "/"), "/");
}

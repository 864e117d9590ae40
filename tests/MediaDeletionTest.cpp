#include "fsys/MediaDeletion.h"

#include <algorithm>

#include "tests/DirectoryEntryFixture.h"

namespace {

class MediaDeletionTest : public DirectoryEntryFixture {};

TEST_F(MediaDeletionTest, WhatIsSaidToLieBesideAFileIsWhatGoesWithIt) {
  const Text path = L"/m/Material/a*.mov";
  const Texts there = {"a*.mov",      "a*.mov.", "a*.mov.qvix", "a*.mov.x.y",
                       "aa.mov.qvix", "a*.mova", "a*.movx.vix", ".a*.mov.vix"};
  for (const std::string& name : there)
    files().addFile(L"/m/Material/" + fromUTF8(std::string_view(name)));
  Texts said;
  for (const Text& side : sideFilesOf(path)) said.emplace_back(toUTF8(side).view());
  EXPECT_EQ(said,
            (Texts{"/m/Material/a*.mov.", "/m/Material/a*.mov.qvix", "/m/Material/a*.mov.x.y"}));
  entry_.deleteFile(name(L"/Material/a*.mov"));
  for (const std::string& name : there) {
    const std::string whole = "/m/Material/" + name;
    const bool isDoomed = name == "a*.mov" || std::count(said.begin(), said.end(), whole) > 0;
    EXPECT_NE(isThere(fromUTF8(std::string_view(whole))), isDoomed) << name;
  }
}

TEST_F(MediaDeletionTest, APathWithoutALastPartHasNothingBesideIt) {
  files().addFile(L"/m/Material/.hidden");
  EXPECT_TRUE(sideFilesOf(L"/m/Material/").empty());
  EXPECT_TRUE(sideFilesOf(L"").empty());
}

TEST_F(MediaDeletionTest, OnlyALinkIntoAFolderBelowItsOwnHasAFolder) {
  files().addFile(L"/m/Material/below/deep/a.mov");
  files().addFile(L"/n/a.mov");
  media(L"/Material/media.mov");
  link(L"/Material/below.mov", L"/m/Material/below/deep/a.mov");
  link(L"/Material/away.mov", L"/n/a.mov");
  link(L"/Material/beside.mov", L"/m/Material/media.mov");
  link(L"/Material/broken.mov", L"/m/Material/below/none.mov");
  files().addLink(L"/m/Material/symbolic.mov", L"/m/Material/below.mov");
  EXPECT_EQ(linkedFolderOf(name(L"/Material/below.mov")), Text(L"/m/Material/below/deep/"));
  for (const wchar_t* other :
       {L"/Material/away.mov", L"/Material/beside.mov", L"/Material/broken.mov",
        L"/Material/media.mov", L"/Material/none", L"/Material/symbolic.mov"})
    EXPECT_TRUE(linkedFolderOf(name(other)).empty()) << toUTF8(other).c_str();
}

}  // namespace

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/table/ManyDrives.h"
#include "fsys/MaterialFilename.h"
#include "platform/Cookie.h"

// MediaTrees: three registered drives with media, each with ten times as many files as the one
// before.
// Story      A drive's files are made when they are first asked for, and stay in the folder:
//            whoever comes next, in another process too, finds them there. Half are pictures, half
//            sound, in one folder; the names have no order. They are sparse: all that there is of
//            them is a name and a size.
// Errors     throws std::runtime_error when they cannot be made.
class MediaTrees {
public:
  enum eTree { eSmall, eMiddle, eLarge };
  static constexpr unsigned kTrees = 3;
  static constexpr uint64_t kFileBytes = 1 << 20;

  // `most`: the files of the largest.
  MediaTrees(const std::string& folder, uint64_t most) : most_(most), drives_(folder, kTrees) {}

  static uint64_t filesIn(eTree tree, uint64_t most);
  uint64_t files(eTree tree) const { return filesIn(tree, most_); }
  // The folder that holds a tree's files; as the system and as the catalogue know it.
  std::string path(eTree tree) const;
  MaterialFilename folder(eTree tree) const;

  // Of the file with that number, in every tree.
  static Cookie cookie(uint64_t number);
  // Those of a tree's files, each once, in an order that is the same in every run.
  std::vector<Cookie> cookies(eTree tree) const;
  // Makes files with the numbers [from, to) in a folder that is there.
  static void make(const std::string& folder, uint64_t from, uint64_t to, uint64_t bytes);

private:
  const uint64_t most_;
  const ManyDrives drives_;
};

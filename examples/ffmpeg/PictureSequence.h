#pragma once

#include <string>

// PictureSequence: the pictures that a linked picture is the first of.
// Story      Pictures that were imported are copied into a folder below the media folder, and the
//            media folder has a link to the first of them: so they have one cookie, and go together
//            when it is deleted. A linked picture whose name ends in a number is the first of a
//            sequence; any other picture, and one that is the catalogue's own file (whose name is a
//            cookie: it ends in a channel, which is no number of a picture), is a still.
struct PictureSequence {
  // `path` is the file behind a link.
  explicit PictureSequence(const std::string& path);

  bool isOne() const { return !pattern.empty(); }

  std::string pattern;  // as libavformat's image2 takes it; empty: no sequence
  std::string first;    // the number of the first
};

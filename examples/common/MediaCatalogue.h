#pragma once

#include <string>
#include <vector>

#include "fsys/SystemCache.h"

// MediaCatalogue: the library of a program that plays media: the engine, the registry of media
// drives, and the catalogue of what lies on them.
// Story      A program makes one before anything else, and asks it for the file of a cookie. The
//            order is the library's: the engine, then the registry, which finds the drives and
//            tells the catalogue of each. The destructor ends all three in their own order.
// Threads    the main thread.
// Errors     throws Failures.
class MediaCatalogue {
public:
  // A file to open.
  struct File {
    LightweightString<wchar_t> path;
    // Whether the media folder has a link to it, and the file itself lies elsewhere.
    bool isLinked = false;
  };

  // `folders` are media drives: each has a folder "Material", or "Sound", or both, and may be
  // written to. With a `project` those of its list, and the disks that are found to be media
  // drives, come first.
  MediaCatalogue(const std::vector<std::string>& folders, const std::string& project);
  ~MediaCatalogue();
  MediaCatalogue(const MediaCatalogue&) = delete;
  MediaCatalogue& operator=(const MediaCatalogue&) = delete;

  // What serves that cookie: the file of high resolution if it is there, else the first proxy.
  static File find(const std::string& cookie);

private:
  static void addDrives(const std::vector<std::string>& folders, const std::string& project);
};

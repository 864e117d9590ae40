#pragma once

#include <list>
#include <string>

#include "fsys/DecodeFormat.h"
#include "fsys/FsysDirectoryEntry.h"
#include "platform/PathHelpers.h"

// FileChoice: which file of an entry serves a format, and why that one.
// Story      It goes by the rules of FsysDirectoryEntry::findFileForCookie, which answers with a
//            path alone, and takes that answer: it says which of the files it is, and why.
// Threads    one; nobody changes the entry meanwhile. Looks at the disk as that does.
struct FileChoice {
  FileChoice(FsysDirectoryEntry& entry, const DecodeFormat& format);

  PathString path;  // to open; empty: none
  // Which it is: kHighRes, or the proxy's place in the list; kNone of no file.
  static constexpr int kNone = -2;
  static constexpr int kHighRes = -1;
  int file = kNone;
  std::string why;

private:
  using Proxies = std::list<MediaFileInfo>;

  bool takeProxy(const Proxies& proxies, uint32_t height);
  bool takeWanted(const Proxies& proxies, const DecodeFormat& format);
  void takeHighResOrProxy(FsysDirectoryEntry& entry, const Proxies& proxies);
};

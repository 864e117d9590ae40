#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/OsFiles.h"

// FolderListing: the regular files of one folder whose names match a pattern.
// Story      Reads the names of an open folder once, and asks for the size of each file that
//            matches, relative to the folder: where there are many, half of them on a thread of its
//            own, if there is one to be had. A link counts as the file that it leads to; one that
//            leads to none, and a file that is gone when it is asked for (stale, on a server's
//            drive), is left out.
// Threads    one; for kManyNames and more it makes another, which is gone when it is made.
// Errors     all or nothing: a file that cannot be told about is an error of the whole. Throws
//            std::bad_alloc.
class FolderListing {
public:
  // From there on a second thread is worth its making.
  static constexpr size_t kManyNames = 2000;

  // `folder`: an open one, read from where it stands; it is kept open by the caller.
  FolderListing(int folder, std::wstring_view pattern);

  // 0, or the system's error number; there are no files then.
  int error() const { return error_; }
  // Sorted by name, in the order of the code points.
  Vector<iFileManager::ListedFile>& files() { return files_; }

private:
  // A name in the folder, and then the file.
  struct Name {
    size_t at;  // where its bytes begin in the text; a zero follows them
    size_t length;
    uint64_t key;    // eight bytes of it, for the order
    uint64_t bytes;  // the file's size
  };
  // What one thread does; it takes no memory.
  struct Part {
    const FolderListing* listing;
    int folder;
    std::vector<Name> names;
    int error = 0;
  };

  int read(int folder);
  int readNames(int folder);
  void add(std::string_view name);
  bool matches(std::string_view name);
  static void runPart(void* part);
  void look(Part& part) const;
  int lookAt(int folder, Name& name, bool& isFile) const;
  uint64_t keyOf(const Name& name) const;
  bool isBefore(const Name& a, const Name& b) const;
  std::string_view textOf(const Name& name) const;
  LightweightString<wchar_t> wideName(const Name& name);
  int gather(Part& first, Part& second);

  std::wstring_view pattern_;
  std::wstring wide_;
  std::string text_;  // every name that matches, each with its zero
  std::vector<Name> names_;
  size_t alike_ = 0;     // with how many characters all of them begin
  bool isPlain_ = true;  // all are ASCII: the order of the bytes is that of the code points
  Vector<iFileManager::ListedFile> files_;
  int error_;
};

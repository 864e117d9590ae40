#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

// MemoryTree: folders and files in memory, by their paths from the root, which is "/".
// Threads    one.
// Units      bytes.
// Errors     0 or a count of bytes when it went well, else a negative error number of the system.
class MemoryTree {
public:
  MemoryTree();

  int status(const std::string& path, struct stat& status) const;
  // The names in a folder, without what lies deeper.
  int list(const std::string& path, std::vector<std::string>& names) const;
  // A folder when the mode says so; else a file.
  int make(const std::string& path, mode_t mode);
  int removeFile(const std::string& path);
  int removeFolder(const std::string& path);
  // With all that lies in it; a file takes the place of another.
  int rename(const std::string& from, const std::string& to);
  int setMode(const std::string& path, mode_t permissions);
  int setOwner(const std::string& path, uid_t user, gid_t group);
  int setTime(const std::string& path, const timespec& time);
  int resize(const std::string& path, size_t bytes);
  int read(const std::string& path, uint64_t offset, char* to, size_t bytes) const;
  int write(const std::string& path, uint64_t offset, const char* from, size_t bytes);

private:
  struct Node {
    struct stat status = {};
    std::string content;
  };
  using Nodes = std::map<std::string, Node>;

  static std::string folderOf(const std::string& path);
  const Node* find(const std::string& path) const;
  Node* find(const std::string& path);
  bool isEmpty(const std::string& folder) const;

  Nodes nodes_;
};

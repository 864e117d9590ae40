#pragma once

#include <cstdint>
#include <string>

// ToolStage: the folder that a command of the tool works in, and what its files hold.
// Story      What is made below "given" is there for every run; all else is of one run. The byte
//            that belongs at an offset of a file is always the pattern's.
// Units      bytes.
class ToolStage {
public:
  explicit ToolStage(const std::string& folder) : folder_(folder) {}

  std::string path(const std::string& name) const { return folder_ + "/" + name; }
  // A file of pattern bytes, beginning with those of that offset.
  void put(const std::string& name, uint64_t bytes, uint64_t offset = 0) const;
  // A file of stamped sectors.
  void putStamped(const std::string& name, uint64_t bytes, uint64_t seed) const;
  void putText(const std::string& name, const std::string& text) const;
  void makeFolder(const std::string& name) const;
  // Takes away all that is not given.
  void clear() const;

  bool exists(const std::string& name) const;
  uint64_t size(const std::string& name) const;
  std::string content(const std::string& name) const;
  // Reads may end as if the file did: what follows is zeros then.
  void allowZeros(bool allowed) { zerosAllowed_ = allowed; }
  // What is wrong with bytes from a file's beginning; empty when all is right.
  std::string whyNotRead(const std::string& bytes) const;
  // What is wrong with a file that is to have so many bytes; empty when all is right.
  std::string whyNot(const std::string& name, uint64_t bytes) const;
  std::string whyNotStamped(const std::string& name, uint64_t bytes, uint64_t seed) const;
  // The names below the folder that are unfinished files, in words; empty when there are none.
  // Those that the next save of a list takes away are none.
  std::string leftovers() const;

private:
  void sweepLists() const;
  void write(const std::string& name, const void* bytes, uint64_t count) const;
  const std::string folder_;
  bool zerosAllowed_ = false;
};

#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

// PlainFile: a descriptor and the system's plain reads and writes, independent of the engine.
// Ownership  closes the descriptor, save that of standard input and output.
// Errors     throws ToolErrors that name the file. Interrupted calls are continued.
class PlainFile {
public:
  // The name says "standard input" or "standard output" for those.
  static PlainFile standardInput();
  static PlainFile standardOutput();
  static PlainFile openForReading(const std::string& name);
  // A file that is there, and is called by another name.
  static PlainFile openForWriting(const std::string& path, const std::string& name);
  PlainFile(PlainFile&& other) noexcept;
  ~PlainFile();
  PlainFile(const PlainFile&) = delete;
  PlainFile& operator=(const PlainFile&) = delete;

  int descriptor() const { return descriptor_; }
  // Fills the buffer as far as the data goes; less than `count` only at its end. Can be interrupted
  // while it waits.
  size_t read(unsigned char* bytes, size_t count);
  // The same at an offset.
  size_t readAt(uint64_t offset, unsigned char* bytes, size_t count) const;
  void write(const unsigned char* bytes, size_t count);
  // Makes what was written safe against a loss of power. False where the file system has no such
  // thing.
  bool sync() const;

private:
  PlainFile(int descriptor, std::string name);

  int descriptor_;
  std::string name_;
};

// FileFacts: what the system says of a name.
struct FileFacts {
  bool exists = false;
  bool isFolder = false;
  bool isRegular = false;
  dev_t device = 0;
  ino_t inode = 0;
  mode_t mode = 0;
  uint64_t size = 0;
  int64_t changed_ns = 0;
};

// Follows links. Throws for any failure other than that there is no such file.
FileFacts factsOf(const std::string& name);
// As `doing` what: throws for a failure.
void removeFile(const std::string& name);
// The same, but a file that is not there will do.
void removeFileIfThere(const std::string& name);
void truncateFile(const std::string& name, uint64_t size);
// The folder of a name as it is written, "." when there is none; and the part behind it.
std::string folderOf(const std::string& name);
std::string lastPartOf(const std::string& name);

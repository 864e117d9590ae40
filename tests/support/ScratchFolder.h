#pragma once

#include <string>
#include <string_view>

#include "platform/LightweightString.h"

// ScratchFolder: an empty folder of a test's own on a real disk, gone with everything in it at the
// end. It stands in FSYS_TEST_FOLDER, or where the tests run: direct transfers need a disk.
class ScratchFolder {
public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string bytes(std::string_view name) const { return path_ + "/" + std::string(name); }
  LightweightString<wchar_t> operator/(std::string_view name) const {
    return fromUTF8(std::string_view(bytes(name)));
  }
  // Makes a file with that content.
  void put(std::string_view name, std::string_view content) const;
  // The content of a file; empty when there is none.
  std::string content(std::string_view name) const;

private:
  std::string path_;
};

// Sets an environment variable for a scope (null: takes it away).
class ScopedEnvironment {
public:
  ScopedEnvironment(const char* name, const char* value);
  ~ScopedEnvironment();
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
  std::string name_;
  std::string before_;
  bool wasSet_ = false;
};

#pragma once

#include <string>
#include <vector>

#include "fsys/DiskManager.h"

// ManyDrives: folders that are registered as media drives, in the order of their numbers.
// Story      Each has a name, as drives have that users named. They are all the drives that there
//            are: others are let go of before, and these at the end; the folders stay.
// Errors     throws std::runtime_error when a folder cannot be made, or not be registered.
class ManyDrives {
public:
  // As many as a row's name says; identifiers would do for six more.
  static constexpr unsigned kMany = 200;

  struct Drive {
    DriveId id;
    LightweightString<wchar_t> name;
    LightweightString<wchar_t> path;
    LightweightString<wchar_t> location;  // the path with a separator at its end
  };

  explicit ManyDrives(const std::string& folder, unsigned count = kMany);
  ~ManyDrives();
  ManyDrives(const ManyDrives&) = delete;
  ManyDrives& operator=(const ManyDrives&) = delete;

  const std::vector<Drive>& drives() const { return drives_; }

private:
  void add(const std::string& folder, const std::string& name);

  std::vector<Drive> drives_;
};

#pragma once

#include <string>
#include <vector>

// DemoFolders: the folders that the day happens in. They are empty before it and after it.
// Story      The work folder holds the lists and preferences of the day, the folder that it logs in
//            to, and its drives, unless those are elsewhere. What is made in all of them goes
//            again, however the day ends.
// Errors     throws ToolErrors: a folder that is not there, is not empty or cannot be used. What
//            cannot be removed in the end is said on standard error.
class DemoFolders {
public:
  // `drives`: where they are, or none.
  DemoFolders(const std::string& work, const std::vector<std::string>& drives, bool keep);
  ~DemoFolders();
  DemoFolders(const DemoFolders&) = delete;
  DemoFolders& operator=(const DemoFolders&) = delete;

  // Absolute.
  const std::string& drive(size_t number) const { return drives_[number]; }
  std::string project() const { return work_ + "/project"; }
  std::string settings() const { return work_ + "/config"; }
  // Of the media that several workstations share.
  std::string shared() const { return work_ + "/shared"; }
  // Empties them; throws for the first thing that cannot be removed, once all others are.
  void clear();

private:
  std::string work_;
  std::vector<std::string> drives_;
  std::vector<std::string> toEmpty_;  // in the end
};

#pragma once

#include <string>
#include <vector>

#include "platform/PathHelpers.h"
#include "platform/TextFile.h"

// LocationList: one list of locations in a file, a line each.
// Threads    one. Changes are made by who holds the ListsLock.
// Errors     throws ToolErrors that name the file. A missing file is an empty list.
class LocationList {
public:
  // Doubled backslashes stand for single ones in the list that users edit.
  enum eBackslashes { eAsTheyStand, eDoubled };

  LocationList(const PathString& folder, const PathString& name, eBackslashes backslashes);

  // As the file is now.
  void load();
  const std::vector<PathString>& lines() const { return lines_; }
  std::string name() const;
  // As isSamePlace.
  bool has(const PathString& path) const;
  // Appends a line, or takes all of that path away; then saved. Nothing changed: nothing saved.
  void append(const PathString& path);
  void remove(const PathString& path);

private:
  void read(const TextFile& file);
  void save(TextFile& file);
  TextFile loaded() const;

  PathString name_;
  eBackslashes backslashes_;
  std::vector<PathString> lines_;
};

// LocationLists: the two lists of a project folder.
class LocationLists {
public:
  explicit LocationLists(const PathString& folder);
  void load();

  LocationList added;      // by the user
  LocationList unmounted;  // by the user, of those that are found without him
};

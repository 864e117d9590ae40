#include "fsys/UnmountedList.h"

#include <algorithm>
#include <cstdint>

#include "platform/PathHelpers.h"

UnmountedList::UnmountedList(const Text& folder)
    : list_(joinPaths(folder, L"UnmountedDrives.txt")) {}

Vector<UnmountedList::Text> UnmountedList::locations() const {
  using Line = uint16_t;
  const Line lines = static_cast<Line>(std::min(list_.count(), size_t{UINT16_MAX}));
  Vector<Text> read(lines);
  for (Line line = 0; line < lines; ++line) read.add(list_[line]);
  return read;
}

void UnmountedList::append(const Text& location) {
  if (list_.append(location)) list_.save();
}

bool UnmountedList::takeOut(const Text& location) {
  if (locations().locate(location) == Vector<Text>::npos) return false;
  for (size_t line = list_.count(); line-- > 0;)
    if (list_[line] == location) list_.removeLine(line);
  if (list_.count() == 0)
    list_.remove();
  else
    list_.save();
  return true;
}

#pragma once

#include "fsys/ListFile.h"
#include "platform/LightweightString.h"
#include "platform/Vector.h"

// UnmountedList: the locations of the drives that the user unmounted, in "UnmountedDrives.txt".
// Story      Read when it is made. A drive's location comes in when the user takes it out, and goes
//            when he brings it back; the file goes with the last one.
// Threads    one at a time.
// Errors     as ListFile's.
// Kept       lines are counted with 16 bits: those after the first 65,535 are not seen, but stay
//            (DiskManagerUnmountedTest.OfMoreThan65535LinesTheRestIsNotSeenButStays).
class UnmountedList {
public:
  using Text = LightweightString<wchar_t>;

  // Of the project space in that folder.
  explicit UnmountedList(const Text& folder);

  // In the order of the file.
  Vector<Text> locations() const;
  void append(const Text& location);
  // Takes every line with exactly that location out; false, and the file is not touched, when there
  // is none.
  bool takeOut(const Text& location);

private:
  ListFile list_;
};

#pragma once

#include "fsys/Export.h"
#include "platform/LightweightString.h"

// DriveId: the identifier of a registered media drive: one character code.
// Story      The registry hands the codes out in the order in which drives are registered, from '1'
//            on through the character codes to the last, 0xFF; none is used twice before it is
//            initialised again. They are not the same in the next run.
// Threads    a value.
// Kept       codes above 'Z' are those of drives that DiskManager::unmountDrives takes out
//            (DiskManagerUnmountedTest.DrivesAboveZAreWrittenToldAndDeleted,
//            DrivesUpToZAreNotUnmounted).
class FSYS_EXPORT DriveId {
public:
  static constexpr unsigned char kNone = '0';
  static constexpr unsigned char kLast = 0xFF;

  constexpr DriveId() = default;
  constexpr explicit DriveId(unsigned char code) : code_(code) {}

  constexpr unsigned char code() const { return code_; }
  // Whether it is the identifier of a drive at all.
  constexpr bool valid() const { return code_ != kNone; }
  // The one character.
  LightweightString<char> asString() const;

  friend constexpr bool operator==(DriveId a, DriveId b) { return a.code_ == b.code_; }

private:
  unsigned char code_ = kNone;
};

static_assert(sizeof(DriveId) == 1, "a drive identifier is one character");

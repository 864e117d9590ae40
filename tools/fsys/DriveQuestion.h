#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/DriveErrand.h"
#include "platform/PathHelpers.h"
#include "tools/fsys/ToolError.h"

// Questions about a path that a drive answers; one that is silent is not waited for longer than
// its asker has patience.

// DriveAnswer: yes, or why not.
struct DriveAnswer {
  bool yes = false;
  uint32_t error = 0;  // an OsError, or 0: it is not so
  bool isSilent() const;
};

// Links followed.
DriveAnswer askIsThere(const PathString& path);
DriveAnswer askIsFolder(const PathString& path, unsigned patience_ms = kDrivePatience_ms);
DriveAnswer askIsWritable(const PathString& path);
// Whether both media folders are there.
DriveAnswer askIsPrepared(const PathString& path);

// Has `work` done where the drive of the path can be waited for, and waits until it is: when it was
// begun, for up to 30 s, as long as nobody wants the end (then it throws). Meanwhile that drive
// refuses everything else. False when it was not done: eOsTimedOut, or eOsNoMemory. It may then be
// done later: it copies what it uses, and throws nothing but std::bad_alloc.
bool doOnDrive(const PathString& path, const std::function<void()>& work);

// Where the disk is mounted that holds the path; empty when that is not known.
PathString diskOf(const PathString& path);

// As engineError; that a drive is silent is said in plain words.
ToolError driveError(const std::string& doing, const PathString& path, uint32_t error);
// Throws unless it is a folder that is there.
void requireFolder(const std::string& doing, const PathString& path,
                   unsigned patience_ms = kDrivePatience_ms);
// Throws unless media may be made in the folder.
void requireWritable(const std::string& doing, const PathString& path);

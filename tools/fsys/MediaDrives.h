#pragma once

#include <string>
#include <vector>

#include "fsys/DiskManager.h"
#include "platform/PathHelpers.h"
#include "tools/fsys/Json.h"
#include "tools/fsys/ToolError.h"

// The registered media drives, for people.
namespace MediaDrives {

// In order of registration.
std::vector<Qv::Ptr<MediaDrive>> all();
// Null when none lies there, as isSamePlace.
Qv::Ptr<MediaDrive> at(const PathString& root);
// The drive that a word of the command line means: its code, its name or its path, in this order.
// Null when there is none.
Qv::Ptr<MediaDrive> called(const std::string& word);
// The same; throws when there is none, and says why a location is none now.
Qv::Ptr<MediaDrive> require(const std::string& doing, const std::string& word);

// Whether it is a location that is listed, and could not be registered.
bool isMissing(const PathString& path);
// Why a location that is listed is no media drive now.
ToolError notRegistered(const std::string& doing, const PathString& path);

// With a separator at its end.
PathString rootOf(const MediaDrive& drive);
// Its code; one that is no letter, digit or mark stands as \xNN.
std::string codeOf(DriveId id);
std::string nameOf(const MediaDrive& drive);
std::string pathOf(const MediaDrive& drive);
// "media drive '1'".
std::string titleOf(DriveId id);
// Under "drive", "code", "name" and "path".
void put(Json& json, const MediaDrive& drive);

}  // namespace MediaDrives

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "fsys/DriveId.h"

// CatalogueWatch: what the catalogue is told of drives, seen from what it does then.
// Story      It logs each drive that it adds, and forgets the entries of one that it removes: an
//            entry is planted on every drive that there can be.
// Threads    one.
namespace CatalogueWatch {

// Whether that is a line about a drive that was added.
bool isAdded(const std::string& line);
// The drive of such a line, of the last that is registered there; '0' when none is. Each drive has
// two lines: nothing for the second.
std::optional<DriveId> driveOf(const std::string& line);

// Into an empty catalogue.
void plant();
// The drives whose entries are gone; they are planted again.
std::vector<DriveId> takeRemoved();
// Leaves it empty: nothing is removed any more.
void clear();

}  // namespace CatalogueWatch

#pragma once

#include <string>

#include "bench/table/MediaTrees.h"
#include "bench/table/Meter.h"

// CatalogueSides: who finds out which files a folder has, and how large they are. A round has one
// latency, the mean for a file; it is wrong when one is missing.
namespace CatalogueSides {

// The catalogue, which is empty before, and holds the files afterwards.
Round scan(const MediaTrees& trees, MediaTrees::eTree tree);
// The least that it takes: the folder read, each file asked about, and nothing kept.
Round ask(const MediaTrees& trees, MediaTrees::eTree tree);
// What a program would do instead: std::filesystem, and a map by names.
Round map(const MediaTrees& trees, MediaTrees::eTree tree);

// What the catalogue holds after a scan:

// So many threads look each cookie up once; the mean of all threads' look-ups.
Round lookUp(const std::vector<Cookie>& cookies, unsigned threads);
// All entries are visited once.
Round enumerate(uint64_t entries);

}  // namespace CatalogueSides

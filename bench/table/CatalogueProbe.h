#pragma once

#include <cstdint>
#include <string>

// CatalogueProbe: what is counted of the catalogue, each in a process of its own. The folder holds
// the MediaTrees, which are made by then, and `most` is the largest's number of files. All give the
// exit status.
namespace CatalogueProbe {

constexpr uint64_t kFinds = 10000;    // files that are asked for between the marks, at the most
constexpr unsigned kSlowFiles = 200;  // on the slow volume
constexpr unsigned kProxyHeight = 360;

// Scans the middle tree between two marks.
int scan(const std::string& folder, uint64_t most);
// Asks between two marks for files that were asked for before: of high resolution, proxies, through
// a link, through a link to nothing, and of a cookie that is not in the catalogue.
int find(const std::string& folder, uint64_t most);
// Scans the largest tree, and prints what has become resident for each of its files: bytes_a_file,
// and most_a_file while it was scanned; then adds a proxy with two sound channels to each picture,
// and prints what is resident for each of all these files: with_proxies.
int memory(const std::string& folder, uint64_t most);
// Looks up entries of the largest tree, alone and while a volume in the folder `volume`, which is
// made, is scanned that takes 5 ms for each answer. Prints the 99th of 100 look-ups, p99_us and
// alone_us, the slowest, slowest_us, their number, lookups, and the time of the scan, scan_s; or
// "p99_us: " and why there is no such volume.
int amongSlow(const std::string& folder, uint64_t most, const std::string& volume);

}  // namespace CatalogueProbe

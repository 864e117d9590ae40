#pragma once

#include <cstdint>
#include <string>

// Options: how a run was asked for.
struct Options {
  uint64_t readMib = 2048;  // the file that is read; the eight files together hold as much
  uint64_t writeMib = 512;  // each file that is written
  uint64_t stagedMib = 128;
  unsigned rounds = 9;
  unsigned trips = 2000;
  uint64_t hits = 200000;
  uint64_t catalogueFiles = 1'000'000;  // in the largest of the catalogue's folders
  bool quick = false;
  bool strict = false;
  std::string folder = ".";
  std::string cachedFolder = "/dev/shm";  // whose files are in the page cache and nowhere else
  std::string json;
  std::string only;  // a part of the names of the rows to be measured

  std::string probe;  // in a process of its own: see Probes
  std::string probeFile;
  std::string probeSpare;
  uint64_t probeNumber = 0;
  uint64_t probeBytes = 0;

  // Fits what is asked for into the folder's free space. Throws std::runtime_error when even the
  // least does not fit.
  void fit(uint64_t freeBytes);
};

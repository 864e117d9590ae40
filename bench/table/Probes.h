#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bench/table/Trace.h"
#include "bench/table/Workload.h"

struct Options;

// Probes: what is counted rather than timed. Each runs in a process of its own, so that counting
// disturbs nothing that is timed, and answers by one line on standard output.
//
//   hits             cache hits between two marks that a tracer sees
//   hit-allocations  what cache hits ask the heap for
//   idle             passes over many files that are open and do nothing
//   allocations      what the completion threads ask the heap for
//   staged           small unaligned writes between two marks that a tracer sees
//   addresses        from where the kernel was told to write
//   memory           what stays of a burst of reads
//   idle-drives      passes over many idle files, with many drives registered and with none
//   look-ups         how long look-ups among many drives take
//   look-up-allocations  what they ask the heap for
//   catalogue-scan   a scan between two marks that a tracer sees
//   catalogue-find   files that are asked for again between two marks that a tracer sees
//   catalogue-memory what a scan leaves resident
//   catalogue-slow   look-ups while a slow volume is scanned
//   drives           how long the tool takes to list many mounts
namespace Probes {

constexpr uint64_t kHits = 10000;
constexpr unsigned kIdleFiles = 1000;

// In the process of its own: the exit status.
int run(const Options& options);

struct Outcome {
  std::optional<double> value;  // none: it could not be found out
  std::string why;              // why not
};

struct Calls {
  Trace::Calls each;
  std::string why;  // why they could not be found out; empty: they were

  // All of them together, over so many of something.
  Outcome per(double what) const;
};

// What one of kHits cache hits makes of system calls; of allocations, holders from their pool.
Outcome callsInHits(const Workload::File& file, const std::string& trace);
Outcome allocationsInHits(const Workload::File& file);
// Median time of a pass, of the medians of several processes.
Outcome idlePass_us(const Workload::File& file);
// Allocations of the completion threads for one transfer's end, callbacks left out.
Outcome allocationsPerRead(const Workload::File& file, const std::string& spare);
Outcome allocationsPerWrite(const Workload::File& file, const std::string& spare);
// System calls of all threads for the workload's staged writes, to a new file.
Calls callsInStaged(const Workload& work, const std::string& trace);
// Aligned writes that the kernel was told to take from elsewhere than the caller's bytes.
Outcome copiedWrites(const Workload::File& file, const std::string& spare);

// Resident memory around so many bytes of reads that were held all at once and then let go.
struct Memory {
  Outcome settled_s;  // idle until it was back at the start and the limit
  double start_mib = 0, most_mib = 0, end_mib = 0, limit_mib = 0;
};
Memory memory(const Workload::File& file, uint64_t bytes);

// The time of a pass with ManyDrives::kMany drives, over that with none.
struct PassAmongDrives {
  Outcome ratio;
  double none_us = 0, many_us = 0;
};
PassAmongDrives passAmongDrives(const Workload::File& file, const std::string& folder);

// Looking for one of ManyDrives::kMany drives by one of its keys.
struct LookUp {
  std::string key;
  Outcome median_us, slowest_us, allocations;
};
std::vector<LookUp> lookUps(const std::string& folder);

// Of the catalogue; `media.path` holds the MediaTrees, and `media.number` is the number of files in
// the largest.
// System calls of all threads for a scan of the middle one.
Calls callsInScan(const Workload::File& media, const std::string& trace);
// System calls for files that were asked for before, all together.
Outcome callsInFinds(const Workload::File& media, const std::string& trace);
struct ScanMemory {
  Outcome bytes;          // resident, for each file of the largest
  double most_bytes = 0;  // while it was scanned
  Outcome withProxies;    // for each file, with a proxy to each picture
};
ScanMemory scanMemory(const Workload::File& media);
// Look-ups in the largest while another volume is scanned that takes 5 ms for each answer.
struct AmongSlow {
  Outcome p99_us;
  double alone_p99_us = 0, max_us = 0, lookUps = 0, scan_s = 0;
};
AmongSlow lookUpsAmongSlow(const Workload::File& media, const std::string& volume);

// The tool beside this program lists its mounts.
struct Listing {
  Outcome listed_ms;
  Outcome hung_ms;  // one of them never answers
};
Listing listing(const std::string& folder);

}  // namespace Probes

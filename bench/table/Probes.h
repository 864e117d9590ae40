#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "bench/table/Workload.h"

// Probes: what is counted rather than timed. Each runs in a process of its own, so that counting
// disturbs nothing that is timed, and answers by one line on standard output.
//
//   hits          cache hits between two marks that a tracer sees
//   idle          passes over many files that are open and do nothing
//   allocations   what the completion threads ask the heap for
namespace Probes {

constexpr uint64_t kHits = 10000;
constexpr unsigned kIdleFiles = 1000;

// In the process of its own: the exit status.
int run(const std::string& name, const Workload::File& file, const std::string& spare);

struct Outcome {
  std::optional<double> value;  // none: it could not be found out
  std::string why;              // why not
};

// System calls of the thread that made kHits cache hits.
Outcome callsInHits(const Workload::File& file, const std::string& trace);
// Median time of a pass.
Outcome idlePass_us(const Workload::File& file);
// Allocations of the completion threads for one transfer's end, callbacks left out.
Outcome allocationsPerRead(const Workload::File& file, const std::string& spare);
Outcome allocationsPerWrite(const Workload::File& file, const std::string& spare);

}  // namespace Probes

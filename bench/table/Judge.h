#pragma once

#include <string>
#include <vector>

#include "bench/table/Probes.h"
#include "bench/table/Row.h"

// Judge: makes the bars of a row. Formats are printf's for one double.
namespace Judge {

Bar atLeast(const std::string& what, const char* format, double value, double limit);
Bar atMost(const std::string& what, const char* format, double value, double limit);
Bar told(const std::string& what, const char* format, double value);
// Skipped when it could not be found out.
Bar counted(const std::string& what, const char* format, const Probes::Outcome& outcome,
            double most);

// The engine's throughput over a side's.
Bar share(const Row& row, const std::string& of, double least);
Bar shareTold(const Row& row, const std::string& of);
// The least of the engine's throughputs over those of the sides: more than 1.
Bar aheadOf(const Row& row, const std::vector<std::string>& sides);
// The engine's processor time a MB; and over a side's.
Bar cpu(const Row& row, double most_us);
Bar cpuShare(const Row& row, const std::string& of, double most);
Bar cpuShareTold(const Row& row, const std::string& of);
// The engine's time over a side's.
Bar time(const Row& row, const std::string& of, double most);
Bar timeTold(const Row& row, const std::string& of);
// The engine's slowest stream over the mean of its streams.
Bar worstStream(const Row& row, double least);

}  // namespace Judge

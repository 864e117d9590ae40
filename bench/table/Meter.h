#pragma once

#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <vector>

// Round: what one side did in one round.
struct Round {
  double seconds = 0;
  double cpu_us = 0;  // user and system, all threads of the process
  uint64_t bytes = 0;
  uint64_t wrong = 0;                // transfers that failed or held something else
  std::vector<double> latencies_us;  // of single transfers, where they are looked at
  std::vector<double> streams_mbps;  // of each file until its last block, where they are looked at

  double mbPerSecond() const {
    return seconds > 0 ? static_cast<double>(bytes) / 1e6 / seconds : 0;
  }
  double cpuPerMb_us() const { return bytes ? cpu_us / (static_cast<double>(bytes) / 1e6) : 0; }
};

// Meter: the time and the processor time from its making until stop().
class Meter {
public:
  Meter() : cpu_us_(processCpu_us()), start_(std::chrono::steady_clock::now()) {}

  void stop(Round& round) const {
    std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start_;
    round.seconds = passed.count();
    round.cpu_us = processCpu_us() - cpu_us_;
  }

private:
  static double micros(const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
  }
  static double processCpu_us() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return micros(usage.ru_utime) + micros(usage.ru_stime);
  }

  double cpu_us_;
  std::chrono::steady_clock::time_point start_;
};

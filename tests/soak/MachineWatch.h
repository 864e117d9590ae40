#pragma once

#include <mutex>
#include <string>
#include <thread>

#include "tests/soak/SoakClock.h"
#include "tests/soak/Spans.h"

// MachineWatch: whether the machine itself stands still, seen without a line of the library's.
// Story      One thread wants to run every few milliseconds, and notes when it could not. Another
//            reads and appends one sector of a file of its own, past the page cache, and notes when
//            the disk took long. What is late meanwhile is the machine's doing.
// Threads    any asks.
// Units      milliseconds of the soak's clock.
class MachineWatch {
public:
  // The probe's file is made in that folder, and removed at the end.
  MachineWatch(SoakClock& clock, const std::string& folder);
  ~MachineWatch();
  MachineWatch(const MachineWatch&) = delete;
  MachineWatch& operator=(const MachineWatch&) = delete;

  // How much of that time the machine took for itself.
  double stalled_ms(double from_ms, double to_ms) const;
  double longest_ms() const;
  // All of it since the beginning.
  double all_ms() const { return stalled_ms(0, clock_.now_ms()); }

private:
  void watchProcessor();
  void watchDisk();
  void probe(int file, uint64_t turn);

  SoakClock& clock_;
  const std::string path_;
  mutable std::mutex lock_;  // guards what follows
  Spans processor_, disk_;
  double probed_ms_ = -1;  // since when the disk has not answered; negative: it has
  std::jthread threads_[2];
};

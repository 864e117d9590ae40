#pragma once

#include <cstdint>
#include <string>

// Progress: a bar on standard error, drawn while that is a terminal.
// Threads    one at a time.
// Units      bytes; a total of 0 is not known.
class Progress {
public:
  Progress(std::string label, uint64_t total, bool wanted);
  // Takes the bar away.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void add(uint64_t bytes);

private:
  void draw(double now_ms);

  std::string label_;
  uint64_t total_;
  uint64_t done_ = 0;
  bool shown_;
  bool drawn_ = false;
  double begin_ms_;
  double lastDraw_ms_;
};

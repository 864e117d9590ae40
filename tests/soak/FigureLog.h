#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/soak/Flatness.h"
#include "tests/support/CountingHeap.h"

// FigureLog: what the process holds, second by second, and whether it grows.
// Story      A sanitizer keeps what was freed for a while, and has a heap of its own: under one
//            neither the heap's pieces nor what is resident says anything.
// Threads    one.
class FigureLog {
public:
  struct Figure {
    const char* name;
    double slack;  // by how much the last quarter may have more than the second
    std::vector<double> samples = {};
    Flatness flatness() const { return {samples, slack}; }
  };

  // Room for so many samples is taken at once: the log itself does not grow.
  FigureLog(const CountingHeap& heap, size_t samples);

  void sample();
  const std::vector<Figure>& figures() const { return figures_; }
  // The latest, in a few words.
  std::string latest() const;
  // Those that grow, in words; empty when none does.
  std::string whyNotFlat() const;

private:
  const CountingHeap& heap_;
  std::vector<Figure> figures_;
};

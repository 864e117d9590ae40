#include "tests/soak/FigureLog.h"

#include <unistd.h>

#include <fstream>

#include "tests/support/ProcessFigures.h"

namespace {

constexpr double kMib = 1 << 20;

double resident_mib() {
  uint64_t all = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> all >> resident;
  return static_cast<double>(resident * static_cast<uint64_t>(sysconf(_SC_PAGESIZE))) / kMib;
}

std::string whole(double value) { return std::to_string(static_cast<int64_t>(value)); }

}  // namespace

FigureLog::FigureLog(const CountingHeap& heap, size_t samples) : heap_(heap) {
  // A player has one to three clips open, so that a dozen descriptors come and go by chance.
  figures_ = {{"descriptors", 12}, {"threads", 2}, {"MiB in regions", 8}};
  if (heap_.seesAllocations()) {
    figures_.push_back({"MiB resident", 24});
    figures_.push_back({"pieces of the heap", 500});
  }
  for (Figure& figure : figures_) figure.samples.reserve(samples);
}

void FigureLog::sample() {
  const ProcessFigures now = ProcessFigures::now();
  const double values[] = {static_cast<double>(now.descriptors), static_cast<double>(now.threads),
                           static_cast<double>(now.regionBytes) / kMib, resident_mib(),
                           static_cast<double>(heap_.live())};
  for (size_t i = 0; i < figures_.size(); ++i) figures_[i].samples.push_back(values[i]);
}

std::string FigureLog::latest() const {
  std::string text;
  for (const Figure& figure : figures_) {
    if (figure.samples.empty()) continue;
    text += (text.empty() ? "" : ", ") + whole(figure.samples.back()) + " " + figure.name;
  }
  return text;
}

std::string FigureLog::whyNotFlat() const {
  std::string text;
  for (const Figure& figure : figures_) {
    const Flatness flatness = figure.flatness();
    if (flatness.verdict == Flatness::eGrows)
      text += std::string(text.empty() ? "" : "; ") + figure.name + ": " + whole(flatness.warm) +
              " in the second quarter, " + whole(flatness.last) + " in the last";
  }
  return text;
}

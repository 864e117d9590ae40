#include "tests/soak/SoakReport.h"

#include <cstdio>

namespace {

constexpr double kGib = 1 << 30;

unsigned long long whole(const std::atomic<uint64_t>& count) { return count.load(); }

uint64_t struckInAll(const SoakTally& tally) {
  uint64_t sum = 0;
  for (const auto& count : tally.struck) sum += count;
  return sum;
}

void printActivities(const SoakTally& tally) {
  const auto row = [](const char* what, const std::atomic<uint64_t>& count, const char* more = "") {
    std::printf("  %-40s %12llu%s\n", what, whole(count), more);
  };
  row("pictures shown, every byte compared", tally.pictures);
  std::printf("  %-40s %12.2f GiB\n", "  of them", double(tally.pictureBytes) / kGib);
  row("  asked for again after a failure", tally.askedAgain);
  row("  refused by a full list, tried again", tally.refused);
  row("files opened", tally.opens);
  row("  closed with pictures on their way", tally.cuts);
  row("shots recorded and read back", tally.shots);
  std::printf("  %-40s %12.2f GiB\n", "  of them", double(tally.recordedBytes) / kGib);
  row("  chunks, by callback each", tally.chunks);
  row("  written anew after a failure", tally.repaired);
  row("  removed through the catalogue", tally.deleted);
  row("scans of the shelf", tally.scans);
  row("  files compared with what lies there", tally.scannedFiles);
  row("locations that came and went", tally.locations);
  row("  registries begun anew", tally.beginnings);
  row("listeners that came and went", tally.listeners);
  row("  messages that they heard", tally.heard);
  row("late without a fault", tally.turns[static_cast<size_t>(eTurn::eLate)]);
  row("late as a fault was under way", tally.turns[static_cast<size_t>(eTurn::eLateInFault)]);
  row("late as the machine stood still", tally.turns[static_cast<size_t>(eTurn::eLateInStall)]);
  row("lines that the library logged", tally.logged);
}

void printFaults(const SoakTally& tally) {
  std::printf(
      "  faults that struck %llu, that nothing came by to meet %llu; told of as failures %llu\n",
      static_cast<unsigned long long>(struckInAll(tally)), whole(tally.missed),
      whole(tally.failuresTold));
  for (size_t kind = 0; kind < kSoakFaults; ++kind)
    std::printf("    %-38s %12llu\n", soakFaultName(static_cast<SoakFault>(kind)),
                whole(tally.struck[kind]));
}

void printFigures(const FigureLog& figures) {
  std::printf("  %-22s %12s %12s %8s\n", "held (medians)", "2nd quarter", "last quarter", "slack");
  for (const FigureLog::Figure& figure : figures.figures()) {
    const Flatness flatness = figure.flatness();
    const char* const verdicts[] = {"flat", "GROWS", "too few samples"};
    std::printf("  %-22s %12.0f %12.0f %8.0f  %s\n", figure.name, flatness.warm, flatness.last,
                figure.slack, verdicts[flatness.verdict]);
  }
}

}  // namespace

std::string SoakReport::line(double minutes, double processor_percent, const SoakTally& tally,
                             const FigureLog& figures) {
  char text[400];
  std::snprintf(text, sizeof text,
                "minute %.1f: %llu pictures, %llu late; %llu shots; %llu scans; %llu locations; "
                "%llu messages; %llu faults; %s; %.0f %% of a processor",
                minutes, whole(tally.pictures),
                static_cast<unsigned long long>(tally.turn(eTurn::eLate)), whole(tally.shots),
                whole(tally.scans), whole(tally.locations), whole(tally.heard),
                static_cast<unsigned long long>(struckInAll(tally)), figures.latest().c_str(),
                processor_percent);
  return text;
}

void SoakReport::printTable(double minutes, double processor_percent, const SoakTally& tally,
                            const FigureLog& figures, const MachineWatch& machine) {
  std::printf("in %.1f minutes, with %.0f %% of a processor:\n", minutes, processor_percent);
  printActivities(tally);
  printFaults(tally);
  printFigures(figures);
  std::printf("  the machine stood still for %.0f ms, at most %.0f ms at once\n", machine.all_ms(),
              machine.longest_ms());
}

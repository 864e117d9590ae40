#pragma once

#include <string>

#include "tests/soak/FigureLog.h"
#include "tests/soak/MachineWatch.h"
#include "tests/soak/SoakTally.h"

// SoakReport: what was done and seen, in words.
namespace SoakReport {

// One line, for each minute. `processor_percent`: of one processor, since the beginning.
std::string line(double minutes, double processor_percent, const SoakTally& tally,
                 const FigureLog& figures);
void printTable(double minutes, double processor_percent, const SoakTally& tally,
                const FigureLog& figures, const MachineWatch& machine);

}  // namespace SoakReport

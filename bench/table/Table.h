#pragma once

#include <string>
#include <vector>

// Line: one line of the table: what was measured on both sides, and what was asked for.
struct Line {
  enum Verdict { eNoBar, eMet, eMissed, eSkipped };

  std::string what;
  std::string unit;
  double engine = 0;
  double ring = 0;
  bool hasRing = false;
  std::string compared;  // the number that the bar is for
  double comparedValue = 0;
  std::string bar;
  Verdict verdict = eNoBar;
  std::string note;  // of a skipped line: why
  int decimals = 0;
};

// Facts: what a reader must know about the run.
struct Facts {
  std::vector<std::pair<std::string, std::string>> entries;
};

namespace Table {

void print(const Facts& facts, const std::vector<Line>& lines);
// False when the file cannot be written.
bool writeJson(const std::string& path, const Facts& facts, const std::vector<Line>& lines,
               unsigned long long wrong);

}  // namespace Table

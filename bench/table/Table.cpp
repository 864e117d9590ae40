#include "bench/table/Table.h"

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

namespace {

const char* word(Line::Verdict verdict) {
  switch (verdict) {
    case Line::eMet:
      return "met";
    case Line::eMissed:
      return "MISSED";
    case Line::eSkipped:
      return "skipped";
    case Line::eNoBar:
      break;
  }
  return "";
}

std::string figure(double value, const Line& line) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f %s", line.decimals, value, line.unit.c_str());
  return text;
}

}  // namespace

void Table::print(const Facts& facts, const std::vector<Line>& lines) {
  for (const auto& [key, value] : facts.entries)
    std::printf("%-12s %s\n", key.c_str(), value.c_str());
  const char* row = "%-44s %15s %15s %15s %14s  %s\n";
  std::printf("\n");
  std::printf(row, "", "engine", "bare ring", "compared", "asked for", "");
  for (const Line& line : lines) {
    bool known = line.verdict != Line::eSkipped;
    std::printf(row, line.what.c_str(), known ? figure(line.engine, line).c_str() : "-",
                known && line.hasRing ? figure(line.ring, line).c_str() : "-",
                line.compared.c_str(), line.bar.c_str(), word(line.verdict));
    if (!line.note.empty()) std::printf("    %s\n", line.note.c_str());
  }
}

bool Table::writeJson(const std::string& path, const Facts& facts, const std::vector<Line>& lines,
                      unsigned long long wrong) {
  nlohmann::ordered_json root;
  for (const auto& [key, value] : facts.entries) root["run"][key] = value;
  root["wrong_transfers"] = wrong;
  for (const Line& line : lines) {
    nlohmann::ordered_json entry{{"what", line.what}, {"unit", line.unit}};
    if (line.verdict != Line::eSkipped) entry["engine"] = line.engine;
    if (line.hasRing) entry["ring"] = line.ring;
    if (!line.compared.empty()) entry["compared"] = line.comparedValue;
    if (!line.bar.empty()) entry["bar"] = line.bar;
    if (line.verdict != Line::eNoBar) entry["verdict"] = word(line.verdict);
    if (!line.note.empty()) entry["note"] = line.note;
    root["lines"].push_back(entry);
  }
  std::ofstream file(path);
  file << root.dump(2) << "\n";
  return static_cast<bool>(file.flush());
}

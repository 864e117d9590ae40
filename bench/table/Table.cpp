#include "bench/table/Table.h"

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "bench/table/Figures.h"

namespace {

using Json = nlohmann::ordered_json;

const char* word(Bar::Verdict verdict) {
  switch (verdict) {
    case Bar::eMet:
      return "met";
    case Bar::eMissed:
      return "MISSED";
    case Bar::eSkipped:
      return "skipped";
    case Bar::eNoBar:
      break;
  }
  return "";
}

// What of a side's rounds is shown: its key, its unit, the digits behind the point.
struct Shown {
  const char* key;
  const char* unit;
  int decimals;
  Figures::Figure figure;
};

std::vector<Shown> shownOf(Row::eKind kind) {
  if (kind == Row::eThroughput)
    return {{"mb_per_s", "MB/s", 0, &Figures::throughput},
            {"cpu_us_per_mb", "us/MB", 1, &Figures::cpu}};
  if (kind == Row::eLatency)
    return {{"p50_us", "us p50", 1, &Figures::p50}, {"p99_us", "us p99", 1, &Figures::p99}};
  if (kind == Row::eHits) return {{"million_hits_per_s", "M hits/s", 2, &Figures::millionHits}};
  if (kind == Row::eFiles) return {{"us_a_file", "us a file", 3, &Figures::p50}};
  return {};
}

void printRow(const Row& row) {
  std::printf("\n%s\n", row.name.c_str());
  for (const Side& side : row.sides) {
    std::printf("  %-46s", side.name.c_str());
    for (const Shown& shown : shownOf(row.kind))
      std::printf(" %9.*f %-8s", shown.decimals, Figures::median(side, shown.figure), shown.unit);
    std::printf("\n");
  }
  for (const Bar& bar : row.bars) {
    std::printf("    %-54s %18s  %-14s %s\n", bar.what.c_str(), bar.measured.c_str(),
                bar.asked.c_str(), word(bar.verdict));
    if (!bar.note.empty()) std::printf("      %s\n", bar.note.c_str());
  }
}

Json jsonOf(const Side& side, Row::eKind kind) {
  Json entry{{"name", side.name}};
  for (const Shown& shown : shownOf(kind)) entry[shown.key] = Figures::median(side, shown.figure);
  for (const Round& round : side.rounds) {
    Json raw{{"seconds", round.seconds}, {"cpu_us", round.cpu_us}, {"bytes", round.bytes}};
    for (const Shown& shown : shownOf(kind)) raw[shown.key] = shown.figure(round);
    if (round.streams_mbps.size() > 1) raw["streams_mb_per_s"] = round.streams_mbps;
    entry["rounds"].push_back(raw);
  }
  return entry;
}

Json jsonOf(const Bar& bar) {
  Json entry{{"what", bar.what}};
  if (bar.verdict != Bar::eSkipped) {
    entry["measured"] = bar.measured;
    entry["value"] = bar.value;
  }
  if (!bar.asked.empty()) entry["asked"] = bar.asked;
  if (bar.verdict != Bar::eNoBar) entry["verdict"] = word(bar.verdict);
  if (!bar.note.empty()) entry["note"] = bar.note;
  return entry;
}

}  // namespace

void Table::print(const Facts& facts, const std::vector<Row>& rows) {
  for (const auto& [key, value] : facts.entries)
    std::printf("%-12s %s\n", key.c_str(), value.c_str());
  for (const Row& row : rows) printRow(row);
}

bool Table::writeJson(const std::string& path, const Facts& facts, const std::vector<Row>& rows,
                      unsigned long long wrong) {
  Json root;
  for (const auto& [key, value] : facts.entries) root["run"][key] = value;
  root["wrong_transfers"] = wrong;
  for (const Row& row : rows) {
    Json entry{{"name", row.name}};
    for (const Side& side : row.sides) entry["sides"].push_back(jsonOf(side, row.kind));
    for (const Bar& bar : row.bars) entry["bars"].push_back(jsonOf(bar));
    root["rows"].push_back(entry);
  }
  std::ofstream file(path);
  file << root.dump(2) << "\n";
  return static_cast<bool>(file.flush());
}

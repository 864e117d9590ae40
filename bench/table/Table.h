#pragma once

#include <string>
#include <utility>
#include <vector>

#include "bench/table/Row.h"

// Facts: what a reader must know about the run.
struct Facts {
  std::vector<std::pair<std::string, std::string>> entries;
};

// Table: the rows for people, and for programs.
namespace Table {

void print(const Facts& facts, const std::vector<Row>& rows);
// Every round's own figures too. False when the file cannot be written.
bool writeJson(const std::string& path, const Facts& facts, const std::vector<Row>& rows,
               unsigned long long wrong);

}  // namespace Table

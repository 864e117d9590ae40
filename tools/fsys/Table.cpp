#include "tools/fsys/Table.h"

#include <algorithm>
#include <utility>

#include "tools/fsys/Text.h"

namespace {

size_t charactersOf(const std::string& word) {
  size_t characters = 0;
  for (size_t at = 0; at < word.size(); ++characters)
    at += std::max<size_t>(utf8LengthAt(word, at), 1);
  return characters;
}

}  // namespace

Table::Table(std::vector<Column> columns) : columns_(std::move(columns)) {
  std::vector<std::string> headings;
  headings.reserve(columns_.size());
  for (const Column& column : columns_) headings.push_back(column.heading);
  rows_.push_back(std::move(headings));
}

void Table::add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

std::string Table::line(const std::vector<std::string>& row,
                        const std::vector<size_t>& widths) const {
  std::string result;
  for (size_t i = 0; i < row.size(); ++i) {
    std::string blanks(widths[i] - charactersOf(row[i]), ' ');
    if (i > 0) result += "  ";
    result += columns_[i].side == eRight ? blanks + row[i] : row[i] + blanks;
  }
  result.erase(result.find_last_not_of(' ') + 1);
  return result;
}

std::vector<std::string> Table::lines() const {
  std::vector<size_t> widths(columns_.size());
  for (const auto& row : rows_)
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], charactersOf(row[i]));
  std::vector<std::string> result;
  result.reserve(rows_.size());
  for (const auto& row : rows_) result.push_back(line(row, widths));
  return result;
}

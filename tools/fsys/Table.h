#pragma once

#include <cstddef>
#include <string>
#include <vector>

// Table: rows of words in columns that begin below each other.
// Units      a column is as wide as its widest word, in characters; two blanks part them.
class Table {
public:
  enum eSide { eLeft, eRight };
  struct Column {
    std::string heading;
    eSide side = eLeft;
  };

  explicit Table(std::vector<Column> columns);
  // A word for each column.
  void add(std::vector<std::string> row);
  // The headings, then the rows. No line ends in blanks.
  std::vector<std::string> lines() const;

private:
  std::string line(const std::vector<std::string>& row, const std::vector<size_t>& widths) const;

  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

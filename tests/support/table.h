#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "support/bytes.h"

namespace test {

using Row = std::vector<std::string>;

/// The rows of a table in a raw string: a line each, with columns between "|" and blanks around them left out. Lines
/// without a column are passed over. Rows that end early get empty columns.
inline std::vector<Row> rowsOf(std::string_view table, size_t columns) {
  std::vector<Row> rows;
  for (size_t end; !table.empty(); table.remove_prefix(end + 1)) {
    end = std::min(table.find('\n'), table.size() - 1);
    Row row;
    for (std::string_view line = table.substr(0, end), cell; row.size() < columns; row.emplace_back(cell)) {
      const size_t bar = std::min(line.find('|'), line.size());
      cell = line.substr(0, bar);
      line.remove_prefix(std::min(bar + 1, line.size()));
      cell.remove_prefix(std::min(cell.find_first_not_of(' '), cell.size()));
      cell = cell.substr(0, cell.find_last_not_of(' ') + 1);
    }
    if (!row[0].empty()) rows.push_back(row);
  }
  return rows;
}

/// The bytes of a hex text in which "61x20" stands for 20 times the bytes 61.
inline std::vector<unsigned char> packet(std::string text) {
  for (size_t x; (x = text.find('x')) != text.npos;) {
    const size_t start = text.rfind(' ', x) + 1, end = std::min(text.find(' ', x), text.size());
    std::string all;
    for (int i = std::stoi(text.substr(x + 1)); i > 0; --i) all += text.substr(start, x - start);
    text.replace(start, end - start, all);
  }
  return unhex(text);
}

}  // namespace test

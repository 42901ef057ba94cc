#include "display/Table.hpp"

#include <algorithm>
#include <ostream>
#include <utility>

#include "display/terminalText.hpp"

namespace spfctl {

void Table::add(std::vector<std::string> row) {
  rows_.push_back(std::move(row));
}

void Table::print(std::ostream& stream, const std::string& indent) const {
  std::vector<std::size_t> widths;
  for (const auto& row : rows_) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], columnsOf(row[column]));
    }
  }
  for (const auto& row : rows_) {
    auto line = indent;
    for (std::size_t column = 0; column < row.size(); ++column) {
      line += row[column] + std::string(widths[column] - columnsOf(row[column]) + 2, ' ');
    }
    stream << line.substr(0, line.find_last_not_of(' ') + 1) << '\n';
  }
}

}  // namespace spfctl

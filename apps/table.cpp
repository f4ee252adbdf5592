#include "apps/table.hpp"

#include <algorithm>
#include <cstddef>

#include "apps/terminal.hpp"

namespace apps {

void print_table(const std::vector<TableRow>& rows, const std::vector<std::size_t>& right) {
  std::vector<TableRow> shown;
  std::vector<std::size_t> widths;
  for (const TableRow& row : rows) {
    TableRow& fields = shown.emplace_back();
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) {
      fields.push_back(printable(row[i]));
      widths[i] = std::max(widths[i], columns_of(fields[i]));
    }
  }
  for (const TableRow& row : shown) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string room(widths[i] - columns_of(row[i]), ' ');
      const bool at_end = std::find(right.begin(), right.end(), i) != right.end();
      line += (i == 0 ? "" : "  ") + (at_end ? room + row[i] : row[i] + room);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    print_line(line);
    if (!can_print()) return;
  }
}

void print_csv_row(const TableRow& row) {
  std::string line;
  for (std::size_t i = 0; i < row.size(); ++i) {
    if (i > 0) line += ',';
    const std::string field = printable(row[i]);
    if (field.find_first_of(",\"\r\n") == std::string::npos) {
      line += field;
      continue;
    }
    line += '"';
    for (const char c : field) line += c == '"' ? std::string("\"\"") : std::string(1, c);
    line += '"';
  }
  print_line(line);
}

}  // namespace apps

#include "apps/table.hpp"

#include <algorithm>
#include <optional>

#include "apps/terminal.hpp"
#include "structure_ingest/base/numbers.hpp"

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

TableRow structure_headings() {
  return {"file", "formula", "atoms",  "a",       "b",           "c",        "alpha",
          "beta", "gamma",   "volume", "density", "space group", "shortest", "error"};
}

TableRow structure_row(const std::string& name, const structure_ingest::IngestedStructure& record,
                       int digits) {
  TableRow row = {name};
  if (!record.ok) {
    row.resize(structure_headings().size() - 1);
    const std::string why = structure_ingest::why_not_read(record);
    row.push_back(why.empty() ? "not parsed" : why);
    return row;
  }
  const auto number = [digits](const std::optional<double>& value) {
    return value ? structure_ingest::internal::number_text(*value, digits) : std::string();
  };
  const structure_ingest::Quantities quantities =
      structure_ingest::quantities_of(record, {.space_group = true});
  row.insert(row.end(), {record.formula, std::to_string(record.natoms)});
  if (const auto& cell = quantities.cell) {
    for (const double length : cell->lengths_ang) row.push_back(number(length));
    for (const std::optional<double>& angle : cell->angles_deg) row.push_back(number(angle));
    row.push_back(number(cell->volume_ang3));
  } else {
    row.resize(row.size() + 7);
  }
  row.insert(row.end(), {number(quantities.density_g_cm3),
                         quantities.space_group ? quantities.space_group->name : "",
                         number(quantities.shortest_distance_ang), ""});
  return row;
}

}  // namespace apps

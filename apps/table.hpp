// Aligned tables for people, and comma-separated values for spreadsheets.
#pragma once

#include <string>
#include <vector>

namespace apps {

using TableRow = std::vector<std::string>;

/// Prints rows of equally many fields as columns, of which those in `right` (by their places) are
/// aligned at their ends. The fields are made printable; the last column is not filled up.
void print_table(const std::vector<TableRow>& rows, const std::vector<std::size_t>& right);

/// Prints one row as comma-separated values (RFC 4180, but with a line feed alone at its end).
void print_csv_row(const TableRow& row);

}  // namespace apps

// Aligned tables for people, comma-separated values for spreadsheets, and structures as rows of
// both.
#pragma once

#include <string>
#include <vector>

#include "structure_ingest/structure_ingest.hpp"

namespace apps {

using TableRow = std::vector<std::string>;

/// Prints rows of equally many fields as columns, of which those in `right` (by their places) are
/// aligned at their ends. The fields are made printable; the last column is not filled up.
void print_table(const std::vector<TableRow>& rows, const std::vector<std::size_t>& right);

/// Prints one row as comma-separated values (RFC 4180, but with a line feed alone at its end).
void print_csv_row(const TableRow& row);

/// The headings of the fields of `structure_row`.
TableRow structure_headings();

/// The fields of a record: its file (`name`), formula, atoms, lengths of the cell in ångström and
/// its angles in degrees, volume in cubic ångström, density in g/cm3, space group
/// (of up to 400 atoms), shortest distance of two atoms in ångström, and what is wrong with it.
/// A field of which nothing is known is empty; numbers have up to `digits` significant digits.
TableRow structure_row(const std::string& name, const structure_ingest::IngestedStructure& record,
                       int digits);

}  // namespace apps

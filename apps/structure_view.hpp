// How a structure is shown: aligned rows of a label and a text.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "structure_ingest/structure_ingest.hpp"

namespace apps {

/// "Si2, 2 atoms".
std::string composition_of(const structure_ingest::IngestedStructure& record);

/// Prints the rows on the cell: lengths and angles, where it came from, volume and density.
/// Nothing is printed that the record does not say: no cell, no row.
void show_cell(const structure_ingest::IngestedStructure& record);

/// Prints the warnings of a record: why it is not ok, or what to know of it.
void show_warnings(const std::vector<std::string>& warnings, bool ok);

/// Prints "  label    text", wrapped at blanks under its beginning; an empty label continues the
/// row above. The text is made printable.
void print_row(const std::string& label, const std::string& text);

}  // namespace apps

// How a structure is shown: aligned rows of a label and a text.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "structure_ingest/structure_ingest.hpp"

namespace apps {

/// From this many files on, each is shown in a line, with more only where a person must look.
inline constexpr std::size_t MANY_FILES = 20;
enum class Detail { few, all };
inline Detail detail_of(std::size_t files, bool verbose) {
  return verbose || files < MANY_FILES ? Detail::all : Detail::few;
}

/// "Si2, 2 atoms", fit for a terminal.
std::string shown_composition(const structure_ingest::IngestedStructure& record);

/// Prints what was read of a file, or of a `part` of it: "water.xyz: H2O, 3 atoms", and with all
/// details its cell.
void print_heading(const structure_ingest::IngestedStructure& record, const std::string& part = "",
                   Detail detail = Detail::all);

/// Prints the rows on the cell: lengths and angles, where it came from, volume and density.
/// Nothing is printed that the record does not say: no cell, no row.
void print_cell(const structure_ingest::IngestedStructure& record);

/// Prints the warnings of a record: why it is not ok, or what to know of it. Where `molecules` are
/// expected, that there is no cell is not worth a warning.
void print_warnings(const structure_ingest::IngestedStructure& record, bool molecules = false);

/// Prints on standard error why ASE cannot be used, unless `reason` is empty: the warning of a
/// record is the same for all reasons.
void warn_why_no_ase(const std::string& reason);

/// Prints a row for each error and warning on a record whose own warnings have been printed.
void print_cautions(const structure_ingest::IngestedStructure& record,
                    std::span<const structure_ingest::Finding> findings);

/// Prints "  label    text", wrapped at blanks under its beginning; an empty label continues the
/// row above. The text is made printable.
void print_row(const std::string& label, const std::string& text);

}  // namespace apps

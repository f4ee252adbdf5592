// One structure file as a row of a table.
#pragma once

#include <optional>
#include <string>

#include "apps/table.hpp"
#include "structure_ingest/check/symmetry.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace apps {

/// The headings of the fields of `structure_row`.
TableRow structure_headings();

/// The space group of a record with this shortest distance; nothing where it cannot be searched for
/// (see find_symmetry) and where there is none.
std::optional<structure_ingest::internal::FoundSymmetry> space_group_of(
    const structure_ingest::IngestedStructure& record, const std::optional<double>& shortest_ang);

/// The fields of a record: its file (`name`), formula, atoms, lengths of the cell in ångström and
/// its angles in degrees, volume in cubic ångström, density in g/cm3, space group
/// (of up to 400 atoms), shortest distance of two atoms in ångström, and what is wrong with it.
/// A field of which nothing is known is empty; numbers have up to `digits` significant digits.
TableRow structure_row(const std::string& name, const structure_ingest::IngestedStructure& record,
                       int digits);

}  // namespace apps

// One structure file as a row of a table.
#pragma once

#include <string>

#include "apps/table.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace apps {

/// The headings of the fields of `structure_row`.
TableRow structure_headings();

/// The fields of a record: its file (`name`), formula, atoms, lengths of the cell in ångström and
/// its angles in degrees, volume in cubic ångström, density in g/cm3, space group
/// (of up to 400 atoms), shortest distance of two atoms in ångström, and what is wrong with it.
/// A field of which nothing is known is empty; numbers have up to `digits` significant digits.
TableRow structure_row(const std::string& name, const structure_ingest::IngestedStructure& record,
                       int digits);

}  // namespace apps

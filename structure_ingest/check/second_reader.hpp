// A second reading of a CIF: gemmi parses the text anew and its tables of space groups expand the
// sites, independently of the reader that made the record.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace structure_ingest::internal {

struct SecondReading {
  /// Why there is none: what the block lacks, or gemmi's own words on the text; else empty.
  std::string refusal;
  bool not_strict = false;  // gemmi does not take the text for a CIF
  /// The atoms of the cell, sites at one place counted once as the element with most of it.
  std::map<std::string, std::size_t> atoms;
  std::size_t natoms = 0;
  std::size_t shared_places = 0;  // with several sites
  /// The content of the cell with each site weighed by its occupancy.
  std::map<std::string, double> content;
  /// What the symmetry came from: "the operations that it lists", "the name P 21/c", "the number
  /// 14"; empty where the file says nothing, and the sites are taken as they are.
  std::string symmetry_source;
  std::size_t operations = 1;  // of the group, those of its centring included
  /// The declared group, by name or number, and the one that the listed operations form; 0 where
  /// there is none or gemmi does not know it.
  int declared_number = 0;
  int operations_number = 0;
  std::size_t declared_operations = 0;
  std::string declared;           // "P 21/c"
  std::string formed;             // what the operations form, "P 1 21/c 1"
  bool several_settings = false;  // the declared group has two choices of the origin
};

/// Reads the last block of this name. Whatever is wrong with the text is a refusal.
SecondReading read_with_gemmi(std::string_view text, std::string_view block_name);

}  // namespace structure_ingest::internal

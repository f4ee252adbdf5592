// A second reading of a CIF, independent of the reader that made the record: gemmi parses the text,
// and its space-group tables expand the sites.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace structure_ingest::internal {

struct SecondReading {
  /// Why there is no second reading: what the block lacks, or gemmi's error message; else empty.
  std::string refusal;
  bool not_strict = false;  // gemmi rejects the text as a CIF
  /// The atoms of the cell. Sites that share a place count once, as the element with the highest
  /// occupancy.
  std::map<std::string, std::size_t> atoms;
  std::size_t natoms = 0;
  std::size_t shared_places = 0;  // the number of places with several sites
  /// The content of the cell, with each site weighted by its occupancy.
  std::map<std::string, double> content;
  /// The source of the symmetry: "the operations that it lists", "the name P 21/c", "the number
  /// 14"; empty when the file gives none and the sites are taken as they are.
  std::string symmetry_source;
  std::size_t operations = 1;  // of the group, including its centring
  /// The declared group, by name or number, and the group that the listed operations form; 0 for
  /// none, and for a group that gemmi does not know.
  int declared_number = 0;
  int operations_number = 0;
  std::size_t declared_operations = 0;
  std::string declared;           // "P 21/c"
  std::string formed;             // the group that the operations form, "P 1 21/c 1"
  bool several_settings = false;  // the declared group has two choices of the origin
};

/// Reads the last block with this name. Any error in the text is a refusal.
SecondReading read_with_gemmi(std::string_view text, std::string_view block_name);

}  // namespace structure_ingest::internal

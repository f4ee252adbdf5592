// A tolerant reader for the data blocks of a CIF. It skips malformed content: checks ask what a
// file means, not whether it is well-formed.
#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace structure_ingest::internal {

/// One data name with its values; views into the text that was read.
struct CifItem {
  std::string name;  // lower case
  std::vector<std::string_view> values;
};

struct CifBlock {
  std::string_view name;
  std::vector<CifItem> items;

  /// The values of the last item with one of these names; null when there is none.
  const std::vector<std::string_view>* values(std::initializer_list<const char*> names) const;
  /// The first of these values, unless it is "?" or ".".
  std::optional<std::string_view> value(std::initializer_list<const char*> names) const;
  /// The first value as a number, without its standard uncertainty in brackets.
  std::optional<double> number(std::initializer_list<const char*> names) const;
  /// Whether the symmetry operations are listed.
  bool has_operations() const;
  /// Whether any data name begins with `beginning`.
  bool has_name_with(std::string_view beginning) const;
};

struct CifFile {
  std::vector<CifBlock> blocks;
  std::string_view text_before;  // the first line before any block, if there is one
  std::string incomplete_loop;   // the first name of a loop whose last row is incomplete, if any
};

CifFile cif_blocks(std::string_view text);

/// The names of the six cell parameters, of a site's fractions and of its Cartesian position.
inline constexpr std::array<const char*, 6> CIF_CELL_NAMES = {
    "_cell_length_a",    "_cell_length_b",   "_cell_length_c",
    "_cell_angle_alpha", "_cell_angle_beta", "_cell_angle_gamma"};
inline constexpr std::array<const char*, 3> CIF_FRACTION_NAMES = {
    "_atom_site_fract_x", "_atom_site_fract_y", "_atom_site_fract_z"};
inline constexpr std::array<const char*, 3> CIF_POSITION_NAMES = {
    "_atom_site_cartn_x", "_atom_site_cartn_y", "_atom_site_cartn_z"};

/// Whether a value stands for an unknown one or one that does not apply.
inline bool is_unknown(std::string_view value) {
  return value == "?" || value == ".";
}

/// The number in a value such as "5.640(2)"; nothing for "?", "." and other text.
std::optional<double> cif_number(std::string_view value);

}  // namespace structure_ingest::internal

#include "structure_ingest/check/cif/second_reader.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <gemmi/cif.hpp>
#include <gemmi/elem.hpp>
#include <gemmi/numb.hpp>
#include <gemmi/symmetry.hpp>
#include <gemmi/unitcell.hpp>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <vector>

#include "structure_ingest/readers/cif_blocks.hpp"

// Expand each site with the operations of the symmetry: those that the file lists, else those of
// the space group that it names, else the identity. Count an image as a new atom unless it
// coincides with an earlier image of the same site. Combine sites that share a place into one atom
// of the species with the highest occupancy, and sum the occupancies separately for the content of
// the cell.
namespace structure_ingest::internal {
namespace {

namespace cif = gemmi::cif;

/// A file with more atoms, or more comparisons, gets no second reading.
constexpr std::size_t MOST_ATOMS = 20000;
constexpr std::size_t MOST_COMPARISONS = 20'000'000;

/// Images of a site closer than this are one atom on a special position with rounded coordinates.
/// gemmi uses the same distance.
constexpr double SPECIAL_POSITION_ANG = 0.4;
/// Sites closer than this share one place.
constexpr double SAME_PLACE_ANG = 0.05;

struct Site {
  gemmi::Fractional fract;
  std::string element;
  double occupancy = 1;
};

std::optional<std::string> value_of(cif::Block& block, std::initializer_list<const char*> names) {
  for (const char* name : names) {
    const std::string* const value = block.find_value(name);
    if (value != nullptr && !cif::is_null(*value)) return cif::as_string(*value);
    // As ASE does, take the first row of a loop.
    cif::Column column = block.find_values(name);
    if (column.length() > 0 && !cif::is_null(column[0])) return cif::as_string(column[0]);
  }
  return std::nullopt;
}

/// The symbol of a known element, hydrogen for deuterium; empty for any other text.
std::string element_name(const std::string& name) {
  const gemmi::Element element(name);
  if (element == gemmi::El::X) return {};
  return element == gemmi::El::D ? "H" : element.name();
}

/// The element of a type symbol, which has at most a charge after the element, or of a label, in
/// which further letters may follow the element.
std::string element_of(const std::string& text, bool is_label, const std::string& formula) {
  const auto letter = [&](std::size_t i) {
    return i < text.size() && std::isalpha(static_cast<unsigned char>(text[i])) != 0;
  };
  if (!letter(0)) return {};
  std::string one = element_name(text.substr(0, 1));
  std::string two = letter(1) ? element_name(text.substr(0, 2)) : "";
  if (two.empty()) return one;
  if (one.empty() || !is_label || std::islower(static_cast<unsigned char>(text[1])) != 0)
    return two;
  // HO1 is hydrogen unless the formula contains holmium.
  const std::size_t at = formula.find(two);
  return at == std::string::npos ? one : two;
}

std::vector<Site> sites_of(cif::Block& block) {
  std::vector<Site> sites;
  const std::string formula = value_of(block, {"_chemical_formula_sum"}).value_or("");
  cif::Table table = block.find(
      "_atom_site_", {"fract_x", "fract_y", "fract_z", "?type_symbol", "?label", "?occupancy"});
  for (auto row : table) {
    Site site{{cif::as_number(row[0]), cif::as_number(row[1]), cif::as_number(row[2])}, {}};
    const bool has_type = row.has2(3);
    if (has_type || row.has2(4))
      site.element = element_of(row.str(has_type ? 3 : 4), !has_type, formula);
    if (row.has2(5)) site.occupancy = cif::as_number(row[5], 1.0);
    sites.push_back(site);
  }
  return sites;
}

const gemmi::SpaceGroup* declared_group(cif::Block& block, const gemmi::UnitCell& cell,
                                        SecondReading& reading) {
  const gemmi::SpaceGroup* group = nullptr;
  if (const auto name = value_of(block, {"_space_group_name_H-M_alt", "_space_group.name_H-M_alt",
                                         "_symmetry_space_group_name_H-M"})) {
    group = gemmi::find_spacegroup_by_name(*name, cell.alpha, cell.gamma);
    reading.declared = *name;
    reading.symmetry_source = "the name " + *name;
  }
  const auto number = value_of(
      block, {"_space_group_IT_number", "_space_group.IT_number", "_symmetry_Int_Tables_number"});
  if (group == nullptr && number) {
    group = gemmi::find_spacegroup_by_number(
        static_cast<int>(std::strtol(number->c_str(), nullptr, 10)));
    if (group != nullptr) {
      reading.declared = "number " + *number;
      reading.symmetry_source = "the number " + *number;
    }
  }
  if (group == nullptr) return nullptr;
  reading.declared_number = group->number;
  reading.declared_operations = static_cast<std::size_t>(group->operations().order());
  std::size_t settings = 0;
  for (const gemmi::SpaceGroup& other : gemmi::spacegroup_tables::main) {
    if (std::string_view(other.hm) == group->hm && (other.ext == '1' || other.ext == '2')) {
      ++settings;
    }
  }
  const bool says_which = reading.declared.find(':') != std::string::npos;
  reading.several_settings = settings > 1 && !says_which;
  return group;
}

std::optional<gemmi::GroupOps> listed_operations(cif::Block& block) {
  for (const char* name : {"_space_group_symop_operation_xyz", "_space_group_symop.operation_xyz",
                           "_symmetry_equiv_pos_as_xyz"}) {
    std::vector<gemmi::Op> ops;
    for (const std::string& text : block.find_values(name)) {
      if (ops.size() == 1000) return std::nullopt;
      ops.push_back(gemmi::parse_triplet(cif::as_string(text)).wrap());
    }
    if (!ops.empty()) return gemmi::split_centering_vectors(ops);
  }
  return std::nullopt;
}

/// The images of one site in the cell, each once.
std::vector<gemmi::Fractional> images_of(const Site& site, const std::vector<gemmi::Op>& ops,
                                         const gemmi::UnitCell& cell) {
  std::vector<gemmi::Fractional> images;
  for (const gemmi::Op& op : ops) {
    const auto xyz = op.apply_to_xyz({site.fract.x, site.fract.y, site.fract.z});
    const gemmi::Fractional image(xyz[0], xyz[1], xyz[2]);
    const bool is_new = std::none_of(images.begin(), images.end(), [&](const auto& other) {
      return cell.distance_sq(image, other) < SPECIAL_POSITION_ANG * SPECIAL_POSITION_ANG;
    });
    if (is_new) images.push_back(image);
  }
  return images;
}

void expand(const std::vector<Site>& sites, const gemmi::GroupOps& group,
            const gemmi::UnitCell& cell, SecondReading& reading) {
  const std::vector<gemmi::Op> ops = group.all_ops_sorted();
  if (sites.size() * ops.size() > 4 * MOST_ATOMS ||
      sites.size() * ops.size() * ops.size() > MOST_COMPARISONS ||
      sites.size() * sites.size() * ops.size() > 4 * MOST_COMPARISONS) {
    throw std::runtime_error("it is too large for a second reading");
  }
  struct Place {
    gemmi::Fractional first;
    std::vector<gemmi::Fractional> images;
    std::string element;
    double occupancy;
  };
  std::vector<Place> places;
  for (const Site& site : sites) {
    std::vector<gemmi::Fractional> images = images_of(site, ops, cell);
    reading.content[site.element] += static_cast<double>(images.size()) * site.occupancy;
    const auto shared = std::find_if(places.begin(), places.end(), [&](const Place& place) {
      return std::any_of(place.images.begin(), place.images.end(), [&](const auto& image) {
        return cell.distance_sq(image, site.fract) < SAME_PLACE_ANG * SAME_PLACE_ANG;
      });
    });
    if (shared == places.end()) {
      places.push_back({site.fract, std::move(images), site.element, site.occupancy});
      continue;
    }
    ++reading.shared_places;
    if (site.occupancy > shared->occupancy) {
      shared->element = site.element;
      shared->occupancy = site.occupancy;
    }
  }
  for (const Place& place : places) {
    reading.atoms[place.element] += place.images.size();
    reading.natoms += place.images.size();
  }
}

/// Throws the refusal where the block lacks something.
void read_block(cif::Block& block, SecondReading& reading) {
  std::vector<double> parameters;
  for (const char* name : CIF_CELL_NAMES) {
    const auto value = value_of(block, {name});
    parameters.push_back(value ? cif::as_number(*value) : NAN);
    if (!std::isfinite(parameters.back())) throw std::runtime_error("it has no complete cell");
  }
  gemmi::UnitCell cell;
  cell.set(parameters[0], parameters[1], parameters[2], parameters[3], parameters[4],
           parameters[5]);
  if (!(cell.volume > 0.1) || !(cell.volume < 1e9)) {
    throw std::runtime_error("its cell has no sensible volume");
  }
  const std::vector<Site> sites = sites_of(block);
  for (const Site& site : sites) {
    const bool is_placed = std::abs(site.fract.x) < 1e6 && std::abs(site.fract.y) < 1e6 &&
                           std::abs(site.fract.z) < 1e6;
    if (!is_placed || site.element.empty()) {
      throw std::runtime_error("a site has no position or no element");
    }
  }
  if (sites.empty()) throw std::runtime_error("it has no sites with fractional coordinates");
  const gemmi::SpaceGroup* const declared = declared_group(block, cell, reading);
  const std::optional<gemmi::GroupOps> listed = listed_operations(block);
  gemmi::GroupOps group{{gemmi::Op::identity()}, {{0, 0, 0}}};
  if (listed) {
    group = *listed;
    reading.symmetry_source = "the operations that it lists";
    if (const gemmi::SpaceGroup* const formed = gemmi::find_spacegroup_by_ops(group)) {
      reading.operations_number = formed->number;
      reading.formed = formed->xhm();
    }
  } else if (declared != nullptr) {
    group = declared->operations();
  }
  reading.operations = static_cast<std::size_t>(group.order());
  expand(sites, group, cell, reading);
}

}  // namespace

SecondReading read_with_gemmi(std::string_view text, std::string_view block_name) {
  SecondReading reading;
  reading.not_strict = true;  // until gemmi has parsed it
  try {
    cif::Document document = cif::read_memory(text.data(), text.size(), "");
    reading.not_strict = false;
    const auto block = std::find_if(document.blocks.rbegin(), document.blocks.rend(),
                                    [&](const auto& each) { return each.name == block_name; });
    if (block == document.blocks.rend()) throw std::runtime_error("it has no such block");
    read_block(*block, reading);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    reading.refusal = error.what();
  }
  return reading;
}

}  // namespace structure_ingest::internal

// What there is to draw of a structure, for a program that draws by itself, such as a 3D view: no
// rule on sticks, images and directions is left to it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/picture/picture.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest {

/// How an element is drawn.
struct ElementLook {
  std::uint32_t colour = 0;  ///< 0xRRGGBB, the scheme of the viewer Jmol
  double radius_ang = 0;     ///< its covalent radius; 1.5 where none is known
};

STRUCTURE_INGEST_API ElementLook element_look(std::string_view symbol);

/// A stick from an atom to another, or to its image so many lattice vectors a, b, c away.
struct DrawnStick {
  std::size_t first = 0;
  std::size_t second = 0;
  std::array<int, 3> cells{};
};

/// Where an atom lies in the cell.
struct DrawnPlace {
  /// The lattice vectors a, b, c that move it into the cell; an atom on a face to the face at 0.
  std::array<int, 3> into_cell{};
  /// Whether it then lies on the face at 0 of each vector, so that its image lies on the one at 1.
  std::array<bool, 3> on_face{};

  /// Whether the atom lies in the cell or on a face of it as it is.
  bool is_inside() const;
};

struct Drawing {
  std::array<Vector3, 3> axes{};     ///< of the first view: to the right, up, toward the viewer
  bool has_cell = false;             ///< whether the cell spans a volume, so that it can be drawn
  std::vector<DrawnPlace> places{};  ///< one an atom; none without a cell
  std::vector<DrawnStick> sticks{};
  bool without_sticks = false;  ///< since there are too many atoms, or too many of them close
};

/// Sticks are found for up to this many atoms.
inline constexpr std::size_t MOST_ATOMS_WITH_STICKS = 3000;

/// A stick is drawn between atoms closer than their covalent radii and 0.4 Å. Between two metals
/// that both have a non-metal beside them there is none: the covalent radii of cations, which have
/// given their electrons away, are too large.
STRUCTURE_INGEST_API Drawing drawing_of(const IngestedStructure& record, View view = View::angled);

}  // namespace structure_ingest

// Still pictures of a structure: SVG text and PNG bytes.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest {

/// The direction from which a structure is seen. Without a cell the axes are x, y and z.
enum class View {
  /// A little from the right of and above the plane of a and c, so that nothing hides behind
  /// another atom by symmetry; without a cell, of the plane in which the molecule extends most.
  angled,
  along_a,  ///< along the lattice vector a, with c upward
  along_b,  ///< along b, with c upward
  along_c,  ///< along c, with b upward
};

struct PictureOptions {
  /// The size in pixels; of an SVG, of its coordinates. From 16 to 4096.
  int width_px = 480;
  int height_px = 400;
  /// From where the structure is seen.
  View view = View::angled;
  /// Whether the elements with their colours and counts are shown below.
  bool legend = true;
  /// Atoms to draw a ring around, counted from 0 as in the record.
  std::vector<std::size_t> marked{};
  /// What a PNG is painted on: white, or nothing. An SVG has no background.
  bool transparent = false;
};

/// A picture as SVG text: atoms as spheres, sticks between atoms that are as close as the sum of
/// their covalent radii and 0.4 Å (not between cations), and the cell. Atoms are where the file has
/// them; those on a face of the cell are drawn on the opposite face as well. Of more than 100 atoms
/// what nobody could see is left out, of more than 1500 the sticks and images as well, so that the
/// text stays below about 300 kB; its description says how many atoms are drawn. It has a title and
/// a description for readers who do not see it, suits light and dark pages, and holds no script and
/// no reference. Throws std::invalid_argument for a record that is not ok and for a size out of
/// range.
STRUCTURE_INGEST_API std::string picture_svg(const IngestedStructure& record,
                                             const PictureOptions& options = {});

/// As `picture_svg`, as a part of a page that may hold several: the identifiers in it begin with
/// `id`, and it needs the style sheet of `picture_style` on the page.
STRUCTURE_INGEST_API std::string picture_svg_part(const IngestedStructure& record,
                                                  const PictureOptions& options,
                                                  const std::string& id);
STRUCTURE_INGEST_API std::string picture_style();

/// The same picture as the bytes of a PNG file, where all atoms are drawn.
STRUCTURE_INGEST_API std::string picture_png(const IngestedStructure& record,
                                             const PictureOptions& options = {});

}  // namespace structure_ingest

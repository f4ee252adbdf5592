// How a structure is turned toward the viewer.
#pragma once

#include <array>

#include "structure_ingest/picture/picture.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

/// Unit vectors at right angles: to the right, up, and toward the viewer.
using ViewAxes = std::array<Vector3, 3>;

/// The axes of a view on a record. A molecule is turned so that it extends most to the right and
/// least toward the viewer; a cell, so that c goes up and a to the right.
ViewAxes view_axes(const IngestedStructure& record, View view);

/// A vector in the coordinates of the view.
Vector3 seen_from(const ViewAxes& axes, const Vector3& vector);

/// Whether a position is a number, and not so far away that a picture would show nothing else.
bool can_be_drawn(const Vector3& at);

/// Whether a record has three lattice vectors that span a volume.
bool has_usable_cell(const IngestedStructure& record);

}  // namespace structure_ingest::internal

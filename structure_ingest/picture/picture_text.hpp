// The checks and the texts that an SVG and a PNG of a structure have in common.
#pragma once

#include <cstddef>
#include <string>

#include "structure_ingest/picture/picture.hpp"
#include "structure_ingest/picture/scene.hpp"

namespace structure_ingest::internal {

/// Throws std::invalid_argument, as the public functions document it, for what cannot be drawn.
void require_drawable(const IngestedStructure& record, const PictureOptions& options);

/// What a picture shows, for a reader who does not see it: plain ASCII words and numbers.
std::string description_of(const IngestedStructure& record, const Scene& scene, std::size_t drawn);

/// Where the name of an axis stands, in pixels: this far beyond the end of its lattice vector and
/// of an atom that is there.
Vector3 axis_name_place(const Scene& scene, const SceneEdge& edge, const Projection& projection,
                        double beyond_px);

}  // namespace structure_ingest::internal

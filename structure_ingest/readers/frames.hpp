// The frames of an XYZ file, of which parsing reads the first.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest {

/// Takes a frame by its number, from 1; returns whether to go on.
using VisitFrame = std::function<bool(std::size_t number, const IngestedStructure& record)>;

/// Reads the frames of an XYZ file from number `first` on, each as `parse_structure_file` reads the
/// first; those before are passed over by their atom counts. Empty lines between frames, and at the
/// end, are no frames. A frame that cannot be read, or cannot be passed over, is visited with `ok`
/// false and is the last, since nothing tells where the next begins. Returns how many frames there
/// were up to the last visited one. Memory is bounded by the largest frame.
STRUCTURE_INGEST_API std::size_t visit_xyz_frames(const std::string& path, std::size_t first,
                                                  const VisitFrame& visit);

/// Reads one frame, counted from 1; a file that has none of this number gives a record with `ok`
/// false that says so.
STRUCTURE_INGEST_API IngestedStructure parse_xyz_frame(const std::string& path, std::size_t number);

/// Reads the last frame.
STRUCTURE_INGEST_API IngestedStructure parse_last_xyz_frame(const std::string& path);

}  // namespace structure_ingest

// The frames of a trajectory, of which parsing reads the first, and the data blocks of a CIF.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/record/record_fwd.hpp"

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

/// Which frames of a file are wanted: one by its number, the last one, or all.
struct FrameChoice {
  std::size_t number = 1;
  bool last = false;
  bool all = false;
};

/// Reads "3", "last" or "all"; nothing for any other text.
STRUCTURE_INGEST_API std::optional<FrameChoice> frame_choice(std::string_view text);

/// Takes a frame, and what to call it: "frame 3", or nothing where there is but one way to read the
/// file.
using ShowFrame = std::function<void(const IngestedStructure& record, const std::string& frame)>;

/// Reads the frames of a file; CIF and VASP files have one. A frame that is not there is shown as
/// a record with `ok` false.
STRUCTURE_INGEST_API void visit_frames(StructureParser& parser, const std::string& path,
                                       const FrameChoice& choice, const ShowFrame& show);

/// Reads the data block `name` (in any letter case) of a CIF as if the file held no other. A file
/// that has none of this name, or is no CIF, gives a record with `ok` false that says so. The block
/// is written to a temporary file, which ASE reads.
STRUCTURE_INGEST_API IngestedStructure parse_cif_block(StructureParser& parser,
                                                       const std::string& path,
                                                       const std::string& name);

}  // namespace structure_ingest

// The frames of a file that the user wants to see.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "structure_ingest/structure_ingest.hpp"

namespace apps {

/// The frames that --frame names: one by its number, the last one, or all.
struct FrameChoice {
  std::size_t number = 1;
  bool last = false;
  bool all = false;
};

/// Reads the value of --frame; throws WrongInput for one that is none.
FrameChoice read_frame_choice(const std::string& text);

/// Takes a frame, and what to call it: "frame 3", or nothing where there is but one way to read the
/// file.
using ShowFrame = std::function<void(const structure_ingest::IngestedStructure& record,
                                     const std::string& frame)>;

/// Reads the frames of a file; CIF and VASP files have one. A frame that is not there is shown as
/// a record that is not ok.
void visit_frames(structure_ingest::StructureParser& parser, const std::string& path,
                  const FrameChoice& choice, const ShowFrame& show);

}  // namespace apps

// The source entry: the JSON mapping that describes one ingested structure to the agent.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest {

// How a structure file was found.
inline constexpr std::string_view DISCOVERY_ATTACHMENT = "attachment";
inline constexpr std::string_view DISCOVERY_PROJECT_FOLDER = "project_folder";
inline constexpr std::string_view DISCOVERY_WORKSPACE_SCAN = "workspace_scan";

/// The discovery kinds from the strongest to the weakest.
inline constexpr std::array<std::string_view, 3> DISCOVERY_ORDER = {
    DISCOVERY_ATTACHMENT, DISCOVERY_PROJECT_FOLDER, DISCOVERY_WORKSPACE_SCAN};

/// A new mapping of 19 keys in a fixed order, for any record, also one whose `ok` is false.
/// An empty `discovery` stands for an attachment; any other text is stored as it is.
STRUCTURE_INGEST_API Json structure_source_entry(const IngestedStructure& record,
                                                 std::string_view discovery = "");

}  // namespace structure_ingest

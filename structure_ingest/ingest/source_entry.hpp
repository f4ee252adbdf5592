// The source entry: the JSON mapping that describes one ingested structure to the agent.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json_fwd.hpp"
#include "structure_ingest/check/finding.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest {

/// A structure file that the user or the caller named.
inline constexpr std::string_view DISCOVERY_ATTACHMENT = "attachment";
/// One found by scanning the project folder or a folder that holds it.
inline constexpr std::string_view DISCOVERY_PROJECT_FOLDER = "project_folder";
/// One found anywhere else: by another scan, or in the inventory of an attached workspace.
inline constexpr std::string_view DISCOVERY_WORKSPACE_SCAN = "workspace_scan";

/// The discovery kinds from the strongest to the weakest.
inline constexpr std::array<std::string_view, 3> DISCOVERY_ORDER = {
    DISCOVERY_ATTACHMENT, DISCOVERY_PROJECT_FOLDER, DISCOVERY_WORKSPACE_SCAN};

/// A new mapping of 19 keys in a fixed order, for any record, also one whose `ok` is false; it
/// shares nothing with the record. An empty `discovery` stands for an attachment; any other text is
/// stored as it is. Bytes that are not UTF-8 read U+FFFD.
STRUCTURE_INGEST_API Json structure_source_entry(const IngestedStructure& record,
                                                 std::string_view discovery = "");

/// One ingested structure: its record, and how its file was found.
struct SourceEntry {
  IngestedStructure record;  ///< complete: with fingerprint and, when a copy was written, its path
  std::string discovery{};   ///< a discovery kind; empty counts as an attachment
  /// What would mislead whoever computes with it, worst first. It stands beside the entry: neither
  /// states nor manifests hold it. Nothing when it was not checked.
  std::optional<std::vector<Finding>> findings{};
  /// Whether something else was in the place of the copy, such as an edited copy, and was replaced.
  bool copy_restored = false;

  /// What the entry is called in the state: the canonical copy, or the source where there is none.
  STRUCTURE_INGEST_API std::string path() const;
  /// Where the structure came from, as it is stored.
  STRUCTURE_INGEST_API std::string source_file() const;
  /// The source entry with "ok" as its 20th key, as states and manifests hold it.
  STRUCTURE_INGEST_API Json to_json() const;
};

}  // namespace structure_ingest

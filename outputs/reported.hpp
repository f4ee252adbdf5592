// What a report shows: files that are read for it, and what a project holds.
#pragma once

#include <string>

#include "outputs/page.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace outputs {

/// What the page says of a file, which `parser` reads. `origin` is where its path was listed, to be
/// said of a file that gives no structure; empty for nowhere.
ReportedStructure reported_file(structure_ingest::StructureParser& parser, const std::string& path,
                                const std::string& origin);

struct ProjectReport {
  Report report{};
  std::string manifest_error{};  ///< why the manifest could not be read, if it could not
};

/// The report on what a project holds by its state. Its copies are what is shown and handed out,
/// byte for byte. Throws std::invalid_argument for a state whose sources are no list.
ProjectReport report_on_project(const std::string& project, const structure_ingest::Json& state,
                                const structure_ingest::Progress& progress);

}  // namespace outputs

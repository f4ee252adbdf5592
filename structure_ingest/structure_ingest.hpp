// structure_ingest: takes the atomic-structure files that a user supplies into a project.
//
// All that a caller includes. To read one file:
//
//   const structure_ingest::IngestedStructure water =
//       structure_ingest::parse_structure_file("water.xyz");
//   if (!water.ok) report(water.warnings);
//   for (const auto& finding : structure_ingest::check_structure(water)) warn(finding.message);
//
// To take the files that an agent state names into its project:
//
//   structure_ingest::Json state = {{"project_path", "my_project"}};
//   for (const structure_ingest::Json& entry :
//        structure_ingest::hydrate_user_structures(state, {.extra_paths = {"/data/water.xyz"}})) {
//     show(entry["path"], entry["formula"]);
//   }
#pragma once

#include "structure_ingest/base/json.hpp"                  // IWYU pragma: export
#include "structure_ingest/cache/cache.hpp"                // IWYU pragma: export
#include "structure_ingest/check/check.hpp"                // IWYU pragma: export
#include "structure_ingest/check/quantities.hpp"           // IWYU pragma: export
#include "structure_ingest/contracts/collaborators.hpp"    // IWYU pragma: export
#include "structure_ingest/discovery/hydrate.hpp"          // IWYU pragma: export
#include "structure_ingest/discovery/scanned_files.hpp"    // IWYU pragma: export
#include "structure_ingest/ingest/batch.hpp"               // IWYU pragma: export
#include "structure_ingest/ingest/canonical_xyz.hpp"       // IWYU pragma: export
#include "structure_ingest/ingest/kept_findings.hpp"       // IWYU pragma: export
#include "structure_ingest/ingest/source_entry.hpp"        // IWYU pragma: export
#include "structure_ingest/picture/drawing.hpp"            // IWYU pragma: export
#include "structure_ingest/picture/picture.hpp"            // IWYU pragma: export
#include "structure_ingest/project/ownership.hpp"          // IWYU pragma: export
#include "structure_ingest/readers/ase_status.hpp"         // IWYU pragma: export
#include "structure_ingest/readers/dispatch.hpp"           // IWYU pragma: export
#include "structure_ingest/readers/frames.hpp"             // IWYU pragma: export
#include "structure_ingest/readers/parsed_structure.hpp"   // IWYU pragma: export
#include "structure_ingest/record/cell_geometry.hpp"       // IWYU pragma: export
#include "structure_ingest/record/ingested_structure.hpp"  // IWYU pragma: export
#include "structure_ingest/upkeep/forget.hpp"              // IWYU pragma: export
#include "structure_ingest/upkeep/list.hpp"                // IWYU pragma: export
#include "structure_ingest/upkeep/project_structure.hpp"   // IWYU pragma: export
#include "structure_ingest/upkeep/prune.hpp"               // IWYU pragma: export
#include "structure_ingest/upkeep/verify.hpp"              // IWYU pragma: export

/// Reading structure files, taking them into projects, and asking whose project a file lies in.
/// Functions keep nothing between calls and may run on several threads at once, on different
/// states and projects. Lengths are in ångström; paths are byte strings, JSON strings UTF-8.
namespace structure_ingest {}

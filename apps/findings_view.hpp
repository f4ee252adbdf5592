// How findings are shown.
#pragma once

#include <span>
#include <string>

#include "structure_ingest/check/check.hpp"
#include "structure_ingest/check/rules.hpp"

namespace apps {

/// "several_frames: The file has 2 frames; ...".
std::string text_of(const structure_ingest::Finding& finding);

/// "error", or "error or warning" for a rule whose severity depends on the case.
std::string severity_text(const structure_ingest::internal::Rule& rule);

/// Prints a row for each error and warning on a record whose own warnings have been shown.
void show_cautions(const structure_ingest::IngestedStructure& record,
                   std::span<const structure_ingest::Finding> findings);

}  // namespace apps

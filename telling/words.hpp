// The words of all doors: how numbers, names, times and findings are told.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/check/finding.hpp"

namespace telling {

using structure_ingest::Json;

/// A text from a file, a name or an argument, in quotes, with escapes for what cannot be printed,
/// and of bounded length.
std::string in_quotes(std::string_view text);

/// "H2O, 3 atoms".
std::string composition(std::string_view formula, std::int64_t natoms);

/// A time in seconds since 1970 as "2026-01-31T12:00:00Z".
std::string utc_time(std::int64_t seconds);

/// A number to six digits, which nobody can take for the exact one; null for none.
Json rounded(const std::optional<double>& value);

/// "partial_occupancy: 2 sites of 3 are not fully occupied, ...".
std::string finding_text(const structure_ingest::Finding& finding);

/// "error", or "error or warning" for a kind whose severity depends on the case.
std::string severity_text(const structure_ingest::FindingKind& kind);

/// "1 error, 2 notes"; empty for none.
std::string severity_counts(std::span<const structure_ingest::Finding> findings);

/// "partial_occupancy, several_frames, ...": the codes of all findings.
std::string known_codes();

}  // namespace telling

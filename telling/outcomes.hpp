// What is told of a batch and a hydration: what became of each file, in JSON and in sentences.
#pragma once

#include <exception>
#include <span>
#include <string>
#include <vector>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace telling {

using structure_ingest::Json;

/// "same_file".
const char* skip_code(structure_ingest::SkipReason reason);

/// Why a file was skipped, in a sentence; `limit` is how many files the call considered.
std::string skip_text(const structure_ingest::SkippedFile& file, int limit);

Json skipped_json(const structure_ingest::SkippedFile& file, int limit);

/// What became of the skipped files in few words. Those that the user or the state named are told
/// one by one; of those that only scans found, how many there are of each reason.
struct SkippedSummary {
  std::vector<structure_ingest::SkippedFile> named{};
  std::vector<std::string> scanned{};  // "3 files that a scan found: Their names are none ..."
};
SkippedSummary summary_of(std::span<const structure_ingest::SkippedFile> skipped, int limit);

/// What to say of a file that the state knows, beside that; empty for nothing.
std::string known_text(const structure_ingest::KnownSource& known);

/// What to say when the copy of a structure had been changed, and is again what it was.
inline constexpr const char* COPY_RESTORED =
    "Its copy had been changed, and was written anew as it was.";

/// Why a structure was left out.
std::string dropped_text(const structure_ingest::DroppedStructure& dropped);

/// The file of a structure that was left out, or its name where no file is known.
const std::string& dropped_file(const structure_ingest::DroppedStructure& dropped);

Json known_json(const structure_ingest::KnownSource& known);
Json dropped_json(const structure_ingest::DroppedStructure& dropped);
Json replaced_json(const structure_ingest::ReplacedStructure& replaced);

/// What became of the files of a hydration besides those that were taken: "dropped", "known",
/// "replaced" and "skipped", and under "problems" why the manifest could not be written and ASE not
/// be used.
Json outcome_json(const structure_ingest::HydrateOutcome& outcome, int limit);

/// "deleted", "none" or "kept_as_changed".
const char* fate_code(structure_ingest::CopyFate fate);

/// "Si2 (2 atoms), project_root/structures/ingested_si_0a1b2c3d.xyz"; only the path of an entry
/// without a formula, such as that of a file that could not be read.
std::string replaced_text(const structure_ingest::ReplacedStructure& replaced);

/// How a file was found, in words, by its discovery kind.
std::string found_text(const std::string& discovery);

/// The message of an error of any kind.
std::string message_of(const std::exception_ptr& error);

}  // namespace telling

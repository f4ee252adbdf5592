// What came of a batch: the entries as they are shown, and the exit status.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "apps/command_line.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace apps {

/// Prints entries as one JSON array on one line.
void print_array(std::span<const structure_ingest::SourceEntry> entries);

/// Prints an entry: its source, what it holds, its canonical copy, its warnings and what
/// findings say against it.
void print_entry(const structure_ingest::SourceEntry& entry);

/// What a dry run says before its outcome.
inline constexpr const char* DRY_RUN =
    "Dry run: nothing is written. What would become of the files:";

/// Prints the files that were skipped and why: those that were named with a line each, and how
/// many of those that a scan found; `limit` is how many files the call considered.
void print_skipped(std::span<const structure_ingest::SkippedFile> skipped, int limit);

/// Says the same on standard error, where standard output is for JSON.
void warn_skipped(std::span<const structure_ingest::SkippedFile> skipped, int limit);

/// Declares --jobs; `jobs` stays empty without it.
void add_jobs_option(Command& command, std::string& jobs);

/// How many processes may run ASE: what --jobs says, by default one for each core. Throws
/// WrongInput for what is no number from 1 on.
int processes_for(const std::string& jobs);

/// Reads the value of --frame; throws WrongInput for one that is none.
structure_ingest::FrameChoice read_frame_choice(const std::string& text);

/// The number of --limit; a leading zero makes it no octal number, as the option parser would have
/// it. Throws WrongInput for any other text.
int read_limit(const std::string& text);

/// Says on standard error why ASE could not be used, unless `reason` is empty: the warning of a
/// record is the same for all reasons.
void warn_why_no_ase(const std::string& reason);

/// The status of a batch; each failure to write is said on standard error, that of the manifest
/// included.
Status status_of(std::span<const structure_ingest::SourceEntry> entries,
                 const std::string& manifest_error);

}  // namespace apps

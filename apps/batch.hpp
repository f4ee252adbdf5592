// What `ingest` and `hydrate` have in common: their options, how a batch is read, and what is
// printed of its outcome.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "apps/options.hpp"
#include "apps/progress.hpp"
#include "apps/structure_view.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace apps {

struct BatchArguments {
  std::string limit = std::to_string(structure_ingest::DEFAULT_LIMIT);
  bool dry_run = false;
  bool json = false;
  bool no_check = false;
  bool verbose = false;
  bool molecules = false;
  ReadingArguments reading;
  PathArguments paths;
};

/// How the batch is read. `parser` and `progress` must outlive it.
structure_ingest::BatchOptions batch_options(const BatchArguments& arguments,
                                             structure_ingest::StructureParser& parser,
                                             Progress& progress);

/// What a dry run says before its outcome.
inline constexpr const char* DRY_RUN =
    "Dry run: nothing is written. What would become of the files:";

/// Prints entries as one JSON array on one line.
void print_array(std::span<const structure_ingest::SourceEntry> entries);

/// Prints an entry: its source, what it holds, its canonical copy, its warnings and what
/// findings say against it. With few details its source and formula are one line.
void print_entry(const structure_ingest::SourceEntry& entry, Detail detail, bool molecules);

/// Prints the files that were skipped and why: those that were named, together where the reason is
/// the same, and how many of those that a scan found. With few details the first of many names
/// stand for all. `limit` is how many files the call considered.
void print_skipped(std::span<const structure_ingest::SkippedFile> skipped, int limit,
                   Detail detail);

/// Prints the same on standard error, where standard output is for JSON.
void warn_skipped(std::span<const structure_ingest::SkippedFile> skipped, int limit);

/// The status of a batch; each failure to write is printed on standard error, that of the manifest
/// included, and before them why ASE could not be used.
Status status_of(std::span<const structure_ingest::SourceEntry> entries,
                 const std::string& manifest_error, const std::string& why_no_ase);

/// The status for files that were skipped: not all is well where one that the user named (`paths`,
/// as the library gets them), or that the state names, was not looked at. That the work was ended
/// before is printed on standard error.
Status status_of(std::span<const structure_ingest::SkippedFile> skipped,
                 const std::vector<std::string>& paths);

}  // namespace apps

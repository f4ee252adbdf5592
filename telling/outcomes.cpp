#include "telling/outcomes.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <map>
#include <system_error>

#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "telling/words.hpp"

namespace telling {

namespace base = structure_ingest::internal;
using structure_ingest::DroppedStructure;
using structure_ingest::KnownSource;
using structure_ingest::SkippedFile;
using structure_ingest::SkipReason;

namespace {

bool is_named(const SkippedFile& file) {
  return file.discovery.empty() || file.discovery == structure_ingest::DISCOVERY_ATTACHMENT;
}

std::string repeat_text(const SkippedFile& file) {
  if (file.other == file.path) return "It was given before.";
  std::error_code error;
  if (std::filesystem::equivalent(file.path, file.other, error)) {
    return "It is the same file as " + in_quotes(file.other) + ".";
  }
  return "It counts as " + in_quotes(file.other) + ": links and letter case make no difference.";
}

/// How a file compares with what the state knows of it; empty for nothing to say.
std::string comparison_text(const KnownSource& known) {
  if (!known.taken_for.empty()) {
    return "It counts as " + in_quotes(known.taken_for) +
           ", which the state has: letter case makes no difference.";
  }
  const std::string stays =
      "The state keeps " + std::string(known.ok ? "the structure that it has" : "its entry") + ".";
  if (!known.problem.empty()) {
    const std::string now = known.ok ? "It cannot be read now: " : "It still cannot be read: ";
    return now + known.problem + " " + stays;
  }
  if (!known.changed) return {};
  const std::string change = known.ok ? "It is not what it was when it was taken in"
                                      : "It could not be read when it was taken in, and can be now";
  if (!known.unrelated.empty()) {
    return change + ", but the new structure is unrelated: " + known.unrelated + ". " + stays;
  }
  return change + ". " + stays + " Hydrate with refresh to take in what the file gives now.";
}

}  // namespace

const char* skip_code(SkipReason reason) {
  // In the order of the enumerators.
  constexpr std::array CODES = {
      "not_a_structure_file", "same_file",   "canonical_copy", "other_project",
      "past_limit",           "not_allowed", "stopped"};
  static_assert(CODES.size() == static_cast<std::size_t>(SkipReason::stopped) + 1);
  return CODES[static_cast<std::size_t>(reason)];
}

std::string skip_text(const SkippedFile& file, int limit) {
  switch (file.reason) {
    case SkipReason::not_a_structure_file:
      return "Its name is none of a structure file: *.xyz, *.extxyz, *.cif, *.vasp, *.poscar, "
             "POSCAR*, CONTCAR*.";
    case SkipReason::same_file:
      return repeat_text(file);
    case SkipReason::canonical_copy:
      return "It is a project's own copy of a structure.";
    case SkipReason::other_project:
      return "It belongs to another project" +
             (file.other.empty() ? "." : ", " + in_quotes(file.other) + ".");
    case SkipReason::not_allowed:
      return "It, or a link beside it, leads to a place that may not be read.";
    case SkipReason::stopped:
      return "The work was ended before.";
    case SkipReason::past_limit:
      break;
  }
  const int considered = std::max(1, limit);
  return "Only the first " +
         (considered == 1 ? "file is" : std::to_string(considered) + " files are") +
         " looked at; a larger limit takes more.";
}

Json skipped_json(const SkippedFile& file, int limit) {
  return {{"path", base::utf8_text(file.path)},
          {"reason", skip_code(file.reason)},
          {"explanation", base::utf8_text(skip_text(file, limit))}};
}

SkippedSummary summary_of(std::span<const SkippedFile> skipped, int limit) {
  SkippedSummary summary;
  std::map<SkipReason, std::size_t> counts;
  for (const SkippedFile& file : skipped) {
    if (is_named(file)) {
      summary.named.push_back(file);
    } else if (file.reason != SkipReason::same_file) {
      ++counts[file.reason];  // that a scan finds a file again is nothing to speak of
    }
  }
  for (const auto& [reason, count] : counts) {
    summary.scanned.push_back(base::counted(count, "file") + " that a scan found: " +
                              skip_text({.path = {}, .reason = reason}, limit));
  }
  return summary;
}

std::string known_text(const KnownSource& known) {
  std::string text = comparison_text(known);
  if (known.copy_restored) text.append(text.empty() ? "" : " ").append(COPY_RESTORED);
  return text;
}

std::string dropped_text(const DroppedStructure& dropped) {
  return dropped.reason.empty() ? "it does not match the requested material" : dropped.reason;
}

const std::string& dropped_file(const DroppedStructure& dropped) {
  return dropped.source_file.empty() ? dropped.name : dropped.source_file;
}

Json known_json(const KnownSource& known) {
  return {{"path", base::utf8_text(known.path)},
          {"ok", known.ok},
          {"changed", known.changed},
          {"copy_restored", known.copy_restored},
          {"remark", base::utf8_text(known_text(known))}};
}

Json dropped_json(const DroppedStructure& dropped) {
  return {{"source_file", base::utf8_text(dropped_file(dropped))},
          {"formula", dropped.formula},
          {"reason", base::utf8_text(dropped_text(dropped))}};
}

Json replaced_json(const structure_ingest::ReplacedStructure& replaced) {
  return {{"source_file", base::utf8_text(replaced.source_file)},
          {"formula", replaced.formula},
          {"natoms", replaced.natoms},
          {"path", replaced.path}};
}

Json outcome_json(const structure_ingest::HydrateOutcome& outcome, int limit) {
  const auto list = [](const auto& all, const auto& told) {
    Json array = Json::array();
    for (const auto& each : all) array.push_back(told(each));
    return array;
  };
  return {{"dropped", list(outcome.dropped, dropped_json)},
          {"known", list(outcome.known, known_json)},
          {"replaced", list(outcome.replaced, replaced_json)},
          {"skipped", list(outcome.skipped,
                           [limit](const SkippedFile& file) { return skipped_json(file, limit); })},
          {"problems", {{"manifest", outcome.manifest_error}, {"ase", outcome.why_no_ase}}}};
}

const char* fate_code(structure_ingest::CopyFate fate) {
  switch (fate) {
    case structure_ingest::CopyFate::deleted:
      return "deleted";
    case structure_ingest::CopyFate::absent:
      return "none";
    case structure_ingest::CopyFate::changed:
      break;
  }
  return "kept_as_changed";
}

std::string replaced_text(const structure_ingest::ReplacedStructure& replaced) {
  if (replaced.formula.empty()) return replaced.path;
  return replaced.formula + " (" + std::to_string(replaced.natoms) + " atoms), " + replaced.path;
}

std::string found_text(const std::string& discovery) {
  if (discovery == structure_ingest::DISCOVERY_PROJECT_FOLDER) {
    return "by a scan of the project's folder or one above it";
  }
  if (discovery == structure_ingest::DISCOVERY_WORKSPACE_SCAN) return "by a scan of the workspace";
  if (discovery.empty() || discovery == structure_ingest::DISCOVERY_ATTACHMENT) {
    return "named or attached";
  }
  return discovery;
}

std::string message_of(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "unknown error";
  }
}

}  // namespace telling

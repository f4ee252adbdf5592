#include "structure_ingest/upkeep/verify.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <system_error>
#include <utility>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/check/check.hpp"
#include "structure_ingest/discovery/state_entries.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"
#include "structure_ingest/ingest/copies.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/readers/parsed_structure.hpp"
#include "structure_ingest/readers/read_structure.hpp"
#include "structure_ingest/upkeep/list.hpp"

namespace structure_ingest {
namespace {

using Findings = std::vector<VerifyFinding>;

void add(Findings& findings, VerifyCode code, std::string text, bool is_problem = true) {
  findings.push_back({.code = code, .is_problem = is_problem, .text = std::move(text)});
}

class Verifier {
 public:
  Verifier(std::string project, const VerifyOptions& options)
      : project_(std::move(project)), options_(options) {}

  /// What a first look at a source tells, and the file that is to be read; empty for none.
  struct Source {
    std::string to_read{};
    Findings findings{};
  };

  /// Looks at all sources, so that the processes that run ASE can read ahead.
  std::vector<Source> look_at_sources(const std::vector<ProjectStructure>& structures) {
    std::vector<Source> sources;
    std::vector<std::string> to_read;
    for (const ProjectStructure& structure : structures) {
      const Source& source = sources.emplace_back(look_at_source(structure));
      if (!source.to_read.empty()) to_read.push_back(source.to_read);
    }
    parser().begin_batch(to_read);
    return sources;
  }

  Findings verify(const ProjectStructure& structure, Source source) {
    Findings findings = std::move(source.findings);
    if (!source.to_read.empty()) check_source(structure, source.to_read, findings);
    check_copy(structure, findings);
    find_duplicates(structure, findings);
    return findings;
  }

  void check_copy(const ProjectStructure& structure, Findings& findings) const {
    if (structure.copy.empty()) {
      if (structure.ok) add(findings, VerifyCode::no_copy, "it has no canonical copy");
      return;
    }
    try {
      const std::optional<std::string> text = internal::text_of_copy(project_, structure.copy);
      if (!text) {
        add(findings, VerifyCode::copy_gone, "its copy is gone");
      } else if (copy_digest(*text) != digest_in_name(structure.copy)) {
        add(findings, VerifyCode::copy_changed,
            "its copy was changed: its digest is not the one in its name");
      }
    } catch (const std::system_error& error) {
      add(findings, VerifyCode::copy_unreadable,
          std::string("its copy cannot be read: ") + error.what());
    }
  }

 private:
  /// The file to read as the source of a structure; nothing when it is gone.
  std::optional<std::string> find_source(const ProjectStructure& structure,
                                         Findings& findings) const {
    const std::string source = file_stored_as(structure.source_file);
    if (internal::is_regular_file(source)) return source;
    const std::string& old = options_.moved_from;
    if (!old.empty() && structure.source_file.starts_with(old + "/")) {
      const std::string moved = file_stored_as(
          internal::join_path(project_, structure.source_file.substr(old.size() + 1)));
      if (internal::is_regular_file(moved)) {
        add(findings, VerifyCode::source_moved,
            "its source was moved with the project and is " + moved, false);
        return moved;
      }
    }
    return std::nullopt;
  }

  /// Whether the digests alone tell that a source gives the structure of the copy.
  static bool is_as_taken(const ProjectStructure& structure, const std::string& source) {
    return !structure.record_digest.empty() &&
           structure.record_digest == digest_in_name(structure.copy) &&
           structure.sha256 == internal::fingerprint_that_tells(source);
  }

  Source look_at_source(const ProjectStructure& structure) const {
    Source source;
    if (structure.source_file.empty()) return source;  // nothing tells where it came from
    const std::optional<std::string> found = find_source(structure, source.findings);
    if (!found) {
      // One that was missing from the beginning is as it was.
      if (structure.ok || !structure.sha256.empty()) {
        add(source.findings, VerifyCode::source_gone, "its source is gone");
      }
    } else if (options_.may_read && !options_.may_read(*found)) {
      add(source.findings, VerifyCode::source_not_allowed, "its source may not be read here");
    } else if (options_.deep || !is_as_taken(structure, *found)) {
      source.to_read = *found;
    }
    return source;
  }

  StructureParser& parser() { return options_.parser == nullptr ? parser_ : *options_.parser; }

  void check_source(const ProjectStructure& structure, const std::string& source,
                    Findings& findings) {
    const IngestedStructure record = parser().parse(source, {.fingerprint = true}).record;
    const std::string why = record.ok ? "" : ": " + why_not_read(record);
    const bool changed = !structure.sha256.empty() && structure.sha256 != record.sha256;
    if (!record.ok) {
      if (changed) {
        add(findings, VerifyCode::source_changed,
            "its source has changed, and gives no structure now" + why);
      } else if (structure.ok) {
        add(findings, VerifyCode::source_unreadable, "its source gives no structure now" + why);
      }
      return;
    }
    if (!structure.ok) {
      add(findings, VerifyCode::source_readable,
          "its source could not be read when it was taken in, and can be now");
      return;
    }
    const std::string digest = copy_digest(canonical_xyz_text(record));
    const bool differs = !structure.copy.empty() && digest != digest_in_name(structure.copy);
    if (changed) {
      add(findings, VerifyCode::source_changed,
          std::string("its source has changed, and gives ") +
              (structure.copy.empty() ? "a structure that cannot be compared"
               : differs              ? "another structure now"
                                      : "the same structure still"));
    } else if (differs) {
      add(findings, VerifyCode::structure_differs,
          "its source has the same bytes, but gives another structure now than the copy's (the "
          "file that its cell comes from may have changed)");
    }
  }

  void find_duplicates(const ProjectStructure& structure, Findings& findings) {
    if (!structure.source_file.empty()) {
      const auto [first, is_new] =
          sources_.emplace(internal::source_key(structure.source_file), structure.path);
      if (!is_new) {
        add(findings, VerifyCode::duplicate,
            "the source is that of another entry, " + first->second, false);
        return;
      }
    }
    const std::string digest = digest_in_name(structure.copy);
    if (digest.empty()) return;
    const std::string label =
        structure.source_file.empty() ? structure.path : structure.source_file;
    // Eight digits of a digest may agree by chance, hardly so with the formula.
    const auto [first, is_new] = copies_.emplace(digest + structure.formula, label);
    if (!is_new) {
      add(findings, VerifyCode::duplicate, "the same structure is there from " + first->second,
          false);
    }
  }

  std::string project_;
  const VerifyOptions& options_;
  StructureParser parser_{{.cache = !options_.deep}};  // where the options have none
  std::map<std::string, std::string> sources_;         // the structure of each by the source's key
  std::map<std::string, std::string> copies_;          // the source of each by digest and formula
};

}  // namespace

std::string_view name_of(VerifyCode code) {
  // In the order of the enumerators.
  constexpr std::array<std::string_view, 13> NAMES = {"source_gone",
                                                      "source_changed",
                                                      "source_unreadable",
                                                      "source_readable",
                                                      "source_not_allowed",
                                                      "source_moved",
                                                      "structure_differs",
                                                      "copy_gone",
                                                      "copy_changed",
                                                      "copy_unreadable",
                                                      "no_copy",
                                                      "duplicate",
                                                      "no_entry"};
  static_assert(NAMES.size() == static_cast<std::size_t>(VerifyCode::no_entry) + 1);
  return NAMES[static_cast<std::size_t>(code)];
}

bool VerifiedStructure::is_as_it_was() const {
  return std::none_of(findings.begin(), findings.end(),
                      [](const VerifyFinding& finding) { return finding.is_problem; });
}

bool Verification::is_as_it_was() const {
  return std::all_of(structures.begin(), structures.end(),
                     [](const VerifiedStructure& each) { return each.is_as_it_was(); });
}

Verification verify_project(const std::string& project, const Json& state,
                            const VerifyOptions& options) {
  ProjectListing listing = list_structures(project, state, {.record_digests = !options.deep});
  Verification verification{.structures = {}, .manifest_error = std::move(listing.manifest_error)};
  Verifier verifier(internal::resolve_path(project), options);
  std::vector<Verifier::Source> sources = verifier.look_at_sources(listing.structures);
  const std::size_t total = listing.structures.size();
  for (ProjectStructure& structure : listing.structures) {
    if (options.progress) {
      options.progress(verification.structures.size(), total, structure.path);
    }
    const std::size_t place = verification.structures.size();
    Findings findings = verifier.verify(structure, std::move(sources[place]));
    verification.structures.push_back({std::move(structure), std::move(findings)});
  }
  for (std::string& copy : listing.other_copies) {
    VerifiedStructure other{.structure = {.path = copy, .copy = copy}};
    other.structure.copied_at = internal::time_of_copy(internal::resolve_path(project), copy);
    add(other.findings, VerifyCode::no_entry, "a copy that no structure of the state has", false);
    verifier.check_copy(other.structure, other.findings);
    verification.structures.push_back(std::move(other));
  }
  return verification;
}

}  // namespace structure_ingest

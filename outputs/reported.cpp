#include "outputs/reported.hpp"

#include <utility>
#include <vector>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"
#include "telling/outcomes.hpp"

namespace outputs {
namespace {

namespace base = structure_ingest::internal;
using structure_ingest::ProjectListing;
using structure_ingest::ProjectStructure;
using structure_ingest::StructureParser;

structure_ingest::Quantities all_quantities_of(const structure_ingest::IngestedStructure& record) {
  return structure_ingest::quantities_of(record, {.space_group = true});
}

ReportedStructure reported_structure(StructureParser& parser, const std::string& project,
                                     const ProjectStructure& held) {
  ReportedStructure structure{
      .source = held.source_file.empty() ? held.path : held.source_file,
      .fingerprint = held.sha256,
      .findings = held.findings.value_or(std::vector<structure_ingest::Finding>())};
  if (!held.copy.empty()) {
    const std::string path = base::join_path(project, held.copy);
    structure.record = parser.parse(path);
    structure.copy_name = base::file_name(held.copy);
    structure.more.emplace_back("Copy", held.copy);
    if (structure.record.ok) structure.copy = base::read_file(path);
  }
  // The warnings are those of the source; the copy has none of its own but that it cannot be read.
  if (structure.record.ok || held.copy.empty()) structure.record.warnings = held.warnings;
  if (!held.discovery.empty()) {
    structure.more.emplace_back("Found", telling::found_text(held.discovery));
  }
  structure.quantities = all_quantities_of(structure.record);
  return structure;
}

}  // namespace

ReportedStructure reported_file(StructureParser& parser, const std::string& path,
                                const std::string& origin) {
  structure_ingest::ParsedStructure parsed =
      parser.parse(path, {.fingerprint = true, .content = true});
  ReportedStructure structure{.source = path,
                              .fingerprint = parsed.record.sha256,
                              .findings = structure_ingest::check_structure(parsed)};
  structure.record = std::move(parsed.record);
  if (structure.record.ok) {
    structure.copy = structure_ingest::canonical_xyz_text(structure.record);
    structure.copy_name =
        base::file_name(structure_ingest::canonical_xyz_rel(structure.record, structure.copy));
  } else if (!origin.empty()) {
    structure.more.emplace_back("Listed in", origin);
  }
  structure.quantities = all_quantities_of(structure.record);
  return structure;
}

ProjectReport report_on_project(const std::string& project, const structure_ingest::Json& state,
                                const structure_ingest::Progress& progress) {
  const ProjectListing listing = structure_ingest::list_structures(project, state, {.check = true});
  ProjectReport made{.manifest_error = listing.manifest_error};
  Report& report = made.report;
  report.title = "Structures of " + base::file_name(base::resolve_path(project));
  if (const std::size_t others = listing.other_copies.size(); others > 0) {
    report.remark = "Besides, the project has " + std::to_string(others) +
                    (others == 1 ? " copy" : " copies") + " that its state does not list.";
  }
  StructureParser parser;
  for (std::size_t i = 0; i < listing.structures.size(); ++i) {
    if (progress) progress(i, listing.structures.size(), listing.structures[i].path);
    report.structures.push_back(reported_structure(parser, project, listing.structures[i]));
  }
  return made;
}

}  // namespace outputs

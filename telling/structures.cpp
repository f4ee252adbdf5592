#include "telling/structures.hpp"

#include <algorithm>
#include <optional>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "telling/words.hpp"

namespace telling {

namespace base = structure_ingest::internal;
using structure_ingest::CellGeometry;
using structure_ingest::IngestedStructure;
using structure_ingest::ProjectStructure;
using structure_ingest::VerifiedStructure;

namespace {

Json texts_json(const std::vector<std::string>& texts) {
  Json list = Json::array();
  for (const std::string& text : texts) list.push_back(base::utf8_text(text));
  return list;
}

std::string with_cell(const std::string& text, bool has_cell) {
  return text + (has_cell ? ", with a cell" : ", no cell");
}

}  // namespace

Json cell_json(const IngestedStructure& record) {
  if (!record.cell_ang) return nullptr;
  const std::optional<CellGeometry> cell = structure_ingest::cell_geometry(*record.cell_ang);
  if (!cell) return nullptr;
  Json lengths = Json::array();
  for (const double length : cell->lengths_ang) lengths.push_back(rounded(length));
  Json angles = Json::array();
  for (const std::optional<double>& angle : cell->angles_deg) angles.push_back(rounded(angle));
  std::optional<double> density;
  if (cell->volume_ang3) {
    density = structure_ingest::density_g_cm3(record.symbols, *cell->volume_ang3);
  }
  return {{"lengths_ang", std::move(lengths)},
          {"angles_deg", std::move(angles)},
          {"volume_ang3", rounded(cell->volume_ang3)},
          {"density_g_cm3", rounded(density)},
          {"source", base::utf8_text(record.cell_provenance)}};
}

Json record_json(const IngestedStructure& record,
                 std::span<const structure_ingest::Finding> findings) {
  return {{"path", base::utf8_text(record.source_path)},
          {"ok", record.ok},
          {"format", record.format},
          {"formula", record.ok ? record.formula : ""},
          {"natoms", record.ok ? record.natoms : 0},
          {"species", record.ok ? record.species : std::vector<std::string>()},
          {"cell", record.ok ? cell_json(record) : Json()},
          {"sha256", record.sha256},
          {"warnings", texts_json(record.warnings)},
          {"findings", structure_ingest::findings_list(findings)}};
}

Json structure_json(const ProjectStructure& structure, const std::string& project) {
  const std::string copy = copy_path(structure, project);
  return {{"path", structure.path},
          {"copy", copy.empty() ? Json() : Json(base::utf8_text(copy))},
          {"source_file", structure.source_file},
          {"discovery", structure.discovery},
          {"formula", structure.formula},
          {"natoms", structure.natoms},
          {"has_cell", structure.has_cell},
          {"ok", structure.ok},
          {"sha256", structure.sha256},
          {"copied_at", structure.copied_at ? Json(utc_time(*structure.copied_at)) : Json()},
          {"warnings", texts_json(structure.warnings)},
          {"findings",
           structure.findings ? structure_ingest::findings_list(*structure.findings) : Json()}};
}

Json verified_json(const structure_ingest::VerifiedStructure& verified) {
  Json findings = Json::array();
  for (const structure_ingest::VerifyFinding& finding : verified.findings) {
    findings.push_back({{"code", structure_ingest::name_of(finding.code)},
                        {"problem", finding.is_problem},
                        {"text", base::utf8_text(finding.text)}});
  }
  return {{"path", verified.structure.path},
          {"source_file", verified.structure.source_file},
          {"as_it_was", verified.is_as_it_was()},
          {"findings", std::move(findings)}};
}

bool is_without_entry(const VerifiedStructure& verified) {
  return std::any_of(verified.findings.begin(), verified.findings.end(), [](const auto& finding) {
    return finding.code == structure_ingest::VerifyCode::no_entry;
  });
}

VerifiedCounts counts_of(const structure_ingest::Verification& verification) {
  VerifiedCounts counts;
  for (const VerifiedStructure& verified : verification.structures) {
    if (is_without_entry(verified)) continue;
    if (!verified.structure.ok && verified.is_as_it_was()) {
      ++counts.never_read;
      continue;
    }
    ++counts.structures;
    if (verified.is_as_it_was()) ++counts.as_they_were;
  }
  return counts;
}

std::string in_short(const VerifiedCounts& counts) {
  std::string text =
      std::to_string(counts.as_they_were) + " of " + base::counted(counts.structures, "structure");
  if (counts.never_read > 0) {
    text += ", " + base::counted(counts.never_read, "file") + " never gave one";
  }
  return text;
}

Json scanned_json(const structure_ingest::ScannedFile& file) {
  return {{"path", base::utf8_text(file.path)},
          {"discovery", file.discovery},
          {"owner", file.owner ? Json(base::utf8_text(*file.owner)) : Json()},
          {"taken", file.taken}};
}

std::string copy_path(const ProjectStructure& structure, const std::string& project) {
  return structure.copied_at ? base::join_path(project, structure.copy) : std::string();
}

std::string in_short(const ProjectStructure& structure) {
  if (!structure.ok) return "could not be read";
  return with_cell(composition(structure.formula, structure.natoms), structure.has_cell);
}

std::string in_short(const IngestedStructure& record) {
  if (!record.ok) return "could not be read";
  return with_cell(composition(record.formula, record.natoms), record.cell_ang.has_value());
}

}  // namespace telling

#include "apps/structure_view.hpp"

#include <optional>

#include "apps/terminal.hpp"
#include "structure_ingest/base/numbers.hpp"
#include "telling/words.hpp"

namespace apps {

namespace {

using structure_ingest::internal::number_text;

std::string angle_text(const std::optional<double>& degrees) {
  return degrees ? number_text(*degrees, 5) + "\u00B0" : "undefined";
}

}  // namespace

std::string shown_composition(const structure_ingest::IngestedStructure& record) {
  return printable(telling::composition(record.formula, record.natoms));
}

void print_heading(const structure_ingest::IngestedStructure& record, const std::string& part,
                   Detail detail) {
  print_line(
      printable(record.source_path) + (part.empty() ? "" : ", " + part) + ": " +
      (record.ok ? coloured(shown_composition(record), GREEN) : coloured("not parsed", RED)));
  if (record.ok && detail == Detail::all) print_cell(record);
}

void print_cell(const structure_ingest::IngestedStructure& record) {
  if (!record.cell_ang || record.cell_ang->empty()) return;
  const auto geometry = structure_ingest::cell_geometry(*record.cell_ang);
  const std::string source =
      record.cell_provenance.empty() ? "the file itself" : record.cell_provenance;
  if (!geometry) {
    print_row("cell", "not three vectors of three finite numbers");
    print_row("", "from " + source);
    return;
  }
  const auto& [a, b, c] = geometry->lengths_ang;
  const auto& [alpha, beta, gamma] = geometry->angles_deg;
  print_row("cell", "a = " + number_text(a, 6) + ", b = " + number_text(b, 6) +
                        ", c = " + number_text(c, 6) + " \u00C5");
  print_row("", "alpha = " + angle_text(alpha) + ", beta = " + angle_text(beta) +
                    ", gamma = " + angle_text(gamma));
  print_row("", "from " + source);
  if (!geometry->volume_ang3) return;
  print_row("volume", number_text(*geometry->volume_ang3, 6) + " \u00C5\u00B3");
  const std::optional<double> density =
      structure_ingest::density_g_cm3(record.symbols, *geometry->volume_ang3);
  if (density) print_row("density", number_text(*density, 4) + " g/cm\u00B3");
}

void print_warnings(const structure_ingest::IngestedStructure& record, bool molecules) {
  for (std::size_t i = 0; i < record.warnings.size(); ++i) {
    if (molecules && record.warnings[i].starts_with("No cell/lattice information")) continue;
    const bool is_reason = !record.ok && i == 0;
    print_row(record.ok ? "warning" : "error",
              is_reason ? structure_ingest::why_not_read(record) : record.warnings[i]);
  }
}

void warn_why_no_ase(const std::string& reason) {
  if (!reason.empty()) print_error("ASE cannot be used: " + reason);
}

void print_cautions(const structure_ingest::IngestedStructure& record,
                    std::span<const structure_ingest::Finding> findings) {
  for (const structure_ingest::Finding& finding : findings) {
    // The warnings of our own reader have said already why a file was not read, and one of ASE that
    // ends before its reason has got that of the finding.
    const bool is_of_ase = record.format == "cif" || record.format == "vasp";
    const bool is_said = finding.code == "not_read" && (!is_of_ase || record.warnings.empty() ||
                                                        record.warnings[0].ends_with(": "));
    const bool is_note = finding.severity == structure_ingest::Severity::note;
    if (!is_note && !is_said) print_row("caution", telling::finding_text(finding));
  }
}

void print_row(const std::string& label, const std::string& text) {
  constexpr std::size_t LABEL_WIDTH = 9;  // of the longest, "warning", and two blanks
  std::string begin = "  " + label;
  begin.resize(2 + LABEL_WIDTH, ' ');
  print_wrapped(begin, printable_message(text));
}

}  // namespace apps

#include "apps/structure_view.hpp"

#include <array>
#include <cstdio>
#include <optional>

#include "apps/terminal.hpp"
#include "structure_ingest/record/cell_geometry.hpp"

namespace apps {

using structure_ingest::internal::CellGeometry;
using structure_ingest::internal::density_g_cm3;
using structure_ingest::internal::geometry_of;

namespace {

/// A number in `digits` significant digits, without trailing zeros.
std::string number(double value, int digits) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.*g", digits, value);
  return text.data();
}

std::string angle(const std::optional<double>& degrees) {
  return degrees ? number(*degrees, 5) + "\u00B0" : "undefined";
}

}  // namespace

std::string composition_of(const structure_ingest::IngestedStructure& record) {
  return printable(record.formula) + ", " + std::to_string(record.natoms) +
         (record.natoms == 1 ? " atom" : " atoms");
}

void show_cell(const structure_ingest::IngestedStructure& record) {
  if (!record.cell_ang || record.cell_ang->empty()) return;
  const std::optional<CellGeometry> geometry = geometry_of(*record.cell_ang);
  const std::string source =
      record.cell_provenance.empty() ? "the file itself" : record.cell_provenance;
  if (!geometry) {
    print_row("cell", "not three vectors of three finite numbers");
    print_row("", "from " + source);
    return;
  }
  const auto& [a, b, c] = geometry->lengths_ang;
  const auto& [alpha, beta, gamma] = geometry->angles_deg;
  print_row("cell",
            "a = " + number(a, 6) + ", b = " + number(b, 6) + ", c = " + number(c, 6) + " \u00C5");
  print_row("",
            "alpha = " + angle(alpha) + ", beta = " + angle(beta) + ", gamma = " + angle(gamma));
  print_row("", "from " + source);
  if (!geometry->volume_ang3) return;
  print_row("volume", number(*geometry->volume_ang3, 6) + " \u00C5\u00B3");
  const std::optional<double> density = density_g_cm3(record.symbols, *geometry->volume_ang3);
  if (density) print_row("density", number(*density, 4) + " g/cm\u00B3");
}

void show_warnings(const std::vector<std::string>& warnings, bool ok) {
  for (const std::string& warning : warnings) print_row(ok ? "warning" : "error", warning);
}

void print_row(const std::string& label, const std::string& text) {
  constexpr std::size_t LABEL_WIDTH = 9;  // of the longest, "warning", and two blanks
  std::string begin = "  " + label;
  begin.resize(2 + LABEL_WIDTH, ' ');
  print_wrapped(begin, printable_message(text));
}

}  // namespace apps

// The page is plain HTML with everything in it that can be read: scripts only add the search, the
// order and the 3D view. Each text that came from a file passes through markup_text, and no such
// text stands in a script.
#include "outputs/page.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <map>
#include <optional>

#include "outputs/escape.hpp"
#include "structure_ingest/base/characters.hpp"
#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/words.hpp"
#include "telling/words.hpp"

namespace outputs {
namespace {

using structure_ingest::Finding;
using structure_ingest::IngestedStructure;
using structure_ingest::Json;
using structure_ingest::Severity;
using structure_ingest::internal::counted;
using structure_ingest::internal::markup_text;
using structure_ingest::internal::number_text;

constexpr std::array<Severity, 3> SEVERITIES = {Severity::error, Severity::warning, Severity::note};
constexpr std::size_t MOST_MARKED = 200;
constexpr std::size_t FINGERPRINT_SHOWN = 8;

/// "C<sub>60</sub>": the counts of a formula below the line.
std::string formula_markup(const std::string& formula) {
  const std::string text = markup_text(formula);
  std::string out;
  bool in_count = false;
  for (const char c : text) {
    const bool is_digit = structure_ingest::internal::is_digit(c);
    if (is_digit != in_count) out += is_digit ? "<sub>" : "</sub>";
    in_count = is_digit;
    out += c;
  }
  return in_count ? out + "</sub>" : out;
}

/// "Fm-3m (225)"; empty for none.
std::string space_group_text(const ReportedStructure& structure) {
  const auto& group = structure.quantities.space_group;
  return group ? group->name + " (" + std::to_string(group->number) + ")" : std::string();
}

/// "3.5, 3.5, 5": numbers, each with its unit, and "?" for one that is not known.
template <typename Numbers>
std::string listed(const Numbers& numbers, int digits, const std::string& unit = "") {
  std::string out;
  for (const std::optional<double> number : numbers) {
    out += (out.empty() ? "" : ", ") + (number ? number_text(*number, digits) : "?") + unit;
  }
  return out;
}

std::string span_of(const std::string& classes, const std::string& content) {
  return "<span class=\"" + classes + "\">" + content + "</span>";
}

std::size_t count_of(const std::vector<Finding>& findings, Severity severity) {
  return static_cast<std::size_t>(
      std::count_if(findings.begin(), findings.end(),
                    [&](const Finding& finding) { return finding.severity == severity; }));
}

/// A cell of the table. `sort` is what it is sorted by, empty for nothing known.
std::string cell(const std::string& classes, const std::string& label, const std::string& sort,
                 const std::string& content) {
  return "<td role=\"cell\" class=\"" + classes + "\" data-sort=\"" + sort + "\"" +
         (content.empty() ? "" : " data-label=\"" + label + "\"") + ">" + content + "</td>";
}

std::string badge(const std::string& severity, const std::string& text) {
  return span_of("badge " + severity, text);
}

std::string badges(const std::vector<Finding>& findings) {
  std::string out;
  for (const Severity severity : SEVERITIES) {
    const std::size_t count = count_of(findings, severity);
    if (count == 0) continue;
    const std::string name = structure_ingest::severity_name(severity);
    out += (out.empty() ? "" : " ") + badge(name, counted(count, name));
  }
  return out.empty() ? "" : span_of("badges", out);
}

std::string thumbnail(const ReportedStructure& structure) {
  if (!structure.record.ok) return "<i class=\"nothing\" aria-hidden=\"true\">–</i>";
  const std::string png = structure_ingest::picture_png(
      structure.record, {.width_px = 144, .height_px = 108, .legend = false, .transparent = true});
  return "<img alt=\"\" width=\"72\" height=\"54\" src=\"data:image/png;base64," +
         structure_ingest::internal::base64(png) + "\">";
}

/// The name of the file above the folder that it is in.
std::string source_markup(const std::string& source) {
  const std::size_t begin = source.rfind('/') + 1;  // 0 where there is no folder
  std::string name = markup_text(source.substr(begin));
  if (begin == 0) return name;
  return name + "<br>" + span_of("quiet", markup_text(source.substr(0, begin)));
}

/// A row whose structure has the identifier `id`.
std::string row(const ReportedStructure& structure, const std::string& id) {
  const IngestedStructure& record = structure.record;
  const auto& geometry = structure.quantities.cell;
  std::string cells =
      "<th role=\"rowheader\" scope=\"row\" data-sort=\"" + markup_text(record.formula) +
      "\"><a href=\"#" + id + "\">" + thumbnail(structure) + "<span>" +
      (record.ok ? formula_markup(record.formula) : "not&nbsp;parsed") + "</span></a></th>";
  const std::string atoms = record.ok ? std::to_string(record.natoms) : "";
  cells += cell("number", "Atoms", atoms, atoms);
  std::string lengths_and_angles;
  if (geometry) {
    lengths_and_angles = listed(geometry->lengths_ang, 5) + "<br>" +
                         span_of("quiet", listed(geometry->angles_deg, 5));
  }
  const auto volume = geometry ? geometry->volume_ang3 : std::nullopt;
  cells +=
      cell("cell wide", "Cell (Å, °)", volume ? number_text(*volume, 17) : "", lengths_and_angles);
  const auto quantity = [&](const std::optional<double>& value, const std::string& label) {
    return cell("number", label, value ? number_text(*value, 17) : "",
                value ? number_text(*value, 4) : "");
  };
  cells += quantity(structure.quantities.density_g_cm3, "Density (g/cm³)");
  const std::string space_group = markup_text(space_group_text(structure));
  cells += cell("", "Space group", space_group, space_group);
  cells += quantity(structure.quantities.shortest_distance_ang, "Shortest distance (Å)");
  // By the errors, then the warnings, then the notes.
  std::size_t weight = 0;
  for (const Severity severity : SEVERITIES) {
    weight = weight * 1000 + std::min<std::size_t>(count_of(structure.findings, severity), 999);
  }
  cells += cell("wide", "Findings", std::to_string(weight), badges(structure.findings));
  cells +=
      cell("source wide", "Source", markup_text(structure.source), source_markup(structure.source));
  const std::string& fingerprint = structure.fingerprint;
  cells += cell("", "Fingerprint", markup_text(fingerprint),
                fingerprint.empty()
                    ? ""
                    : span_of("mono", markup_text(fingerprint.substr(0, FINGERPRINT_SHOWN))));
  const std::string worst =
      record.ok
          ? structure_ingest::severity_name(structure_ingest::worst_severity(structure.findings))
          : "unread";
  return "<tr role=\"row\" data-id=\"" + id + "\" data-worst=\"" + worst + "\">" + cells +
         "</tr>\n";
}

std::string entry(const std::string& label, const std::string& markup) {
  return "<dt>" + label + "</dt><dd>" + markup + "</dd>\n";
}

std::string numbers(const ReportedStructure& structure) {
  const IngestedStructure& record = structure.record;
  const structure_ingest::Quantities& quantities = structure.quantities;
  std::string out;
  const auto add = [&out](const char* label, const std::optional<double>& value, int digits,
                          const char* unit) {
    if (value) out += entry(label, number_text(*value, digits) + unit);
  };
  if (record.ok) {
    out += entry("Atoms", std::to_string(record.natoms));
    if (const auto& cell = quantities.cell) {
      out += entry("a, b, c", listed(cell->lengths_ang, 7) + " Å");
      out += entry("α, β, γ", listed(cell->angles_deg, 5, "°"));
      add("Volume", cell->volume_ang3, 6, " Å³");
    } else {
      out += entry("Cell", "none");
    }
    if (!record.cell_provenance.empty()) {
      out += entry("Cell from", markup_text(record.cell_provenance));
    }
    add("Density", quantities.density_g_cm3, 4, " g/cm³");
    if (quantities.space_group) {
      out += entry("Space group", markup_text(space_group_text(structure)) + " " +
                                      span_of("quiet", "within 0.01 Å"));
    }
    add("Shortest distance", quantities.shortest_distance_ang, 6, " Å");
  }
  for (const auto& [label, text] : structure.more) out += entry(label, markup_text(text));
  if (!structure.fingerprint.empty()) {
    out += entry("Fingerprint", span_of("mono", markup_text(structure.fingerprint)));
  }
  return out.empty() ? "" : "<dl>\n" + out + "</dl>\n";
}

/// A headed list of warnings or findings; empty for none.
std::string headed_list(const std::string& heading, const std::string& items) {
  return items.empty() ? ""
                       : "<h3>" + heading + "</h3>\n<ul class=\"findings\">\n" + items + "</ul>\n";
}

/// The warnings of a record, which says for one that was not read why.
std::string warnings(const IngestedStructure& record) {
  const std::string kind = record.ok ? "warning" : "error";
  std::string out;
  for (const std::string& warning : record.warnings) {
    out += "<li>" + badge(kind, kind) + "<p>" + markup_text(warning) + "</p></li>\n";
  }
  return headed_list(record.ok ? "Warnings" : "Why it was not parsed", out);
}

std::string findings(const ReportedStructure& structure) {
  std::string out;
  for (std::size_t i = 0; i < structure.findings.size(); ++i) {
    const Finding& finding = structure.findings[i];
    const std::string name = structure_ingest::severity_name(finding.severity);
    out += "<li data-finding=\"" + std::to_string(i) + "\">" + badge(name, name) + " <code>" +
           markup_text(finding.code) + "</code><p>" + markup_text(finding.message) + "</p>";
    if (const auto kind = structure_ingest::finding_kind(finding.code)) {
      out += "<p class=\"quiet\">" + markup_text(kind->meaning) +
             "</p><p>To do: " + markup_text(kind->advice) + "</p>";
    }
    out += "</li>\n";
  }
  return headed_list("Findings", out);
}

/// The atoms that errors and warnings are about.
std::vector<std::size_t> marked_atoms(const ReportedStructure& structure) {
  std::vector<std::size_t> atoms;
  for (const Finding& finding : structure.findings) {
    if (finding.severity == Severity::note) continue;
    atoms.insert(atoms.end(), finding.atoms.begin(), finding.atoms.end());
  }
  std::sort(atoms.begin(), atoms.end());
  atoms.erase(std::unique(atoms.begin(), atoms.end()), atoms.end());
  atoms.resize(std::min(atoms.size(), MOST_MARKED));
  return atoms;
}

std::string article(const ReportedStructure& structure, const std::string& id) {
  const IngestedStructure& record = structure.record;
  std::string out = "<article id=\"" + id + "\" tabindex=\"-1\" aria-labelledby=\"" + id +
                    "-name\">\n<header><h2 id=\"" + id + "-name\">" +
                    (record.ok ? formula_markup(record.formula) : "Not parsed") + "</h2><p>" +
                    markup_text(structure.source) + "</p></header>\n";
  out += record.ok ? "<div class=\"columns\">\n" : "<div class=\"columns alone\">\n";
  if (record.ok) {
    out +=
        "<figure><div class=\"stage\">\n" +
        structure_ingest::picture_svg_part(record, {.marked = marked_atoms(structure)}, id + "-") +
        "</div></figure>\n";
  }
  out += "<div class=\"facts\">\n" + numbers(structure) + warnings(structure.record) +
         findings(structure);
  if (!structure.copy.empty()) {
    out += "<p class=\"copy\"><a class=\"button\" download=\"" + markup_text(structure.copy_name) +
           "\" href=\"data:chemical/x-xyz;base64," +
           structure_ingest::internal::base64(structure.copy) + "\">Download the exact copy</a> " +
           span_of("quiet", "extended XYZ, " + counted(structure.copy.size(), "byte")) + "</p>\n";
  }
  return out + "</div>\n</div>\n</article>\n";
}

/// What the 3D view draws of a structure besides the atoms in its copy. Most atoms lie in the cell
/// and on no face of it: only the others are named.
Json drawing_json(const IngestedStructure& record) {
  const structure_ingest::Drawing drawing = structure_ingest::drawing_of(record);
  Json places = Json::array();
  for (std::size_t i = 0; i < drawing.places.size(); ++i) {
    const auto& [into_cell, on_face] = drawing.places[i];
    if (into_cell == std::array{0, 0, 0} && on_face == std::array{false, false, false}) continue;
    places.push_back({i, into_cell[0], into_cell[1], into_cell[2],
                      (on_face[0] ? 1 : 0) + (on_face[1] ? 2 : 0) + (on_face[2] ? 4 : 0)});
  }
  Json sticks = Json::array();
  for (const auto& [first, second, cells] : drawing.sticks) {
    sticks.push_back({first, second, cells[0], cells[1], cells[2]});
  }
  return {{"axes", drawing.axes},
          {"periodic", drawing.has_cell},
          {"places", std::move(places)},
          {"sticks", std::move(sticks)},
          {"without_sticks", drawing.without_sticks}};
}

/// What the scripts need besides the page itself: numbers and element symbols.
Json script_data(const Report& report) {
  std::map<std::string, Json> elements;
  Json structures = Json::array();
  for (const ReportedStructure& structure : report.structures) {
    if (!structure.record.ok) {
      structures.push_back(nullptr);
      continue;
    }
    Json atoms = Json::array();
    for (const Finding& finding : structure.findings) atoms.push_back(finding.atoms);
    Json known = drawing_json(structure.record);
    known["marked"] = marked_atoms(structure);
    known["findings"] = std::move(atoms);
    structures.push_back(std::move(known));
    for (const std::string& symbol : structure.record.species) {
      const structure_ingest::ElementLook look = structure_ingest::element_look(symbol);
      std::array<char, 8> colour{};
      std::snprintf(colour.data(), colour.size(), "#%06x", static_cast<unsigned>(look.colour));
      elements[symbol] = {{"colour", colour.data()}, {"radius", look.radius_ang}};
    }
  }
  return {{"elements", elements}, {"structures", std::move(structures)}};
}

std::string summary(const Report& report) {
  std::size_t unread = 0;
  std::vector<Finding> findings;
  for (const ReportedStructure& structure : report.structures) {
    if (!structure.record.ok) ++unread;
    findings.insert(findings.end(), structure.findings.begin(), structure.findings.end());
  }
  std::string out = counted(report.structures.size() - unread, "structure");
  if (unread > 0) out += ", " + counted(unread, "file") + " not parsed";
  if (!findings.empty()) out += ". Findings: " + telling::severity_counts(findings);
  return out + (report.remark.empty() ? "." : ". " + report.remark);
}

/// The licences, with their line breaks.
std::string licences() {
  std::string out;
  const std::string all =
      std::string(embedded_text("LICENSE")).append("\n").append(embedded_text("LICENSE.bundled"));
  for (std::string_view rest = all; !rest.empty();) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    out += markup_text(rest.substr(0, end)) + "\n";
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return out;
}

}  // namespace

std::string report_page(const Report& report) {
  std::string rows, articles;
  for (std::size_t i = 0; i < report.structures.size(); ++i) {
    const std::string id = "s" + std::to_string(i);
    rows += row(report.structures[i], id);
    articles += article(report.structures[i], id);
  }
  const std::string style =
      "\n" + std::string(embedded_text("page.css")) + structure_ingest::picture_style();
  const std::string policy =
      "default-src 'none'; script-src " + policy_hash(embedded_text("3Dmol-min.js")) + " " +
      policy_hash(embedded_text("page.js")) + "; style-src " + policy_hash(style) +
      "; img-src data: blob:; base-uri 'none'; form-action 'none'; "
      "require-trusted-types-for 'script'";
  return filled(embedded_text("page.html"), {{"policy", policy},
                                             {"title", markup_text(report.title)},
                                             {"summary", markup_text(summary(report))},
                                             {"style", style},
                                             {"rows", std::move(rows)},
                                             {"articles", std::move(articles)},
                                             {"program", markup_text(report.program)},
                                             {"licences", licences()},
                                             {"data", script_json(script_data(report))},
                                             {"viewer", std::string(embedded_text("3Dmol-min.js"))},
                                             {"script", std::string(embedded_text("page.js"))}});
}

}  // namespace outputs

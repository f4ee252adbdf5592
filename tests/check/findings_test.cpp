// The rules as they stand in their table, on the page of findings, and in the findings on any file.
#include <random>
#include <set>

#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/check/check.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "tests/check/findings_in.hpp"

namespace structure_ingest {
namespace {

std::string row_of(const FindingKind& kind) {
  std::string severity = severity_name(kind.worst);
  if (kind.least != kind.worst) severity += std::string(" to ") + severity_name(kind.least);
  return "| `" + std::string(kind.code) + "` | " + severity + " | " + kind.source + " | " +
         kind.condition + " | " + kind.meaning + " | " + kind.advice + " |\n";
}

TEST(FindingsPage, HasTheTable) {
  const std::string page = tests::content_of(STRUCTURE_INGEST_SOURCE_DIR "/docs/findings.md");
  const std::string head = "|---|---|---|---|---|---|\n";
  const std::size_t begin = page.find(head);
  ASSERT_NE(begin, std::string::npos);
  std::string rows;
  for (const FindingKind& kind : finding_kinds()) rows += row_of(kind);
  const std::size_t end = page.find("\n\n", begin);
  EXPECT_EQ(page.substr(begin + head.size(), end + 1 - begin - head.size()), rows);
}

TEST(Rules, AreWellFormed) {
  std::set<std::string> codes;
  std::set<std::string> sources;
  for (const FindingKind& kind : finding_kinds()) {
    EXPECT_TRUE(codes.insert(kind.code).second) << kind.code;
    EXPECT_GE(kind.worst, kind.least) << kind.code;
    EXPECT_EQ(finding_kind(kind.code).value().meaning, kind.meaning);
    sources.insert(kind.source);
    for (const std::string text : {kind.condition, kind.meaning, kind.advice}) {
      EXPECT_TRUE(text.ends_with('.') && text.find('|') == std::string::npos) << text;
    }
  }
  EXPECT_GE(codes.size(), 40U);
  EXPECT_EQ(sources, (std::set<std::string>{"file", "geometry", "reader", "second reader"}));
  EXPECT_FALSE(finding_kind("no_such"));
}

TEST(WorstSeverity, IsANoteForNothing) {
  std::vector<Finding> findings(3);
  findings[1].severity = Severity::error;
  findings[2].severity = Severity::warning;
  EXPECT_EQ(worst_severity(findings), Severity::error);
  EXPECT_EQ(worst_severity({}), Severity::note);
}

void expect_well_formed(const IngestedStructure& record, const std::vector<Finding>& findings,
                        const std::string& content) {
  Severity last = Severity::error;
  for (const Finding& finding : findings) {
    const std::optional<FindingKind> kind = finding_kind(finding.code);
    ASSERT_TRUE(kind) << finding.code;
    EXPECT_TRUE(finding.severity <= kind->worst && finding.severity >= kind->least)
        << finding.code << "\n"
        << content;
    EXPECT_LE(finding.severity, last) << "not worst first";
    last = finding.severity;
    EXPECT_TRUE(finding.message.size() > 10 && finding.message.ends_with('.')) << finding.message;
    EXPECT_LT(finding.message.size(), 3000U);
    EXPECT_EQ(internal::valid_utf8_prefix(finding.message), finding.message.size())
        << finding.message;
    EXPECT_LE(finding.atoms.size(), MOST_ATOMS_NAMED);
    for (const std::size_t atom : finding.atoms) EXPECT_LT(atom, record.symbols.size());
  }
  if (!record.ok) {
    EXPECT_EQ(tests::codes_of(findings), "error not_read") << content;
  }
}

/// A copy with pieces removed, repeated, exchanged and overwritten.
std::string damaged(std::string text, std::mt19937& random) {
  using namespace std::string_view_literals;
  const std::string_view bytes("\0\x01\x7F\xC3\xFF\n\n\r\t '\";#_-0.9eE?=:()[]{}FSDK"sv);
  for (auto changes = random() % 6 + 1; changes > 0 && !text.empty(); --changes) {
    const std::size_t at = random() % text.size();
    const std::size_t length = random() % std::min<std::size_t>(text.size() - at, 30) + 1;
    const std::string piece = text.substr(random() % text.size(), length);
    switch (random() % 4) {
      case 0:
        text.erase(at, length);
        break;
      case 1:
        text.insert(at, piece);
        break;
      case 2:
        text.replace(at, length, piece);
        break;
      default:
        text[at] = bytes[random() % bytes.size()];
    }
  }
  return text;
}

const std::string CIF =
    "data_a\n_chemical_formula_sum 'Cl Na H2'\n_cell_formula_units_Z 4\n_cell_volume 179\n"
    "_cell_length_a 5.64(2)\n_cell_length_b 5.64\n_cell_length_c 5.64\n_cell_angle_alpha 90\n"
    "_cell_angle_beta 90\n_cell_angle_gamma 90\n_symmetry_space_group_name_H-M 'F m -3 m'\n"
    "loop_\n_symmetry_equiv_pos_as_xyz\n'x,y,z'\n'-x,1/2+y,-z'\n"
    "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
    "_atom_site_fract_z\n_atom_site_occupancy\n_atom_site_disorder_group\n"
    "Na1 Na 0 0 0 0.5 .\nK1 K 0 0 0 0.5 1\nCL1 CL 0.5 0.5 0.5 1 .\nD1 D .1 .2 .3 1 2\n";
const std::string POSCAR =
    "POSCAR of Na Cl\n-100.0 1 1\n5 0 0\n0 5 0\n0 0 5\nNa Cl\n1 1\nSelective dynamics\n"
    " Cartesian\n0 0 0 T T F Na\n0.5 0.5 0.5 F F F Br\n0.1 0.1 0.1\n\n0 0 0\n0 0 0\n";
const std::string XYZ =
    "2\nLattice=\"5 0 0 0 5 0 0 0 5\" Properties=species:S:1:Z:I:1:pos:R:3:forces:R:3 pbc=\"T F "
    "T\" "
    "cell: 1 2 3 bohr\nNa 11 0 0 0 1 1 1\nCL 17 2.5 2.5 2.5 0 0 0\n2\n\nH 0 0 0\nH 0 0 1\nthe "
    "end\n";

TEST(HostileFiles, GiveWellFormedFindings) {
  const tests::ScratchFolder folder;
  std::mt19937 random(3);
  for (int repeat = 0; repeat < 900; ++repeat) {
    const std::string format = repeat % 3 == 0 ? "cif" : repeat % 3 == 1 ? "vasp" : "xyz";
    const std::string content = damaged(format == "cif"    ? CIF
                                        : format == "vasp" ? POSCAR
                                                           : XYZ,
                                        random);
    IngestedStructure record;
    if (format == "xyz") {
      record = parse_structure_file(folder.write("frc CA.xyz", content));
    } else {
      // A record as ASE might return it, without calling ASE hundreds of times.
      record = {.source_path = folder.write(format == "cif" ? "a.cif" : "POSCAR", content),
                .format = format};
      record.ok = repeat % 2 == 0;
      if (record.ok) {
        record.natoms = 2;
        record.symbols = {"C", "Na"};
        record.species = {"C", "Na"};
        record.formula = "CNa";
        record.positions_ang = {{0, 0, 0}, {0.5, 0.5, 0.6}};
        if (repeat % 5 != 0) record.cell_ang = {{5, 0, 0}, {0, 5, 0}, {0, 0, -5}};
      }
    }
    expect_well_formed(record, check_structure(record, {.search_symmetry = repeat % 7 == 0}),
                       content);
  }
}

TEST(HostileFiles, AreCheckedQuickly) {
  const tests::ScratchFolder folder;
  std::string loop =
      "data_a\nloop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n"
      "_atom_site_fract_z\n";
  for (int i = 0; i < 100000; ++i) loop += "C 0 0 0\n";
  std::string names = "data_a\n";
  for (int i = 0; i < 100000; ++i) names += "_name" + std::to_string(i) + " 1\n";
  for (const auto& [format, content] : std::vector<std::pair<std::string, std::string>>{
           {"cif", loop},
           {"cif", names},
           {"cif", "data_" + std::string(10'000'000, 'x')},
           {"cif", "data_a\n;" + std::string(10'000'000, '\n')},
           {"cif", std::string(10'000'000, '\'')},
           {"vasp", std::string(10'000'000, '\n')},
           {"vasp", "a\n1\n1 0 0\n0 1 0\n0 0 1\nH\n99999999999999999999\nDirect\n"},
           {"vasp", "a\n1\n1 0 0\n0 1 0\n0 0 1\nH\n" + std::string(5'000'000, '9') + "\n"},
           {"xyz", "1\n" + std::string(5'000'000, '=') + "\nH 0 0 0\n"},
           {"xyz", "1\nProperties=" + std::string(5'000'000, ':') + "\nH 0 0 0\n"},
           {"xyz", "1\n\nH 0 0 0\n" + std::string(10'000'000, '1')},
       }) {
    const std::string path = folder.write(format == "vasp" ? "POSCAR" : "a." + format, content);
    IngestedStructure record{.source_path = path, .format = format};
    record.natoms = 1;
    record.symbols = record.species = {"H"};
    record.formula = "H";
    record.positions_ang = {{0, 0, 0}};
    for (const bool ok : {true, false}) {
      record.ok = ok;
      expect_well_formed(record, check_structure(record), content.substr(0, 50));
    }
  }
}

}  // namespace
}  // namespace structure_ingest

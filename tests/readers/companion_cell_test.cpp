#define PCRE2_CODE_UNIT_WIDTH 8
#include <gtest/gtest.h>
#include <pcre2.h>
#include <sys/stat.h>

#include <memory>
#include <random>

#include "structure_ingest/base/number.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/text.hpp"
#include "structure_ingest/readers/companion_cell.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

using Cell = std::vector<Vector3>;

const Cell NINE = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
const std::string VECTORS = "system.centralCellVectors = 1 2 3 4 5 6 7 8 9\n";

Cell scaled(Cell cell, double factor) {
  for (Vector3& row : cell) {
    for (double& value : row) value *= factor;
  }
  return cell;
}

TEST(CompanionCell, FollowsTheRules) {
  const Cell bohr = scaled(NINE, 0.529177210903);
  struct Case {
    std::string text;
    std::optional<Cell> cell;
  };
  for (const auto& [text, cell] : {
           Case{"", {}},
           Case{VECTORS, NINE},
           Case{" \n\t SYSTEM.CENTRALCELLVECTORS\n=\n[[1,2,3],\n [4,5,6],\n [7;8;9]]", NINE},
           Case{"system.centralCellVectors =\n1 2 3\n4 5 6\n7 8 9\nother.key_1 = 10\n", NINE},
           Case{"x " + VECTORS, {}},  // not at the start of a line
           Case{"# " + VECTORS + VECTORS, NINE},
           Case{"system.centralCellVectors2 = 1\n" + VECTORS, NINE},
           Case{"system-centralCellVectors = 1\n" + VECTORS, NINE},
           Case{"system.centralCellVectors = 1 2 3\nsystem.other = 4\n" + VECTORS, {}},
           Case{"system.centralCellVectors = 1 2 3 4 5 6 7 8\n", {}},
           Case{VECTORS + "10\n", {}},
           Case{VECTORS + "! 3 layers\n", {}},
           Case{VECTORS + "a b = 10", {}},  // no key: part of the block
           Case{VECTORS + " a1.B_c \n = 10", NINE},
           Case{"system.centralCellVectors = 1e0 +2.0 3. .4e1 50E-1x6 -7.0e+0 8 9",
                scaled({{1, 2, 3}, {4, 5, 6}, {-7, 8, 9}}, 1)},
           Case{"system.centralCellVectors = 1.2.3 4 5 6 7 8 9 10",
                Cell{{1.2, .3, 4}, {5, 6, 7}, {8, 9, 10}}},
           Case{"system.centralCellVectors = \u0661 2 3 4 5 6 7 8 9", NINE},
           Case{VECTORS + "calculation.control.lengthUnit = Bohr", bohr},
           Case{"calculation.control.lengthUnit='A.U.' % x\n" + VECTORS, bohr},
           Case{"calculation.control.lengthUnit = \"AtomicUnits\n" + VECTORS, bohr},
           Case{"calculation.control.lengthUnit = # bohr\n" + VECTORS, NINE},
           Case{"calculation.control.lengthUnit = %\n" + VECTORS +
                    "calculation.control.lengthUnit = au",
                bohr},
           Case{"calculation.control.lengthUnit = nm\ncalculation.control.lengthUnit = au\n" +
                    VECTORS,
                NINE},
           Case{"system.atomFile = /some/where/\u00C4.XYZ/ # it\n" + VECTORS, NINE},
           Case{"system.atomFile = '\u00E4.xyz'\n" + VECTORS, NINE},
           Case{"system.atomFile = other.xyz\n" + VECTORS, {}},
           Case{"system.atomFile = ''\u00E4.xyz\n" + VECTORS, NINE},  // no value: names no file
           Case{"system.atomFile = %\nsystem.atomFile = other.xyz\n" + VECTORS, {}},
           Case{"\u017Fy\u017Ftem.atomFile = other.xyz\n" + VECTORS, {}},  // long s is an s
       }) {
    EXPECT_EQ(companion_cell_in_text(text, "\u00E4.xyz"), cell) << text;
  }
}

TEST(CompanionCell, IsLookedForBesideTheStructureFile) {
  const tests::ScratchFolder folder;
  const std::string structure = folder.write("run/a.xyz", "");
  EXPECT_FALSE(companion_vorendal_cell(structure).cell_ang);
  const std::string companion =
      folder.write("run/scf.input", "\xFFsystem.atomFile = A\xC3.xyz\r\r\n" + VECTORS);
  const CompanionCell found = companion_vorendal_cell(structure);
  EXPECT_EQ(found.cell_ang, NINE);
  EXPECT_EQ(found.provenance, companion);
  EXPECT_EQ(companion_vorendal_cell(folder / "run/b.xyz").provenance, "");

  folder.make_folder("folder/scf.input");
  folder.link("zero/scf.input", "/dev/zero");
  folder.link("made_up/scf.input", "/proc/self/maps");
  folder.link("loop/scf.input", "scf.input");
  folder.make_folder("fifo");
  ASSERT_EQ(mkfifo((folder / "fifo/scf.input").c_str(), 0600), 0);
  for (const std::string name :
       {"folder/a.xyz", "zero/a.xyz", "fifo/a.xyz", "made_up/a.xyz", "loop/a.xyz"}) {
    EXPECT_FALSE(companion_vorendal_cell(folder / name).cell_ang) << name;
  }
}

// The patterns that define the file format, searched by a regular-expression engine. White space
// includes U+0085 and the separators U+001C to U+001F, which the engine's own class leaves out.
class Pattern {
 public:
  explicit Pattern(std::string pattern) {
    const std::string more_space = "\\x{1c}-\\x{1f}\\x{85}";
    for (std::size_t at = 0; (at = pattern.find("\\s", at)) != std::string::npos;) {
      const bool in_class = pattern.find(']', at) < pattern.find('[', at);
      const std::string space = in_class ? "\\s" + more_space : "[\\s" + more_space + "]";
      pattern.replace(at, 2, space);
      at += space.size();
    }
    int error = 0;
    std::size_t offset = 0;
    code_.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                              PCRE2_UTF | PCRE2_UCP, &error, &offset, nullptr));
    EXPECT_TRUE(code_) << pattern << " at " << offset;
  }

  /// The first group of the first match at or after `from` (the whole match without groups).
  std::optional<std::string_view> search(std::string_view text, std::size_t from = 0) const {
    const std::unique_ptr<pcre2_match_data, decltype(&pcre2_match_data_free)> match(
        pcre2_match_data_create_from_pattern(code_.get(), nullptr), &pcre2_match_data_free);
    const int groups = pcre2_match(code_.get(), reinterpret_cast<PCRE2_SPTR>(text.data()),
                                   text.size(), from, 0, match.get(), nullptr);
    if (groups < 1) return std::nullopt;
    const std::size_t* const ends = pcre2_get_ovector_pointer(match.get()) + 2 * (groups - 1);
    return text.substr(ends[0], ends[1] - ends[0]);
  }

 private:
  struct Free {
    void operator()(pcre2_code* code) const { pcre2_code_free(code); }
  };
  std::unique_ptr<pcre2_code, Free> code_;
};

std::optional<Cell> slow_cell(std::string_view text, std::string_view name) {
  static const Pattern atom_file(R"((?im)^\s*system\.atomFile\s*=\s*['"]?([^'"\s%#]+))");
  static const Pattern vectors(
      R"((?ims)^\s*system\.centralCellVectors\s*=\s*(.+?)(?=^\s*[A-Za-z][A-Za-z0-9_.]*\s*=|\z))");
  static const Pattern unit(R"((?im)^\s*calculation\.control\.lengthUnit\s*=\s*['"]?([^'"\s%#]+))");
  static const Pattern number(R"([-+]?(?:\d+(?:\.\d*)?|\.\d+)(?:[eE][-+]?\d+)?)");
  const auto file = atom_file.search(text);
  if (file && lower_cased(file_name(*file)) != lower_cased(name)) return std::nullopt;
  const auto block = vectors.search(text);
  if (!block) return std::nullopt;
  const std::string unit_name = lower_cased(unit.search(text).value_or("angstrom"));
  const bool bohr = unit_name == "bohr" || unit_name == "au" || unit_name == "a.u." ||
                    unit_name == "atomicunit" || unit_name == "atomicunits";
  std::vector<double> numbers;
  for (auto found = number.search(*block); found;
       found = number.search(*block, static_cast<std::size_t>(found->end() - block->begin()))) {
    numbers.push_back(*float_value(*found) * (bohr ? 0.529177210903 : 1.0));
  }
  if (numbers.size() != 9) return std::nullopt;
  Cell cell(3);
  for (std::size_t i = 0; i < 9; ++i) cell[i / 3][i % 3] = numbers[i];
  return cell;
}

TEST(CompanionCell, AgreesWithThePatterns) {
  const std::vector<std::string> pieces = {"system.atomFile",
                                           "SYSTEM.CENTRALCELLVECTORS",
                                           "system.centralCellVectors",
                                           "calculation.control.lengthUnit",
                                           "sYstem.atomfil",
                                           "other.key_2",
                                           "=",
                                           " = ",
                                           "= ",
                                           "\n",
                                           "\n\n",
                                           " ",
                                           "\t",
                                           "\u00A0",
                                           "\u0085",
                                           "\x1C",
                                           "\u2028",
                                           "'",
                                           "\"",
                                           "%",
                                           "#",
                                           "a.xyz",
                                           "dir/A.XYZ",
                                           "b.xyz",
                                           "bohr",
                                           "AU",
                                           "nm",
                                           "1 2 3 4 5 6 7 8 9",
                                           "1 2 3\n4 5 6\n7 8 9\n",
                                           "-1.5e3",
                                           ".5",
                                           "5.",
                                           "+",
                                           "e",
                                           "1e",
                                           "\u0661",
                                           "\u212A",
                                           "\u017F",
                                           "[",
                                           ",",
                                           "\u00E9",
                                           "_",
                                           "."};
  std::mt19937 random(7);
  int cells = 0;
  for (int i = 0; i < 30000; ++i) {
    std::string text;
    for (std::size_t n = 1 + random() % 14; n > 0; --n) {
      // Whole assignments now and then, or hardly any text would hold a cell.
      const std::size_t choice = random() % (pieces.size() + 12);
      if (choice < pieces.size()) {
        text += pieces[choice];
      } else {
        text += "\n" + pieces[random() % 5] + (random() % 4 == 0 ? "\n=\n" : " = ") +
                pieces[21 + random() % 8];
      }
    }
    const std::optional<Cell> expected = slow_cell(text, "a.xyz");
    ASSERT_EQ(companion_cell_in_text(text, "a.xyz"), expected) << quoted_form(text);
    if (expected) ++cells;
  }
  EXPECT_GT(cells, 1000);  // or the comparison would say nothing
}

}  // namespace
}  // namespace structure_ingest::internal

// Findings on VASP files without a line of symbols: ASE takes the elements from the words of the
// title, or from a POTCAR or OUTCAR beside the file when the title has too few.
#include <algorithm>
#include <array>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/rules.hpp"
#include "structure_ingest/check/wording.hpp"
#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {
namespace {

/// Words in capitals that ASE would read as formulas of one-letter elements.
constexpr std::array<std::string_view, 13> NOT_FORMULAS = {
    "SCF", "NSCF", "COHP", "CIF", "FCC", "BCC", "HCP", "SC", "POS", "PBC", "ION", "IONS", "UC"};

/// The element that the record has for each species.
std::vector<std::string> recorded_elements(const CheckInput& input) {
  std::vector<std::string> taken;
  std::size_t atom = 0;
  for (const std::size_t count : input.poscar->counts) {
    if (atom < input.record.symbols.size() && count > 0) {
      taken.push_back(input.record.symbols[atom]);
    } else {
      taken.emplace_back();  // a species without atoms
    }
    atom += count;
  }
  return taken;
}

/// The elements of a word such as "SiO2" or "Cu,"; nothing when it is not a formula.
std::vector<std::string> formula_elements(std::string_view word) {
  std::string letters;
  for (const char c : word) {
    if (std::string_view("-_,.=0123456789()").find(c) == std::string_view::npos) letters += c;
  }
  if (std::find(NOT_FORMULAS.begin(), NOT_FORMULAS.end(), letters) != NOT_FORMULAS.end()) return {};
  std::vector<std::string> elements;
  for (std::size_t at = 0; at < letters.size();) {
    const bool two = at + 1 < letters.size() && letters[at + 1] >= 'a' && letters[at + 1] <= 'z';
    const std::string symbol = letters.substr(at, two ? 2 : 1);
    if (symbol[0] < 'A' || symbol[0] > 'Z' || canonical_symbol(symbol) != symbol) return {};
    elements.push_back(symbol);
    at += symbol.size();
  }
  return elements;
}

struct Title {
  std::vector<std::string> elements;  // of the leading words that are formulas
  bool only_formulas = true;
};

Title title_of(std::string_view line) {
  Title title;
  for (const std::string_view word : tokens_of(line, 200)) {
    const bool digits = word.find_first_not_of("-_,.=0123456789()") == std::string_view::npos;
    if (digits) continue;
    const std::vector<std::string> elements = formula_elements(word);
    if (elements.empty()) {
      title.only_formulas = false;
      continue;
    }
    if (!title.only_formulas) continue;  // words after prose are prose
    title.elements.insert(title.elements.end(), elements.begin(), elements.end());
  }
  return title;
}

/// The elements of the POTCAR beside the file, from its lines with TITEL as in ASE.
std::vector<std::string> potcar_elements(const std::string& path) {
  std::vector<std::string> elements;
  const std::string potcar = join_path(parent_folder(path), "POTCAR");
  if (!is_regular_file(potcar)) return elements;
  const std::string head = beginning_of(potcar, FileContent::MOST_BYTES);
  for (std::size_t at = head.find("TITEL"); at != std::string::npos && elements.size() < 1000;
       at = head.find("TITEL", at + 1)) {
    const std::string_view line = std::string_view(head).substr(at, head.find('\n', at) - at);
    // For example "TITEL  = PAW_PBE Si_pv 05Jan2001".
    const std::vector<std::string_view> tokens = tokens_of(line, 4);
    if (tokens.size() < 4) continue;
    elements.emplace_back(tokens[3].substr(0, tokens[3].find_first_of("_.")));
  }
  return elements;
}

bool agree(const std::vector<std::string>& taken, const std::vector<std::string>& others) {
  if (others.size() < taken.size()) return false;
  for (std::size_t i = 0; i < taken.size(); ++i) {
    if (!taken[i].empty() && taken[i] != others[i]) return false;
  }
  return true;
}

}  // namespace

std::vector<Observation> find_elements_from_title(const CheckInput& input) {
  if (!input.record.ok || !input.poscar || !input.poscar->symbols.empty()) return {};
  const std::vector<std::string> taken = recorded_elements(input);
  const std::vector<std::string> potcar = potcar_elements(input.record.source_path);
  const Title title = title_of(input.poscar->title);
  const std::string elements = first_of(taken, 8);
  const bool from_title = agree(taken, title.elements);
  if (!potcar.empty() && agree(taken, potcar) && potcar.size() == taken.size()) {
    return {{"The file names no elements; " + elements +
                 " were taken, which is what the POTCAR beside it says.",
             {},
             Severity::note}};
  }
  const std::string beside =
      potcar.empty() ? "" : ", and the POTCAR beside it says " + first_of(potcar, 8);
  const std::string text = "The file names no elements; " + elements +
                           " were taken from its title " + shown(input.poscar->title) + beside +
                           ".";
  const bool sure = from_title && potcar.empty();
  // With more symbols in the title than species, it is not known which of them are meant.
  const bool ambiguous = title.only_formulas && title.elements.size() != taken.size();
  return {{text, {}, sure && !ambiguous ? Severity::warning : Severity::error}};
}

}  // namespace structure_ingest::internal

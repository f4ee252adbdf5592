#include "tests/readers/companion_patterns.hpp"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstddef>
#include <memory>
#include <stdexcept>

#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"

namespace tests {

using structure_ingest::Vector3;
using structure_ingest::internal::file_name;
using structure_ingest::internal::float_value;
using structure_ingest::internal::lower_cased;

namespace {

// White space includes U+0085 and the separators U+001C to U+001F, which the engine's own class
// excludes.
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
    if (!code_) throw std::logic_error(pattern);
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

}  // namespace

std::optional<std::vector<Vector3>> slow_companion_cell(std::string_view text,
                                                        std::string_view name) {
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
  std::vector<Vector3> cell(3);
  for (std::size_t i = 0; i < 9; ++i) cell[i / 3][i % 3] = numbers[i];
  return cell;
}

}  // namespace tests

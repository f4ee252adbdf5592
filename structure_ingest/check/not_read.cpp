// Findings that explain in plain words why a file could not be read, and the reader's own warnings.
#include <algorithm>
#include <array>
#include <cctype>

#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/check.hpp"
#include "structure_ingest/check/input.hpp"
#include "structure_ingest/check/wording.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {
namespace {

/// The kind of file that the first bytes show, regardless of its name; empty when they show none.
std::string kind_of(std::string_view bytes) {
  using namespace std::string_view_literals;
  constexpr std::array<std::pair<std::string_view, const char*>, 11> BEGINNINGS = {{
      {"\x1F\x8B"sv, "it is compressed with gzip"},
      {"BZh"sv, "it is compressed with bzip2"},
      {"\xFD"
       "7zXZ"sv,
       "it is compressed with xz"},
      {"PK\x03\x04"sv, "it is a ZIP archive"},
      {"%PDF"sv, "it is a PDF document"},
      {"\x89HDF"sv, "it is an HDF5 file"},
      {"\x89PNG"sv, "it is a picture"},
      {"\xFF\xFE"sv, "it is text in UTF-16"},
      {"\xFE\xFF"sv, "it is text in UTF-16"},
      {"version https://git-lfs"sv, "it is a Git LFS pointer: the file itself was not downloaded"},
      {"<?xml"sv, "it is an XML document"},
  }};
  for (const auto& [beginning, what] : BEGINNINGS) {
    if (bytes.starts_with(beginning)) return what;
  }
  const std::string_view text = bytes.substr(0, 4096);
  if (stripped(text).empty() && bytes.size() <= 4096) {
    return bytes.empty() ? "it is empty" : "it holds nothing but blanks";
  }
  std::string_view rest = text;
  const std::string_view word = next_token(rest);
  const std::string lower = ascii_lower_cased(word.substr(0, 9));
  if (lower.starts_with("<html") || lower.starts_with("<!doctype")) return "it is a web page";
  if (word == "404:" || (word == "404" && next_token(rest) == "Not")) {
    return "it is a server's answer that the file was not found";
  }
  if (word.starts_with("{") || word.starts_with("[{")) return "it is JSON";
  if (text.find('\0') != std::string_view::npos) return "it is binary";
  for (const std::string_view record : {"HEADER", "CRYST1", "ATOM", "HETATM", "COMPND", "REMARK"}) {
    if (word == record) return "it is a PDB file";
  }
  return {};
}

/// Why no reader takes a file of this name, and under which name one would.
std::string problem_of_name(const std::string& name) {
  const std::string lower = ascii_lower_cased(name);
  for (const std::string_view word : STRUCTURE_BASENAMES) {
    const std::size_t at = lower.find(word);
    if (at == std::string::npos) continue;
    // "Cu_prim_POSCAR" becomes "POSCAR_Cu_prim".
    const std::string rest =
        without_end(name.substr(0, at), "_-. ") + name.substr(at + word.size());
    std::string capitals(word);
    std::transform(word.begin(), word.end(), capitals.begin(),
                   [](char c) { return static_cast<char>(c - 'a' + 'A'); });
    return "its name is none of a structure file; as " + excerpt(capitals + "_" + rest) + " or " +
           excerpt(rest + ".vasp") + " it would be read";
  }
  return "its name is none of a structure file, such as *.xyz, *.extxyz, *.cif, *.vasp, *.poscar, "
         "POSCAR* and CONTCAR*";
}

std::string problem_of_file(const CheckInput& input, std::string_view warning) {
  const IngestedStructure& record = input.record;
  if (record.format == "unknown") {
    return warning.starts_with("Unsupported") ? problem_of_name(input.file_name) : "";
  }
  if (warning.starts_with("Parsing ")) return {};  // ASE is missing: this is no fault of the file
  if (!input.content.readable) return {};
  std::string kind = kind_of(input.content.bytes);
  if (!kind.empty()) return kind;
  constexpr std::string_view FROM_ASE = "ASE could not parse the file: ";
  const std::string_view message =
      warning.starts_with(FROM_ASE) ? warning.substr(FROM_ASE.size()) : std::string_view();
  if (input.cif) return problem_of_cif(*input.cif, message);
  if (input.poscar) return problem_of_poscar(*input.poscar, input.file_name);
  return problem_of_xyz(input.content, warning);
}

constexpr std::string_view NO_STRUCTURE = "The file gave no structure: ";

std::string not_read(const CheckInput& input) {
  if (input.record.ok) return {};
  const std::vector<std::string>& warnings = input.record.warnings;
  const std::string warning = warnings.empty() ? "" : utf8_text(warnings.back());
  std::string why = problem_of_file(input, warning);
  if (why.empty()) why = without_end(warning, ".:");
  if (why.empty()) why = "its reader does not say why";
  return std::string(NO_STRUCTURE) + why + ".";
}

}  // namespace

std::vector<Observation> check_readable(const CheckInput& input) {
  std::vector<Observation> observations = reader_remarks(input);
  observations.push_back({"not_read", not_read(input)});
  return observations;
}

}  // namespace structure_ingest::internal

namespace structure_ingest {

std::string why_not_read(const IngestedStructure& record, std::span<const Finding> findings) {
  if (record.ok || record.warnings.empty()) return {};
  const std::string& warning = record.warnings.front();
  if (!warning.ends_with(": ")) return warning;
  for (const Finding& finding : findings) {
    if (finding.code == "not_read" && finding.message.starts_with(internal::NO_STRUCTURE)) {
      return warning + finding.message.substr(internal::NO_STRUCTURE.size());
    }
  }
  return warning;
}

std::string why_not_read(const IngestedStructure& record) {
  const bool has_reason = record.warnings.empty() || !record.warnings.front().ends_with(": ");
  return why_not_read(record, has_reason ? std::vector<Finding>() : check_structure(record));
}

}  // namespace structure_ingest

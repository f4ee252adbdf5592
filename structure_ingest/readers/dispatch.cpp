#include "structure_ingest/readers/dispatch.hpp"

#include <algorithm>

#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/text.hpp"
#include "structure_ingest/readers/ase.hpp"
#include "structure_ingest/readers/ase_session.hpp"
#include "structure_ingest/readers/xyz.hpp"

namespace structure_ingest {
namespace {

/// The file name in lower case. No character outside ASCII has a lower case in ASCII that the
/// names below contain, so the ASCII letters are enough.
std::string lower_name(std::string_view path) {
  return internal::ascii_lower_cased(internal::file_name(path));
}

bool has_structure_basename(const std::string& name) {
  return std::any_of(internal::STRUCTURE_BASENAMES.begin(), internal::STRUCTURE_BASENAMES.end(),
                     [&](std::string_view beginning) { return name.starts_with(beginning); });
}

}  // namespace

bool is_structure_file(const std::string& path) {
  const std::string name = lower_name(path);
  return has_structure_basename(name) ||
         std::any_of(STRUCTURE_SUFFIXES.begin(), STRUCTURE_SUFFIXES.end(),
                     [&](std::string_view suffix) { return name.ends_with(suffix); });
}

IngestedStructure parse_structure_file(const std::string& path) {
  StructureParser parser;
  return parser.parse(path);
}

IngestedStructure StructureParser::parse(const std::string& path) {
  return internal::parse_structure_file(
      path, [this](const std::string& file) { return ase_->read(file); });
}

const std::string& StructureParser::why_ase_is_unavailable() const {
  return ase_->why_unavailable();
}

StructureParser::StructureParser() : ase_(std::make_unique<internal::AseSession>()) {}
StructureParser::~StructureParser() = default;
StructureParser::StructureParser(StructureParser&&) noexcept = default;
StructureParser& StructureParser::operator=(StructureParser&&) noexcept = default;

namespace internal {

IngestedStructure parse_structure_file(const std::string& path, const AskAse& ask_ase) {
  const std::string text = path_text(path);
  const std::string name = lower_name(text);
  if (!is_regular_file(text)) {
    return {.source_path = text, .format = "unknown", .warnings = {"File does not exist."}};
  }
  if (name.ends_with(".xyz") || name.ends_with(".extxyz")) return parse_xyz(text);
  if (name.ends_with(".cif")) return parse_with_ase(text, "cif", ask_ase);
  if (name.ends_with(".vasp") || name.ends_with(".poscar") || has_structure_basename(name)) {
    return parse_with_ase(text, "vasp", ask_ase);
  }
  return {
      .source_path = text, .format = "unknown", .warnings = {"Unsupported structure file format."}};
}

}  // namespace internal
}  // namespace structure_ingest

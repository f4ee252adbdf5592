#include "structure_ingest/ingest/canonical_xyz.hpp"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <system_error>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/fast/write_decimals.hpp"
#include "structure_ingest/base/input_file.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/replace_file.hpp"
#include "structure_ingest/base/text.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::size_t DIGEST_DIGITS = 8;

bool is_name_character(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '.' || c == '-';
}

/// The source file's name without its last extension, with each run of other than plain characters
/// replaced by an underscore.
std::string clean_stem(const std::string& source_path) {
  std::string name = file_name(source_path);
  const std::size_t dot = name.rfind('.');
  if (dot != std::string::npos && dot != 0 && dot + 1 != name.size()) name.resize(dot);
  std::string stem;
  bool in_run = false;
  for (const char c : name) {
    const bool plain = is_name_character(c);
    if (plain) {
      stem += c;
    } else if (!in_run) {
      stem += '_';
    }
    in_run = !plain;
  }
  return stem.empty() ? "structure" : stem;
}

void append_comment(std::string& text, const IngestedStructure& record) {
  if (!record.cell_ang || record.cell_ang->empty()) {
    text += "ingested from " + utf8_text(file_name(record.source_path)) + " (no cell information)";
    return;
  }
  text += "Lattice=\"";
  bool first = true;
  for (const Vector3& row : *record.cell_ang) {
    for (const double value : row) {
      if (!first) text += ' ';
      first = false;
      append_ten_decimals(text, value);
    }
  }
  text += "\" Properties=species:S:1:pos:R:3 pbc=\"T T T\"";
}

bool holds_text(const std::string& path, const std::string& text) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::symlink_status(path, error);
  if (!std::filesystem::is_regular_file(status)) return false;  // a link could change its target
  // Somebody's editor may have changed the line ends; that makes it no other structure.
  if (std::filesystem::file_size(path) > 2 * text.size()) return false;
  return with_line_feeds(read_file(path)) == text;
}

}  // namespace

std::string canonical_xyz_text(const IngestedStructure& record) {
  const std::size_t atoms = std::min(record.symbols.size(), record.positions_ang.size());
  std::string text = std::to_string(record.natoms) + '\n';
  text.reserve(text.size() + 256 + 48 * atoms);
  append_comment(text, record);
  text += '\n';
  for (std::size_t i = 0; i < atoms; ++i) {
    text += record.symbols[i];
    for (const double coordinate : record.positions_ang[i]) {
      text += ' ';
      append_ten_decimals(text, coordinate);
    }
    text += '\n';
  }
  return text;
}

std::string write_canonical_xyz(const std::string& project_path, const IngestedStructure& record) {
  const std::string text = canonical_xyz_text(record);
  std::string rel = std::string(INGESTED_DIRNAME) + "/ingested_" + clean_stem(record.source_path) +
                    '_' + sha256_hex(text).substr(0, DIGEST_DIGITS) + ".xyz";
  const std::string target = join_path(project_path, rel);
  if (!holds_text(target, text)) replace_file_beneath(project_path, rel, text);
  return rel;
}

}  // namespace structure_ingest::internal

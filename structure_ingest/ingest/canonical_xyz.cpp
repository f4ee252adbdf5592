#include "structure_ingest/ingest/canonical_xyz.hpp"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>

#include "structure_ingest/base/characters.hpp"
#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/fast/decimals.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest {

using namespace internal;  // NOLINT(google-build-using-namespace): the tools of the whole file

namespace {

constexpr std::size_t DIGEST_DIGITS = 8;
constexpr std::string_view COPY_PREFIX = "ingested_";
constexpr std::string_view COPY_SUFFIX = ".xyz";

/// The room for a stem in the name of a file, beside the prefix, "_", the digest and the suffix.
constexpr std::size_t MAX_STEM =
    NAME_MAX - COPY_PREFIX.size() - 1 - DIGEST_DIGITS - COPY_SUFFIX.size();

bool is_name_character(char c) {
  return is_letter(c) || is_digit(c) || c == '_' || c == '.' || c == '-';
}

/// The source file's name without its last extension, with each run of other than plain characters
/// replaced by an underscore, and as much of it as a file's name has room for.
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
  return stem.empty() ? "structure" : stem.substr(0, MAX_STEM);
}

/// The name of a source file as the comment line shows it. Escape what would end the line, and the
/// quote that would open a Lattice field: the copy must read back as what it is a copy of.
std::string name_in_comment(const std::string& name) {
  const auto ends_lattice_key = [](std::string_view text) {
    constexpr std::string_view key = "lattice=";
    return text.size() >= key.size() &&
           ascii_lower_cased(text.substr(text.size() - key.size())) == key;
  };
  std::string out;
  for (std::size_t position = 0; position < name.size();) {
    const Character character = character_at(name, position);
    const std::string bytes = name.substr(position, character.length);
    const bool is_control = character.value < 0x20 ||
                            (character.value >= 0x7F && character.value < 0xA0) ||
                            character.value == 0x2028 || character.value == 0x2029;
    if (is_control) {
      out += printable_form(bytes);
    } else if (bytes == "\"" && ends_lattice_key(out)) {
      out += "\\x22";
    } else {
      out += bytes;
    }
    position += character.length;
  }
  return utf8_text(out);
}

void append_comment(std::string& text, const IngestedStructure& record) {
  if (!record.cell_ang || record.cell_ang->empty()) {
    text += "ingested from " + name_in_comment(file_name(record.source_path)) +
            " (no cell information)";
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

}  // namespace

std::string canonical_xyz_text(const IngestedStructure& record) {
  const std::size_t atoms = std::min(record.symbols.size(), record.positions_ang.size());
  std::string text = std::to_string(record.natoms) + '\n';
  text.reserve(text.size() + 256 + 48 * atoms);
  append_comment(text, record);
  text += '\n';
  // Lines go through a buffer that stays in the processor's cache.
  constexpr std::size_t line_room = 4 * NUMBER_ROOM;
  std::array<char, 8 * line_room> buffer;
  char* at = buffer.data();
  const auto flush = [&] {
    text.append(buffer.data(), at);
    at = buffer.data();
  };
  for (std::size_t i = 0; i < atoms; ++i) {
    if (buffer.data() + buffer.size() - at < static_cast<std::ptrdiff_t>(line_room)) flush();
    const std::string& symbol = record.symbols[i];
    if (symbol.size() == 1 || symbol.size() == 2) {
      at[0] = symbol[0];
      at[1] = symbol[1];
      at += symbol.size();
    } else {
      flush();
      text += symbol;
    }
    for (const double coordinate : record.positions_ang[i]) {
      *at = ' ';
      at = write_ten_decimals(at + 1, coordinate);
    }
    *at++ = '\n';
  }
  flush();
  return text;
}

std::string canonical_xyz_rel(const IngestedStructure& record, const std::string& text) {
  std::string rel;
  rel.append(INGESTED_DIRNAME)
      .append("/")
      .append(COPY_PREFIX)
      .append(clean_stem(record.source_path));
  return rel.append("_").append(copy_digest(text)).append(COPY_SUFFIX);
}

bool is_copy_path(std::string_view path) {
  if (!path.starts_with(INGESTED_DIRNAME)) return false;
  const std::string_view name = path.substr(INGESTED_DIRNAME.size());
  return name.starts_with("/" + std::string(COPY_PREFIX)) && name.ends_with(COPY_SUFFIX) &&
         name.find('/', 1) == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

std::string digest_in_name(std::string_view copy) {
  if (!is_copy_path(copy)) return {};
  const std::size_t end = copy.size() - COPY_SUFFIX.size();
  const std::size_t begin = copy.rfind('_') + 1;
  return std::string(end - begin == DIGEST_DIGITS ? copy.substr(begin, DIGEST_DIGITS) : "");
}

std::string copy_digest(std::string_view text) {
  return sha256_hex(text).substr(0, DIGEST_DIGITS);
}

}  // namespace structure_ingest

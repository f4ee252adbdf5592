#include "structure_ingest/readers/dispatch.hpp"

#include <algorithm>
#include <new>
#include <optional>
#include <system_error>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/text.hpp"
#include "structure_ingest/readers/ase_session.hpp"
#include "structure_ingest/readers/read_structure.hpp"
#include "structure_ingest/readers/xyz.hpp"

namespace structure_ingest {
namespace {

/// The file name in lower case. No character outside ASCII has a lower case in ASCII that the
/// names below contain, so the ASCII letters are enough.
std::string lower_name(std::string_view path) {
  return internal::ascii_lower_cased(internal::file_name(path));
}

bool has_structure_basename(const std::string& name) {
  return std::any_of(STRUCTURE_BASENAMES.begin(), STRUCTURE_BASENAMES.end(),
                     [&](std::string_view beginning) { return name.starts_with(beginning); });
}

/// The format of an existing file; nothing when its name is that of no structure file.
std::optional<std::string> format_of(const std::string& path) {
  const std::string name = lower_name(path);
  if (name.ends_with(".xyz") || name.ends_with(".extxyz")) return "xyz";
  if (name.ends_with(".cif")) return "cif";
  if (is_structure_file(path)) return "vasp";
  return std::nullopt;
}

IngestedStructure failed_record(const std::string& path, const std::string& format,
                                const std::string& warning) {
  return {.source_path = path, .format = format, .warnings = {warning}};
}

IngestedStructure read(const std::string& path, internal::Readers& readers, bool fingerprint) {
  if (!internal::is_regular_file(path)) {
    return failed_record(path, "unknown", "File does not exist.");
  }
  const std::optional<std::string> format = format_of(path);
  if (!format) return failed_record(path, "unknown", "Unsupported structure file format.");
  try {
    return format == "xyz" ? internal::parse_xyz(path, readers.companions, fingerprint)
                           : internal::parse_with_ase(path, *format, readers.ask_ase);
  } catch (const std::bad_alloc&) {
    // What was read of it is freed by now: the files after it have that memory.
    return failed_record(path, *format, "Could not read file: not enough memory");
  }
}

}  // namespace

bool is_structure_file(const std::string& path) {
  const std::string name = lower_name(path);
  return has_structure_basename(name) ||
         std::any_of(STRUCTURE_SUFFIXES.begin(), STRUCTURE_SUFFIXES.end(),
                     [&](std::string_view suffix) { return name.ends_with(suffix); });
}

IngestedStructure parse_structure_file(const std::string& path) {
  return StructureParser().parse(path);
}

struct StructureParser::Session {
  internal::AseSession ase{};
  internal::Readers readers{.ask_ase = [this](const std::string& path) { return ase.read(path); }};
};

StructureParser::StructureParser() : session_(std::make_unique<Session>()) {}
StructureParser::~StructureParser() = default;
StructureParser::StructureParser(StructureParser&&) noexcept = default;
StructureParser& StructureParser::operator=(StructureParser&&) noexcept = default;

IngestedStructure StructureParser::parse(const std::string& path) {
  return internal::read_structure(path, session_->readers);
}

IngestedStructure StructureParser::parse_with_fingerprint(const std::string& path) {
  return internal::read_structure(path, session_->readers, true);
}

namespace internal {

IngestedStructure read_structure(const std::string& path, Readers& readers, bool fingerprint) {
  const std::string text = path_text(path);
  IngestedStructure record = read(text, readers, fingerprint);
  if (fingerprint && record.sha256.empty()) {
    try {
      record.sha256 = sha256_hex_of_file(text).substr(0, FINGERPRINT_DIGITS);
    } catch (const std::system_error&) {
      // A file that cannot be read has no fingerprint; the record already says what is wrong.
    }
  }
  return record;
}

}  // namespace internal
}  // namespace structure_ingest

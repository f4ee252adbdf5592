#include "structure_ingest/readers/dispatch.hpp"

#include <algorithm>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/readers/ase_session.hpp"
#include "structure_ingest/readers/read_structure.hpp"
#include "structure_ingest/readers/xyz.hpp"

namespace structure_ingest {
namespace {

/// Whether `text` equals `lower` in any letter case. Comparing ASCII letters is enough: no
/// character outside ASCII has a lower case that occurs in the names below.
bool is_same(std::string_view text, std::string_view lower) {
  return std::equal(text.begin(), text.end(), lower.begin(), lower.end(), [](char a, char b) {
    return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
  });
}

bool has_suffix(std::string_view name, std::string_view lower) {
  return name.size() >= lower.size() && is_same(name.substr(name.size() - lower.size()), lower);
}

/// The format of an existing file; nothing when its name is not that of a structure file.
std::optional<std::string> format_of(const std::string& path) {
  const std::string_view name = internal::last_component(path);
  if (has_suffix(name, ".xyz") || has_suffix(name, ".extxyz")) return "xyz";
  if (has_suffix(name, ".cif")) return "cif";
  if (is_structure_file(path)) return "vasp";
  return std::nullopt;
}

/// Whether reading the file at `path` asks ASE.
bool is_for_ase(const std::string& path) {
  const std::optional<std::string> format = format_of(path);
  return format && format != "xyz" && internal::is_regular_file(path) &&
         !internal::is_made_up_file(path);
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
    // Its memory is free again by now, so that the next files can be read.
    return failed_record(path, *format, "Could not read file: not enough memory");
  }
}

/// Asks `ase`, and stores what ASE itself warned of in `reader_warnings`.
internal::AskAse ask_through(internal::AseSession& ase, std::vector<std::string>& reader_warnings) {
  return [&ase, &reader_warnings](const std::string& path) {
    internal::AseAnswer answer = ase.read(path);
    reader_warnings = answer.warnings;
    return answer;
  };
}

}  // namespace

bool is_structure_file(std::string_view path) {
  // Scans ask about many other files: copy nothing.
  const std::string_view name = internal::last_component(path);
  return std::any_of(STRUCTURE_SUFFIXES.begin(), STRUCTURE_SUFFIXES.end(),
                     [&](std::string_view suffix) { return has_suffix(name, suffix); }) ||
         std::any_of(STRUCTURE_BASENAMES.begin(), STRUCTURE_BASENAMES.end(),
                     [&](std::string_view beginning) {
                       return is_same(name.substr(0, beginning.size()), beginning);
                     });
}

IngestedStructure parse_structure_file(const std::string& path) {
  return StructureParser().parse(path);
}

struct StructureParser::Session {
  explicit Session(StructureParserOptions options)
      : ase(std::in_place,
            internal::AseSessionOptions{.first_interpreters = std::move(options.interpreters),
                                        .processes = options.processes}),
        readers{.ask_ase = ask_through(*ase, reader_warnings)} {}
  explicit Session(internal::AskAse ask_ase) : readers{.ask_ase = std::move(ask_ase)} {}

  std::optional<internal::AseSession> ase;  // none when the host asks ASE by itself
  std::vector<std::string> reader_warnings{};
  internal::Readers readers;

  IngestedStructure read(const std::string& path, bool fingerprint) {
    reader_warnings.clear();
    if (ase) ase->keep_busy();
    return internal::read_structure(path, readers, fingerprint);
  }
};

StructureParser::StructureParser(StructureParserOptions options)
    : session_(std::make_unique<Session>(std::move(options))) {}
StructureParser::~StructureParser() = default;
StructureParser::StructureParser(StructureParser&&) noexcept = default;
StructureParser& StructureParser::operator=(StructureParser&&) noexcept = default;

void StructureParser::begin_batch(const std::vector<std::string>& paths) {
  session_->readers.companions = {};
  if (!session_->ase) return;
  std::vector<std::string> of_ase;
  for (const std::string& path : paths) {
    if (std::string text = internal::path_text(path); is_for_ase(text)) {
      of_ase.push_back(std::move(text));
    }
  }
  session_->ase->expect(std::move(of_ase));
}

IngestedStructure StructureParser::parse(const std::string& path) {
  return session_->read(path, false);
}

IngestedStructure StructureParser::parse_with_fingerprint(const std::string& path) {
  return session_->read(path, true);
}

const std::vector<std::string>& StructureParser::reader_warnings() const {
  return session_->reader_warnings;
}

const std::string& StructureParser::why_ase_is_unavailable() const {
  static const std::string unknown;
  return session_->ase ? session_->ase->why_unavailable() : unknown;
}

struct ParserMaker {
  static StructureParser make(internal::AskAse ask_ase) {
    StructureParser parser;
    parser.session_ = std::make_unique<StructureParser::Session>(std::move(ask_ase));
    return parser;
  }
};

namespace internal {

StructureParser parser_that_asks(AskAse ask_ase) {
  return ParserMaker::make(std::move(ask_ase));
}

IngestedStructure read_structure(const std::string& path, Readers& readers, bool fingerprint) {
  const std::string text = path_text(path);
  IngestedStructure record = read(text, readers, fingerprint);
  if (fingerprint && record.sha256.empty()) {
    try {
      record.sha256 = sha256_hex_of_file(text).substr(0, FINGERPRINT_DIGITS);
    } catch (const std::system_error&) {
      // A file that cannot be read has no fingerprint; a warning in the record already gives the
      // reason.
    }
  }
  return record;
}

}  // namespace internal
}  // namespace structure_ingest

#include "structure_ingest/readers/dispatch.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "structure_ingest/base/characters.hpp"
#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/lines.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/cache/cache.hpp"
#include "structure_ingest/cache/file_store.hpp"
#include "structure_ingest/readers/ase_session.hpp"
#include "structure_ingest/readers/known_answers.hpp"
#include "structure_ingest/readers/parsed_structure.hpp"
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

/// Has ASE asked for a file, and takes what was read of it for that besides, which may be null.
IngestedStructure read_known(const std::string& path, const std::string& format,
                             internal::KnownAnswers& known, const ParseOptions& options,
                             FileContent* content) {
  internal::KnownAnswers::File known_file = known.read(path);
  internal::HashedFile& file = known_file.bytes;
  const auto ask = [&](const std::string&) { return known.answer(known_file); };
  IngestedStructure record = internal::parse_with_ase(
      path, format, ask, content == nullptr ? nullptr : &content->reader_warnings);
  if (options.fingerprint) record.sha256 = file.sha256().substr(0, internal::FINGERPRINT_DIGITS);
  if (content != nullptr) {
    content->readable = !file.sha256().empty();
    content->bytes = file.take_bytes();
  }
  return record;
}

IngestedStructure read(const std::string& path, internal::Readers& readers,
                       const ParseOptions& options, FileContent* content) {
  if (!internal::is_regular_file(path)) {
    return failed_record(path, "unknown", internal::NO_SUCH_FILE);
  }
  const std::optional<std::string> format = format_of(path);
  if (!format) return failed_record(path, "unknown", "Unsupported structure file format.");
  try {
    if (format == "xyz") {
      return internal::parse_xyz(path, readers.companions,
                                 {.fingerprint = options.fingerprint, .content = content});
    }
    if (readers.known != nullptr) {
      return read_known(path, *format, *readers.known, options, content);
    }
    return internal::parse_with_ase(path, *format, readers.ask_ase,
                                    content == nullptr ? nullptr : &content->reader_warnings);
  } catch (const std::bad_alloc&) {
    // Its memory is free again by now, so that the next files can be read.
    return failed_record(path, *format, "Could not read file: not enough memory");
  }
}

/// Reads the bytes of a file that another process parsed, or that was not parsed, for its
/// fingerprint and its content, each of which may be null. One that cannot be read has neither; a
/// warning in its record already gives the reason.
void read_bytes(const std::string& path, std::string* fingerprint, FileContent* content) try {
  internal::InputFile file(path);
  std::optional<internal::Sha256> digest;
  if (fingerprint != nullptr) digest.emplace();
  constexpr std::size_t size = std::size_t{1} << 16;  // stays in the processor's cache
  const auto piece = std::make_unique_for_overwrite<char[]>(size);
  if (content != nullptr) {
    content->bytes.reserve(std::min<std::uint64_t>(file.size(), FileContent::MOST_BYTES));
  }
  while (const std::size_t count = file.read(piece.get(), size)) {
    if (digest) digest->add({piece.get(), count});
    if (content == nullptr) continue;
    const std::size_t room = FileContent::MOST_BYTES - content->bytes.size();
    content->bytes.append(piece.get(), std::min(count, room));
    if (count >= room && !digest) break;
  }
  if (digest) *fingerprint = digest->hex().substr(0, internal::FINGERPRINT_DIGITS);
} catch (const std::system_error&) {
  if (content == nullptr) return;
  *content = {.readable = false, .reader_warnings = content->reader_warnings};
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

struct [[gnu::visibility("hidden")]] StructureParser::Session {
  explicit Session(StructureParserOptions options)
      : interpreters(std::move(options.interpreters)),
        processes(options.processes),
        uses_cache(options.cache),
        readers{.ask_ase = [this](const std::string& path) { return session().read(path); }} {}
  explicit Session(internal::AskAse ask_ase)
      : asks_ase(false), readers{.ask_ase = std::move(ask_ase)} {}

  /// Makes what CIF and VASP files need. A parser of XYZ files has no use for it.
  void prepare() {
    if (!asks_ase || ase || known) return;
    internal::AseSessionOptions options{.first_interpreters = interpreters, .processes = processes};
    auto store = uses_cache ? internal::FileStore::open(cache_folder(), cache_limit()) : nullptr;
    if (store) {
      readers.known = &known.emplace(std::move(store), std::move(options));
    } else {
      ase.emplace(std::move(options));
    }
  }
  internal::AseSession& session() {
    prepare();
    return known ? known->session() : *ase;
  }

  bool asks_ase = true;  // false when the host asks ASE by itself
  std::vector<std::string> interpreters{};
  int processes = 1;
  bool uses_cache = false;
  std::optional<internal::KnownAnswers> known{};
  std::optional<internal::AseSession> ase{};  // without a cache
  internal::Readers readers;
};

StructureParser::StructureParser(StructureParserOptions options)
    : session_(std::make_unique<Session>(std::move(options))) {}
StructureParser::~StructureParser() = default;
StructureParser::StructureParser(StructureParser&&) noexcept = default;
StructureParser& StructureParser::operator=(StructureParser&&) noexcept = default;

void StructureParser::begin_batch(const std::vector<std::string>& paths) {
  session_->readers.companions = {};
  if (!session_->asks_ase) return;
  std::vector<std::string> of_ase;
  for (const std::string& path : paths) {
    if (std::string text = internal::path_text(path); is_for_ase(text)) {
      of_ase.push_back(std::move(text));
    }
  }
  if (!of_ase.empty()) session_->prepare();
  if (session_->known) {
    session_->known->expect(std::move(of_ase));
  } else if (session_->ase) {
    session_->ase->expect(std::move(of_ase));
  }
}

IngestedStructure StructureParser::parse(const std::string& path) {
  return parse(path, {}).record;
}

ParsedStructure StructureParser::parse(const std::string& path, const ParseOptions& options) {
  if (is_for_ase(internal::path_text(path))) session_->prepare();
  if (session_->known) session_->known->session().keep_busy();
  if (session_->ase) session_->ase->keep_busy();
  return internal::read_structure(path, session_->readers, options);
}

const std::string& StructureParser::why_ase_is_unavailable() const {
  static const std::string unknown;
  if (session_->known) return session_->known->session().why_unavailable();
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

ParsedStructure read_structure(const std::string& path, Readers& readers,
                               const ParseOptions& options) {
  const std::string text = path_text(path);
  const auto content = options.content ? std::make_shared<FileContent>() : nullptr;
  ParsedStructure parsed{.record = read(text, readers, options, content.get())};
  std::string* const fingerprint =
      options.fingerprint && parsed.record.sha256.empty() ? &parsed.record.sha256 : nullptr;
  const bool was_for_ase = parsed.record.format == "cif" || parsed.record.format == "vasp";
  const bool is_unread = content && was_for_ase && (readers.known == nullptr || !content->readable);
  FileContent* const unread = is_unread ? content.get() : nullptr;
  if (fingerprint != nullptr || unread != nullptr) read_bytes(text, fingerprint, unread);
  parsed.content = content;
  return parsed;
}

std::optional<std::string> fingerprint_that_tells(const std::string& path) try {
  const std::optional<std::string> format = format_of(path);
  if (format != "cif" && format != "vasp") return std::nullopt;
  Sha256 digest;
  LineReader lines(path, {.digest = &digest});
  if (format == "vasp") {
    std::string_view line;
    for (int i = 0; i < 6; ++i) line = lines.next().value_or("");
    const std::string_view elements = stripped(line);  // since VASP 5
    if (elements.empty() || !is_letter(elements.front())) return std::nullopt;
  }
  lines.skip_rest();
  return digest.hex().substr(0, FINGERPRINT_DIGITS);
} catch (const std::system_error&) {
  return std::nullopt;
}

bool is_xyz_file(const std::string& path) {
  return format_of(path) == "xyz" && is_regular_file(path);
}

FileContent content_of_file(const IngestedStructure& record) {
  FileContent content;
  if (record.format == "xyz" && is_regular_file(record.source_path)) {
    CompanionFiles companions;
    parse_xyz(record.source_path, companions, {.content = &content});
  } else if (record.format == "cif" || record.format == "vasp") {
    read_bytes(record.source_path, nullptr, &content);
  }
  return content;
}

}  // namespace internal
}  // namespace structure_ingest

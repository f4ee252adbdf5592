// Recognises structure files by name, and reads them.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest {

struct ParsedStructure;

/// File-name endings of structure files, compared in any letter case.
inline constexpr std::array<std::string_view, 5> STRUCTURE_SUFFIXES = {".xyz", ".extxyz", ".cif",
                                                                       ".vasp", ".poscar"};

/// File-name beginnings of VASP structure files, compared in any letter case.
inline constexpr std::array<std::string_view, 2> STRUCTURE_BASENAMES = {"poscar", "contcar"};

/// Whether the last component of `path` is the name of a structure file: it ends with a structure
/// suffix or begins with "poscar" or "contcar". Does not access the file.
STRUCTURE_INGEST_API bool is_structure_file(std::string_view path);

/// Whether a reader may open a file of this name in the folder of the structure file that it reads:
/// the input that holds a cell ("scf.input"), and what tells the elements of a VASP file (names
/// with "potcar" or "outcar"). It opens no other.
STRUCTURE_INGEST_API bool is_companion_name(std::string_view name);

/// Reads one structure file (`path` is used as it is: no "~", no resolution). Always returns a
/// record; problems with the file are warnings in it, running out of memory included.
STRUCTURE_INGEST_API IngestedStructure parse_structure_file(const std::string& path);

/// What is made of a file besides the record.
struct ParseOptions {
  bool fingerprint = false;  ///< whether the record's `sha256` is filled in
  bool content = false;      ///< whether the content is handed down, for a check
};

/// How a parser reads.
struct StructureParserOptions {
  /// Python interpreters, by absolute path, that are tried for ASE before the usual ones. Other
  /// paths are ignored: what they name depends on the current folder.
  std::vector<std::string> interpreters{};
  /// The most processes that run ASE at once, each on a file of its own; a second one is worth its
  /// start from a few announced files on.
  int processes = 1;
  /// Whether ASE's answers are kept for the next time that the same bytes are read: see cache.hpp.
  bool cache = true;
};

/// Reads many files. CIF and VASP files share one process that runs ASE, or a few, started for the
/// first of them and ended with the parser; XYZ files in one folder share its companion, which is
/// read once for each batch. Starts no thread. Use a parser on one thread at a time.
class STRUCTURE_INGEST_API StructureParser {
 public:
  /// Starts nothing yet.
  explicit StructureParser(StructureParserOptions options = {});
  /// Ends the ASE process, if one was started, and waits for it.
  ~StructureParser();
  /// Takes over the process of another parser, which must not parse any more.
  StructureParser(StructureParser&&) noexcept;
  /// As above; this parser's own process goes to the other.
  StructureParser& operator=(StructureParser&&) noexcept;

  /// Begins a new batch: companions are read again, since they may have changed, and the CIF and
  /// VASP files among `paths` are read ahead while the caller parses the files in this order. A
  /// relative path starts at the current folder, which must stay the same until the file is parsed.
  /// Ingesting and hydrating do this themselves.
  void begin_batch(const std::vector<std::string>& paths = {});

  /// As `parse_structure_file`.
  IngestedStructure parse(const std::string& path);

  /// The same, and what else is asked for. The bytes of an XYZ file are read once for all of it;
  /// those of a CIF or VASP file once more than ASE reads them.
  ParsedStructure parse(const std::string& path, const ParseOptions& options);

  /// When ASE could not be used for the latest CIF or VASP file, what happened to each Python
  /// interpreter, for example "/usr/bin/python3 does not have ASE". Otherwise empty.
  const std::string& why_ase_is_unavailable() const;

 private:
  friend struct ParserMaker;
  struct Session;
  std::unique_ptr<Session> session_;
};

}  // namespace structure_ingest

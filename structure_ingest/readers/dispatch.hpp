// Which files are structure files, and the functions that read them.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest {

/// File-name endings of structure files, compared without regard to letter case.
inline constexpr std::array<std::string_view, 5> STRUCTURE_SUFFIXES = {".xyz", ".extxyz", ".cif",
                                                                       ".vasp", ".poscar"};

/// File-name beginnings of VASP structure files, compared likewise.
inline constexpr std::array<std::string_view, 2> STRUCTURE_BASENAMES = {"poscar", "contcar"};

/// Whether the last component of `path` is the name of a structure file: one that ends with a
/// structure suffix or begins with "poscar" or "contcar". Nothing need exist at `path`.
STRUCTURE_INGEST_API bool is_structure_file(std::string_view path);

/// Reads one structure file (`path` is used as it is: no "~", no resolution). Always returns a
/// record; what is wrong with the file is a warning in it, also that it needs more memory than
/// there is.
STRUCTURE_INGEST_API IngestedStructure parse_structure_file(const std::string& path);

/// Reads many files: CIF and VASP files share one process that runs ASE, which is started for the
/// first of them and ended with the parser; XYZ files in one folder share its companion, which is
/// read once. For one thread at a time.
class STRUCTURE_INGEST_API StructureParser {
 public:
  StructureParser();
  /// Ends the process, if one was started, and waits for it.
  ~StructureParser();
  /// Takes over the process of another parser, which must not parse any more.
  StructureParser(StructureParser&&) noexcept;
  /// The same; the process of this one goes to the other.
  StructureParser& operator=(StructureParser&&) noexcept;

  /// As `parse_structure_file`.
  IngestedStructure parse(const std::string& path);

  /// The same with the record's `sha256` filled in. An XYZ file is read once for both; a CIF or
  /// VASP file, which another process reads, is read again for its fingerprint.
  IngestedStructure parse_with_fingerprint(const std::string& path);

  /// When ASE could not be used for the latest CIF or VASP file: what became of each Python
  /// interpreter, for example "/usr/bin/python3 does not have ASE". Otherwise empty.
  const std::string& why_ase_is_unavailable() const;

  /// What ASE itself warned of while it read the latest file, each in one text; none for an XYZ
  /// file. The record holds none of it.
  const std::vector<std::string>& reader_warnings() const;

 private:
  struct Session;
  std::unique_ptr<Session> session_;
};

}  // namespace structure_ingest

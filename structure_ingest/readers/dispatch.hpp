// Which files are structure files, and which reader takes each: decided by the file name alone.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest {

/// File-name endings of structure files, compared without regard to letter case.
inline constexpr std::array<std::string_view, 5> STRUCTURE_SUFFIXES = {".xyz", ".extxyz", ".cif",
                                                                       ".vasp", ".poscar"};

/// Whether the last component of `path` is the name of a structure file: one that ends with a
/// structure suffix or begins with "poscar" or "contcar". Nothing need exist at `path`.
STRUCTURE_INGEST_API bool is_structure_file(const std::string& path);

/// Reads one structure file (`path` is used as it is: no "~", no resolution). Always returns a
/// record; what is wrong with the file is a warning in it. Throws only what the standard library
/// does when memory runs out.
STRUCTURE_INGEST_API IngestedStructure parse_structure_file(const std::string& path);

namespace internal {
class AseSession;
struct AseAnswer;
}  // namespace internal

/// Reads many files: CIF and VASP files share one process that runs ASE, which is started for the
/// first of them and ended with the parser. For one thread at a time.
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

  /// When ASE could not be used for the latest CIF or VASP file: what became of each Python
  /// interpreter, for example "/usr/bin/python3 does not have ASE". Otherwise empty.
  const std::string& why_ase_is_unavailable() const;

 private:
  std::unique_ptr<internal::AseSession> ase_;
};

namespace internal {

/// File-name beginnings of VASP structure files.
inline constexpr std::array<std::string_view, 2> STRUCTURE_BASENAMES = {"poscar", "contcar"};

/// The same, asking ASE through `ask_ase`, which can serve many files: an AskAse of
/// readers/ase.hpp.
IngestedStructure parse_structure_file(
    const std::string& path, const std::function<AseAnswer(const std::string& path)>& ask_ase);

}  // namespace internal
}  // namespace structure_ingest

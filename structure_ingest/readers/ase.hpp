// Makes records from CIF and VASP files, which ASE reads, and the protocol between the library and
// the worker that runs it; the head of ase_worker.py describes that. Nothing in an answer is
// trusted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

/// ASE's answer for one file, complete up to the failure. Tests replace ASE with a function that
/// returns one.
struct AseAnswer {
  enum class Failure {
    none,
    unavailable,  // ASE cannot be loaded
    read,         // `ase.io.read` failed on the file
    extraction,   // its result could not be converted; the fields before the failure are set
  };
  Failure failure = Failure::none;
  std::string message{};                                // the Python error's, bounded in size
  std::optional<std::vector<std::string>> labels{};     // one an atom, as in ASE
  std::optional<std::vector<Vector3>> positions_ang{};  // Cartesian, one an atom
  std::optional<std::vector<Vector3>> cell_ang{};       // rows a, b, c, when the cell has rank 3
  std::vector<std::string> warnings{};  // Python's about the file, each once, bounded; not part of
                                        // the record

  // Whether the answer can be given again for the same bytes, and on what it depends besides them.
  bool is_repeatable = false;  // false for a failure that has other reasons than the bytes
  /// The names of files in the folder of the file that ASE opened besides it. An empty name is the
  /// folder itself, when ASE listed it.
  std::vector<std::string> beside{};
  std::string files{};        // the worker's, when it first answers
  std::string environment{};  // what NameEnvironment made of them
  std::string received{};     // the bytes of the answer without `files`, where there is a name
};

/// Asks ASE for the file at a path, which is passed on unchanged.
using AskAse = std::function<AseAnswer(const std::string& path)>;

/// Reads a CIF or VASP file into a record; `format` is "cif" or "vasp". Every failure is one
/// warning on a record with `ok` false. `reader_warnings`, which may be null, gets those of ASE.
IngestedStructure parse_with_ase(const std::string& path, const std::string& format,
                                 const AskAse& ask_ase,
                                 std::vector<std::string>* reader_warnings = nullptr);

/// The worker's greetings, equal in size: that ASE is installed, then that it is loaded.
inline constexpr std::string_view ASE_FOUND = "found  1";
inline constexpr std::string_view ASE_READY = "ready  1";

/// In the place of an answer's size: the worker has ended for want of work before it saw a request.
inline constexpr std::string_view ASE_LEFT = "\xff\xff\xff\xff\xff\xff\xff\xff";

/// Instead of both: that ASE is not installed. The size and the text of the files follow that this
/// depends on.
inline constexpr std::string_view ASE_ABSENT = "absent 1";

/// The most bytes of the names of a worker's files.
inline constexpr std::uint64_t MOST_FILES_TEXT = std::uint64_t{1} << 20U;

/// The size of a size or count, in bytes.
inline constexpr std::size_t ASE_SIZE_BYTES = 8;

/// Limits on the text from one file: the bytes of a message or warning (ASE quotes unreadable
/// content of any size), and the number of warnings.
inline constexpr std::size_t MAX_ASE_TEXT = 4096;
inline constexpr std::size_t MAX_ASE_WARNINGS = 1000;

/// The most bytes of an answer: as much memory as a worker may have.
inline constexpr std::uint64_t MAX_ASE_ANSWER = std::uint64_t{4} << 30U;

std::string ase_request(const std::string& path);

/// Decodes the number in ASE_SIZE_BYTES bytes.
std::uint64_t ase_size(std::string_view bytes);

/// Decodes an answer without its leading size; nothing when it is malformed. A text above
/// MAX_ASE_TEXT is cut between two characters, followed by " ... [cut: N bytes in all]".
std::optional<AseAnswer> ase_answer(std::string_view bytes);

}  // namespace structure_ingest::internal

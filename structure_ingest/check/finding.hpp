// The result of a check.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "structure_ingest/base/api.hpp"

namespace structure_ingest {

enum class Severity {
  note,     // for information
  warning,  // a person must decide
  error,    // most probably not the structure that the file's author meant
};

/// One observation on a structure and its file. It does not change the record.
struct Finding {
  /// One of the codes that docs/findings.md explains.
  std::string code;
  Severity severity = Severity::note;
  /// One English sentence with the numbers of this case; text from the file is UTF-8.
  std::string message;
  /// The atoms concerned, counted from 0 as in the record, at most MOST_ATOMS_NAMED; empty for a
  /// finding on the whole structure.
  std::vector<std::size_t> atoms{};
  /// Where it was found: "geometry", "file", "second reader" or "reader".
  std::string source{};

  bool operator==(const Finding&) const = default;
};

/// A finding on more atoms gives their number in its message and lists the first ones.
inline constexpr std::size_t MOST_ATOMS_NAMED = 20;

/// "note", "warning" or "error".
STRUCTURE_INGEST_API const char* severity_name(Severity severity);

}  // namespace structure_ingest

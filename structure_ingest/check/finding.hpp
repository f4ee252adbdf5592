// What a check has to say of one structure.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "structure_ingest/base/api.hpp"

namespace structure_ingest {

enum class Severity {
  note,     // good to know
  warning,  // needs a person's decision
  error,    // most probably not the structure that the file's author meant
};

/// One observation on a structure and its file. It stands beside the record and changes nothing
/// in it.
struct Finding {
  /// What was found: one of the codes that docs/findings.md explains.
  std::string code;
  Severity severity = Severity::note;
  /// One English sentence with the numbers of the case; text from the file is UTF-8.
  std::string message;
  /// The atoms that it is about, counted from 0 as in the record, at most MOST_ATOMS_NAMED of
  /// them; empty where it is about the whole structure.
  std::vector<std::size_t> atoms{};
  /// What it was seen in: "geometry", "file", "second reader" or "reader".
  std::string source{};

  bool operator==(const Finding&) const = default;
};

/// A finding on more atoms than this gives the number in its message and names the first.
inline constexpr std::size_t MOST_ATOMS_NAMED = 20;

/// "note", "warning" or "error".
STRUCTURE_INGEST_API const char* severity_name(Severity severity);

}  // namespace structure_ingest

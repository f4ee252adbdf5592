// The result of a check.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/api.hpp"

namespace structure_ingest {

enum class Severity {
  note,     // for information
  warning,  // a person must decide
  error,    // most probably not the structure that the file's author meant
};

/// What a finding of one code is about, in plain words.
struct FindingKind {
  const char* code = "";
  Severity worst = Severity::note;
  Severity least = Severity::note;  ///< mostly the same as `worst`
  const char* source = "";          ///< "geometry", "file", "second reader" or "reader"
  const char* condition = "";       ///< when it is found, in one clause
  const char* meaning = "";         ///< what it means for a calculation
  const char* advice = "";          ///< what to do
};

/// All kinds, in the order of the table in docs/findings.md.
STRUCTURE_INGEST_API std::vector<FindingKind> finding_kinds();

/// The kind of a code; nothing for any other text.
STRUCTURE_INGEST_API std::optional<FindingKind> finding_kind(std::string_view code);

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

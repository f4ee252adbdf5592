// What the library is measured against: the least that each job can be done with, without any of
// the checks, the general forms and the care for strange files.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace bench {

struct MinimalRecord {
  std::vector<std::array<char, 8>> symbols;
  std::vector<std::array<double, 3>> positions;
};

/// The bytes of a file, read at once into one buffer.
std::string file_bytes(const std::string& path);

/// One buffer, memchr for the lines, fast_float for the numbers.
MinimalRecord minimal_parse(std::string_view bytes);

/// An exact fixed-point formatter for every number, and a copy of each symbol.
std::string minimal_text(const structure_ingest::IngestedStructure& record);

/// The JSON text of symbols and positions, written straight from the arrays.
std::string minimal_json(const structure_ingest::IngestedStructure& record);

/// All symbols and numbers copied into a new JSON value, element by element.
structure_ingest::Json minimal_entry(const structure_ingest::IngestedStructure& record);

/// One digest over bytes in memory.
std::array<unsigned char, 32> minimal_digest(std::string_view bytes);

/// What taking a file into a project comes down to: reading, two digests, parsing and formatting.
/// Returns the JSON text; when `folder` is not empty, the canonical text goes to a file there.
std::string minimal_ingestion(const std::string& path, const std::string& folder);

/// Writes a file so that it is on the disk and there as a whole: write, fsync and rename.
void minimal_write(const std::string& path, std::string_view text);

}  // namespace bench

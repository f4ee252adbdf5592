// Lower bounds to compare the library with: minimal implementations of each job, without checks,
// general forms or support for unusual files.
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

/// Parses with one buffer, memchr for the lines and fast_float for the numbers.
MinimalRecord minimal_parse(std::string_view bytes);

/// Formats every number exactly in 128-bit integers, and copies each symbol, in a buffer of its
/// own. For numbers below 10^8.
std::string minimal_text(const structure_ingest::IngestedStructure& record);

/// Writes the JSON text of symbols and positions straight from the arrays.
std::string minimal_json(const structure_ingest::IngestedStructure& record);

/// Copies all symbols and numbers into a new JSON value, element by element.
structure_ingest::Json minimal_entry(const structure_ingest::IngestedStructure& record);

/// One digest over bytes in memory.
std::array<unsigned char, 32> minimal_digest(std::string_view bytes);

/// The steps of ingesting a file: reading, two digests, parsing and formatting. Returns the JSON
/// text; when `folder` is not empty, writes the canonical text to a file there.
std::string minimal_ingestion(const std::string& path, const std::string& folder);

/// Writes a file atomically and durably: write, fsync and rename.
void minimal_write(const std::string& path, std::string_view text);

}  // namespace bench

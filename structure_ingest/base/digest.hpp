// SHA-256 digests in lower-case hexadecimal.
#pragma once

#include <string>
#include <string_view>

namespace structure_ingest::internal {

/// The 64 digits of the SHA-256 digest of `bytes`.
std::string sha256_hex(std::string_view bytes);

/// The same of a regular file's bytes, read in pieces.
/// Throws std::filesystem::filesystem_error when it cannot be read.
std::string sha256_hex_of_file(const std::string& path);

}  // namespace structure_ingest::internal

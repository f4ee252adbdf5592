// SHA-256 digests in lower-case hexadecimal, and bytes as base64.
#pragma once

#include <openssl/sha.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace structure_ingest::internal {

class InputFile;

/// A digest computed piece by piece.
///
/// It calls OpenSSL's plain functions: the first digest by its providers takes as long as the rest
/// of a small process, and they are nine tenths of the library that a static program holds.
class Sha256 {
 public:
  Sha256();
  void add(std::string_view bytes);
  /// The 64 digits, or the 32 bytes. Call one of them once, after the last `add`.
  std::string hex();
  std::string bytes();

 private:
  SHA256_CTX context_{};
};

/// A file's fingerprint is this many leading digits of its digest.
inline constexpr std::size_t FINGERPRINT_DIGITS = 16;

/// The 64 digits of the SHA-256 digest of `bytes`.
std::string sha256_hex(std::string_view bytes);

/// The digest of a regular file, read in pieces. Throws std::filesystem::filesystem_error when the
/// file cannot be read.
std::string sha256_hex_of_file(const std::string& path);
std::string sha256_hex_of_file(InputFile file);

/// The 32 bytes of the digest of `bytes`.
std::string sha256_bytes(std::string_view bytes);

/// Bytes as base64 text, without line breaks.
std::string base64(std::string_view bytes);

}  // namespace structure_ingest::internal

// SHA-256 digests in lower-case hexadecimal.
#pragma once

#include <openssl/types.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace structure_ingest::internal {

/// The digest of bytes that come in pieces.
class Sha256 {
 public:
  Sha256();
  void add(std::string_view bytes);
  /// The 64 digits; nothing can be added after that.
  std::string hex();

 private:
  std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context_;
};

/// How many digits of its digest are the fingerprint of a file.
inline constexpr std::size_t FINGERPRINT_DIGITS = 16;

/// The 64 digits of the SHA-256 digest of `bytes`.
std::string sha256_hex(std::string_view bytes);

/// The same of a regular file's bytes, read in pieces.
/// Throws std::filesystem::filesystem_error when it cannot be read.
std::string sha256_hex_of_file(const std::string& path);

}  // namespace structure_ingest::internal

// OpenSSL 3 calls its plain functions deprecated; see the class.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "structure_ingest/base/digest.hpp"

#include <openssl/evp.h>

#include <algorithm>
#include <cstddef>
#include <memory>

#include "structure_ingest/base/file.hpp"

namespace structure_ingest::internal {

Sha256::Sha256() {
  SHA256_Init(&context_);
}

void Sha256::add(std::string_view bytes) {
  SHA256_Update(&context_, bytes.data(), bytes.size());
}

std::string Sha256::bytes() {
  std::string digest(SHA256_DIGEST_LENGTH, '\0');
  SHA256_Final(reinterpret_cast<unsigned char*>(digest.data()), &context_);
  return digest;
}

std::string Sha256::hex() {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string out;
  out.reserve(std::size_t{2} * SHA256_DIGEST_LENGTH);
  for (const char c : bytes()) {
    const auto byte = static_cast<unsigned char>(c);
    out += digits[byte >> 4];
    out += digits[byte & 0xF];
  }
  return out;
}

std::string sha256_hex(std::string_view bytes) {
  Sha256 digest;
  digest.add(bytes);
  return digest.hex();
}

std::string sha256_hex_of_file(const std::string& path) {
  return sha256_hex_of_file(InputFile(path));
}

std::string sha256_hex_of_file(InputFile file) {
  Sha256 digest;
  constexpr std::size_t size = std::size_t{1} << 16;  // stays in the processor's cache
  const auto piece = std::make_unique_for_overwrite<char[]>(size);
  while (const std::size_t count = file.read(piece.get(), size)) digest.add({piece.get(), count});
  return digest.hex();
}

std::string sha256_bytes(std::string_view bytes) {
  Sha256 digest;
  digest.add(bytes);
  return digest.bytes();
}

std::string base64(std::string_view bytes) {
  constexpr std::size_t MOST = std::size_t{3} << 20;  // of one call, which counts in int
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), MOST))) {
    const std::string_view part = bytes.substr(0, MOST);
    std::string encoded(part.size() / 3 * 4 + 5, '\0');  // with a NUL at its end
    const int size = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                                     reinterpret_cast<const unsigned char*>(part.data()),
                                     static_cast<int>(part.size()));
    text.append(encoded, 0, static_cast<std::size_t>(size));
  }
  return text;
}

}  // namespace structure_ingest::internal

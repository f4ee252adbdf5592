#define OPENSSL_SUPPRESS_DEPRECATED

#include "bench/floors.hpp"
#include "structure_ingest/base/json.hpp"

#include <fast_float/fast_float.h>
#include <fcntl.h>
#include <openssl/sha.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace bench {

std::string file_bytes(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status {};
  if (descriptor < 0 || fstat(descriptor, &status) != 0) throw std::runtime_error("no " + path);
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  const ssize_t count = read(descriptor, bytes.data(), bytes.size());
  close(descriptor);
  if (count != status.st_size) throw std::runtime_error("short read of " + path);
  return bytes;
}

MinimalRecord minimal_parse(std::string_view bytes) {
  MinimalRecord record;
  const char* at = bytes.data();
  const char* const end = at + bytes.size();
  const auto line_end = [&] {
    return static_cast<const char*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)));
  };
  at = line_end() + 1;
  at = line_end() + 1;
  while (at != end) {
    const char* const stop = line_end();
    std::array<char, 8> symbol{};
    for (std::size_t i = 0; *at != ' '; ++at) symbol[i++ % 8] = *at;
    std::array<double, 3> position{};
    for (double& coordinate : position) {
      while (*at == ' ') ++at;
      at = fast_float::from_chars(at, stop, coordinate).ptr;
    }
    record.symbols.push_back(symbol);
    record.positions.push_back(position);
    at = stop + 1;
  }
  return record;
}

namespace {

/// Formats a number below 10^8 with ten decimals, rounded from its exact value.
char* exact_decimals(char* out, double value) {
  __extension__ using Uint128 = unsigned __int128;
  constexpr std::uint64_t unit = 10000000000;
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  if (bits >> 63 != 0) *out++ = '-';
  const int exponent = static_cast<int>(bits >> 52 & 0x7FF);
  const std::uint64_t mantissa = (bits & ((1ULL << 52) - 1)) | (exponent == 0 ? 0 : 1ULL << 52);
  const int shift = std::min(1075 - std::max(exponent, 1), 100);
  const Uint128 scaled = Uint128{mantissa} * unit;
  const Uint128 rest = scaled & ((Uint128{1} << shift) - 1);
  const Uint128 half = Uint128{1} << (shift - 1);
  auto units = static_cast<std::uint64_t>(scaled >> shift);
  if (rest > half || (rest == half && units % 2 != 0)) ++units;
  out = std::to_chars(out, out + 20, units / unit).ptr;
  *out++ = '.';
  std::uint64_t decimals = units % unit;
  for (int i = 9; i >= 0; --i, decimals /= 10) out[i] = static_cast<char>('0' + decimals % 10);
  return out + 10;
}

}  // namespace

std::string minimal_text(const structure_ingest::IngestedStructure& record) {
  const auto buffer = std::make_unique_for_overwrite<char[]>(64 * record.symbols.size());
  char* out = buffer.get();
  for (std::size_t i = 0; i < record.symbols.size(); ++i) {
    const std::string& symbol = record.symbols[i];
    out = std::copy_n(symbol.data(), symbol.size(), out);
    for (const double coordinate : record.positions_ang[i]) {
      *out++ = ' ';
      out = exact_decimals(out, coordinate);
    }
    *out++ = '\n';
  }
  return {buffer.get(), out};
}

std::string minimal_json(const structure_ingest::IngestedStructure& record) {
  std::string text;
  text.reserve(100 * record.symbols.size());
  text += "{\n  \"symbols\": [";
  for (const std::string& symbol : record.symbols) {
    text += "\n    \"";
    text += symbol;
    text += "\",";
  }
  text.back() = '\n';
  text += "  ],\n  \"positions_ang\": [";
  std::array<char, 400> buffer{};
  for (const structure_ingest::Vector3& position : record.positions_ang) {
    text += "\n    [";
    for (const double coordinate : position) {
      text += "\n      ";
      const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), coordinate);
      text.append(buffer.data(), result.ptr);
      text += ',';
    }
    text.back() = '\n';
    text += "    ],";
  }
  text.back() = '\n';
  return text += "  ]\n}";
}

structure_ingest::Json minimal_entry(const structure_ingest::IngestedStructure& record) {
  using structure_ingest::Json;
  Json symbols = Json::array();
  for (const std::string& symbol : record.symbols) symbols.push_back(symbol);
  Json positions = Json::array();
  for (const structure_ingest::Vector3& position : record.positions_ang) {
    Json row = Json::array();
    for (const double coordinate : position) row.push_back(coordinate);
    positions.push_back(std::move(row));
  }
  Json entry = Json::object();
  entry["symbols"] = std::move(symbols);
  entry["positions_ang"] = std::move(positions);
  return entry;
}

std::array<unsigned char, 32> minimal_digest(std::string_view bytes) {
  std::array<unsigned char, 32> digest{};
  SHA256_CTX context{};
  SHA256_Init(&context);
  SHA256_Update(&context, bytes.data(), bytes.size());
  SHA256_Final(digest.data(), &context);
  return digest;
}

std::string minimal_ingestion(const std::string& path, const std::string& folder) {
  const std::string bytes = file_bytes(path);
  const MinimalRecord parsed = minimal_parse(bytes);
  structure_ingest::IngestedStructure record{.source_path = path, .format = "xyz"};
  record.positions_ang = parsed.positions;
  for (const auto& symbol : parsed.symbols) record.symbols.emplace_back(symbol.data());
  const std::string text = minimal_text(record);
  const auto digest = minimal_digest(bytes);
  const auto text_digest = minimal_digest(text);
  if (digest == text_digest) throw std::runtime_error("the copy has the same digest");
  if (!folder.empty()) minimal_write(folder + path.substr(path.rfind('/')), text);
  return minimal_json(record);
}

void minimal_write(const std::string& path, std::string_view text) {
  const std::string temporary = path + ".tmp";
  const int descriptor = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  const bool written =
      write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  const bool synced = fsync(descriptor) == 0;
  close(descriptor);
  if (!written || !synced || rename(temporary.c_str(), path.c_str()) != 0) {
    throw std::runtime_error("cannot write " + path);
  }
}

}  // namespace bench

#include "structure_ingest/readers/ase_protocol.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <vector>

namespace structure_ingest::internal {
namespace {

using Failure = AseAnswer::Failure;

/// The failures, indexed by their byte in an answer.
constexpr std::array<Failure, 3> FAILURES = {Failure::none, Failure::read, Failure::extraction};

/// Shortens a text that is too long. A UTF-8 character has at most three bytes after its first.
std::string bounded(std::string_view text) {
  if (text.size() <= MAX_ASE_TEXT) return std::string(text);
  const auto continues = [&](std::size_t at) {
    return (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
  };
  std::size_t end = MAX_ASE_TEXT;
  while (end > MAX_ASE_TEXT - 3 && continues(end)) --end;
  return std::string(text.substr(0, end)) + " ... [cut: " + std::to_string(text.size()) +
         " bytes in all]";
}

/// Decodes an answer front to back. Do not trust counts: reserve at most what the remaining bytes
/// can hold.
class Input {
 public:
  explicit Input(std::string_view bytes) : rest_(bytes) {}

  bool at_end() const { return rest_.empty(); }

  std::optional<std::string_view> bytes(std::uint64_t size) {
    if (size > rest_.size()) return std::nullopt;
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
  }
  std::optional<std::uint64_t> number() {
    const std::optional<std::string_view> taken = bytes(ASE_SIZE_BYTES);
    return taken ? std::optional(ase_size(*taken)) : std::nullopt;
  }
  std::optional<std::string> text() {
    const std::optional<std::uint64_t> size = number();
    const std::optional<std::string_view> taken = size ? bytes(*size) : std::nullopt;
    return taken ? std::optional(bounded(*taken)) : std::nullopt;
  }
  std::optional<std::vector<std::string>> texts() {
    const std::optional<std::uint64_t> count = number();
    if (!count || *count > rest_.size() / ASE_SIZE_BYTES) return std::nullopt;
    std::vector<std::string> texts(*count);
    for (std::string& text_read : texts) {
      std::optional<std::string> taken = text();
      if (!taken) return std::nullopt;
      text_read = *std::move(taken);
    }
    return texts;
  }
  std::optional<std::vector<Vector3>> vectors(std::optional<std::uint64_t> count) {
    if (!count || *count > rest_.size() / sizeof(Vector3)) return std::nullopt;
    std::vector<Vector3> rows(*count);
    for (Vector3& row : rows) {
      for (double& value : row) value = std::bit_cast<double>(*number());
    }
    return rows;
  }

 private:
  std::string_view rest_;
};

bool take_warnings(std::optional<std::vector<std::string>> warnings, AseAnswer& answer) {
  if (!warnings) return false;
  for (std::string& warning : *warnings) {
    std::vector<std::string>& kept = answer.warnings;
    const bool is_new = std::find(kept.begin(), kept.end(), warning) == kept.end();
    if (is_new && kept.size() < MAX_ASE_WARNINGS) kept.push_back(std::move(warning));
  }
  return true;
}

/// Decodes one section into `answer`; false when it is malformed.
bool take_section(Input& input, AseAnswer& answer) {
  const char kind = input.bytes(1)->front();
  if (kind == 'L') return (answer.labels = input.texts()).has_value();
  if (kind == 'W') return take_warnings(input.texts(), answer);
  if (kind == 'P') return (answer.positions_ang = input.vectors(input.number())).has_value();
  return kind == 'C' && (answer.cell_ang = input.vectors(3)).has_value();
}

bool is_whole(const AseAnswer& answer) {
  if (answer.failure != Failure::none) return true;
  return answer.labels && answer.positions_ang &&
         answer.labels->size() == answer.positions_ang->size();
}

}  // namespace

std::string ase_request(const std::string& path) {
  std::string request;
  for (std::uint64_t rest = path.size(); request.size() < ASE_SIZE_BYTES; rest >>= 8U) {
    request.push_back(static_cast<char>(rest & 0xFFU));
  }
  return request + path;
}

std::uint64_t ase_size(std::string_view bytes) {
  std::uint64_t size = 0;
  for (std::size_t i = ASE_SIZE_BYTES; i > 0; --i) {
    size = size << 8U | static_cast<unsigned char>(bytes[i - 1]);
  }
  return size;
}

std::optional<AseAnswer> ase_answer(std::string_view bytes) {
  Input input(bytes);
  const std::optional<std::string_view> code = input.bytes(1);
  const std::size_t failure = code ? static_cast<unsigned char>(code->front()) : FAILURES.size();
  std::optional<std::string> message = input.text();
  if (failure >= FAILURES.size() || !message) return std::nullopt;
  AseAnswer answer{.failure = FAILURES[failure], .message = *std::move(message)};
  while (!input.at_end()) {
    if (!take_section(input, answer)) return std::nullopt;
  }
  return is_whole(answer) ? std::optional(std::move(answer)) : std::nullopt;
}

}  // namespace structure_ingest::internal

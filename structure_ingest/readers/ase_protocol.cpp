#include "structure_ingest/readers/ase.hpp"

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

/// Decodes an answer front to back. After a part that is malformed there is nothing left to read,
/// and every further part is empty. Do not trust counts: reserve at most what the remaining bytes
/// can hold.
class Input {
 public:
  explicit Input(std::string_view bytes) : rest_(bytes) {}

  bool at_end() const { return rest_.empty(); }
  bool is_malformed() const { return is_malformed_; }

  std::string_view bytes(std::uint64_t size) {
    require(size <= rest_.size());
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(taken.size());
    return taken;
  }
  std::uint64_t number() {
    const std::string_view taken = bytes(ASE_SIZE_BYTES);
    return taken.empty() ? 0 : ase_size(taken);
  }
  std::string text() { return bounded(bytes(number())); }
  std::vector<std::string> texts() {
    const std::uint64_t count = number();
    require(count <= rest_.size() / ASE_SIZE_BYTES);
    std::vector<std::string> texts(is_malformed_ ? 0 : count);
    for (std::string& each : texts) each = text();
    return texts;
  }
  std::vector<Vector3> vectors(std::uint64_t count) {
    require(count <= rest_.size() / sizeof(Vector3));
    std::vector<Vector3> rows(is_malformed_ ? 0 : count);
    for (Vector3& row : rows) {
      for (double& value : row) value = std::bit_cast<double>(number());
    }
    return rows;
  }

 private:
  void require(bool is_possible) {
    if (is_possible) return;
    is_malformed_ = true;
    rest_ = {};
  }

  std::string_view rest_;
  bool is_malformed_ = false;
};

void add_warnings(std::vector<std::string> warnings, std::vector<std::string>& known) {
  for (std::string& warning : warnings) {
    const bool is_new = std::find(known.begin(), known.end(), warning) == known.end();
    if (is_new && known.size() < MAX_ASE_WARNINGS) known.push_back(std::move(warning));
  }
}

/// Whether an answer without failure has the atoms.
bool has_atoms_if_good(const AseAnswer& answer) {
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
  const std::string_view code = input.bytes(1);
  const std::size_t failure = code.empty() ? 0 : static_cast<unsigned char>(code.front());
  if (failure >= FAILURES.size()) return std::nullopt;
  AseAnswer answer{.failure = FAILURES[failure], .message = input.text(), .is_repeatable = true};
  while (!input.at_end()) {
    switch (input.bytes(1).front()) {
      case 'L':
        answer.labels = input.texts();
        break;
      case 'P':
        answer.positions_ang = input.vectors(input.number());
        break;
      case 'C':
        answer.cell_ang = input.vectors(3);
        break;
      case 'W':
        add_warnings(input.texts(), answer.warnings);
        break;
      case 'V':
        answer.is_repeatable = false;
        break;
      case 'O':
        answer.beside = input.texts();
        break;
      case 'E':
        answer.files = input.bytes(input.number());
        break;
      default:
        return std::nullopt;
    }
  }
  const bool is_whole = !input.is_malformed() && has_atoms_if_good(answer);
  return is_whole ? std::optional(std::move(answer)) : std::nullopt;
}

}  // namespace structure_ingest::internal

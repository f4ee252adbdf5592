#include "apps/terminal.hpp"

#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <numbers>

namespace apps {

using structure_ingest::Json;

std::string printable(std::string_view text) {
  // The JSON text of a string has every control character escaped and is valid UTF-8; only its
  // quotes and its escapes of quotes and backslashes are undone.
  const std::string json = structure_ingest::json_text(Json(text));
  std::string out;
  for (std::size_t i = 1; i + 1 < json.size(); ++i) {
    const bool escaped = json[i] == '\\';
    if (escaped && (json[i + 1] == '"' || json[i + 1] == '\\')) ++i;
    out += json[i];
    if (escaped && json[i] == '\\' && json[i - 1] != '\\') out += json[++i];
  }
  return out;
}

std::string coloured(const std::string& text, int colour) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the program has one thread.
  const char* const no_color = std::getenv("NO_COLOR");
  const bool plain = isatty(STDOUT_FILENO) == 0 || (no_color != nullptr && *no_color != '\0');
  return plain ? text : "\x1b[" + std::to_string(colour) + "m" + text + "\x1b[0m";
}

void print_line(const std::string& text) {
  std::cout << text << '\n';
}

void print_error(const std::string& text) {
  std::cerr << "structure-ingest: " << printable(text) << '\n';
}

void print_indented(const Json& messages) {
  for (const Json& message : messages) print_line("  " + printable(message.get<std::string>()));
}

std::string cell_summary(const Json& cell_ang) {
  std::array<std::array<double, 3>, 3> rows{};
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) rows[i][j] = cell_ang.at(i).at(j).get<double>();
  }
  const auto dot = [](const auto& a, const auto& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
  };
  const auto length = [&](const auto& a) { return std::sqrt(dot(a, a)); };
  const auto angle = [&](const auto& a, const auto& b) {
    return std::acos(dot(a, b) / (length(a) * length(b))) * 180.0 / std::numbers::pi;
  };
  std::array<char, 256> text{};
  std::snprintf(text.data(), text.size(),
                "a b c = %.4g %.4g %.4g \u00C5, alpha beta gamma = %.4g %.4g %.4g\u00B0",
                length(rows[0]), length(rows[1]), length(rows[2]), angle(rows[1], rows[2]),
                angle(rows[0], rows[2]), angle(rows[0], rows[1]));
  return text.data();
}

}  // namespace apps

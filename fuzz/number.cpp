// Compares reading and writing numbers with the standard library's slower functions.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <string>

#include "fuzz/memory_file.hpp"
#include "structure_ingest/base/fast/decimals.hpp"
#include "structure_ingest/base/numbers.hpp"

namespace {

namespace internal = structure_ingest::internal;

void check_reading(const std::string& text) {
  const bool ascii =
      std::all_of(text.begin(), text.end(), [](char c) { return c > 0 && c < 0x7F; });
  if (!ascii || text.size() > 400) return;  // the expressions below match ASCII digits only
  static const std::regex number(
      "[-+]?((\\d(_?\\d)*)(\\.(\\d(_?\\d)*)?)?|\\.\\d(_?\\d)*)([eE][-+]?\\d(_?\\d)*)?|"
      "[-+]?([iI][nN][fF]([iI][nN][iI][tT][yY])?|[nN][aA][nN])");
  const auto value = internal::float_value(text);
  fuzz::require(value.has_value() == std::regex_match(text, number));
  std::string digits = text;
  std::erase(digits, '_');
  if (value) {
    const double expected = std::strtod(digits.c_str(), nullptr);
    fuzz::require(std::isnan(expected)
                      ? std::isnan(*value)
                      : *value == expected && std::signbit(*value) == std::signbit(expected));
  }

  static const std::regex integer("([-+]?)0*((\\d*))");
  static const std::regex integer_form("[-+]?\\d(_?\\d)*");
  const auto whole = internal::integer_text(text);
  fuzz::require(whole.has_value() == std::regex_match(text, integer_form));
  std::smatch parts;
  if (whole && std::regex_match(digits, parts, integer)) {
    const std::string magnitude = parts[2].length() == 0 ? "0" : parts[2].str();
    fuzz::require(*whole == (parts[1] == "-" && magnitude != "0" ? "-" : "") + magnitude);
  }
}

void check_writing(double value) {
  std::array<char, 400> expected{};
  const int length = std::snprintf(expected.data(), expected.size(), "%.10f", value);
  std::string text;
  internal::append_ten_decimals(text, value);
  if (!std::isnan(value)) {
    fuzz::require(text == std::string(expected.data(), static_cast<std::size_t>(length)));
  }
  if (!std::isfinite(value)) return;

  text.clear();
  internal::append_shortest(text, value);
  fuzz::require(std::strtod(text.c_str(), nullptr) == value);
  fuzz::require(text.find_first_of(".eE") != std::string::npos);
  const auto significant = [](std::string digits) {
    digits.resize(std::min(digits.find_first_of("eE"), digits.size()));
    std::erase_if(digits, [](char c) { return c < '0' || c > '9'; });
    digits.erase(0, digits.find_first_not_of('0'));
    digits.erase(digits.find_last_not_of('0') + 1);
    return digits;
  };
  const auto shortest = std::to_chars(expected.data(), expected.data() + expected.size(), value);
  fuzz::require(significant(text).size() <=
                significant(std::string(expected.data(), shortest.ptr)).size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  check_reading(text);
  if (const auto value = internal::float_value(text)) check_writing(*value);
  double value = 0;
  std::memcpy(&value, data, std::min(size, sizeof value));
  check_writing(value);
  return 0;
}

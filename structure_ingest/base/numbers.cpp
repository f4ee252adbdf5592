#include "structure_ingest/base/numbers.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <system_error>

#include "structure_ingest/base/characters.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"

namespace structure_ingest::internal {
namespace {

/// The plain ASCII form of a number: digits of other scripts become ASCII digits, underscores
/// between two digits are removed. Nothing when the token holds a character that occurs in no
/// number.
std::optional<std::string> plain_form(std::string_view token) {
  std::string out;
  out.reserve(token.size());
  bool after_underscore = false;
  for (std::size_t position = 0; position < token.size();) {
    const Character character = character_at(token, position);
    position += character.length;
    if (character.value == U'_') {
      if (after_underscore || out.empty() || !is_digit(out.back())) return std::nullopt;
      after_underscore = true;
      continue;
    }
    const int digit = decimal_digit(character.value);
    if (digit < 0 && (after_underscore || character.value >= 128)) return std::nullopt;
    out += digit >= 0 ? static_cast<char>('0' + digit) : static_cast<char>(character.value);
    after_underscore = false;
  }
  if (after_underscore) return std::nullopt;
  return out;
}

/// Removes a sign from the front of `text`; true for a minus.
bool cut_sign(std::string_view& text) {
  if (text.empty() || (text.front() != '+' && text.front() != '-')) return false;
  const bool negative = text.front() == '-';
  text.remove_prefix(1);
  return negative;
}

/// The value of a number outside the range of a double: zero when it is smaller than 1, infinity
/// when it is larger. `text` is a valid unsigned decimal number.
double out_of_range_value(std::string_view text) {
  // The power of ten of the first significant digit decides. An exponent too long for a machine
  // integer outweighs all digits.
  const std::size_t e = text.find_first_of("eE");
  const std::string_view mantissa = text.substr(0, e);
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const std::size_t first = mantissa.find_first_not_of("0.");
  if (first == std::string_view::npos) return 0.0;
  const auto leading = static_cast<long long>(point) - static_cast<long long>(first);
  long long exponent = 0;
  if (e != std::string_view::npos) {
    std::string_view digits = text.substr(e + 1);
    const bool negative = cut_sign(digits);
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
    constexpr long long huge = std::numeric_limits<long long>::max() / 2;
    if (error == std::errc::result_out_of_range || exponent > huge) exponent = huge;
    if (negative) exponent = -exponent;
  }
  return leading + exponent > 0 ? std::numeric_limits<double>::infinity() : 0.0;
}

std::optional<double> plain_float(std::string_view text) {
  const bool negative = cut_sign(text);
  if (text.empty()) return std::nullopt;
  double value = 0.0;
  if (is_digit(text.front()) || text.front() == '.') {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (stop != end || error == std::errc::invalid_argument) return std::nullopt;
    if (error == std::errc::result_out_of_range) value = out_of_range_value(text);
  } else {
    const std::string name = ascii_lower_cased(text);
    const bool is_infinity = name == "inf" || name == "infinity";
    if (!is_infinity && name != "nan") return std::nullopt;
    value = is_infinity ? std::numeric_limits<double>::infinity()
                        : std::numeric_limits<double>::quiet_NaN();
  }
  return negative ? -value : value;
}

}  // namespace

std::optional<std::string> integer_text(std::string_view token) {
  const std::optional<std::string> plain = plain_form(token);
  if (!plain) return std::nullopt;
  std::string_view digits = *plain;
  const bool negative = cut_sign(digits);
  if (digits.empty() || !std::all_of(digits.begin(), digits.end(), is_digit)) return std::nullopt;
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size() - 1));
  return (negative && digits != "0" ? "-" : "") + std::string(digits);
}

std::optional<double> float_value(std::string_view token) {
  if (const std::optional<double> value = plain_float(token)) return value;
  // Rare: underscores or the digits of another script.
  const std::optional<std::string> plain = plain_form(token);
  if (!plain || *plain == token) return std::nullopt;
  return plain_float(*plain);
}

std::string number_text(double value, int digits) {
  std::array<char, 64> text{};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value,
                                          std::chars_format::general, digits);
  return {text.data(), error == std::errc() ? end : text.data()};
}

}  // namespace structure_ingest::internal

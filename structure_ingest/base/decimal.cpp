#include "structure_ingest/base/decimal.hpp"

#include <array>
#include <bit>
#include <cstdint>
#include <optional>

#include "structure_ingest/base/eight_bytes.hpp"
#include "structure_ingest/base/number.hpp"

// Eight digits are looked at and computed with at once. Why the results are exact stands with each
// step; the tests compare them with std::from_chars.
namespace structure_ingest::internal {
namespace {

constexpr std::size_t MAX_DIGITS = 19;  // that many always fit into 64 bits

/// The highest bit of each byte that is above 9.
std::uint64_t other_than_digits(std::uint64_t digits) {
  return (((digits & ~EACH_HIGH_BIT) + EACH_BYTE * (0x80 - 10)) | digits) & EACH_HIGH_BIT;
}

/// The number that eight digits make: neighbours are joined to twos, fours and all eight.
std::uint64_t joined(std::uint64_t digits) {
  const std::uint64_t twos = digits * 10 + (digits >> 8);
  constexpr std::uint64_t two_of_four = 0x000000FF000000FF;
  const std::uint64_t odd = (twos & two_of_four) * (100 + (std::uint64_t{1000000} << 32));
  const std::uint64_t even = (twos >> 16 & two_of_four) * (1 + (std::uint64_t{10000} << 32));
  return (odd + even) >> 32;
}

/// The number that the first `count` of eight digits make, `count` being 1 to 8: the others are
/// shifted out, and zeros come in before.
std::uint64_t joined(std::uint64_t digits, std::size_t count) {
  return joined(digits << (64 - 8 * count));
}

constexpr std::array<std::uint64_t, MAX_DIGITS + 1> POWERS = [] {
  std::array<std::uint64_t, MAX_DIGITS + 1> powers{};
  powers[0] = 1;
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = 10 * powers[i - 1];
  return powers;
}();

/// Up to here every integer is an exact double.
constexpr std::uint64_t EXACT_DIGITS = std::uint64_t{1} << 53;

/// All powers of ten that a double holds exactly.
constexpr std::array<double, 23> DOUBLE_POWERS = [] {
  std::array<double, 23> powers{};
  powers[0] = 1.0;
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = 10.0 * powers[i - 1];
  return powers;
}();

__extension__ using Uint128 = unsigned __int128;

/// A power of ten shifted up to 64 bits, and its reciprocal floor((2^128 - 1) / shifted) - 2^64.
struct Divisor {
  std::uint64_t shifted;
  std::uint64_t reciprocal;
  int shift;
};

constexpr std::array<Divisor, MAX_DIGITS + 1> DIVISORS = [] {
  std::array<Divisor, MAX_DIGITS + 1> divisors{};
  for (std::size_t i = 0; i < divisors.size(); ++i) {
    const int shift = std::countl_zero(POWERS[i]);
    const std::uint64_t shifted = POWERS[i] << shift;
    divisors[i] = {shifted, static_cast<std::uint64_t>(~Uint128{0} / shifted), shift};
  }
  return divisors;
}();

/// digits / 10^decimals for digits above 2^53, correctly rounded.
///
/// Both are shifted up to 64 bits and divided as integers, so that the quotient below has 62 or 63
/// bits. Its lowest bit is set when the division leaves a remainder: at least nine bits below the
/// 53 that a double keeps, it only tells a number just above a half from the half itself. So the
/// conversion to double, one correct rounding, rounds the exact quotient, and the scaling by a
/// power of two is exact.
///
/// The division is that of a 128-bit number by a constant as N. Moller and T. Granlund have it in
/// "Improved division by invariant integers" (IEEE Transactions on Computers 60, 2011), algorithm
/// 4: the estimate of the quotient is corrected by its own remainder, so that it is exact.
double long_quotient(std::uint64_t digits, std::size_t decimals) {
  const Divisor& divisor = DIVISORS[decimals];
  const int shift = std::countl_zero(digits);
  const Uint128 dividend = Uint128{digits << shift} << 62;
  const Uint128 estimate =
      Uint128{divisor.reciprocal} * static_cast<std::uint64_t>(dividend >> 64) + dividend;
  std::uint64_t quotient = static_cast<std::uint64_t>(estimate >> 64) + 1;
  std::uint64_t remainder = static_cast<std::uint64_t>(dividend) - quotient * divisor.shifted;
  const bool too_large = remainder > static_cast<std::uint64_t>(estimate);
  quotient -= too_large ? 1 : 0;
  remainder += too_large ? divisor.shifted : 0;
  if (remainder >= divisor.shifted) {
    ++quotient;
    remainder -= divisor.shifted;
  }
  quotient |= remainder == 0 ? 0 : 1;
  const int biased_exponent = 1023 - 62 - shift + divisor.shift;
  const auto biased = static_cast<std::uint64_t>(biased_exponent);
  return static_cast<double>(static_cast<std::int64_t>(quotient)) *
         std::bit_cast<double>(biased << 52);
}

/// The first character from `text` on that is neither a blank nor a tab.
const char* after_blanks(const char* text) {
  for (;;) {
    text += first_marked(load_eight(text) ^ EACH_BYTE * ' ');
    if (*text == '\t') {
      ++text;
    } else if (*text != ' ') {
      return text;
    }
  }
}

/// The part of a number before its point, and where it stands among eight characters.
struct Beginning {
  std::size_t point;       // 0 when this is no beginning of a number
  std::uint64_t sign;      // the sign bit of a double
  std::uint64_t digits;    // the number that the digits make
  std::size_t digit_bits;  // eight for each digit
};

/// Reads blanks, a sign that need not be there and digits, followed by a point.
Beginning beginning(std::uint64_t eight) {
  const std::uint64_t same_as_point = eight ^ EACH_BYTE * '.';
  const std::uint64_t points = (same_as_point - EACH_BYTE) & ~same_as_point & EACH_HIGH_BIT;
  const std::size_t point = first_marked(points);
  if (points == 0 || point < 2) return {};
  // The point comes next above the highest byte, and zeros come in below.
  const std::uint64_t digits = (eight ^ EACH_BYTE * '0') << (64 - 8 * point);
  const std::uint64_t others = other_than_digits(digits);
  const std::size_t digit_bits =
      static_cast<std::size_t>(std::countl_zero(others)) & ~std::size_t{7};
  if (others == 0 || digit_bits == 0) return {};
  // The character before the digits. Signs are as good as random: no branch is to depend on them.
  const std::size_t before = 8 * point - digit_bits - 8;
  const std::uint64_t character = eight >> before & 0xFF;
  const auto negative = static_cast<std::uint64_t>(character == '-');
  const auto has_no_sign =
      static_cast<std::uint64_t>(character != '-') & static_cast<std::uint64_t>(character != '+');
  const std::size_t blank_bits = before + 8 * has_no_sign;
  if (blank_bits == 0 || (eight ^ EACH_BYTE * ' ') << (64 - blank_bits) != 0) return {};
  return {point, negative << 63, joined(digits & ~(~std::uint64_t{0} >> digit_bits)), digit_bits};
}

/// digits / 10^decimals, correctly rounded; `decimals` is at most MAX_DIGITS.
double quotient(std::uint64_t digits, std::size_t decimals) {
  if (digits > EXACT_DIGITS) return long_quotient(digits, decimals);
  // Both are exact as doubles, and IEEE 754 rounds their quotient correctly.
  return static_cast<double>(static_cast<std::int64_t>(digits)) / DOUBLE_POWERS[decimals];
}

/// digits * 10^exponent, correctly rounded; nothing when that takes more than one rounding.
std::optional<double> scaled(std::uint64_t digits, int exponent) {
  if (exponent <= 0 && exponent >= -static_cast<int>(MAX_DIGITS)) {
    return quotient(digits, static_cast<std::size_t>(-exponent));
  }
  // As above, with products as well.
  const auto size = static_cast<std::size_t>(exponent < 0 ? -exponent : exponent);
  if (digits > EXACT_DIGITS || size >= DOUBLE_POWERS.size()) return std::nullopt;
  const auto number = static_cast<double>(static_cast<std::int64_t>(digits));
  return exponent < 0 ? number / DOUBLE_POWERS[size] : number * DOUBLE_POWERS[size];
}

/// Whether a number may end before this character. Control characters and those outside ASCII are
/// left to the caller.
bool ends_number(char character) {
  return static_cast<signed char>(character) <= ' ';
}

/// Reads an exponent and adds it to `exponent`; null when there is none, or an extreme one.
const char* read_exponent(const char* text, int& exponent) {
  if (*text != 'e' && *text != 'E') return nullptr;
  ++text;
  const bool negative = *text == '-';
  if (negative || *text == '+') ++text;
  int number = 0;
  const char* at = text;
  for (; *at >= '0' && *at <= '9' && at - text < 4; ++at) number = 10 * number + (*at - '0');
  exponent += negative ? -number : number;
  return at != text && ends_number(*at) ? at : nullptr;
}

/// Reads a number in decimal notation with a point, with blanks before it. Returns where it ends,
/// or null when it needs more care.
const char* read_decimal(const char* text, double& number) {
  std::uint64_t eight = load_eight(text);
  Beginning first{};
  for (bool again = false; (first = beginning(eight)).point == 0; again = true) {
    // Many blanks, or tabs: the last of them and what follows is looked at again.
    const char* const next = after_blanks(text);
    if (again || next == text) return nullptr;
    text = next - 1;
    eight = (load_eight(text) & ~std::uint64_t{0xFF}) | ' ';
  }
  const char* const fraction = text + first.point + 1;
  const char* at = fraction;
  std::uint64_t digits = first.digits;
  for (;;) {
    const std::uint64_t next = load_eight(at) ^ EACH_BYTE * '0';
    const std::uint64_t others = other_than_digits(next);
    if (others == 0) {
      digits = digits * POWERS[8] + joined(next);
      at += 8;
      // Eight decimals are the most common: then nothing waits for the count of digits.
      if (ends_number(*at)) break;
      continue;
    }
    if (const std::size_t count = first_marked(others); count > 0) {
      digits = digits * POWERS[count] + joined(next, count);
      at += count;
    }
    break;
  }
  const std::size_t before_point = first.digits == 0 ? 0 : first.digit_bits / 8;
  const auto decimals = static_cast<std::size_t>(at - fraction);
  if (before_point + decimals > MAX_DIGITS) return nullptr;
  double value = 0.0;
  if (ends_number(*at)) {
    value = quotient(digits, decimals);
  } else {
    int exponent = -static_cast<int>(decimals);
    at = read_exponent(at, exponent);
    const std::optional<double> product = at == nullptr ? std::nullopt : scaled(digits, exponent);
    if (!product) return nullptr;
    value = *product;
  }
  number = std::bit_cast<double>(std::bit_cast<std::uint64_t>(value) | first.sign);
  return at;
}

/// Reads any number in ASCII with blanks before it.
const char* read_number(const char* text, double& number) {
  const char* const start = after_blanks(text);
  const char* end = start;
  while (!ends_number(*end)) ++end;
  if (start == text) return nullptr;
  const std::optional<double> value = float_value({start, static_cast<std::size_t>(end - start)});
  if (!value) return nullptr;
  number = *value;
  return end;
}

}  // namespace

const char* read_decimals(const char* text, std::array<double, 3>& numbers) {
  for (double& number : numbers) {
    const char* const end = read_decimal(text, number);
    text = end != nullptr ? end : read_number(text, number);
    if (text == nullptr) break;
  }
  return text;
}

}  // namespace structure_ingest::internal

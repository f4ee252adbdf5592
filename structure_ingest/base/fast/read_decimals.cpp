#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <system_error>

#include "structure_ingest/base/fast/decimals.hpp"
#include "structure_ingest/base/fast/plain_text.hpp"
#include "structure_ingest/base/fast/wide_integers.hpp"

// A decimal without an exponent is the integer of all its digits divided by a power of ten. The
// digits after the point, typically eight or more, are converted eight at a time; those before it,
// typically one or two, one by one. Up to 2^53 both integers are exact doubles, and IEEE 754 rounds
// their quotient correctly. Above that, divide 128-bit integers and round once. Longer numbers, and
// those with an exponent, go to std::from_chars.
namespace structure_ingest::internal {
namespace {

constexpr std::size_t MAX_DIGITS = POWERS_OF_TEN.size() - 1;

/// Every integer up to this one is an exact double.
constexpr std::uint64_t EXACT_DIGITS = std::uint64_t{1} << 53;

/// Sets the highest bit of each byte that is not a digit value 0 to 9.
std::uint64_t mark_non_digits(std::uint64_t digits) {
  return (((digits & ~EACH_HIGH_BIT) + EACH_BYTE * (0x80 - 10)) | digits) & EACH_HIGH_BIT;
}

/// Combines eight digits into one number: adjacent digits into pairs, pairs into fours, fours into
/// eight.
std::uint64_t number_of_eight_digits(std::uint64_t digits) {
  const std::uint64_t twos = digits * 10 + (digits >> 8);
  constexpr std::uint64_t two_of_four = 0x000000FF000000FF;
  const std::uint64_t odd = (twos & two_of_four) * (100 + (std::uint64_t{1000000} << 32));
  const std::uint64_t even = (twos >> 16 & two_of_four) * (1 + (std::uint64_t{10000} << 32));
  return (odd + even) >> 32;
}

std::uint64_t power_of_ten(std::size_t exponent) {
  return static_cast<std::uint64_t>(POWERS_OF_TEN[exponent]);
}

/// digits / 10^decimals for digits above 2^53, correctly rounded.
///
/// Shift both up to 64 bits, so that the quotient has 62 or 63 bits. Set its lowest bit when the
/// division leaves a remainder: that bit lies at least nine bits below the 53 that a double keeps,
/// so it only distinguishes a number just above a half from the half itself. The conversion to
/// double then rounds the exact quotient once, and the scaling by a power of two is exact.
double long_quotient(std::uint64_t digits, std::size_t decimals) {
  const int digits_shift = std::countl_zero(digits);
  const int power_shift = std::countl_zero(power_of_ten(decimals));
  const Uint128 dividend = Uint128{digits << digits_shift} << 62;
  const std::uint64_t divisor = power_of_ten(decimals) << power_shift;
  auto quotient = static_cast<std::uint64_t>(dividend / divisor);
  const bool is_exact = Uint128{quotient} * divisor == dividend;
  quotient |= is_exact ? 0 : 1;
  const int biased_exponent = 1023 - 62 - digits_shift + power_shift;
  const auto exponent_bits = static_cast<std::uint64_t>(biased_exponent) << 52;
  return static_cast<double>(static_cast<std::int64_t>(quotient)) *
         std::bit_cast<double>(exponent_bits);
}

double quotient(std::uint64_t digits, std::size_t decimals) {
  if (digits > EXACT_DIGITS) return long_quotient(digits, decimals);
  return static_cast<double>(static_cast<std::int64_t>(digits)) /
         static_cast<double>(POWERS_OF_TEN[decimals]);
}

/// Whether a number may end before this character.
bool ends_number(char character) {
  return static_cast<signed char>(character) <= ' ';
}

bool is_decimal(char character) {
  return character >= '0' && character <= '9';
}

/// Appends the digits at `at` to `digits` and returns where they end. With too many of them
/// `digits` overflows; the caller counts them and discards the result.
const char* read_digits(const char* at, std::uint64_t& digits) {
  for (;;) {
    const std::uint64_t next = load_eight(at) ^ EACH_BYTE * '0';
    const std::uint64_t others = mark_non_digits(next);
    if (others != 0) {
      const std::size_t count = first_marked(others);
      if (count == 0) return at;
      // Shift the other characters out; zeros come in before the digits.
      digits = digits * power_of_ten(count) + number_of_eight_digits(next << (64 - 8 * count));
      return at + count;
    }
    digits = digits * power_of_ten(8) + number_of_eight_digits(next);
    at += 8;
    // Eight decimals are the most common count. Return here, so that the result does not wait for
    // the count of digits in a next block.
    if (ends_number(*at)) return at;
  }
}

/// Reads a number of up to MAX_DIGITS digits with a point and without an exponent; null for any
/// other number.
const char* read_plain(const char* text, double& number) {
  // Signs are unpredictable: do not branch on them.
  const auto negative = static_cast<std::uint64_t>(*text == '-');
  const char* const first = text + negative;
  const char* at = first;
  std::uint64_t digits = 0;
  for (; is_decimal(*at); ++at) digits = 10 * digits + static_cast<std::uint64_t>(*at - '0');
  if (*at != '.') return nullptr;
  const char* const fraction = ++at;
  at = read_digits(at, digits);
  const auto count = static_cast<std::size_t>(at - first) - 1;
  if (count == 0 || count > MAX_DIGITS || !ends_number(*at)) return nullptr;
  const double value = quotient(digits, static_cast<std::size_t>(at - fraction));
  number = std::bit_cast<double>(std::bit_cast<std::uint64_t>(value) | negative << 63);
  return at;
}

/// Reads any number in ASCII decimal notation.
const char* read_any(const char* text, double& number) {
  const char* end = text;
  while (!ends_number(*end)) ++end;
  // from_chars rejects a plus sign, and accepts infinities and NaNs, which are left to the caller.
  const char* const first = text + (*text == '-' || *text == '+' ? 1 : 0);
  if (!is_decimal(*first) && *first != '.') return nullptr;
  const auto [stop, error] = std::from_chars(*text == '+' ? first : text, end, number);
  return stop == end && error == std::errc() ? end : nullptr;
}

}  // namespace

const char* read_decimals(const char* text, std::array<double, 3>& numbers) {
  for (double& number : numbers) {
    if (*text != ' ' && *text != '\t') return nullptr;
    ++text;
    // Columns padded with blanks have an unpredictable number of them.
    if (*text == ' ') text += first_marked(load_eight(text) ^ EACH_BYTE * ' ');
    while (*text == ' ' || *text == '\t') ++text;
    const char* const end = read_plain(text, number);
    text = end != nullptr ? end : read_any(text, number);
    if (text == nullptr) return nullptr;
  }
  return text;
}

}  // namespace structure_ingest::internal

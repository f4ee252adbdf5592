#include "structure_ingest/base/fast/write_decimals.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>

#include "structure_ingest/base/fast/eight_bytes.hpp"
#include "structure_ingest/base/fast/wide_integers.hpp"

// Both forms are written from the value in units of the tenth decimal, an integer: its part above
// the point and its ten decimals become digits eight at a time. For ten decimals, 128-bit integers
// give that integer, rounded from the exact value. For the shortest text, the integer is a guess:
// if dividing it by 10^10 gives the value back, its digits without the trailing zeros are the
// shortest text. All other numbers go to std::to_chars.
namespace structure_ingest::internal {
namespace {

constexpr std::uint64_t UNIT = static_cast<std::uint64_t>(POWERS_OF_TEN[10]);

/// |value| in units of the tenth decimal, rounded from the exact value with halves to even; nothing
/// from 1e8 on, where it no longer fits.
///
/// A double is a mantissa below 2^53 over a power of two. The mantissa times 10^10 is below 2^87,
/// an exact integer of 128 bits. Below 1e8 the power is above 2^0, so that only a right shift and
/// its rounding remain.
std::optional<std::uint64_t> tenth_decimals(double value) {
  const double magnitude = std::abs(value);
  if (!(magnitude < 1e8)) return std::nullopt;
  const auto bits = std::bit_cast<std::uint64_t>(magnitude);
  const int biased_exponent = static_cast<int>(bits >> 52);
  const int shift = 1075 - biased_exponent;
  if (shift > 88) return 0;  // less than a quarter of a unit; so are all without the hidden bit
  constexpr std::uint64_t hidden_bit = std::uint64_t{1} << 52;
  const std::uint64_t mantissa = (bits & (hidden_bit - 1)) | hidden_bit;
  const Uint128 scaled = Uint128{mantissa} * UNIT;
  const auto units = static_cast<std::uint64_t>(scaled >> shift);
  const Uint128 cut_off = scaled & ((Uint128{1} << shift) - 1);
  const Uint128 half = Uint128{1} << (shift - 1);
  const bool up = cut_off > half || (cut_off == half && units % 2 == 1);
  return units + (up ? 1 : 0);
}

/// The eight decimal digits of a number below 10^8 as bytes, the first in the lowest byte: split
/// into halves, quarters and digits, in all lanes at once. Multiplying by the factors and shifting
/// divides by 100 and by 10, exactly for all numbers below 10000 and 100.
std::uint64_t eight_digits(std::uint64_t number) {
  const std::uint64_t halves = number / 10000 | (number % 10000) << 32;
  const std::uint64_t hundreds = (halves * 10486 >> 20) & 0x0000007F0000007F;
  const std::uint64_t quarters = hundreds | (halves - 100 * hundreds) << 16;
  const std::uint64_t tens = (quarters * 103 >> 10) & 0x000F000F000F000F;
  return tens | (quarters - 10 * tens) << 8;
}

/// Writes a number given in units of the tenth decimal, below 10^8 after scaling, and returns the
/// end of its ten decimals. May write up to eight bytes more.
char* write_units(char* out, bool negative, std::uint64_t units) {
  *out = '-';
  out += negative ? 1 : 0;
  const std::uint64_t digits = eight_digits(units / UNIT);
  const std::size_t leading_zeros = std::min<std::size_t>(first_marked(digits), 7);
  store_eight(out, (digits | EACH_BYTE * '0') >> 8 * leading_zeros);
  out += 8 - leading_zeros;
  *out++ = '.';
  const std::uint64_t decimals = units % UNIT;
  store_eight(out, eight_digits(decimals / 100) | EACH_BYTE * '0');
  out[8] = static_cast<char>('0' + decimals / 10 % 10);
  out[9] = static_cast<char>('0' + decimals % 10);
  return out + 10;
}

/// Returns the end of ten decimals without their trailing zeros; keeps one digit after the point.
char* without_zeros(char* end) {
  if (end[-1] != '0') return end;
  if (end[-2] != '0') return end - 1;
  const std::uint64_t first_eight = load_eight(end - 10) ^ EACH_BYTE * '0';
  const auto zeros = static_cast<std::size_t>(std::countl_zero(first_eight)) / 8;
  return end - 2 - std::min<std::size_t>(zeros, 7);
}

char* write_ten_decimals(char* out, double value) {
  if (const std::optional<std::uint64_t> units = tenth_decimals(value)) {
    return write_units(out, std::signbit(value), *units);
  }
  if (std::isnan(value)) return std::copy_n("nan", 3, out);
  return std::to_chars(out, out + NUMBER_ROOM, value, std::chars_format::fixed, 10).ptr;
}

}  // namespace

char* write_shortest(char* out, double value) {
  const double magnitude = std::abs(value);
  // Doubles distinguish all decimals of 15 digits, so that a decimal this short that reads back as
  // the value is the only one. Most numbers in files have at most ten decimals. The product below
  // may be slightly off; the division, which is how the text is read back, decides.
  if (magnitude < 1e5) {
    const double nearest = magnitude * 1e10 + 0.5;
    const auto units = static_cast<std::int64_t>(nearest);
    if (static_cast<double>(units) / 1e10 == magnitude) {
      return without_zeros(
          write_units(out, std::signbit(value), static_cast<std::uint64_t>(units)));
    }
  }
  // From the tenth decimal, the last one that canonical copies hold, up to the largest integers
  // that a double holds exactly.
  const bool ordinary = value == 0.0 || (magnitude >= 1e-10 && magnitude < 1e16);
  char* const end =
      std::to_chars(out, out + NUMBER_ROOM, value,
                    ordinary ? std::chars_format::fixed : std::chars_format::scientific)
          .ptr;
  return ordinary && std::find(out, end, '.') == end ? std::copy_n(".0", 2, end) : end;
}

void append_ten_decimals(std::string& out, double value) {
  std::array<char, NUMBER_ROOM> room;
  out.append(room.data(), write_ten_decimals(room.data(), value));
}

void append_shortest(std::string& out, double value) {
  std::array<char, NUMBER_ROOM> room;
  out.append(room.data(), write_shortest(room.data(), value));
}

}  // namespace structure_ingest::internal

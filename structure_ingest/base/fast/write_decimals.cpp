#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "structure_ingest/base/fast/decimals.hpp"
#include "structure_ingest/base/fast/plain_text.hpp"
#include "structure_ingest/base/fast/wide_integers.hpp"

// Both forms are written from the value in units of the tenth decimal, an integer: its part above
// the point comes from a table, and eight of its decimals become digits at once. For ten decimals,
// 128-bit integers give that integer, rounded from the exact value. For the shortest text, the
// integer is a guess: if dividing it by 10^10 gives the value back, its digits without the trailing
// zeros are the shortest text. All other numbers go to std::to_chars. Signs, roundings and counts
// of digits are unpredictable: do not branch on them.
namespace structure_ingest::internal {
namespace {

constexpr std::uint64_t UNIT = static_cast<std::uint64_t>(POWERS_OF_TEN[10]);

/// Below this, |value| in units of the tenth decimal fits a 64-bit integer.
constexpr double MOST_IN_UNITS = 1e8;

/// |value| below MOST_IN_UNITS in units of the tenth decimal, rounded from the exact value with
/// halves to even.
///
/// A double is a mantissa below 2^53 over a power of two. The mantissa times 10^10 is below 2^87,
/// an exact integer of 128 bits. Below 1e8 the power is above 2^0, so that only a right shift and
/// its rounding remain: up when the first bit that is cut off is set, and with it another one that
/// is cut off or the last one that is kept.
std::uint64_t tenth_decimals(double value) {
  const std::uint64_t bits = std::bit_cast<std::uint64_t>(value) << 1 >> 1;
  constexpr std::uint64_t hidden_bit = std::uint64_t{1} << 52;
  // Numbers without the hidden bit, zero among them, are cut off whole, with it or without it.
  const std::uint64_t mantissa = (bits & (hidden_bit - 1)) | hidden_bit;
  const int shift = std::min(1075 - static_cast<int>(bits >> 52), 100);
  const auto twice = static_cast<std::uint64_t>(Uint128{mantissa} * UNIT >> (shift - 1));
  // 10^10 is 5^10 * 2^10: the product ends in ten zero bits more than the mantissa.
  const bool more_is_cut_off = std::countr_zero(mantissa) + 10 < shift - 1;
  const std::uint64_t units = twice >> 1;
  return units + (twice & (units | (more_is_cut_off ? 1U : 0U)) & 1);
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

/// The text of the integers below 1000 without leading zeros, and the length of each.
struct SmallInteger {
  std::array<char, 3> text{};
  unsigned char length = 0;
};
constexpr std::array<SmallInteger, 1000> SMALL_INTEGERS = [] {
  std::array<SmallInteger, 1000> all{};
  for (std::size_t i = 0; i < all.size(); ++i) {
    for (const std::size_t power : {std::size_t{100}, std::size_t{10}, std::size_t{1}}) {
      if (i < power && power > 1) continue;
      all[i].text[all[i].length++] = static_cast<char>('0' + i / power % 10);
    }
  }
  return all;
}();

/// The ten decimals of a number in units of the tenth decimal, written at `out`; returns the first
/// eight as bytes. May write up to eight bytes more.
std::uint64_t write_decimals(char* out, std::uint64_t units) {
  const std::uint64_t digits = eight_digits(units / 100);
  const std::uint64_t last = units % 100;
  store_eight(out, digits | EACH_BYTE * '0');
  out[8] = static_cast<char>('0' + last / 10);
  out[9] = static_cast<char>('0' + last % 10);
  return digits;
}

/// Writes the sign, the part above the point and the point of a number given in units of the tenth
/// decimal, below 10^8 after scaling. May write up to eight bytes more.
char* write_integer(char* out, bool negative, std::uint64_t units) {
  *out = '-';
  out += negative ? 1 : 0;
  const std::uint64_t integer = units / UNIT;
  if (integer < SMALL_INTEGERS.size()) {
    const SmallInteger& small = SMALL_INTEGERS[integer];
    std::memcpy(out, small.text.data(), small.text.size());
    out += small.length;
  } else {
    const std::uint64_t digits = eight_digits(integer);
    const std::size_t leading_zeros = first_marked(digits);
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): not all digits are zero.
    store_eight(out, (digits | EACH_BYTE * '0') >> 8 * leading_zeros);
    out += 8 - leading_zeros;
  }
  *out = '.';
  return out + 1;
}

}  // namespace

char* write_ten_decimals(char* out, double value) {
  if (std::abs(value) < MOST_IN_UNITS) {
    const std::uint64_t units = tenth_decimals(value);
    out = write_integer(out, std::signbit(value), units);
    write_decimals(out, units % UNIT);
    return out + 10;
  }
  if (std::isnan(value)) return std::copy_n("nan", 3, out);
  return std::to_chars(out, out + NUMBER_ROOM, value, std::chars_format::fixed, 10).ptr;
}

char* write_shortest(char* out, double value) {
  const double magnitude = std::abs(value);
  // Doubles distinguish all decimals of 15 digits, so that a decimal this short that reads back as
  // the value is the only one. Most numbers in files have at most ten decimals. The product below
  // may be slightly off; the division, which is how the text is read back, decides.
  if (magnitude < 1e5) {
    const double nearest = magnitude * 1e10 + 0.5;
    const auto units = static_cast<std::int64_t>(nearest);
    if (static_cast<double>(units) / 1e10 == magnitude) {
      out = write_integer(out, std::signbit(value), static_cast<std::uint64_t>(units));
      const std::uint64_t decimals = static_cast<std::uint64_t>(units) % UNIT;
      const std::uint64_t first_eight = write_decimals(out, decimals);
      // Leave out the trailing zeros, but keep one digit after the point.
      if (decimals % 100 != 0) return out + (decimals % 10 != 0 ? 10 : 9);
      const auto zeros = static_cast<std::size_t>(std::countl_zero(first_eight)) / 8;
      return out + 8 - std::min<std::size_t>(zeros, 7);
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

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

#include "structure_ingest/base/eight_bytes.hpp"
#include "structure_ingest/base/number.hpp"

namespace structure_ingest::internal {
namespace {

__extension__ using Uint128 = unsigned __int128;

/// A positive double as mantissa / 2^shift: exact, the mantissa being below 2^53.
struct Fraction {
  std::uint64_t mantissa;
  int shift;
};

Fraction fraction_of(double magnitude) {
  const auto bits = std::bit_cast<std::uint64_t>(magnitude);
  const auto biased = static_cast<int>(bits >> 52);
  const std::uint64_t hidden = biased == 0 ? 0 : std::uint64_t{1} << 52;
  return {(bits & ((std::uint64_t{1} << 52) - 1)) | hidden, 1075 - std::max(biased, 1)};
}

constexpr std::uint64_t UNIT = 10'000'000'000;  // in units of the tenth decimal

/// |value| in units of the tenth decimal, rounded from the exact value with halves to even; nothing
/// from 1e8 on, where it would no longer fit.
///
/// A mantissa below 2^53 times 10^10 is below 2^87: an exact integer of 128 bits. Below 1e8 there
/// is a shift, and what remains is that shift and the rounding of what it cuts off.
std::optional<std::uint64_t> tenth_decimals(double value) {
  const double magnitude = std::abs(value);
  if (!(magnitude < 1e8)) return std::nullopt;
  const auto [mantissa, shift] = fraction_of(magnitude);
  if (shift > 88) return 0;  // less than a quarter of a unit
  const Uint128 scaled = Uint128{mantissa} * UNIT;
  const auto units = static_cast<std::uint64_t>(scaled >> shift);
  const Uint128 cut_off = scaled & ((Uint128{1} << shift) - 1);
  const Uint128 half = Uint128{1} << (shift - 1);
  const bool up = cut_off > half || (cut_off == half && units % 2 == 1);
  return units + (up ? 1 : 0);
}

/// The eight decimal digits of a number below 10^8 as bytes, the first in the lowest byte: split
/// into halves, quarters and digits, in all lanes at once. The factors stand for divisions by 100
/// and by 10 and give their exact quotients for all numbers below 10000 and 100.
std::uint64_t eight_digits(std::uint64_t number) {
  const std::uint64_t halves = number / 10000 | (number % 10000) << 32;
  const std::uint64_t hundreds = (halves * 10486 >> 20) & 0x0000007F0000007F;
  const std::uint64_t quarters = hundreds | (halves - 100 * hundreds) << 16;
  const std::uint64_t tens = (quarters * 103 >> 10) & 0x000F000F000F000F;
  return tens | (quarters - 10 * tens) << 8;
}

/// Writes an integer below 10^8 and returns its end; eight bytes are written whatever its length.
char* write_integer(char* out, std::uint64_t number) {
  const std::uint64_t digits = eight_digits(number);
  const std::size_t leading_zeros = std::min<std::size_t>(first_marked(digits), 7);
  store_eight(out, (digits | EACH_BYTE * '0') >> 8 * leading_zeros);
  return out + 8 - leading_zeros;
}

constexpr std::array<std::uint64_t, 20> POWERS = [] {
  std::array<std::uint64_t, 20> powers{};
  powers[0] = 1;
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = 10 * powers[i - 1];
  return powers;
}();

/// A decimal: digits / 10^places.
struct Digits {
  std::uint64_t digits;
  std::size_t places;
};

/// The multiple of `step` that is nearest to scaled / 2^shift, and how far it is away in units of
/// 2^-shift.
struct Nearest {
  std::uint64_t digits;
  Uint128 distance;
};

Nearest nearest_multiple(Uint128 scaled, int shift, std::uint64_t step) {
  const auto floor = static_cast<std::uint64_t>(scaled >> shift);
  const std::uint64_t down = floor - floor % step;
  const Uint128 above_down = scaled - (Uint128{down} << shift);
  const Uint128 below_up = (Uint128{step} << shift) - above_down;
  const bool up = below_up < above_down;  // as good as random: no branch is to depend on it
  return {down + step * static_cast<std::uint64_t>(up), up ? below_up : above_down};
}

/// The shortest decimal that reads back as a double from 1e-3 to 1e8, with as many places as make
/// it 17 digits, so that it may end in zeros; nothing for some doubles that are rare.
///
/// The double is scaled, so that its first 17 digits stand before the point: exactly, with 128
/// bits. Half the distance to the next double is half a unit of the mantissa, which scales to half
/// the power of ten: a decimal reads back if it is nearer than that. So the nearest of 15 digits is
/// taken, or that of 16, or that of 17, which always is near enough. Left out are powers of two,
/// with doubles twice as near below them, and what lies just half-way between decimals or doubles.
std::optional<Digits> shortest_decimal(double magnitude) {
  if (!(magnitude >= 1e-3 && magnitude < 1e8)) return std::nullopt;
  const auto [mantissa, shift] = fraction_of(magnitude);
  if (mantissa == std::uint64_t{1} << 52) return std::nullopt;
  // Its power of ten, from its power of two: 1233 / 4096 is the logarithm of 2.
  constexpr std::array<double, 13> powers = {1e-4, 1e-3, 1e-2, 1e-1, 1e0, 1e1, 1e2,
                                             1e3,  1e4,  1e5,  1e6,  1e7, 1e8};
  const int guessed = ((52 - shift) * 1233 >> 12) + 5;
  const auto guess = static_cast<std::size_t>(guessed);
  const std::size_t power = guess - 1 + static_cast<std::size_t>(magnitude >= powers[guess]);
  const std::size_t places = 20 - power;
  const Uint128 scaled = Uint128{mantissa} * POWERS[places];
  const Uint128 near = POWERS[places] / 2;
  const Nearest shorter = nearest_multiple(scaled, shift, 100);
  if (shorter.distance < near) return Digits{shorter.digits, places};
  const Nearest sixteen = nearest_multiple(scaled, shift, 10);
  const Nearest seventeen = nearest_multiple(scaled, shift, 1);
  const Uint128 unit = Uint128{1} << shift;
  if (shorter.distance == near || sixteen.distance == near || sixteen.distance == 5 * unit ||
      2 * seventeen.distance == unit) {
    return std::nullopt;
  }
  return Digits{sixteen.distance < near ? sixteen.digits : seventeen.digits, places};
}

/// Writes a decimal with 9 to 19 places, of which the integer is given, without the zeros at its
/// end.
char* write_decimal(char* out, const Digits& decimal, std::uint64_t integer) {
  out = write_integer(out, integer);
  *out++ = '.';
  const std::uint64_t fraction = decimal.digits - integer * POWERS[decimal.places];
  const auto write_first = [&out](std::uint64_t number, std::size_t count) {
    store_eight(out, (eight_digits(number) | EACH_BYTE * '0') >> (64 - 8 * count));
    out += count;
  };
  if (decimal.places > 16) write_first(fraction / POWERS[16], decimal.places - 16);
  write_first(fraction / POWERS[8] % POWERS[8], std::min<std::size_t>(decimal.places - 8, 8));
  const std::uint64_t last = eight_digits(fraction % POWERS[8]);
  store_eight(out, last | EACH_BYTE * '0');
  out += 8 - static_cast<std::size_t>(std::countl_zero(last)) / 8;
  while (out[-1] == '0' && out[-2] != '.') --out;
  return out;
}

char* write_ten_decimals(char* out, double value) {
  const std::optional<std::uint64_t> units = tenth_decimals(value);
  if (!units) {
    if (std::isnan(value)) return std::copy_n("nan", 3, out);
    return std::to_chars(out, out + NUMBER_ROOM, value, std::chars_format::fixed, 10).ptr;
  }
  *out = '-';
  out = write_integer(out + (std::signbit(value) ? 1 : 0), *units / UNIT);
  *out++ = '.';
  const std::uint64_t decimals = *units % UNIT;
  store_eight(out, eight_digits(decimals / 100) | EACH_BYTE * '0');
  out[8] = static_cast<char>('0' + decimals / 10 % 10);
  out[9] = static_cast<char>('0' + decimals % 10);
  return out + 10;
}

}  // namespace

char* write_shortest(char* out, double value) {
  const double magnitude = std::abs(value);
  // A decimal of up to 15 digits that reads back as the value is the only one so short that does:
  // doubles keep 15 digits apart. Numbers from files mostly are such, with at most ten decimals.
  // The product may be off by a little; the division, which is how the text is read, decides.
  if (magnitude < 1e5) {
    const double nearest = magnitude * 1e10 + 0.5;
    const auto units = static_cast<std::int64_t>(nearest);
    if (static_cast<double>(units) / 1e10 == magnitude) {
      *out = '-';
      out = write_integer(out + (std::signbit(value) ? 1 : 0),
                          static_cast<std::uint64_t>(units) / UNIT);
      *out++ = '.';
      const std::uint64_t decimals = static_cast<std::uint64_t>(units) % UNIT;
      const std::uint64_t eight = eight_digits(decimals / 100);
      store_eight(out, eight | EACH_BYTE * '0');
      const std::uint64_t last_two = decimals % 100;
      if (last_two == 0) {
        // At least one decimal stays.
        const auto trailing_zeros = static_cast<std::size_t>(std::countl_zero(eight)) / 8;
        return out + 8 - std::min<std::size_t>(trailing_zeros, 7);
      }
      out[8] = static_cast<char>('0' + last_two / 10);
      out[9] = static_cast<char>('0' + last_two % 10);
      return out + (last_two % 10 == 0 ? 9 : 10);
    }
  }
  if (const std::optional<Digits> decimal = shortest_decimal(magnitude)) {
    *out = '-';
    // No decimal beyond the next integer, which is a double itself, reads back as this one.
    return write_decimal(out + (std::signbit(value) ? 1 : 0), *decimal,
                         static_cast<std::uint64_t>(magnitude));
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

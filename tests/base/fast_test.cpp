// The fast functions against slow ones that follow the definition.
#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <random>

#include "structure_ingest/base/fast/decimals.hpp"
#include "structure_ingest/base/fast/plain_text.hpp"
#include "structure_ingest/base/numbers.hpp"

namespace structure_ingest::internal {
namespace {

/// The same function, one character at a time.
std::size_t slow_end(const std::string& text) {
  std::size_t at = 0;
  while (text[at] == '\t' || (text[at] >= ' ' && static_cast<unsigned char>(text[at]) < 0x80)) ++at;
  return at;
}

TEST(PlainText, AgreesWithTheSlowFunction) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 200000; ++i) {
    std::string text(random() % 40, 'x');
    for (char& character : text) {
      if (random() % 8 == 0) character = "\t\x1F \x7F~\r\xFF\x80"[random() % 8];
    }
    text += '\n' + std::string(LOOK_AHEAD, "\0\xFF x"[random() % 4]);
    ASSERT_EQ(static_cast<std::size_t>(end_of_plain_text(text.data()) - text.data()),
              slow_end(text))
        << testing::PrintToString(text);
  }
}

/// Three numbers and where they end, if they can be read.
struct Read {
  std::array<double, 3> numbers{};
  std::ptrdiff_t end = -1;
};

Read read(const std::string& text) {
  const std::string padded = text + std::string(LOOK_AHEAD, '\0');
  Read read;
  const char* const end = read_decimals(padded.data(), read.numbers);
  if (end != nullptr) read.end = end - padded.data();
  return read;
}

/// The result of std::from_chars, which takes no plus sign.
double library_value(const std::string& text) {
  const std::size_t sign = text[0] == '+' ? 1 : 0;
  double value = 0.0;
  std::from_chars(text.data() + sign, text.data() + text.size(), value);
  return value;
}

TEST(ReadDecimals, ReadsThreeNumbersWithBlanksBeforeThem) {
  const std::tuple<std::string, std::array<double, 3>, std::ptrdiff_t> cases[] = {
      {" 1.5 -2.25 +3.125\n", {1.5, -2.25, 3.125}, 17},
      {"\t1.0 \t  2.0\t\t3.0\tx", {1, 2, 3}, 16},
      {"                    1.5             -2.25           0.125 0.5", {1.5, -2.25, 0.125}, 57},
      {" 1. 22.e1 333.E-02", {1, 220, 3.33}, 18},
      {" 007.5 -0.0 000000.5\n", {7.5, -0.0, 0.5}, 20},
      {" 1 .5 10e-1\n", {1, 0.5, 1}, 11},
      {" .1234567890123456789 1 1\n", {.1234567890123456789, 1, 1}, 25},
      {" -.5 +5 -5e+0\n", {-0.5, 5, -5}, 13},
      {" 1234567.5 -12345678901234567890.5 0.00000000000000000000015\n",
       {1234567.5, -12345678901234567890.5, 1.5e-22},
       60},
      {" 1.5e22 1.5e23 1.5e0000001", {1.5e22, 1.5e23, 15}, 26}};
  for (const auto& [text, numbers, end] : cases) {
    const auto [read_numbers, read_end] = read(text);
    EXPECT_EQ(read_end, end) << text;
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(std::bit_cast<std::uint64_t>(read_numbers[i]),
                std::bit_cast<std::uint64_t>(numbers[i]))
          << text;
    }
  }
  std::vector<std::string> refused = {"1.0 2.0 3.0",      " 1.0 2.0",       " 1.0 2.0 ",
                                      " 1.0 2.0 3.0.0 ",  " 1.0 2.0 3.0x ", " 1.0\n2.0 3.0 ",
                                      " 1.0 -2.0-3.0 4.0"};
  for (const std::string second :
       {"2,0",   "- 2.0",  "--2.0",   ".",      "-.",    "+-2.0",     "-+2.0",       "2.0e",
        "2.0e+", "2.0ee1", "2.0e1.0", "12:5.0", "/2.0",  "2\xB1.0",   "2.0\xC2\xA0", "2.1234567:",
        "2.1/",  "1_0",    "inf",     "nan(1)", "1e999", "1.5e-9999", "0x1p3"}) {
    refused.push_back(" 1.0 " + second + " 3.0 ");
  }
  for (const std::string& text : refused) EXPECT_EQ(read(text).end, -1) << text;
}

// Compares with the library's exact conversion: decimals as in files, all lengths of digits and
// exponents, and numbers half-way between two doubles and next to that.
TEST(ReadDecimals, AgreesWithTheLibrary) {
  std::mt19937_64 random(1);
  const auto below = [&random](std::uint64_t bound) { return random() % bound; };
  const auto printed = [](const char* format, double value) {
    char text[64];
    return std::string(text,
                       static_cast<std::size_t>(std::snprintf(text, sizeof text, format, value)));
  };
  const auto digits = [&](std::uint64_t count) {
    std::string text;
    for (; count > 0; --count) text += static_cast<char>('0' + below(10));
    return text;
  };
  const auto random_text = [&]() -> std::string {
    const double value =
        (static_cast<double>(below(std::uint64_t{1} << 53)) / 9007199254740992.0 - 0.5) *
        std::pow(10.0, static_cast<double>(below(6)));
    switch (below(8)) {
      case 0:
        return printed("%.8f", value);
      case 1:
        return printed("%.10f", value);
      case 2:
        return printed("%+.17g", value);
      case 3:
        return printed("%.16e", value * std::pow(10.0, static_cast<double>(below(40)) - 20.0));
      case 4:
        return digits(1 + below(6)) + '.' + digits(below(19));
      case 5:
        return "-0." + std::string(below(8), '0') + digits(1 + below(17));
      case 6:
        return digits(1 + below(2)) + '.' + digits(below(18)) + 'e' +
               std::to_string(static_cast<int>(below(60)) - 30);
      default: {
        // An odd number of 54 bits over a small power of two.
        const std::uint64_t odd = (std::uint64_t{1} << 53 | below(std::uint64_t{1} << 53)) | 1;
        const std::uint64_t places = below(4);
        std::uint64_t number = odd;
        for (std::uint64_t i = 0; i < places; ++i) number *= 5;
        std::string text = std::to_string(number + below(3) - 1);
        const std::size_t exponent = text.size() - 1 - places;
        return text.insert(1, ".") + 'e' + std::to_string(exponent);
      }
    }
  };
  for (int i = 0; i < 500000; ++i) {
    const std::array<std::string, 3> texts = {random_text(), random_text(), random_text()};
    const std::string line = ' ' + texts[0] + "   " + texts[1] + ' ' + texts[2];
    const auto [numbers, end] = read(line);
    ASSERT_EQ(end, static_cast<std::ptrdiff_t>(line.size())) << line;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      ASSERT_EQ(std::bit_cast<std::uint64_t>(numbers[axis]),
                std::bit_cast<std::uint64_t>(library_value(texts[axis])))
          << texts[axis];
    }
  }
}

std::string ten_decimals(double value) {
  std::string out;
  append_ten_decimals(out, value);
  return out;
}

std::string shortest(double value) {
  std::string out;
  append_shortest(out, value);
  return out;
}

TEST(WriteDecimals, TenDecimals) {
  EXPECT_EQ(ten_decimals(2.715), "2.7150000000");
  EXPECT_EQ(ten_decimals(-1e-12), "-0.0000000000");
  EXPECT_EQ(ten_decimals(-0.0), "-0.0000000000");
  EXPECT_EQ(ten_decimals(5e-11), "0.0000000001");               // the double lies above the half
  EXPECT_EQ(ten_decimals(std::ldexp(1, -11)), "0.0004882812");  // ties go to the even digit
  EXPECT_EQ(ten_decimals(3 * std::ldexp(1, -11)), "0.0014648438");
  EXPECT_EQ(ten_decimals(1e20), "100000000000000000000.0000000000");
  EXPECT_EQ(ten_decimals(5e-324), "0.0000000000");
  EXPECT_EQ(ten_decimals(INFINITY), "inf");
  EXPECT_EQ(ten_decimals(-INFINITY), "-inf");
  EXPECT_EQ(ten_decimals(-NAN), "nan");
}

TEST(WriteDecimals, ShortestReadsAsInTheFile) {
  const std::pair<double, const char*> cases[] = {
      {53.44071748, "53.44071748"},
      {0.1173, "0.1173"},
      {10, "10.0"},
      {-0.0, "-0.0"},
      {0.00000001, "0.00000001"},
      {1e-11, "1e-11"},
      {1e15, "1000000000000000.0"},
      {1e16, "1e+16"},
      {1.7976931348623157e308, "1.7976931348623157e+308"},
      {5e-324, "5e-324"}};
  for (const auto& [value, text] : cases) {
    EXPECT_EQ(shortest(value), text);
  }
}

std::string significant_digits(std::string number) {
  number.resize(std::min(number.find('e'), number.size()));
  std::erase_if(number, [](char c) { return c < '0' || c > '9'; });
  number.erase(0, number.find_first_not_of('0'));
  number.erase(number.find_last_not_of('0') + 1);
  return number;
}

// Compares the fast functions with the exact conversions of the C and C++ libraries: raw bit
// patterns, all magnitudes, halves at the tenth decimal, and decimals as in files.
TEST(WriteDecimals, AgreesWithTheLibraries) {
  std::mt19937_64 random(1);
  const auto integer = [&random] {
    return static_cast<double>(static_cast<std::int64_t>(random()));
  };
  char expected[400];
  for (int i = 0; i < 400000; ++i) {
    const double candidates[] = {
        std::bit_cast<double>(random()),
        integer() * std::pow(2.0, static_cast<double>(random() % 90) - 100.0),
        // Multiples of 2^-11 end in 5 at the eleventh decimal.
        std::floor(integer() / 1e10) / 2048.0,
        std::floor(integer() / 1e6) / 1e10,
        std::floor(integer() / 1e10) / 1e8,
        integer() * std::pow(10.0, static_cast<double>(random() % 14) - 23.0),
        std::nextafter(std::pow(10.0, static_cast<double>(random() % 14) - 4.0),
                       static_cast<double>(random() % 2) * 1e12),
        std::ldexp(1.0, static_cast<int>(random() % 40) - 11),
    };
    const double value = candidates[i % 8];
    if (!std::isfinite(value)) continue;
    std::snprintf(expected, sizeof expected, "%.10f", value);
    ASSERT_EQ(ten_decimals(value), expected);
    ASSERT_EQ(float_value(expected), std::strtod(expected, nullptr)) << expected;
    const std::string text = shortest(value);
    ASSERT_EQ(float_value(text), value) << text;
    // As long as the library's text, with the same digits.
    const auto end =
        std::to_chars(expected, std::end(expected), value, std::chars_format::scientific);
    ASSERT_EQ(significant_digits(text), significant_digits(std::string(expected, end.ptr))) << text;
  }
}

}  // namespace
}  // namespace structure_ingest::internal

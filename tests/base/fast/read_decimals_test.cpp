#include "structure_ingest/base/fast/decimals.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <random>
#include <string>

#include "structure_ingest/base/fast/plain_text.hpp"

namespace structure_ingest::internal {
namespace {

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
  struct Case {
    std::string text;
    std::array<double, 3> numbers;
    std::ptrdiff_t end;
  };
  for (const auto& [text, numbers, end] :
       {Case{" 1.5 -2.25 +3.125\n", {1.5, -2.25, 3.125}, 17},
        Case{"\t1.0 \t  2.0\t\t3.0\tx", {1, 2, 3}, 16},
        Case{"                    1.5             -2.25           0.125 0.5",
             {1.5, -2.25, 0.125},
             57},
        Case{" 1. 22.e1 333.E-02", {1, 220, 3.33}, 18},
        Case{" 007.5 -0.0 000000.5\n", {7.5, -0.0, 0.5}, 20},
        Case{" 1 .5 10e-1\n", {1, 0.5, 1}, 11},
        Case{" .1234567890123456789 1 1\n", {.1234567890123456789, 1, 1}, 25},
        Case{" -.5 +5 -5e+0\n", {-0.5, 5, -5}, 13},
        Case{" 1234567.5 -12345678901234567890.5 0.00000000000000000000015\n",
             {1234567.5, -12345678901234567890.5, 1.5e-22},
             60},
        Case{" 1.5e22 1.5e23 1.5e0000001", {1.5e22, 1.5e23, 15}, 26}}) {
    const auto [read_numbers, read_end] = read(text);
    EXPECT_EQ(read_end, end) << text;
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(std::bit_cast<std::uint64_t>(read_numbers[i]),
                std::bit_cast<std::uint64_t>(numbers[i]))
          << text;
    }
  }
  for (const char* text : {"1.0 2.0 3.0",       " 1.0 2.0",
                           " 1.0 2.0 ",         " 1.0 -2.0-3.0 4.0",
                           " 1.0 2.0 3.0.0 ",   " 1.0 2.0 3.0x ",
                           " 1.0 2,0 3.0 ",     " 1.0 - 2.0 3.0 ",
                           " 1.0 --2.0 3.0 ",   " 1.0 . 3.0 ",
                           " 1.0 -. 3.0 ",      " 1.0 +-2.0 3.0 ",
                           " 1.0 2.0e 3.0 ",    " 1.0 2.0e+ 3.0 ",
                           " 1.0 2.0ee1 3.0 ",  " 1.0 2.0e1.0 3.0 ",
                           " 1.0 12:5.0 3.0 ",  " 1.0 /2.0 3.0 ",
                           " 1.0 2\xB1.0 3.0 ", " 1.0 2.0\xC2\xA0 3.0 ",
                           " 1.0\n2.0 3.0 ",    " 1.0 2.1234567: 3.0 ",
                           " 1.0 2.1/ 3.0 ",    " 1.0 1_0 3.0 ",
                           " 1.0 inf 3.0 ",     " 1.0 nan(1) 3.0 ",
                           " 1.0 1e999 3.0 ",   " 1.0 1.5e-9999 3.0 ",
                           " 1.0 -+2.0 3.0 ",   " 1.0 0x1p3 3.0 "}) {
    EXPECT_EQ(read(text).end, -1) << text;
  }
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

}  // namespace
}  // namespace structure_ingest::internal

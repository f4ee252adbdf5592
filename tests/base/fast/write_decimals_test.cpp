#include "structure_ingest/base/fast/decimals.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <random>

#include "structure_ingest/base/numbers.hpp"

namespace structure_ingest::internal {
namespace {

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
  struct Case {
    double value;
    const char* text;
  };
  for (const auto& [value, text] :
       {Case{53.44071748, "53.44071748"}, Case{0.1173, "0.1173"}, Case{10, "10.0"},
        Case{-0.0, "-0.0"}, Case{0.00000001, "0.00000001"}, Case{1e-11, "1e-11"},
        Case{1e15, "1000000000000000.0"}, Case{1e16, "1e+16"},
        Case{1.7976931348623157e308, "1.7976931348623157e+308"}, Case{5e-324, "5e-324"}}) {
    EXPECT_EQ(shortest(value), text);
  }
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
        std::floor(integer() / 1e10) /
            2048.0,  // multiples of 2^-11 end in 5 at the eleventh decimal
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
    std::string digits = text.substr(0, text.find('e'));
    std::erase_if(digits, [](char c) { return c < '0' || c > '9'; });
    digits.erase(0, digits.find_first_not_of('0'));
    digits.erase(digits.find_last_not_of('0') + 1);
    const auto end =
        std::to_chars(expected, std::end(expected), value, std::chars_format::scientific);
    std::string shortest_digits(expected, end.ptr);
    shortest_digits.erase(shortest_digits.find('e'));
    std::erase_if(shortest_digits, [](char c) { return c < '0' || c > '9'; });
    shortest_digits.erase(shortest_digits.find_last_not_of('0') + 1);
    ASSERT_EQ(digits, shortest_digits) << text;
  }
}

}  // namespace
}  // namespace structure_ingest::internal

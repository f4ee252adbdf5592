#include "structure_ingest/base/numbers.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

namespace structure_ingest::internal {
namespace {

TEST(Number, IntegerText) {
  const std::pair<const char*, const char*> cases[] = {
      {"3", "3"},
      {"+003", "3"},
      {"-2", "-2"},
      {"-0", "0"},
      {"000", "0"},
      {"1_000", "1000"},
      {"\u0661\u0662", "12"},
      {"99999999999999999999", "99999999999999999999"}};
  for (const auto& [token, number] : cases) {
    EXPECT_EQ(integer_text(token), number) << token;
  }
  for (const char* token : {"", "+", "-", "3.0", "1e3", "_1", "1_", "1__0", "+_1", "0x10", "1,000",
                            "\uFEFF3", "--1", "\u00B2", "3\xFF", "Fe"}) {
    EXPECT_EQ(integer_text(token), std::nullopt) << token;
  }
}

TEST(Number, FloatText) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const std::pair<const char*, double> cases[] = {
      {"3", 3.0},
      {"+3.5", 3.5},
      {".5", 0.5},
      {"5.", 5.0},
      {"-1e-3", -1e-3},
      {"1.5E+2", 150.0},
      {"5.e1", 50.0},
      {"1_0.2_5e0_1", 102.5},
      {"-0", -0.0},
      {"\uFF11.\u0665", 1.5},
      {"inf", infinity},
      {"-Infinity", -infinity},
      {"+INF", infinity},
      {"1e400", infinity},
      {"-1e99999999999999999999", -infinity},
      {"1e-400", 0.0},
      {"-1e-400", -0.0},
      {"0e99999", 0.0},
      {"1e-99999999999999999999", 0.0},
      {"4.9e-324", 4.9e-324},
      {"0.1000000000000000055511151231257827021181583404541015625", 0.1}};
  for (const auto& [token, value] : cases) {
    const std::optional<double> number = float_value(token);
    ASSERT_TRUE(number) << token;
    EXPECT_EQ(std::bit_cast<std::uint64_t>(*number), std::bit_cast<std::uint64_t>(value)) << token;
  }
  // Leading and trailing zeros shift the point: the size of the number decides, not its exponent.
  EXPECT_EQ(float_value("0." + std::string(400, '0') + "1e401"), 1.0);
  EXPECT_EQ(float_value("1" + std::string(400, '0')), infinity);
  EXPECT_EQ(float_value("0." + std::string(400, '0') + "1e10"), 0.0);
  for (const char* token : {"nan", "-NaN", "+nan"}) EXPECT_TRUE(std::isnan(*float_value(token)));
  for (const char* token : {"",     ".",     "+",    "-.",   "e5",   "1e",    "1e+",     "1,5",
                            "1_",   "_1",    "1._5", "1_.5", "1e_5", "0x1p3", "nan(1)",  "infinit",
                            "i_nf", "1.2.3", "1d5",  "--1",  "+-1",  "1 ",    "\u22121", "1\xFF"}) {
    EXPECT_EQ(float_value(token), std::nullopt) << token;
  }
}

}  // namespace
}  // namespace structure_ingest::internal

#include "structure_ingest/base/words.hpp"

#include <gtest/gtest.h>

#include "structure_ingest/base/utf8.hpp"

namespace structure_ingest::internal {
namespace {

struct Pair {
  std::string_view in;
  std::string_view out;
};

TEST(Text, QuotedForm) {
  for (const auto& [in, out] : {
           Pair{"", "''"},
           Pair{"H 0 0", "'H 0 0'"},
           Pair{"it's", "\"it's\""},
           Pair{"say \"x\"", "'say \"x\"'"},
           Pair{"it's \"x\"", R"('it\'s "x"')"},
           Pair{"a\\b\tc", R"('a\\b\tc')"},
           Pair{std::string_view("\0\x1B\x7F", 3), R"('\x00\x1b\x7f')"},
           Pair{"\u00E9\u4E2D\U0001F600", "'\u00E9\u4E2D\U0001F600'"},
           Pair{"e\u0301", "'e\u0301'"},                           // a combining mark is printable
           Pair{"\u00A0\u00AD\u0085", R"('\xa0\xad\x85')"},        // blank, soft hyphen, next line
           Pair{"\u200B\uFEFF\uE000", R"('\u200b\ufeff\ue000')"},  // format and private use
           Pair{"\u0378\U0010FFFF", R"('\u0378\U0010ffff')"},      // unassigned
           Pair{"\U000E0001", R"('\U000e0001')"},
       }) {
    EXPECT_EQ(quoted_form(in), out);
  }
}

TEST(Text, CaseFoldingIsFull) {
  for (const auto& [in, out] :
       {Pair{"/A/\u00C4.XYZ", "/a/\u00E4.xyz"}, Pair{"Stra\u00DFe", "strasse"},
        Pair{"\u1E9E", "ss"}, Pair{"\uFB03", "ffi"},
        Pair{"\u03A3\u03C2\u03C3", "\u03C3\u03C3\u03C3"}, Pair{"\u0130", "i\u0307"},
        Pair{"A\xFF\xC3", "a\xFF\xC3"}}) {
    EXPECT_EQ(case_folded(in), out);
  }
}

TEST(Text, LowerCaseKnowsTheFinalSigma) {
  for (const auto& [in, out] :
       {Pair{"\u00C4.XYZ", "\u00E4.xyz"}, Pair{"Stra\u00DFe", "stra\u00DFe"},
        Pair{"\u039F\u0394\u039F\u03A3", "\u03BF\u03B4\u03BF\u03C2"},
        Pair{"\u039F\u03A3.xyz", "\u03BF\u03C3.xyz"},  // a full stop does not end the word
        Pair{"\u039F\u03A3-1", "\u03BF\u03C2-1"}, Pair{"\u03A3", "\u03C3"},
        Pair{"\u0130\u212A", "i\u0307k"}, Pair{"A\xFF", "a\xFF"}}) {
    EXPECT_EQ(lower_cased(in), out);
  }
}

TEST(Text, SplitsAtEveryWhiteSpace) {
  std::string_view rest = "\t\u00A0Fe \u1680\u2003 1.0\u2028\u3000x\x1Fy\u0085z\u200B.\xFF\u2009";
  std::vector<std::string_view> tokens;
  for (auto token = next_token(rest); !token.empty(); token = next_token(rest)) {
    tokens.push_back(token);
  }
  const std::vector<std::string_view> expected = {"Fe", "1.0", "x", "y", "z\u200B.\xFF"};
  EXPECT_EQ(tokens, expected);
  EXPECT_EQ(stripped("\u3000 a b\u00A0\n"), "a b");
  EXPECT_EQ(stripped(" \u2003\t"), "");
}

TEST(Text, InvalidBytesAreDroppedOrReplacedOneByOne) {
  struct Case {
    std::string_view in;
    std::string_view without;
    std::string_view replaced;
  };
  for (const auto& [in, without, replaced] : {
           Case{"plain \u00E9", "plain \u00E9", "plain \u00E9"},
           Case{"a\xFF\xFE z", "a z", "a\uFFFDFF\uFFFDFE z"},
           Case{"\xE2\x82", "", "\uFFFDE2\uFFFD82"},                         // cut off
           Case{"\xE2\x82 A", " A", "\uFFFDE2\uFFFD82 A"},                   // cut short
           Case{"\xC0\xAF", "", "\uFFFDC0\uFFFDAF"},                         // overlong
           Case{"\xED\xA0\x80", "", "\uFFFDED\uFFFDA0\uFFFD80"},             // surrogate
           Case{"\xF4\x90\x80\x80", "", "\uFFFDF4\uFFFD90\uFFFD80\uFFFD80"}  // beyond U+10FFFF
       }) {
    EXPECT_EQ(without_invalid_utf8(in), without);
    EXPECT_EQ(utf8_text(in), replaced);
  }
}

TEST(Text, UnprintableCharactersAreEscaped) {
  EXPECT_EQ(printable_form("a 'b' \"c\" \\ \u00E9\t\n\x1B[2J\x7F\u0085\u202Ecif\u2028\xFF"),
            "a 'b' \"c\" \\ \u00E9\\t\\x0a\\x1b[2J\\x7f\\x85\\u202ecif\\u2028\\xff");
}

TEST(Text, DigitsOfEveryScriptHaveTheirValue) {
  EXPECT_EQ(decimal_digit(U'7'), 7);
  EXPECT_EQ(decimal_digit(U'\u0663'), 3);      // Arabic-Indic
  EXPECT_EQ(decimal_digit(U'\uFF19'), 9);      // full width
  EXPECT_EQ(decimal_digit(U'\U0001D7F6'), 0);  // mathematical, in the last of five adjoining runs
  for (const char32_t other : {U'a', U'\u00B2', U'\u2155', INVALID_CHARACTER}) {
    EXPECT_EQ(decimal_digit(other), -1);
  }
}

TEST(Text, LongTextIsCutBetweenCharacters) {
  EXPECT_EQ(shortened("abc", 3), "abc");
  EXPECT_EQ(shortened("abcd", 3), "abc... (4 bytes)");
  EXPECT_EQ(shortened("ab\u20ACd", 4), "ab... (6 bytes)");
  EXPECT_EQ(shortened("\x80\x80\x80\x80\x80\x80", 5), "\x80\x80... (6 bytes)");
}

TEST(Text, LineEndsBecomeLineFeeds) {
  EXPECT_EQ(with_line_feeds("a\r\nb\rc\n\r\r\nd\r"), "a\nb\nc\n\n\nd\n");
}

}  // namespace
}  // namespace structure_ingest::internal

#include "structure_ingest/base/json.hpp"

#include <cmath>
#include <random>

#include "structure_ingest/base/json_values.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

std::vector<Json> elements_of(const Json& value) {
  std::vector<Json> elements;
  for_each_element(value, [&elements](const Json& element) { elements.push_back(element); });
  return elements;
}

TEST(JsonText, IsAlwaysValidAndReadsAsTheFileDid) {
  const Json value = {{"b", {1, -2, 53.44071748, 1.0, NAN, -INFINITY}},
                      {"a", {{"empty", Json::array()}, {"none", nullptr}, {"yes", true}}},
                      {"text", "\"\\/\b\f\n\r\t\x01\x7F\u0085\u00E9\U0001F600\xFF"}};
  const std::string text =
      R"({"b": [1, -2, 53.44071748, 1.0, null, null], "a": {"empty": [], "none": null, "yes": true}, )"
      R"("text": "\"\\/\b\f\n\r\t\u0001\u007f\u0085)"
      "\u00E9\U0001F600\uFFFD\"}";
  EXPECT_EQ(json_text(value), text);
  EXPECT_EQ(json_text(Json{{"a", {1, Json::object()}}}, 2),
            "{\n  \"a\": [\n    1,\n    {}\n  ]\n}");
  EXPECT_EQ(json_text(18446744073709551615U), "18446744073709551615");
}

TEST(JsonText, ReadsBackAsTheSameValue) {
  for (const char* text : {"{}", "[]", "0", "-0.0", "\"\"", "null", "[[[]],{}]", "[1e-300,0.1]",
                           "{\"k\": {\"k\": [true, false, 9007199254740993]}}"}) {
    const Json value = parse_json(text);
    EXPECT_EQ(parse_json(json_text(value)), value) << text;
    EXPECT_EQ(parse_json(json_text(value, 2)), value) << text;
  }
}

TEST(ParseJson, ReportsErrorsAndLosesNothing) {
  for (const std::string& text :
       {std::string(""), std::string("{"), std::string("[1,]"), std::string("{} x"),
        std::string("[NaN]"), std::string("\"\xFF\""), std::string("[1e400]"),
        std::string("[123456789012345678901]"), std::string(100000, '['),
        std::string(501, '[') + std::string(501, ']')}) {
    EXPECT_THROW(parse_json(text), JsonError) << text.substr(0, 40);
  }
  EXPECT_NO_THROW(parse_json(std::string(500, '[') + std::string(500, ']')));
  EXPECT_EQ(json_text(parse_json(R"({"a": 1, "b": 2, "a": 3})")), R"({"a": 3, "b": 2})");
  // The token at which the parser stopped may be as long as the file.
  const std::string cut_short =
      ("syntax error while parsing value - invalid string: ill-formed UTF-8 byte; last read: '\"" +
       std::string(300, 'x'))
          .substr(0, 300) +
      "... (389 bytes)";
  const std::tuple<std::string, std::size_t, std::size_t, std::string> cases[] = {
      {"{\"a\": 1,\n oops}", 2, 2,
       "syntax error while parsing object key - invalid literal; last read: '1,<U+000A> "
       "o'; "
       "expected string literal"},
      {"[1", 1, 3, "syntax error while parsing array - unexpected end of input; expected ']'"},
      {std::string("\0", 1), 0, 0, "a NUL character after 0 bytes"},
      {"[12345678901234567890123]", 0, 0,
       "the integer 12345678901234567890123 is too large to be kept exactly"},
      {"[1e400]", 0, 0, "number overflow parsing '1e400'"},
      {"[\"" + std::string(300, 'x') + "\xFF\"]", 1, 303, cut_short},
  };
  for (const auto& [text, line, column, reason] : cases) {
    const auto error = tests::error_of<JsonError>([&, &text = text] { parse_json(text); });
    EXPECT_EQ(error.line, line) << text;
    EXPECT_EQ(error.column, column) << text;
    EXPECT_EQ(error.reason, reason);
    const std::string place =
        "parse error at line " + std::to_string(line) + ", column " + std::to_string(column) + ": ";
    EXPECT_EQ(error.what(), (line == 0 ? "" : place) + reason);
  }
}

TEST(JsonValues, EmptinessTextAndElements) {
  for (const Json& value :
       {Json(), Json(false), Json(0), Json(-0.0), Json(""), Json::array(), Json::object()}) {
    EXPECT_TRUE(is_empty(value)) << value;
    EXPECT_EQ(text_or_empty(value), "");
    EXPECT_TRUE(elements_of(value).empty());
  }
  for (const Json& value : {Json(true), Json(0.1), Json(" "), Json{0}, Json{{"a", nullptr}}}) {
    EXPECT_FALSE(is_empty(value)) << value;
  }
  EXPECT_EQ(text_of("x"), "x");
  EXPECT_EQ(text_of(12), "12");
  EXPECT_EQ(text_of(true), "True");
  EXPECT_EQ(text_of(nullptr), "None");
  EXPECT_EQ(text_of(Json{1, "a"}), "[1, \"a\"]");
  EXPECT_EQ(elements_of("a\u00E9"), (std::vector<Json>{"a", "\u00E9"}));
  EXPECT_EQ(elements_of(Json{{"k", 1}}), std::vector<Json>{"k"});
  EXPECT_THROW(elements_of(5), std::invalid_argument);
  EXPECT_THROW(member_of("text", "k"), std::invalid_argument);
  EXPECT_EQ(member_of(0, "k"), Json());
}

TEST(Json, KeepsTheLastValueOfAKeyAtTheFirstPlace) {
  std::string text = "{";
  for (int i = 0; i < 50; ++i)
    text += "\"k" + std::to_string(i) + "\": " + std::to_string(i) + ", ";
  const Json value = parse_json(text + "\"k3\": [1], \"k40\": {}, \"k49\": null}");
  ASSERT_EQ(value.size(), 50U);
  int place = 0;
  for (const auto& [key, member] : value.items()) {
    EXPECT_EQ(key, "k" + std::to_string(place));
    const Json expected = place == 3    ? Json::array({1})
                          : place == 40 ? Json::object()
                          : place == 49 ? Json()
                                        : Json(place);
    EXPECT_EQ(member, expected) << place;
    ++place;
  }
}

/// The value and what is not in its text, or else the error with its place.
std::string outcome(Json (*read)(std::string_view), const std::string& text) {
  try {
    const Json value = read(text);
    return value.dump(-1, ' ', false, Json::error_handler_t::strict) + " " + value.type_name();
  } catch (const JsonError& error) {
    return std::string(error.what()) + "|" + error.reason;
  }
}

TEST(PlainJson, LeavesWhatIsNotPlainToTheOtherReader) {
  const std::string deep = std::string(500, '[') + std::string(500, ']');
  for (const std::string& text :
       {std::string("{}"), std::string("[]"), std::string(" 0 "), std::string("null"), deep,
        std::string(R"({"a": [1, -2, 0.1, 1E5, true], "\u00e9\ud83d\ude00": "\u0000"})"),
        std::string("[18446744073709551615, -9223372036854775808]")}) {
    const std::optional<Json> value = read_plain_json(text);
    ASSERT_TRUE(value) << text;
    EXPECT_EQ(*value, read_any_json(text)) << text;
  }
  std::string keys = "{";
  for (int i = 0; i < 40; ++i) keys += "\"" + std::to_string(i) + "\": 1, ";
  for (const std::string& text :
       {std::string(), std::string("{"), std::string("{} x"), std::string("[01]"),
        std::string("[1e400]"), std::string("[18446744073709551616]"),
        std::string("[-9223372036854775809]"), std::string("\"\\ud800\""),
        std::string("\"\\udc00\""), std::string("\"\xED\xA0\x80\""), std::string("\"\xFF\""),
        std::string("\"\n\""), std::string("[1]\0", 4), std::string("\xEF\xBB\xBF[1]"),
        std::string(R"({"a": 1, "b": 2, "a": 3})"), keys + "\"3\": 2}", "[" + deep + "]",
        std::string(200000, '[')}) {
    EXPECT_FALSE(read_plain_json(text)) << text.substr(0, 60);
  }
}

/// Writes random documents, most of them valid, with what parsers disagree on.
class Writer {
 public:
  explicit Writer(unsigned seed) : random_(seed) {}

  std::string document() {
    std::string text = blank() + value(0) + blank();
    for (int faults = below(10) == 0 ? 1 + below(3) : 0; faults > 0 && !text.empty(); --faults) {
      const auto at = static_cast<std::size_t>(below(static_cast<int>(text.size())));
      switch (below(4)) {
        case 0:
          text.erase(at, 1);
          break;
        case 1:
          text.resize(at);
          break;
        case 2:
          text[at] = static_cast<char>(below(256));
          break;
        default:
          text.insert(at, 1, "[]{},:\"\\-.eE0"[below(13)]);
      }
    }
    return text;
  }

 private:
  int below(int end) { return static_cast<int>(random_() % static_cast<unsigned>(end)); }
  /// One of the texts between the bars.
  std::string one_of(std::string_view list) {
    const std::vector<std::string> texts = tests::split(list, '|');
    return texts[random_() % texts.size()];
  }
  std::string blank() { return one_of("||| |\n|\t\r\n "); }

  std::string number() {
    switch (below(4)) {
      case 0:
        return one_of(
            "0|-1|1e5|-0.0|1E-400|1e400|18446744073709551615|18446744073709551616|"
            "9223372036854775808|-9223372036854775808|-9223372036854775809|01|1.|.5|+1|-|1e|0.1e+2|"
            "2.2250738585072011e-308|1.7976931348623159e308|5e-324|0x1");
      case 1:
        return std::to_string(static_cast<std::int64_t>(random_()));
      default:
        return std::to_string(below(200) - 100) + "." + std::to_string(random_()) +
               (below(3) == 0 ? "e" + std::to_string(below(700) - 350) : "");
    }
  }
  std::string string() {
    std::string text = "\"";
    for (int i = below(6); i > 0; --i) {
      text += one_of(
          "a|key|\u00E9|\U0001F600|\\n|\\\"|\\u0041|\\u0000|/|\\/"
          "|\\ud83d\\ude00|\\uD800|\\udc00x|\\x|"
          "\x7F|\t|\xC0\x80|\xF4\x90\x80\x80|\uFFFF|\\uffff|\xEF\xBB\xBF");
      if (below(4) != 0)
        return text.substr(0, 2) == "\"\\" ? text + "\"" : "\"k" + text.substr(1) + "\"";
    }
    return text + "\"";
  }
  std::string value(int depth) {
    const int kind = below(depth > 5 ? 4 : 8);
    if (kind == 0) return one_of("null|true|false|nul|NaN");
    if (kind == 1) return string();
    if (kind < 4) return number();
    const bool is_object = kind < 6;
    std::string text = is_object ? "{" : "[";
    for (int i = 0, end = below(12) == 0 ? 40 : below(6); i < end; ++i) {
      text += (i == 0 ? "" : ",") + blank();
      if (is_object) {
        text +=
            (below(8) == 0 ? string() : "\"" + std::to_string(below(300)) + "\"") + ":" + blank();
      }
      text += value(depth + 1) + blank();
    }
    return text + (is_object ? "}" : "]");
  }

  std::mt19937_64 random_;
};

TEST(PlainJson, AgreesWithTheOtherReaderOnRandomDocuments) {
  int plain = 0;
  int broken = 0;
  constexpr unsigned documents = 5000;
  for (unsigned seed = 0; seed < documents; ++seed) {
    const std::string text = Writer(seed).document();
    const std::string expected = outcome(read_any_json, text);
    EXPECT_EQ(outcome(parse_json, text), expected) << text;
    const std::optional<Json> value = read_plain_json(text);
    plain += value ? 1 : 0;
    broken += expected.find('|') != std::string::npos ? 1 : 0;
    if (value) {
      EXPECT_EQ(*value, read_any_json(text)) << text;
    }
    if (HasFailure()) return;
  }
  EXPECT_GT(plain, 1000);  // neither side of the test is empty
  EXPECT_GT(broken, 1000);
}

}  // namespace
}  // namespace structure_ingest::internal

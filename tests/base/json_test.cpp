#include "structure_ingest/base/json.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "structure_ingest/base/json_values.hpp"

namespace structure_ingest {
namespace internal {
namespace {

std::vector<Json> elements_of(const Json& value) {
  std::vector<Json> elements;
  for_each_element(value, [&elements](const Json& element) { elements.push_back(element); });
  return elements;
}

}  // namespace
}  // namespace internal

namespace {

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
    try {
      parse_json(text);
      ADD_FAILURE() << text;
    } catch (const JsonError& error) {
      EXPECT_EQ(error.line, line) << text;
      EXPECT_EQ(error.column, column) << text;
      EXPECT_EQ(error.reason, reason);
      const std::string place = "parse error at line " + std::to_string(line) + ", column " +
                                std::to_string(column) + ": ";
      EXPECT_EQ(error.what(), (line == 0 ? "" : place) + reason);
    }
  }
}

TEST(JsonValues, EmptinessTextAndElements) {
  using namespace internal;
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

}  // namespace
}  // namespace structure_ingest

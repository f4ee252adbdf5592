#include "structure_ingest/base/json_values.hpp"

#include <random>

#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

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

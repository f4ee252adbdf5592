#include "structure_ingest/base/json.hpp"

#include <simdjson.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/words.hpp"

// Two readers share the work. simdjson reads nearly every document, several times faster; what it
// rejects, or what has a rule of its own here (repeated keys, deep nesting, integers beyond 64
// bits), is read once more by the slower parser of nlohmann json, which also finds the place of an
// error.
namespace structure_ingest {
namespace {

constexpr std::size_t MAX_DEPTH = 500;

/// The parser quotes the token it stopped at, which may be as long as the file.
constexpr std::size_t MAX_REASON = 300;

/// Builds the value from the parser's events. Refuses integers that do not fit 64 bits, which would
/// lose digits, and nesting so deep that copying the value could exhaust the stack.
class Builder : public Json::json_sax_t {
 public:
  Builder(std::string_view text, Json& root) : text_(text), root_(root) {}

  bool null() override { return add(nullptr); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(std::int64_t value) override { return add(value); }
  bool number_unsigned(std::uint64_t value) override { return add(value); }
  bool number_float(double value, const std::string& text) override {
    if (text.find_first_of(".eE") == std::string::npos) {
      throw JsonError("the integer " + internal::shortened(text, 40) +
                      " is too large to be kept exactly");
    }
    return add(value);
  }
  bool string(std::string& value) override { return add(std::move(value)); }
  bool binary(Json::binary_t& value) override { return add(Json::binary(std::move(value))); }
  bool start_object(std::size_t /*size*/) override { return open(true); }
  bool start_array(std::size_t /*size*/) override { return open(false); }
  bool key(std::string& name) override {
    Open& object = open_.back();
    // The last value of a repeated key counts, at the place of the first.
    const auto [place, is_new] = object.places.emplace(name, object.names.size());
    object.next = place->second;
    if (is_new) object.names.push_back(std::move(name));
    return true;
  }
  bool end_object() override {
    Open object = close();
    Json value = Json::object();
    auto& members = value.get_ref<Json::object_t&>();
    members.reserve(object.names.size());
    for (std::size_t i = 0; i < object.names.size(); ++i) {
      members.emplace_back(std::move(object.names[i]), std::move(object.values[i]));
    }
    return add(std::move(value));
  }
  bool end_array() override {
    Open array = close();
    return add(Json(std::move(array.values)));
  }
  bool parse_error(std::size_t position, const std::string& /*token*/,
                   const Json::exception& error) override {
    // "[json.exception.parse_error.101] parse error at line 1, column 2: syntax error ...": drop
    // the library's error number, and the place, which `JsonError` reports.
    std::string_view reason = error.what();
    const auto cut_behind = [&reason](std::string_view mark) {
      const std::size_t at = reason.find(mark);
      if (at != std::string_view::npos) reason.remove_prefix(at + mark.size());
    };
    cut_behind("] ");
    if (!reason.starts_with("parse error"))
      throw JsonError(internal::shortened(reason, MAX_REASON));
    cut_behind(": ");
    const std::string_view before = text_.substr(0, std::min(position, text_.size()));
    const std::size_t line_start = before.rfind('\n') + 1;  // npos + 1 is 0: the first line
    const auto line_feeds = std::count(before.begin(), before.end(), '\n');
    throw JsonError(internal::shortened(reason, MAX_REASON),
                    static_cast<std::size_t>(line_feeds) + 1, position - line_start);
  }

 private:
  /// An object or array that is not closed yet. Its members are collected here first: the mapping
  /// finds a key by linear search and copies its values when it grows.
  struct Open {
    bool is_object;
    std::vector<std::string> names{};
    std::vector<Json> values{};
    std::unordered_map<std::string, std::size_t> places{};  // of the names
    std::size_t next = 0;                                   // where the next value goes
  };

  bool add(Json&& value) {
    if (open_.empty()) {
      root_ = std::move(value);
      return true;
    }
    Open& parent = open_.back();
    if (parent.is_object && parent.next < parent.values.size()) {
      parent.values[parent.next] = std::move(value);
    } else {
      parent.values.push_back(std::move(value));
    }
    return true;
  }
  bool open(bool is_object) {
    if (open_.size() == MAX_DEPTH) {
      throw JsonError("nested deeper than " + std::to_string(MAX_DEPTH) + " levels");
    }
    open_.push_back({.is_object = is_object});
    return true;
  }
  Open close() {
    Open closed = std::move(open_.back());
    open_.pop_back();
    return closed;
  }

  std::string_view text_;
  Json& root_;
  std::vector<Open> open_;
};

namespace dom = simdjson::dom;

bool has_key(const Json::object_t& members, std::string_view key) {
  return std::any_of(members.begin(), members.end(),
                     [key](const auto& member) { return member.first == key; });
}

/// Copies the element into `value`; false when it is not plain.
bool copy_element(dom::element element, Json& value, std::size_t depth);

bool copy_array(dom::array array, Json& value, std::size_t depth) {
  value = Json::array();
  auto& elements = value.get_ref<Json::array_t&>();
  elements.reserve(array.size());
  for (const dom::element element : array) {
    if (!copy_element(element, elements.emplace_back(), depth + 1)) return false;
  }
  return true;
}

/// The mapping searches its keys from the first one on: append members without asking it, and look
/// for repeated keys otherwise where they are many.
bool copy_object(dom::object object, Json& value, std::size_t depth) {
  constexpr std::size_t few = 32;
  value = Json::object();
  auto& members = value.get_ref<Json::object_t&>();
  members.reserve(object.size());
  std::unordered_set<std::string_view> keys;
  for (const dom::key_value_pair member : object) {
    const bool is_new =
        object.size() <= few ? !has_key(members, member.key) : keys.insert(member.key).second;
    if (!is_new) return false;
    members.emplace_back(std::string(member.key), nullptr);
    if (!copy_element(member.value, members.back().second, depth + 1)) return false;
  }
  return true;
}

bool copy_element(dom::element element, Json& value, std::size_t depth) {
  switch (element.type()) {
    case dom::element_type::ARRAY:
      return depth < MAX_DEPTH && copy_array(element, value, depth);
    case dom::element_type::OBJECT:
      return depth < MAX_DEPTH && copy_object(element, value, depth);
    case dom::element_type::INT64: {
      const std::int64_t number = element;
      value = number < 0 ? Json(number) : Json(static_cast<std::uint64_t>(number));
      return true;
    }
    case dom::element_type::UINT64:
      value = static_cast<std::uint64_t>(element);
      return true;
    case dom::element_type::DOUBLE:
      value = static_cast<double>(element);
      return true;
    case dom::element_type::STRING:
      value = std::string(static_cast<std::string_view>(element));
      return true;
    case dom::element_type::BOOL:
      value = static_cast<bool>(element);
      return true;
    case dom::element_type::NULL_VALUE:
      value = nullptr;
      return true;
    default:
      return false;  // an integer of more digits, which newer versions of the parser know
  }
}

}  // namespace

JsonError::JsonError(const std::string& why) : std::runtime_error(why), reason(why) {}

JsonError::JsonError(const std::string& why, std::size_t at_line, std::size_t at_column)
    : std::runtime_error("parse error at line " + std::to_string(at_line) + ", column " +
                         std::to_string(at_column) + ": " + why),
      reason(why),
      line(at_line),
      column(at_column) {}

std::optional<Json> internal::read_plain_json(std::string_view text) {
  // Some versions of the parser skip a byte-order mark.
  if (text.starts_with("\xEF\xBB\xBF")) return {};
  dom::parser parser;
  dom::element root;
  if (parser.parse(text.data(), text.size(), true).get(root) != simdjson::SUCCESS) return {};
  std::optional<Json> value(std::in_place);
  if (!copy_element(root, *value, 0)) value.reset();
  return value;
}

Json internal::read_any_json(std::string_view text) {
  // The parser takes a NUL for the end of the text and would silently drop what follows.
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
    throw JsonError("a NUL character after " + std::to_string(nul) + " bytes");
  }
  if (internal::stripped(text).empty()) throw JsonError("it is empty", 1, 1);
  Json value;
  Builder builder(text, value);
  Json::sax_parse(text.begin(), text.end(), &builder);
  return value;
}

Json parse_json(std::string_view text) {
  if (std::optional<Json> value = internal::read_plain_json(text)) return *std::move(value);
  return internal::read_any_json(text);
}

}  // namespace structure_ingest

#include "structure_ingest/base/json.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "structure_ingest/base/json_memory.hpp"
#include "structure_ingest/base/number.hpp"
#include "structure_ingest/base/text.hpp"

namespace structure_ingest {
namespace {

constexpr std::size_t MAX_DEPTH = 500;

void append_unicode_escape(std::string& out, char32_t character) {
  constexpr std::string_view hex = "0123456789abcdef";
  out += "\\u00";
  out += hex[character >> 4 & 0xF];
  out += hex[character & 0xF];
}

void append_string(std::string& out, std::string_view text) {
  out += '"';
  for (std::size_t position = 0; position < text.size();) {
    // Most text needs no escapes: copy up to the next character that might.
    const std::size_t start = position;
    while (position < text.size() && text[position] >= 0x20 && text[position] < 0x7F &&
           text[position] != '"' && text[position] != '\\') {
      ++position;
    }
    out += text.substr(start, position - start);
    if (position == text.size()) break;
    const internal::Character character = internal::character_at(text, position);
    switch (character.value) {
      case U'"':
        out += "\\\"";
        break;
      case U'\\':
        out += "\\\\";
        break;
      case U'\b':
        out += "\\b";
        break;
      case U'\f':
        out += "\\f";
        break;
      case U'\n':
        out += "\\n";
        break;
      case U'\r':
        out += "\\r";
        break;
      case U'\t':
        out += "\\t";
        break;
      case internal::INVALID_CHARACTER:
        internal::append_utf8(out, 0xFFFD);
        break;
      default:
        if (character.value < 0x20 || (character.value >= 0x7F && character.value < 0xA0)) {
          append_unicode_escape(out, character.value);
        } else {
          out += text.substr(position, character.length);
        }
    }
    position += character.length;
  }
  out += '"';
}

/// Writes values into one growing text; `indent` below zero means one line.
struct Writer {
  std::string& out;
  int indent;
  std::size_t level = 0;

  void new_line() {
    if (indent < 0) return;
    out += '\n';
    out.append(level * static_cast<std::size_t>(indent), ' ');
  }

  template <typename Items, typename WriteItem>
  void list(char open, char close, const Items& items, WriteItem write_item) {
    out += open;
    if (!items.empty()) {
      ++level;
      bool first = true;
      for (const auto& item : items) {
        if (!first) out += indent < 0 ? ", " : ",";
        first = false;
        new_line();
        write_item(item);
      }
      --level;
      new_line();
    }
    out += close;
  }

  void write(const Json& value) {
    switch (value.type()) {
      case Json::value_t::object:
        list('{', '}', value.get_ref<const Json::object_t&>(), [this](const auto& member) {
          append_string(out, member.first);
          out += ": ";
          write(member.second);
        });
        break;
      case Json::value_t::array:
        list('[', ']', value.get_ref<const Json::array_t&>(),
             [this](const Json& item) { write(item); });
        break;
      case Json::value_t::string:
        append_string(out, value.get_ref<const std::string&>());
        break;
      case Json::value_t::boolean:
        out += value.get<bool>() ? "true" : "false";
        break;
      case Json::value_t::number_integer:
        out += std::to_string(value.get<std::int64_t>());
        break;
      case Json::value_t::number_unsigned:
        out += std::to_string(value.get<std::uint64_t>());
        break;
      case Json::value_t::number_float: {
        const double number = value.get<double>();
        if (std::isfinite(number)) {
          internal::append_shortest(out, number);
        } else {
          out += "null";
        }
        break;
      }
      default:  // null, and what JSON text cannot hold
        out += "null";
    }
  }
};

/// Builds the value from the parser's events, and refuses what would be lost: integers that fit
/// no machine integer, and nesting so deep that copying the value could exhaust the stack.
class Builder : public Json::json_sax_t {
 public:
  explicit Builder(Json& root) : root_(root) {}
  ~Builder() override {
    for (Open& unfinished : open_) internal::take_apart(unfinished.values);
  }
  Builder(const Builder&) = delete;
  Builder& operator=(const Builder&) = delete;

  bool null() override { return add(nullptr); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(std::int64_t value) override { return add(value); }
  bool number_unsigned(std::uint64_t value) override { return add(value); }
  bool number_float(double value, const std::string& text) override {
    if (text.find_first_of(".eE") == std::string::npos) {
      throw JsonError("the integer " + text.substr(0, 40) + " is too large to be kept exactly");
    }
    return add(value);
  }
  bool string(std::string& value) override { return add(std::move(value)); }
  bool binary(Json::binary_t& value) override { return add(Json::binary(std::move(value))); }
  bool start_object(std::size_t /*size*/) override { return open(true); }
  bool start_array(std::size_t /*size*/) override { return open(false); }
  bool key(std::string& name) override {
    Open& object = open_.back();
    // Of repeated keys the last value counts, at the place of the first.
    object.next = place_of(object, name);
    if (object.next == object.names.size()) object.names.push_back(std::move(name));
    return true;
  }
  bool end_object() override {
    Open object = close();
    const internal::TakenApart values_at_end(object.values);
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
    const internal::TakenApart values_at_end(array.values);
    return add(Json(std::move(array.values)));
  }
  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const Json::exception& error) override {
    // The library's message starts with its own error number in brackets, which says nothing here.
    const std::string_view message = error.what();
    const std::size_t end = message.find("] ");
    throw JsonError(std::string(message.substr(end == std::string_view::npos ? 0 : end + 2)));
  }

 private:
  /// An object or array that is not closed yet. Members are kept apart until then: the mapping
  /// itself looks a key up by going through all, and copies its values when it grows.
  struct Open {
    bool is_object;
    std::vector<std::string> names{};
    std::vector<Json> values{};
    std::unordered_map<std::string, std::size_t> index{};  // of the names, once they are many
    std::size_t next = 0;                                  // where the next value goes
  };

  static std::size_t place_of(Open& object, const std::string& name) {
    constexpr std::size_t few = 16;
    const std::vector<std::string>& names = object.names;
    if (names.size() <= few) {
      return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
    }
    for (std::size_t i = object.index.size(); i < names.size(); ++i) {
      object.index.emplace(names[i], i);
    }
    const auto found = object.index.find(name);
    return found == object.index.end() ? names.size() : found->second;
  }

  bool add(Json&& value) {
    const internal::TakenApart value_at_end(value);
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

  Json& root_;
  std::vector<Open> open_;
};

}  // namespace

Json parse_json(std::string_view text) {
  Json value;
  Builder builder(value);
  Json::sax_parse(text.begin(), text.end(), &builder);
  return value;
}

std::string json_text(const Json& value, int indent) {
  std::string out;
  Writer{out, indent}.write(value);
  return out;
}

namespace internal {

bool is_empty(const Json& value) {
  switch (value.type()) {
    case Json::value_t::null:
    case Json::value_t::discarded:
      return true;
    case Json::value_t::boolean:
      return !value.get<bool>();
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
    case Json::value_t::number_float:
      return value.get<double>() == 0.0;
    case Json::value_t::string:
      return value.get_ref<const std::string&>().empty();
    default:
      return value.empty();
  }
}

const Json& value_at(const Json& mapping, const char* key) {
  static const Json absent;
  if (!mapping.is_object()) return absent;
  const auto found = mapping.find(key);
  return found == mapping.end() ? absent : *found;
}

const Json& member_of(const Json& mapping, const char* key) {
  if (!is_empty(mapping) && !mapping.is_object()) {
    throw std::invalid_argument("a mapping is expected, not " + json_text(mapping));
  }
  return value_at(mapping, key);
}

std::string text_of(const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_boolean()) return value.get<bool>() ? "True" : "False";
  return value.is_null() ? "None" : json_text(value);
}

std::string text_or_empty(const Json& value) {
  return is_empty(value) ? std::string() : text_of(value);
}

void for_each_element(const Json& value, const std::function<void(const Json&)>& visit) {
  if (is_empty(value)) return;
  if (value.is_array()) {
    for (const Json& element : value) visit(element);
  } else if (value.is_object()) {
    for (const auto& member : value.get_ref<const Json::object_t&>()) visit(member.first);
  } else if (value.is_string()) {
    const std::string text = utf8_text(value.get_ref<const std::string&>());
    for (std::size_t position = 0; position < text.size();) {
      const std::size_t length = character_at(text, position).length;
      visit(text.substr(position, length));
      position += length;
    }
  } else {
    throw std::invalid_argument("a list is expected, not " + json_text(value));
  }
}

}  // namespace internal
}  // namespace structure_ingest

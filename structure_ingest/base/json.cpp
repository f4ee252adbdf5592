#include "structure_ingest/base/json.hpp"

#include <algorithm>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "structure_ingest/base/json_memory.hpp"
#include "structure_ingest/base/text.hpp"

namespace structure_ingest {
namespace {

constexpr std::size_t MAX_DEPTH = 500;

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
  // The parser would take it for the end, and what follows would be lost.
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
    throw JsonError("a NUL character after " + std::to_string(nul) + " bytes");
  }
  Json value;
  Builder builder(value);
  Json::sax_parse(text.begin(), text.end(), &builder);
  return value;
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

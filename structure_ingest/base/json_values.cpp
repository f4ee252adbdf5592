#include "structure_ingest/base/json_values.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "structure_ingest/base/utf8.hpp"

namespace structure_ingest::internal {

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

std::string string_at(const Json& mapping, const char* key) {
  const Json& value = value_at(mapping, key);
  return value.is_string() ? value.get<std::string>() : std::string();
}

std::vector<std::string> strings_at(const Json& mapping, const char* key) {
  std::vector<std::string> strings;
  const Json& list = value_at(mapping, key);
  if (!list.is_array()) return strings;
  for (const Json& element : list) {
    if (element.is_string()) strings.push_back(element.get<std::string>());
  }
  return strings;
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

Json json_list(const JsonList& list) {
  struct Item {
    Json operator()(const std::string& text) const { return utf8_text(text); }
    Json operator()(const std::array<double, 3>& numbers) const {
      return Json::array_t(numbers.begin(), numbers.end());
    }
  };
  return std::visit(
      [](const auto& items) {
        Json::array_t values;
        values.reserve(items.size());
        std::transform(items.begin(), items.end(), std::back_inserter(values), Item());
        return Json(std::move(values));
      },
      list);
}

}  // namespace structure_ingest::internal

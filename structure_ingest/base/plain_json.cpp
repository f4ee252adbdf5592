#include "structure_ingest/base/json_values.hpp"

#include <simdjson.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_set>

namespace structure_ingest::internal {
namespace {

namespace dom = simdjson::dom;

constexpr std::size_t MAX_DEPTH = 500;

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
  }
  return false;
}

}  // namespace

std::optional<Json> read_plain_json(std::string_view text) {
  dom::parser parser;
  dom::element root;
  if (parser.parse(text.data(), text.size(), true).get(root) != simdjson::SUCCESS) return {};
  std::optional<Json> value(std::in_place);
  if (!copy_element(root, *value, 0)) value.reset();
  return value;
}

}  // namespace structure_ingest::internal

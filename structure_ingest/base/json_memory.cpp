#include "structure_ingest/base/json_memory.hpp"

namespace structure_ingest::internal {

void make_room(Json& mapping, std::size_t more) {
  auto& members = mapping.get_ref<Json::object_t&>();
  if (members.capacity() - members.size() >= more) return;
  Json::object_t roomy;
  roomy.reserve(members.size() + more);
  for (const auto& member : members) roomy.emplace_back(member.first, nullptr);
  auto place = roomy.begin();
  for (auto& member : members) (place++)->second.swap(member.second);
  members.swap(roomy);
}

void take_apart(Json& value) noexcept {
  if (auto* const members = value.get_ptr<Json::object_t*>()) {
    for (auto& member : *members) take_apart(member.second);
    members->clear();
  } else if (auto* const elements = value.get_ptr<Json::array_t*>()) {
    take_apart(*elements);
  }
}

void take_apart(std::vector<Json>& values) noexcept {
  for (Json& value : values) take_apart(value);
  values.clear();
}

}  // namespace structure_ingest::internal

#include "bench/peers.hpp"

#include <rapidjson/document.h>
#include <simdjson.h>

#include <gemmi/cif.hpp>
#include <gemmi/numb.hpp>

namespace bench {

std::size_t rapidjson_members(std::string_view text) {
  rapidjson::Document document;
  constexpr unsigned flags =
      rapidjson::kParseFullPrecisionFlag | rapidjson::kParseValidateEncodingFlag;
  document.Parse<flags>(text.data(), text.size());
  return document.HasParseError() ? 0 : document.MemberCount();
}

std::size_t simdjson_members(std::string_view text) {
  simdjson::dom::parser parser;
  simdjson::dom::object root;
  const auto error = parser.parse(text.data(), text.size(), true).get(root);
  return error != simdjson::SUCCESS ? 0 : root.size();
}

double gemmi_coordinates(const std::string& path) {
  gemmi::cif::Document document = gemmi::cif::read_file(path);
  double sum = 0;
  for (auto row : document.sole_block().find("_atom_site_", {"fract_x", "fract_y", "fract_z"})) {
    for (const std::string& number : row) sum += gemmi::cif::as_number(number);
  }
  return sum;
}

}  // namespace bench

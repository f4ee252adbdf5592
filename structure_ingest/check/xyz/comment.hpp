// The comment line of an XYZ file: its keys, and the columns that it declares.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace structure_ingest::internal {

/// One entry of `Properties=species:S:1:pos:R:3`.
struct XyzColumn {
  std::string name;       // lower case
  std::size_t begin = 0;  // its first column, counted from 0
  std::size_t count = 0;
};

/// The columns that a comment line declares; nothing when it declares none or is malformed.
std::optional<std::vector<XyzColumn>> declared_columns(std::string_view comment);

/// The value of `key=value` or `key="a value"` in a comment line, the key in any letter case.
std::optional<std::string_view> comment_value(std::string_view comment, std::string_view key);

}  // namespace structure_ingest::internal

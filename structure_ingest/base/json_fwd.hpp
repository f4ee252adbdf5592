// Names the JSON-like value, for headers that only hand it on: defining it takes long to compile.
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace structure_ingest {

/// An insertion-ordered JSON value. Its strings are UTF-8.
using Json = nlohmann::ordered_json;

}  // namespace structure_ingest

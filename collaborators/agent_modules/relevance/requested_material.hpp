// Which materials a free-text request in English names.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "collaborators/agent_modules/relevance/chemical_formula.hpp"

namespace agent_modules {

struct RequestedMaterial {
  std::string name;  // as the request writes it
  Elements elements;
};

struct RequestedMaterials {
  std::vector<RequestedMaterial> certain;  // the different ones, in the order of the request
  Elements elements;                       // of all that may be meant, the uncertain ones too
  /// A word that stands for a further material without its name ("substrate"); empty for none.
  std::string unnamed;
  /// All that is named are parts or guests of something without a name (oxygen vacancy).
  bool only_parts = false;
};

/// What a request names. In doubt a mention is not certain, yet its elements are listed.
RequestedMaterials requested_materials(std::string_view request);

}  // namespace agent_modules

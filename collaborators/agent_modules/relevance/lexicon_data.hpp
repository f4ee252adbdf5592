// The tables of this folder, which the build makes part of the code.
#pragma once

#include <string_view>

namespace agent_modules {

extern const std::string_view WORDS;
extern const std::string_view COMMON_NAMES;
extern const std::string_view GENERATED_NAMES;

}  // namespace agent_modules

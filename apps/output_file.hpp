// The name of a file that a command writes.
#pragma once

#include <string>
#include <vector>

namespace apps {

/// The ending of `path` in lower case, one of `endings`. Throws WrongInput for another: an output
/// must not replace a structure file by mistake.
std::string ending_of_output(const std::string& path, const std::vector<std::string>& endings);

}  // namespace apps

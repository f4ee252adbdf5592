#include "apps/output_file.hpp"

#include "apps/command_line.hpp"
#include "structure_ingest/base/words.hpp"

namespace apps {

std::string ending_of_output(const std::string& path, const std::vector<std::string>& endings) {
  const std::string name = structure_ingest::internal::ascii_lower_cased(path);
  std::string known;
  for (const std::string& ending : endings) {
    if (name.ends_with(ending) && name.size() > ending.size()) return ending;
    known += (known.empty() ? "" : " or ") + ending;
  }
  throw WrongInput("-o: the name must end with " + known + ": '" + path + "'");
}

}  // namespace apps

// The tool that draws.
#include <cstddef>
#include <string>

#include "server/answers.hpp"
#include "server/call.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace server {

namespace base = structure_ingest::internal;
using structure_ingest::View;

Answer picture_of_structure(Workspace& workspace, const Json& arguments, const Call& call) {
  const std::string path = file_to_read(workspace, arguments);
  const structure_ingest::IngestedStructure record = workspace.parser().parse(path);
  call.check();
  if (!record.ok) {
    const std::string why = structure_ingest::why_not_read(record);
    throw ToolError(std::string(NOT_READ) +
                    " The warnings are: " + (why.empty() ? "none" : in_quotes(why)) + ".");
  }
  const auto number = [&arguments](const char* name) { return arguments.at(name).get<int>(); };
  const auto view = arguments.at("view").get<std::string>();
  structure_ingest::PictureOptions options{.width_px = number("width_px"),
                                           .height_px = number("height_px"),
                                           .view = view == "along_a"   ? View::along_a
                                                   : view == "along_b" ? View::along_b
                                                   : view == "along_c" ? View::along_c
                                                                       : View::angled};
  for (const Json& atom : arguments.at("mark_atoms")) {
    options.marked.push_back(atom.get<std::size_t>());
    if (options.marked.back() >= record.symbols.size()) {
      throw ToolError("There is no atom " + atom.dump() + ": the file has " +
                      std::to_string(record.symbols.size()) +
                      ", counted from 0. Correct mark_atoms and call again.");
    }
  }
  Answer answer;
  answer.png = structure_ingest::picture_png(record, options);
  answer.lines = {line_on(record)};
  answer.data = {{"path", base::utf8_text(path)},
                 {"formula", record.formula},
                 {"natoms", record.natoms},
                 {"view", view}};
  answer.next_step =
      "Show the picture to the user. It is for looking at: no distance or coordinate may be read "
      "from it. check_structure tells what could be wrong with the structure.";
  return answer;
}

}  // namespace server

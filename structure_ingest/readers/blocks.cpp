#include "structure_ingest/readers/blocks.hpp"

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/readers/cif_blocks.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest {
namespace {

namespace base = internal;

/// A folder for one file that others read, removed at its end.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    path_ = (std::filesystem::temp_directory_path() / "structure-ingest-XXXXXX").string();
    if (mkdtemp(path_.data()) == nullptr) {
      throw std::filesystem::filesystem_error("mkdtemp", path_, {errno, std::generic_category()});
    }
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// Where the word before the name of a block begins.
std::size_t begin_of(const base::CifBlock& block, std::string_view text) {
  constexpr std::size_t WORD = std::string_view("data_").size();
  return static_cast<std::size_t>(block.name.data() - text.data()) - WORD;
}

/// The text of a block; empty when the file has none of this name, and then `names` holds those
/// that it has.
std::string_view text_of_block(std::string_view text, const std::string& name, std::string& names) {
  const base::CifFile file = base::cif_blocks(text);
  const std::vector<base::CifBlock>& blocks = file.blocks;
  const std::string wanted = base::ascii_lower_cased(name);
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    if (base::ascii_lower_cased(blocks[i].name) != wanted) {
      names.append(names.empty() ? "" : ", ").append(blocks[i].name);
      continue;
    }
    const std::size_t begin = begin_of(blocks[i], text);
    const std::size_t end = i + 1 < blocks.size() ? begin_of(blocks[i + 1], text) : text.size();
    return text.substr(begin, end - begin);
  }
  return {};
}

}  // namespace

IngestedStructure parse_cif_block(StructureParser& parser, const std::string& path,
                                  const std::string& name) {
  IngestedStructure record = parser.parse(path);
  const auto fail = [&record](std::string warning) {
    return IngestedStructure{.source_path = record.source_path,
                             .format = record.format,
                             .warnings = {std::move(warning)}};
  };
  if (record.format == "unknown") return record;
  if (record.format != "cif") return fail("Only CIF files have data blocks.");
  try {
    const std::string text = base::read_file(path);
    std::string names;
    const std::string_view block = text_of_block(text, name, names);
    if (block.empty()) {
      return fail("There is no data block " + base::quoted_form(name) + ": the file has " +
                  (names.empty() ? "none" : names) + ".");
    }
    const TemporaryFolder folder;
    const std::string alone = folder.path() + "/block.cif";
    base::replace_file(alone, block);
    IngestedStructure found = parser.parse(alone);
    found.source_path = record.source_path;
    return found;
  } catch (const std::system_error& error) {
    return fail(std::string("Could not read file: ") + error.what());
  }
}

}  // namespace structure_ingest

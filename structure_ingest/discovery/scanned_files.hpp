// What a scan for a project makes of the files that it finds.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "structure_ingest/base/api.hpp"

namespace structure_ingest {

/// A structure file that a scan found.
struct ScannedFile {
  std::string path;                    ///< absolute
  std::string_view discovery;          ///< the kind under which it would be offered
  std::optional<std::string> owner{};  ///< the folder of the project that it lies in
  bool taken = false;                  ///< whether it would be: not that of another project
};

/// Describes the files of one scan, and asks the system about each folder once.
class ScannedFiles {
 public:
  /// Both folders are resolved.
  STRUCTURE_INGEST_API ScannedFiles(const std::string& root, std::string project);
  STRUCTURE_INGEST_API ~ScannedFiles();

  STRUCTURE_INGEST_API ScannedFile describe(const std::string& path);

 private:
  struct Folders;
  std::string project_;
  std::string_view kind_;
  std::unique_ptr<Folders> folders_;
};

}  // namespace structure_ingest

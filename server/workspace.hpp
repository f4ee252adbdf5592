// What all calls of a server share: its roots, the projects below them, and the parser.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "server/roots.hpp"
#include "structure_ingest/readers/dispatch.hpp"

namespace server {

class Workspace {
 public:
  Workspace(Roots roots, bool is_read_only)
      : roots_(std::move(roots)), is_read_only_(is_read_only) {}

  const Roots& roots() const { return roots_; }
  bool is_read_only() const { return is_read_only_; }

  /// A parser for one call, at the beginning of a batch. It keeps the process that runs ASE.
  structure_ingest::StructureParser& parser();
  bool has_parser() const { return parser_.has_value(); }
  /// Ends the process that runs ASE.
  void drop_parser() { parser_.reset(); }

  /// The projects below the roots, resolved, in the order of their paths: searched for once, and
  /// again after `look_again`. `check` is called for each folder, and ends the search by throwing.
  const std::vector<std::string>& projects(const std::function<void()>& check);
  void look_again() { projects_.reset(); }

 private:
  Roots roots_;
  bool is_read_only_;
  std::optional<structure_ingest::StructureParser> parser_{};
  std::optional<std::vector<std::string>> projects_{};
};

/// Whether a folder is a project: it has a mark of one, or holds what ingestion writes.
bool is_project(const std::string& folder);

/// The folders below the roots that are projects. Links to folders, hidden folders, those that the
/// user lists as untrusted and those of tools are left out.
std::vector<std::string> find_projects(const Roots& roots, const std::function<void()>& check);

}  // namespace server

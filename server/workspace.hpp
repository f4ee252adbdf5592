// What all calls of a server share: its roots, the projects below them, and the parser.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "server/call.hpp"
#include "server/roots.hpp"
#include "structure_ingest/readers/dispatch.hpp"

namespace server {

class Workspace {
 public:
  Workspace(Roots roots, bool is_read_only,
            structure_ingest::StructureParserOptions parser_options = {})
      : roots_(std::move(roots)),
        is_read_only_(is_read_only),
        parser_options_(std::move(parser_options)) {}

  const Roots& roots() const { return roots_; }
  bool is_read_only() const { return is_read_only_; }
  /// `Roots::may_read`, for the library.
  structure_ingest::MayRead may_read() const {
    return [this](const std::string& path) { return roots_.may_read(path); };
  }

  /// A parser for one call, at the beginning of a batch. It keeps the process that runs ASE.
  structure_ingest::StructureParser& parser();
  bool has_parser() const { return parser_.has_value(); }
  /// Ends the process that runs ASE.
  void drop_parser() { parser_.reset(); }

  /// The folders below the roots that are projects, resolved, in the order of their paths: searched
  /// for once, and again after `drop_projects`. Links to folders, hidden folders, those that the
  /// user lists as untrusted and those of tools are left out. Throws Cancelled.
  const std::vector<std::string>& projects(const Call& call);
  void drop_projects() { projects_.reset(); }

 private:
  std::vector<std::string> find_projects(const Call& call) const;

  Roots roots_;
  bool is_read_only_;
  structure_ingest::StructureParserOptions parser_options_;
  std::optional<structure_ingest::StructureParser> parser_{};
  std::optional<std::vector<std::string>> projects_{};
};

}  // namespace server

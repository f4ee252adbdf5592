// The agent state as a Python mapping, as a hydration reaches it.
#pragma once

#include <pybind11/pybind11.h>

#include <cstddef>
#include <exception>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/host.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace structure_ingest::python {

namespace py = pybind11;

/// A mapping that the caller owns. It is changed in place: what was in it stays the same objects.
/// Values are converted one by one, when a hydration asks for them; those that are only kept are
/// never looked into. Make and destroy one with Python's lock held; the host takes the lock itself.
class State {
 public:
  /// What is read of the entries that are there: what names their sources, or all that JSON has.
  enum class Reading { sources, in_full };

  /// With `dry_run` no manifest is written.
  explicit State(py::object mapping, Reading reading = Reading::sources, bool dry_run = false)
      : mapping_(std::move(mapping)), reading_(reading), dry_run_(dry_run) {}

  /// It must not outlive the state.
  internal::StateHost host();

  /// The texts of the paths that the caller names. What fails here fails when the attachments are
  /// asked for: these are the first that a hydration offers behind them.
  std::vector<std::string> extra_paths(const py::handle& paths);

  /// After a hydration, the entries that were added.
  const py::list& taken() const { return taken_; }

  /// Takes structures out, as `forget_structures` does. The state must be read in full.
  ForgetOutcome forget(const std::vector<std::string>& names, const ForgetOptions& options);

  /// The text of "project_path"; empty when there is none.
  std::string project();

  /// Takes these entries, which a caller gives in any form, for those of the batch; returns how
  /// many there are.
  std::size_t set_entries(const py::handle& entries);

 private:
  const Json* value(std::string_view key);
  void learn_root(const std::string& folder);
  const Json& entry(std::size_t place);
  Json sources();
  std::string take_batch(const std::string& project, const std::vector<SourceEntry>& entries);
  py::list entries_at(const std::vector<std::size_t>& places) const;
  std::function<RelevanceReport()> assess(const std::vector<std::size_t>& places,
                                          const std::string& request);
  RelevanceReport read_report(const std::vector<std::size_t>& places);
  void refuse_missing_reasons(const std::vector<std::size_t>& places,
                              const std::set<std::string>& sources,
                              const std::map<std::string, std::exception_ptr>& no_reason);
  void take_out_replaced(const std::set<std::string>& source_keys);
  void drop_notes(const std::vector<std::string>& notes);
  void apply(const internal::StateChange& change);
  void report(const std::exception_ptr& error);
  py::object at(std::string_view key);

  py::object mapping_;
  Reading reading_;
  bool dry_run_;
  std::map<std::string, Json, std::less<>> values_;  // the latest of each key
  Json entry_;
  std::vector<py::object> entries_;  // of the batch
  py::list taken_;
  std::exception_ptr failed_paths_;
  py::list existing_;  // the mappings in "structure_sources"
  py::list notes_;     // the elements of "structure_notes"
  // What the assessor gave: members, since what reads it may be copied without Python's lock.
  py::object report_;
  py::object role_;  // its ROLE_UNRELATED
};

}  // namespace structure_ingest::python

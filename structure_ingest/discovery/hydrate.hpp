// The main entry point: the structures that a user supplied enter the agent state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <ranges>
#include <string>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json_fwd.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/ingest/batch.hpp"
#include "structure_ingest/ingest/skipped_file.hpp"

namespace structure_ingest {

struct SourceEntry;

/// What a hydration may be given besides the state.
struct HydrateOptions {
  /// Structure files that the caller names; they count as attached. A relative one lies under the
  /// project folder.
  std::vector<std::string> extra_paths{};
  /// The agent's other modules. Which folders are scanned is up to them.
  Collaborators collaborators = agent_modules();
  /// How many candidates are considered, as in `IngestOptions`.
  int limit = DEFAULT_LIMIT;
  BatchOptions batch{};  ///< how the files are read and written
  /// Whether a source that has changed since it was taken in is taken in anew: its new entry takes
  /// the place of the old ones and of the notes on them, and a note says so. One that cannot be
  /// read any more, or whose new structure is unrelated to the request, stays as it was.
  bool refresh = false;
  /// Whether naming a file once more among `extra_paths` mends what became of it: one that the
  /// notes of the state tell of as ignored is taken whatever the request says, and one that did not
  /// exist and can be read now takes the place of its entry. The notes on that go.
  bool named_again = false;
  /// Whether each finding that is an error or a warning becomes a note as well, behind the others:
  /// for an assistant that reads nothing but its state.
  bool note_findings = false;
};

/// The entries at the head of a state's "structure_sources", looked up there at each use: the very
/// objects that the state holds, whatever else in it has changed since. The state must outlive it.
class NewEntries {
 public:
  /// The first `count` entries of `state`.
  NewEntries(Json& state, std::size_t count) : state_(&state), count_(count) {}

  /// How many there are: fewer than were added when some have been taken out of the list since.
  STRUCTURE_INGEST_API std::size_t size() const;
  /// Whether there is none.
  bool empty() const { return size() == 0; }
  /// The first one; the range is valid until the state's list changes.
  STRUCTURE_INGEST_API Json* begin() const;
  /// Behind the last one.
  STRUCTURE_INGEST_API Json* end() const;
  /// The one at a place below `size()`.
  STRUCTURE_INGEST_API Json& operator[](std::size_t place) const;

 private:
  Json* state_;
  std::size_t count_;
};

/// Finds the structure files that the state and the caller name, ingests the first eight into the
/// state's project, drops those unrelated to the request, and puts the new ones at the head of
/// state["structure_sources"], with notes in state["structure_notes"].
///
/// Returns the new entries; none when there are none, and none of a dry run. `state` is a mapping
/// that the caller owns; it must not be used by two calls at once. Throws nothing: an error that no
/// step expects is reported through `record_suppressed_error`, and the result is empty.
STRUCTURE_INGEST_NO_DANGLING STRUCTURE_INGEST_API NewEntries
hydrate_user_structures(Json& state, const HydrateOptions& options = {});

/// A structure that was left out of the state, since it is unrelated to the request.
struct DroppedStructure {
  std::string name;           ///< of its source file
  std::string formula;        ///< empty when it has none
  std::string reason;         ///< the assessor's; may be empty
  std::string source_file{};  ///< where it came from
};

/// A file that was read again although the state has an entry of it, which stays as it is.
struct KnownSource {
  std::string path;         ///< of the file
  bool ok = false;          ///< whether it could be read when it was taken in
  bool changed = false;     ///< whether it gives something else than it gave then
  std::string problem{};    ///< why it gives no structure now; empty when it does
  std::string unrelated{};  ///< why its new content was not taken: the assessor's reason
  /// The source of that entry where its name is another, by letter case or the direction of
  /// slashes, which are left aside. Then nothing is compared.
  std::string taken_for{};
  /// Whether its copy had been changed, and was written anew as it was.
  bool copy_restored = false;
};

/// A structure whose place a new one has taken, since their source had changed.
struct ReplacedStructure {
  std::string source_file;  ///< of both
  std::string formula;      ///< of the old one
  std::int64_t natoms = 0;  ///< likewise
  std::string path;         ///< of its canonical copy, which stays, or its source
};

/// What became of the files that a hydration considered.
struct HydrateOutcome {
  std::vector<SourceEntry> taken;             ///< as they stand at the head of the state's list
  std::vector<DroppedStructure> dropped;      ///< as unrelated to the request
  std::vector<KnownSource> known;             ///< left out since the state has them
  std::vector<SkippedFile> skipped{};         ///< passed over without being read
  std::vector<ReplacedStructure> replaced{};  ///< by one of `taken`
  std::vector<DroppedStructure> undone{};     ///< would have been dropped, but were named again
  RelevanceReport report;                     ///< the assessor's; empty if it was not asked
  std::string manifest_error{};  ///< why the manifest could not be written, if it was not
  std::string why_no_ase{};      ///< why ASE could not be used for a file; otherwise empty
  std::exception_ptr error{};    ///< what ended the hydration; then nothing counts as taken
};

/// The same with a typed result, for those who show it.
STRUCTURE_INGEST_API HydrateOutcome hydrate(Json& state, const HydrateOptions& options = {});

}  // namespace structure_ingest

/// \cond
// Its iterators point into the state, so that they outlive it: a std::span can be made of a result.
template <>
inline constexpr bool std::ranges::enable_borrowed_range<structure_ingest::NewEntries> = true;
/// \endcond

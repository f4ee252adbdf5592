#include "structure_ingest/discovery/hydrate.hpp"

#include <span>
#include <stdexcept>
#include <system_error>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/discovery/candidates.hpp"
#include "structure_ingest/discovery/state_host.hpp"
#include "structure_ingest/ingest/source_entry.hpp"
#include "tests/fake_modules.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest {
namespace {

using Paths = std::vector<std::string>;

const char* const HELIUM = "1\n\nHe 0 0 0\n";
const std::string NO_CELL =
    "No cell/lattice information in this XYZ file. A periodic QELDA calculation needs "
    "domain.latvec: confirm the cell with the user or treat the system as a molecule in a vacuum "
    "box.";

struct Hydrate : testing::Test {
  Hydrate() : modules(tests::fake_modules(calls)) {
    modules.inventory_workspace = [this](const std::string& root) {
      calls->inventoried.push_back(root);
      return WorkspaceInventory{{"found.xyz", "notes.txt", root + "/found.xyz"}};
    };
    w.make_folder("ws/proj");
    state = {{"project_path", w / "ws/proj"}};
  }
  /// The paths offered, and those of them with the name of a structure file.
  internal::CandidateList discover(const Paths& extra_paths = {}) {
    internal::PathResolver resolver;
    const std::string project = resolver.resolve(state["project_path"].get<std::string>());
    const bool sweeps = internal::is_sweep_allowed(project, modules);
    std::vector<Json> entries;
    const internal::StateHost host = internal::json_host(state, entries, modules, false);
    internal::CandidateList offered =
        internal::offer_named(host, extra_paths, project, sweeps, resolver);
    const internal::ScanRoots roots = internal::find_scan_roots(host, project);
    if (sweeps) internal::offer_scanned(offered, roots.folders, project, modules, resolver);
    internal::skip_other_files(offered.candidates, project);
    return offered;
  }
  Paths texts(const Paths& extra_paths = {}) {
    Paths paths;
    for (const internal::Candidate& file : discover(extra_paths).candidates) {
      paths.push_back(file.text);
    }
    return paths;
  }
  std::string kind_of(const std::string& path, const Paths& extra_paths = {}) {
    const auto discovery = discover(extra_paths).kinds;
    const auto found = discovery.find(internal::source_identity(path));
    return found == discovery.end() ? "none" : found->second;
  }
  NewEntries hydrate_into(Json& other, const Paths& extra_paths) const {
    return hydrate_user_structures(other, {.extra_paths = extra_paths, .collaborators = modules});
  }
  NewEntries hydrate(const Paths& extra_paths = {}) { return hydrate_into(state, extra_paths); }

  tests::ScratchFolder w;
  std::shared_ptr<tests::Calls> calls = std::make_shared<tests::Calls>();
  Collaborators modules;
  Json state;
};

TEST_F(Hydrate, GathersCandidatesInOrder) {
  state["attachments"] = {
      {{"path", " att.xyz\n"}}, {{"path", ""}}, "plain.xyz", {{"name", "x"}}, 7};
  state["attached_workspace"] = {
      {"project_path", w / "ws/attached"},
      {"inventory", {{"structure_files", {"in.cif", "/abs/POSCAR", nullptr}}}}};
  state["project_resolution"] = {{"requested_path", w / "ws/proj"}};
  state["selected_workroot"] = w / "ws";
  state["source_workspace_root"] = w.make_folder("beyond");
  EXPECT_EQ(texts({"  ", "", "extra.xyz", "extra.xyz", "notes.txt", "./extra.xyz"}),
            (Paths{"extra.xyz", "./extra.xyz", "att.xyz", w / "ws/attached/in.cif", "/abs/POSCAR",
                   w / "ws/proj/found.xyz", w / "ws/found.xyz", w / "beyond/found.xyz"}));
  EXPECT_EQ(calls->inventoried, (Paths{w / "ws/proj", w / "ws", w / "beyond"}));
}

TEST_F(Hydrate, RemembersTheStrongestKind) {
  state["attached_workspace"] = {
      {"inventory", {{"structure_files", {w / "ws/proj/found.xyz", "only.xyz"}}}}};
  state["selected_workroot"] = w / "ws";
  state["source_workspace_root"] = w.make_folder("elsewhere");
  const std::string found = w / "ws/found.xyz";
  EXPECT_EQ(kind_of(found), "project_folder");
  EXPECT_EQ(kind_of(found, {found}), "attachment");
  EXPECT_EQ(kind_of(w / "elsewhere/found.xyz"), "workspace_scan");
  EXPECT_EQ(kind_of(w / "ws/proj/found.xyz"), "workspace_scan");
  EXPECT_EQ(kind_of(w / "ws/proj/only.xyz"), "workspace_scan");
  state["project_resolution"] = {{"requested_path", w / "ws/proj"}};
  EXPECT_EQ(kind_of(w / "ws/proj/found.xyz"), "project_folder");
  EXPECT_EQ(texts({std::string("nul\0.xyz", 8)})[0], std::string("nul\0.xyz", 8));
}

TEST_F(Hydrate, SweepsAllButUntrustedProjects) {
  state["attached_workspace"] = {{"inventory", {{"structure_files", {"in.xyz"}}}}};
  state["selected_workroot"] = w / "ws";
  const auto says = [this](const char* text) {
    return [this, text](const std::string& folder) {
      EXPECT_EQ(folder, w / "ws/proj");
      return TrustRecord{text};
    };
  };
  const Paths roots = {w / "ws"};
  const std::tuple<Collaborators::TrustStateFor, std::size_t, Paths> cases[] = {
      {says("trusted"), 3, roots},
      {says("UNTRUSTED"), 3, roots},
      {nullptr, 3, roots},
      {[](const auto&) -> TrustRecord { throw 1; }, 3, roots},
      {says("untrusted"), 1, {}}};
  for (const auto& [trust, entries, inventoried] : cases) {
    modules.trust_state_for = trust;
    calls->inventoried.clear();
    Json swept = state;
    EXPECT_EQ(hydrate_into(swept, {"extra.xyz"}).size(), entries);
    EXPECT_EQ(calls->inventoried, inventoried);
  }
  // The root of the attached workspace is still resolved.
  state["attached_workspace"]["project_path"] = "~no such user";
  EXPECT_TRUE(hydrate({"extra.xyz"}).empty());
  EXPECT_EQ(calls->suppressed.size(), 1U);
}

TEST_F(Hydrate, ConsidersTheFirstEight) {
  const std::string other = w.write("ws/other/7.xyz", HELIUM);
  w.write("ws/other/.strataquill_state.json", "{}");
  state["attachments"] = {{{"path", other}}, {{"path", "8.xyz"}}};
  const NewEntries entries =
      hydrate({"0.xyz", "1.xyz", "2.xyz", "3.xyz", "4.xyz", "5.xyz", "6.xyz", "6.xyz"});
  ASSERT_EQ(entries.size(), 8U);
  EXPECT_EQ(entries[7]["source_path"], other);  // in another project, but attached
  EXPECT_EQ(entries[7]["discovery"], "attachment");
  // The kind is recorded for the path below the current folder; the path in the project has none.
  for (const char* key : {"attachments", "structure_sources"}) state.erase(key);
  EXPECT_TRUE(hydrate({"../other/7.xyz"}).empty());
}

TEST_F(Hydrate, ExpandsTheHomeDirectoryButNotInTheProject) {
  const tests::CurrentFolder current(w.make_folder("here"));
  const tests::Environment home("HOME", w.path());
  state["project_path"] = "~/proj";
  state["project_resolution"] = {{"requested_path", "~no such user"}};  // ignored
  state["selected_workroot"] = "~/ws";
  state["source_workspace_root"] = "~/missing";
  EXPECT_EQ(hydrate({"a.xyz"}).size(), 2U);
  EXPECT_EQ(state["structure_sources"][0]["source_path"], w / "here/~/proj/a.xyz");
  EXPECT_EQ(state["structure_sources"][1]["source_path"], w / "ws/found.xyz");
  EXPECT_EQ(calls->inventoried, Paths{w / "ws"});
  for (const char* key : {"project_path", "structure_sources"}) state.erase(key);
  EXPECT_EQ(hydrate({"~/b.xyz", "a.xyz"}).size(), 3U);
  EXPECT_EQ(state["structure_sources"][0]["source_path"], w / "b.xyz");
  EXPECT_EQ(state["structure_sources"][1]["source_path"], w / "here/a.xyz");
  state["structure_notes"] = 5;
  EXPECT_TRUE(hydrate({"c.xyz"}).empty());
  EXPECT_EQ(calls->suppressed.at(0).first, Json());  // not the folder used in its place
}

TEST_F(Hydrate, LearnsTheFolderAboveTheAgentsOutputs) {
  state["project_path"] = w.make_folder("root/StrataQuill_Outputs/proj");
  modules.inventory_workspace = [this](const std::string& root) -> WorkspaceInventory {
    calls->inventoried.push_back(root);
    throw std::runtime_error("no inventory");  // the learnt root stays in the state
  };
  hydrate();
  EXPECT_EQ(state["source_workspace_root"], w / "root");
  hydrate();
  EXPECT_EQ(calls->inventoried, (Paths{w / "root", w / "root"}));
  for (const Json& present : {Json(), Json(w.path())}) {  // an existing key is not changed
    state["source_workspace_root"] = present;
    hydrate();
    EXPECT_EQ(state["source_workspace_root"], present);
  }
  state.erase("source_workspace_root");
  state["selected_workroot"] = w / "root";  // a root set for another reason is not learnt
  hydrate();
  EXPECT_FALSE(state.contains("source_workspace_root"));
  state.erase("selected_workroot");
  modules.trust_state_for = [](const auto&) { return TrustRecord{"untrusted"}; };
  hydrate();
  EXPECT_EQ(state["source_workspace_root"], w / "root");
}

TEST_F(Hydrate, MergesTheNewEntriesAndNotes) {
  const std::string good = w.write("good.xyz", HELIUM);
  const std::string also_good = w.write("also good.xyz", HELIUM);
  const std::string bad = w.write("bad.xyz", "1\nLattice=\"1;\"\nQq 1\n");
  const Json old = {{"metadata", Json::object()}, {"source_path", "/old.xyz"}};
  state["structure_sources"] = {old, "no mapping", 5};
  state["structure_notes"] = {"kept", "kept", 3};
  const Json* const old_entry = &state["structure_sources"][0];
  const std::string* const old_text = (*old_entry)["source_path"].get_ptr<const Json::string_t*>();

  const NewEntries entries = hydrate({good, also_good, bad});
  ASSERT_EQ(entries.size(), 3U);
  const Json& sources = state["structure_sources"];
  EXPECT_EQ(sources.size(), 4U);
  EXPECT_EQ(sources[3], old);
  EXPECT_EQ(sources[3]["source_path"].get_ptr<const Json::string_t*>(), old_text);  // moved
  EXPECT_EQ(&entries[0], &sources[0]);
  const auto note_on = [](const Json& entry) {
    return "User structure ingested deterministically: He (1 atoms) -> " +
           entry["path"].get<std::string>() + ".";
  };
  Json notes = {"kept",
                "kept",
                3,
                note_on(sources[0]),
                NO_CELL,
                note_on(sources[1]),
                "Structure file could not be parsed: bad.xyz (Extended-XYZ Lattice field could not "
                "be parsed.; Malformed atom line: 'Qq 1')"};
  EXPECT_EQ(state["structure_notes"], notes);

  const Json before = state;
  EXPECT_TRUE(hydrate({good, also_good, bad}).empty());
  EXPECT_EQ(state, before);
  EXPECT_EQ(calls->written.size(), 2U);  // still ingested again
  EXPECT_EQ(hydrate({w.write("third.xyz", HELIUM)}).size(), 1U);
  notes.push_back(note_on(sources[0]));
  EXPECT_EQ(state["structure_notes"], notes);  // the missing cell is noted once
}

TEST_F(Hydrate, ReturnsTheObjectsOfTheStateWhereverTheyGo) {
  const NewEntries entries = hydrate({w.write("a.xyz", HELIUM), w.write("b.xyz", HELIUM)});
  for (int i = 0; i < 100; ++i) state["key" + std::to_string(i)] = i;  // make the state reallocate
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(&entries[1], &state["structure_sources"][1]);
  const std::span<Json> none = hydrate({});
  EXPECT_TRUE(none.empty());
  entries[0]["formula"] = "edited";
  EXPECT_EQ(state["structure_sources"][0]["formula"], "edited");
  state["structure_sources"].erase(0);
  EXPECT_EQ(entries.size(), 1U);
  state.erase("structure_sources");
  EXPECT_TRUE(entries.empty());
  EXPECT_EQ(entries.begin(), entries.end());
}

TEST_F(Hydrate, ReportsTheOutcomeOfEachFile) {
  const std::string same = w.write("same.xyz", HELIUM);
  const std::string edited = w.write("edited.xyz", HELIUM);
  Paths told;
  const HydrateOptions options{.extra_paths = {same, edited},
                               .collaborators = modules,
                               .batch = {.progress = [&told](auto, auto, const std::string& path) {
                                 told.push_back(path);
                               }}};
  EXPECT_EQ(structure_ingest::hydrate(state, options).taken.size(), 2U);
  EXPECT_EQ(told, (Paths{same, edited}));
  w.write("edited.xyz", "1\n\nNe 0 0 0\n");
  const HydrateOutcome again = structure_ingest::hydrate(state, options);
  EXPECT_TRUE(again.taken.empty());
  ASSERT_EQ(again.known.size(), 2U);
  EXPECT_EQ(again.known[0].path, same);
  EXPECT_FALSE(again.known[0].changed);
  EXPECT_EQ(again.known[1].path, edited);
  EXPECT_TRUE(again.known[1].changed);
  EXPECT_FALSE(again.known[0].copy_restored);
  const std::string copy = state["structure_sources"][0]["path"].get<std::string>();
  const std::string text = tests::content_of(w / ("ws/proj/" + copy));
  w.write("ws/proj/" + copy, "edited");
  EXPECT_TRUE(structure_ingest::hydrate(state, options).known[0].copy_restored);
  EXPECT_EQ(tests::content_of(w / ("ws/proj/" + copy)), text);
  // The newest entry of a source counts; comparing needs both fingerprints.
  state["structure_sources"].push_back(state["structure_sources"][1]);
  state["structure_sources"][1]["sha256"] = "another";
  state["structure_sources"][2]["sha256"] = "";
  EXPECT_TRUE(structure_ingest::hydrate(state, options).known[1].changed);
  // Nothing can be compared with an entry that has neither fingerprint nor copy.
  state["structure_sources"][1].erase("sha256");
  state["structure_sources"][1].erase("path");
  EXPECT_FALSE(structure_ingest::hydrate(state, options).known[1].changed);
  // One that gave no structure then, and does now, has changed though its bytes are the same.
  state["structure_sources"][0]["ok"] = false;
  EXPECT_TRUE(structure_ingest::hydrate(state, options).known[0].changed);
  const Json before = state;
  const std::size_t written = calls->written.size();
  HydrateOptions renewing{.extra_paths = {same}, .collaborators = modules};
  renewing.refresh = true;
  renewing.batch.dry_run = true;
  const HydrateOutcome dry = structure_ingest::hydrate(state, renewing);
  EXPECT_EQ(dry.taken.size(), 1U);
  EXPECT_EQ(dry.replaced.size(), 1U);
  EXPECT_TRUE(hydrate_user_structures(state, renewing).empty());
  EXPECT_EQ(state, before);
  EXPECT_EQ(calls->written.size(), written);
  renewing.batch.dry_run = false;
  EXPECT_EQ(hydrate_user_structures(state, renewing).size(), 1U);
  EXPECT_EQ(state["structure_sources"][0]["ok"], true);
  std::filesystem::remove(same);
  EXPECT_FALSE(structure_ingest::hydrate(state, options).known[0].changed);

  modules.atomic_write_json = [](const auto&, const auto&) {
    throw std::system_error(ENOSPC, std::generic_category(), "manifest");
  };
  EXPECT_EQ(structure_ingest::hydrate(state, {.extra_paths = {same}, .collaborators = modules})
                .manifest_error,
            "manifest: No space left on device");
  state["structure_notes"] = 5;
  const HydrateOutcome failed = structure_ingest::hydrate(
      state, {.extra_paths = {w.write("other.xyz", HELIUM)}, .collaborators = modules});
  EXPECT_TRUE(failed.error);
  EXPECT_TRUE(failed.taken.empty());
}

TEST_F(Hydrate, NotesFindingsWhenAskedTo) {
  const std::string path = w.write("close.xyz", "2\n\nH 0 0 0\nH 0 0 0.1\n");
  HydrateOptions options{.extra_paths = {path}, .collaborators = modules};
  Json plain = state;
  structure_ingest::hydrate(plain, options);
  options.note_findings = true;
  const HydrateOutcome outcome = structure_ingest::hydrate(state, options);
  ASSERT_FALSE(outcome.taken.at(0).findings->empty());
  EXPECT_EQ(outcome.taken[0].findings->at(0).code, "overlapping_atoms");
  Json expected = plain["structure_notes"];
  expected.push_back("Finding on 'close.xyz' (error, overlapping_atoms): " +
                     outcome.taken[0].findings->at(0).message);
  EXPECT_EQ(state["structure_notes"], expected);
}

TEST_F(Hydrate, RecognisesASourceInAnyCaseAndWithAnySlashes) {
  const std::string path = w.write("Stra\u00DFe.xyz", HELIUM);
  std::string other = w / "STRASSE.XYZ";
  std::replace(other.begin(), other.end(), '/', '\\');
  state["structure_sources"] = {{{"metadata", {{"source_file", other}}}}};
  EXPECT_TRUE(hydrate({path}).empty());
  EXPECT_FALSE(state.contains("structure_notes"));
  state["structure_sources"] = {{{"metadata", {{"source_file", other + " "}}}},
                                {{"source_path", " "}}};
  EXPECT_EQ(hydrate({path}).size(), 1U);
  state["structure_sources"] = {{{"metadata", {{"source_file", ""}}}, {"source_path", other}}};
  EXPECT_TRUE(hydrate({path}).empty());
}

TEST_F(Hydrate, NotesDroppedStructures) {
  const std::string path = w.write("a.xyz", HELIUM);
  state["user_request"] = " iron\n";
  state["structure_sources"] = {1, {{"source_path", "/old.xyz"}}};
  modules.assess_structure_relevance = [this](const auto& entries, const auto& request,
                                              const Json& asked) {
    EXPECT_EQ(request, "iron");
    EXPECT_EQ(&asked, &state);
    return RelevanceReport{
        {{entries[0]["path"].template get<std::string>(), "unrelated", 0.9, "no iron"}}};
  };
  EXPECT_TRUE(hydrate({path}).empty());
  EXPECT_EQ(state["structure_sources"], (Json::parse(R"([{"source_path": "/old.xyz"}])")));
  EXPECT_EQ(state["structure_notes"], Json{"Ignored 'a.xyz' (He): no iron."});
  ASSERT_EQ(calls->written.size(), 1U);
  EXPECT_EQ(calls->written[0].second["structures"].size(), 1U);
  // Notes on dropped structures come first.
  modules.assess_structure_relevance = [](const auto& entries, const auto&, const auto&) {
    return RelevanceReport{
        {{entries[1]["path"].template get<std::string>(), "unrelated", 0.8, ""}}};
  };
  state["structure_notes"] = nullptr;
  EXPECT_EQ(hydrate({"missing.xyz", path}).size(), 1U);
  EXPECT_EQ(state["structure_notes"],
            (Json{"Ignored 'a.xyz' (He): it does not match the requested material.",
                  "Structure file could not be parsed: missing.xyz (File does not exist.)"}));
}

TEST_F(Hydrate, ReportsUnexpectedErrorsAndReturnsNothing) {
  const std::string path = w.write("a.xyz", HELIUM);
  const std::pair<const char*, Json> cases[] = {
      {"attachments", true},
      {"structure_sources", 5},
      {"structure_notes", 2.5},
      {"structure_sources", Json::parse(R"([{"metadata": "text"}])")},
      {"project_path", std::string("nul\0", 4)},
      {"attached_workspace", {{"project_path", "~no such user"}}},
      {"attachments", Json::parse(R"([{"path": "nul\u0000.xyz"}])")},
  };
  for (const auto& [key, value] : cases) {
    Json broken = state;
    broken[key] = value;
    calls->suppressed.clear();
    EXPECT_TRUE(hydrate_into(broken, {path}).empty());
    ASSERT_EQ(calls->suppressed.size(), 1U) << key << " " << value;
    EXPECT_EQ(calls->suppressed[0].first, broken["project_path"]);
    EXPECT_EQ(calls->suppressed[0].second.node, "structure_ingest");
    EXPECT_EQ(calls->suppressed[0].second.op, "hydrate_user_structures");
    EXPECT_TRUE(calls->suppressed[0].second.exc);
  }
  // Without candidates the sources are not read.
  Json idle = {{"project_path", w / "ws/proj"}, {"structure_sources", 5}};
  calls->suppressed.clear();
  hydrate_into(idle, {"notes.txt"});
  EXPECT_TRUE(calls->suppressed.empty());
  modules.inventory_workspace = nullptr;
  EXPECT_EQ(hydrate({path}).size(), 1U);  // no scan is due
  state["selected_workroot"] = w.path();
  calls->suppressed.clear();
  EXPECT_TRUE(hydrate({path}).empty());
  EXPECT_EQ(calls->suppressed.size(), 1U);
  modules.record_suppressed_error = [](const auto&, const auto&) { throw std::logic_error("x"); };
  EXPECT_TRUE(hydrate({path}).empty());
  Json no_mapping = Json::array();
  EXPECT_TRUE(hydrate_into(no_mapping, {}).empty());
}

// Nothing happens after an interruption, whichever module it comes from.
TEST_F(Hydrate, AnInterruptionEndsTheCall) {
  const std::string water = w.write("water.xyz", HELIUM);
  const auto interrupt = [](const auto&...) -> TrustRecord { throw Interruption(); };
  const auto expect_end = [&](const Collaborators& interrupted) {
    EXPECT_THROW(
        structure_ingest::hydrate(state, {.extra_paths = {water}, .collaborators = interrupted}),
        Interruption);
    EXPECT_FALSE(state.contains("structure_sources"));
  };
  Collaborators interrupted = modules;
  interrupted.trust_state_for = interrupt;
  expect_end(interrupted);
  EXPECT_FALSE(std::filesystem::exists(w / "ws/proj/project_root"));
  interrupted = modules;
  interrupted.record_suppressed_error = [](const auto&...) { throw Interruption(); };
  state["attachments"] = 5;
  expect_end(interrupted);
}

// For any state: either the structure is ingested, or one error is reported, never both, and
// nothing else in the state changes.
TEST_F(Hydrate, EveryKeyMayHoldEveryKindOfValue) {
  const std::string path = w.write("a.xyz", HELIUM);
  const tests::CurrentFolder current(w.path());  // relative projects are made here
  const Json kinds = Json::parse(R"([null, true, false, 0, 1, -1.5, 1e300, "", " ", "text", "/",
      "~nobody", "a\u0000b", [], [null], [1], ["a"], [[]], [{}], [{"path": 1}], [{"path": []}],
      {}, {"a": 1}, {"path": {}}, {"inventory": 5}, {"inventory": {"structure_files": 5}},
      {"inventory": {"structure_files": {"b.xyz": 1}}}, {"project_path": []},
      {"requested_path": [1]}, [{"metadata": 5}], [{"source_path": [1]}]])");
  for (const char* key :
       {"project_path", "attachments", "attached_workspace", "project_resolution",
        "selected_workroot", "source_workspace_root", "structure_sources", "structure_notes",
        "project_brief", "source_query", "user_request", "unknown"}) {
    for (const Json& kind : kinds) {
      Json odd = state;
      odd[key] = kind;
      if (kind == "/" && odd["project_path"] == "/") continue;  // tests must not write there
      const Json before = odd;
      calls->suppressed.clear();
      const bool is_empty = hydrate_into(odd, {path}).empty();
      EXPECT_EQ(is_empty, calls->suppressed.size() == 1) << key << ": " << kind;
      for (const auto& [name, value] : before.items()) {
        if (name == "structure_sources" || name == "structure_notes") continue;
        EXPECT_EQ(odd[name], value) << key << ": " << kind;
      }
    }
  }
}

TEST_F(Hydrate, AMalformedNoteListFailsAfterTheSources) {
  state["structure_notes"] = 5;
  EXPECT_TRUE(hydrate({w.write("a.xyz", HELIUM)}).empty());
  EXPECT_EQ(state["structure_sources"].size(), 1U);
  EXPECT_EQ(state["structure_notes"], 5);
}

}  // namespace
}  // namespace structure_ingest

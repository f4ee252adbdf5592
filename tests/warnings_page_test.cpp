// The page of warnings and notes lists every text that the library produces, and no other.
#include <map>
#include <sstream>

#include "structure_ingest/readers/ase.hpp"
#include "structure_ingest/structure_ingest.hpp"
#include "tests/fake_modules.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest {
namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

const std::string ROOT = STRUCTURE_INGEST_SOURCE_DIR;

std::string page() {
  return tests::content_of(ROOT + "/docs/warnings.md");
}

/// The texts in the first column of the tables under `heading`, up to the next heading.
Texts texts_under(const std::string& heading) {
  std::istringstream lines(page().substr(page().find("## " + heading) + 3));
  Texts texts;
  for (std::string line; std::getline(lines, line) && !line.starts_with("## ");) {
    if (line.starts_with("| `")) texts.push_back(line.substr(3, line.find('`', 3) - 3));
  }
  return texts;
}

/// Whether `text` matches `pattern`, in which an ellipsis stands for any text.
bool fits(std::string_view text, std::string_view pattern) {
  constexpr std::string_view anything = "…";
  const std::size_t at = pattern.find(anything);
  if (at == std::string_view::npos) return text == pattern;
  if (text.substr(0, at) != pattern.substr(0, at)) return false;
  pattern.remove_prefix(at + anything.size());
  for (text.remove_prefix(at);; text.remove_prefix(1)) {
    if (fits(text, pattern)) return true;
    if (text.empty()) return false;
  }
}

/// Each produced text has exactly one line on the page, and each line a produced text.
void expect_listed(const Texts& produced, const Texts& listed) {
  std::map<std::string, int> uses;
  for (const std::string& text : produced) {
    int lines = 0;
    for (const std::string& pattern : listed) {
      if (!fits(text, pattern)) continue;
      ++lines;
      ++uses[pattern];
    }
    EXPECT_EQ(lines, 1) << text;
  }
  for (const std::string& pattern : listed) EXPECT_GE(uses[pattern], 1) << pattern;
}

void add(Texts& texts, const Texts& more) {
  texts.insert(texts.end(), more.begin(), more.end());
}

/// The warnings for XYZ files with these contents, and for a few paths without a structure file.
Texts reader_warnings(const tests::ScratchFolder& folder) {
  Texts texts;
  for (const char* content :
       {"1\n\n", "one\n\nH 0 0 0\n", "20001\n\nH 0 0 0\n", "1\n\nH 0 0\n", "1\n\nX 0 0 0\n",
        "1\n\nH 0 0 a\n", "2\n\nH 0 0 0\n", "1\nLattice=\"a\"\nH 0 0 0\n"}) {
    add(texts, parse_structure_file(folder.write("a.xyz", content)).warnings);
  }
  for (const std::string& path : {folder / "missing.xyz", folder.write("a.txt", "1"),
                                  folder.link("made_up.xyz", "/proc/version")}) {
    add(texts, parse_structure_file(path).warnings);
  }
  const std::string frames = folder.write("f.xyz", "1\n\nH 0 0 0\n1\n\nH 0 0\n");
  add(texts, parse_xyz_frame(frames, 2).warnings);
  add(texts, parse_xyz_frame(frames, 3).warnings);
  StructureParser parser;
  const auto add_frame = [&texts](const IngestedStructure& record, const std::string&) {
    add(texts, record.warnings);
  };
  visit_frames(parser, folder.write("POSCAR", "H\n5\n1 0 0\n0 1 0\n0 0 1\nH\n1\nDirect\n0 0 0\n"),
               {.number = 2}, add_frame);
  add(texts, parse_cif_block(parser, frames, "one").warnings);
  add(texts, parse_cif_block(parser, folder.write("a.cif", "data_a"), "one").warnings);
  return texts;
}

Texts ase_warnings() {
  using Failure = internal::AseAnswer::Failure;
  Texts texts;
  for (const internal::AseAnswer& answer :
       {internal::AseAnswer{.failure = Failure::unavailable},
        {.failure = Failure::read, .message = "no data block"},
        {.failure = Failure::extraction, .message = "no positions"},
        {.labels = Texts{"X"}},
        {.labels = Texts{}, .positions_ang = std::vector<Vector3>{}}}) {
    const auto answered = [&answer](const std::string&) { return answer; };
    add(texts, internal::parse_with_ase("a.cif", "cif", answered).warnings);
  }
  return texts;
}

TEST(WarningsPage, ListsTheWarnings) {
  const tests::ScratchFolder folder;
  Texts texts = reader_warnings(folder);
  add(texts, ase_warnings());
  folder.write("project/project_root", "a file in the place of the folder");
  const Json entry =
      ingest_structure_files(folder / "project", {folder.write("he.xyz", "1\n\nHe 0 0 0\n")})[0];
  add(texts, {entry["warnings"].back().get<std::string>()});
  expect_listed(texts, texts_under("Warnings on records and source entries"));
}

TEST(WarningsPage, ListsTheNotes) {
  const tests::ScratchFolder folder;
  HydrateOptions options{.collaborators = tests::fake_modules(std::make_shared<tests::Calls>())};
  options.collaborators.assess_structure_relevance = [](const auto&, const auto&, const auto&) {
    return RelevanceReport{{{"he.xyz", "unrelated", 1, ""}, {"bad.xyz", "unrelated", 1, "why"}}};
  };
  options.extra_paths = {folder.write("he.xyz", "1\n\nHe 0 0 0\n"), folder.write("bad.xyz", ""),
                         folder.write("h.xyz", "1\nLattice=\"1 0 0 0 1 0 0 0 1\"\nH 0 0 0\n"),
                         folder.write("empty.xyz", "")};
  Json state = {{"project_path", folder / "project"}, {"user_request", "hydrogen"}};
  options.note_findings = true;
  hydrate_user_structures(state, options);
  Texts notes = state["structure_notes"];
  EXPECT_GT(notes.size(), 4U);  // with those on findings
  folder.write("h.xyz", "1\nLattice=\"2 0 0 0 2 0 0 0 2\"\nH 0 0 0\n");
  options.refresh = true;
  hydrate_user_structures(state, options);
  add(notes, Texts(state["structure_notes"]));
  expect_listed(notes, texts_under("Notes in the agent state"));
  EXPECT_EQ(notes[0], "Ignored 'he.xyz' (He): it does not match the requested material.");
  EXPECT_EQ(notes[1], "Ignored 'bad.xyz' (unknown formula): why.");
}

/// The string literals of a source file that contain words, without comments and includes.
Texts sentences_in(const std::string& file) {
  Texts texts;
  std::istringstream lines(tests::content_of(file));
  for (std::string line; std::getline(lines, line);) {
    line.resize(std::min(line.find("//"), line.size()));
    if (line.starts_with("#")) continue;
    for (std::size_t start = 0; (start = line.find('"', start)) != std::string::npos;) {
      std::size_t end = ++start;
      while (end < line.size() && line[end] != '"') end += line[end] == '\\' ? 2 : 1;
      const std::string text = line.substr(start, end - start);
      const bool has_words = text.find(' ') != std::string::npos &&
                             text.find_first_of("abcdefghijklmnopqrstuvwxyz") != std::string::npos;
      if (has_words) texts.push_back(text);
      start = end + 1;
    }
  }
  return texts;
}

// Finds new texts in the sources that the tests above do not produce.
TEST(WarningsPage, HoldsEverySentenceOfTheSources) {
  const std::string text = page();
  int sentences = 0;
  for (const char* layer : {"readers", "ingest", "discovery"}) {
    for (const auto& entry : fs::directory_iterator(ROOT + "/structure_ingest/" + layer)) {
      const std::string name = entry.path().filename();
      const bool has_other_texts = name == "canonical_xyz.cpp" || name == "source_entry.cpp" ||
                                   name == "cif_blocks.cpp" || name == "ase_status.cpp";
      if (entry.path().extension() != ".cpp" || has_other_texts) continue;
      for (const std::string& sentence : sentences_in(entry.path())) {
        ++sentences;
        EXPECT_NE(text.find(sentence), std::string::npos) << name << ": " << sentence;
      }
    }
  }
  EXPECT_GT(sentences, 30);
}

}  // namespace
}  // namespace structure_ingest

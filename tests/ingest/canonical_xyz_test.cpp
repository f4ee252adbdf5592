// What ingestion makes of a record: the canonical copy and the source entry.
#include "structure_ingest/ingest/canonical_xyz.hpp"

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/ingest/copies.hpp"
#include "structure_ingest/ingest/source_entry.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

namespace fs = std::filesystem;

IngestedStructure water(const std::string& source_path) {
  IngestedStructure record{.source_path = source_path, .format = "xyz"};
  record.natoms = 3;
  record.symbols = {"O", "H", "H"};
  record.positions_ang = {{0, 0, 0.1173}, {0, 0.7572, -0.4692}, {0, -0.7572, -0.4692}};
  return record;
}

/// Writes one copy and returns its path in the project.
std::string write_copy(const std::string& project, const IngestedStructure& record) {
  FileReplacements copies(project, std::string(INGESTED_DIRNAME));
  const std::string rel = write_canonical_xyz(copies, record, 0).rel;
  EXPECT_TRUE(copies.finish().empty());
  return rel;
}

const std::string WATER_TEXT =
    "3\n"
    "ingested from water.xyz (no cell information)\n"
    "O 0.0000000000 0.0000000000 0.1173000000\n"
    "H 0.0000000000 0.7572000000 -0.4692000000\n"
    "H 0.0000000000 -0.7572000000 -0.4692000000\n";
const std::string WATER_REL = "project_root/structures/ingested_water_e78b2589.xyz";

TEST(CanonicalXyz, WritesTheCopyOfAMolecule) {
  const tests::ScratchFolder project;
  IngestedStructure record = water("/some/where/water.xyz");
  EXPECT_EQ(write_copy(project.path(), record), WATER_REL);
  EXPECT_EQ(tests::content_of(project / WATER_REL), WATER_TEXT);
  record.cell_ang.emplace();  // an empty cell means no cell
  record.symbols.emplace_back("without a position");
  EXPECT_EQ(canonical_xyz_text(record), WATER_TEXT);
  EXPECT_EQ(canonical_xyz_text({.source_path = "d/\xFF.xyz", .format = "xyz"}),
            "0\ningested from \uFFFDFF.xyz (no cell information)\n");
}

TEST(CanonicalXyz, WritesTheCopyOfACrystal) {
  const tests::ScratchFolder project;
  IngestedStructure record{.source_path = "Si bulk.xyz", .format = "xyz"};
  record.natoms = 2;
  record.symbols = {"Si", "Si"};
  record.positions_ang = {{0, 0, 0}, {1.3575, 1.3575, 1.3575}};
  record.cell_ang = {{0, 2.715, 2.715}, {2.715, 0, 2.715}, {2.715, 2.715, 0}};
  const std::string rel = "project_root/structures/ingested_Si_bulk_af5b527c.xyz";
  EXPECT_EQ(write_copy(project.path(), record), rel);
  EXPECT_EQ(tests::content_of(project / rel),
            "2\n"
            "Lattice=\"0.0000000000 2.7150000000 2.7150000000 2.7150000000 0.0000000000 "
            "2.7150000000 2.7150000000 2.7150000000 0.0000000000\" "
            "Properties=species:S:1:pos:R:3 pbc=\"T T T\"\n"
            "Si 0.0000000000 0.0000000000 0.0000000000\n"
            "Si 1.3575000000 1.3575000000 1.3575000000\n");
  const IngestedStructure back = structure_ingest::parse_structure_file(project / rel);
  EXPECT_EQ(back.positions_ang, record.positions_ang);
  EXPECT_EQ(back.cell_ang, record.cell_ang);
}

TEST(CanonicalXyz, CleansTheStem) {
  const tests::ScratchFolder project;
  const std::pair<const char*, const char*> cases[] = {{"my file (1).xyz", "my_file_1_"},
                                                       {"\u03B1\u03B2.xyz", "_"},
                                                       {"", "structure"},
                                                       {"a.b.cif", "a.b"},
                                                       {"POSCAR", "POSCAR"},
                                                       {".hidden", ".hidden"},
                                                       {"data.", "data."},
                                                       {"a-_\n\xFF\"z.xyz", "a-__z"},
                                                       {"/", "structure"}};
  for (const auto& [name, stem] : cases) {
    const std::string rel = write_copy(project.path(), water(name));
    const std::string prefix = "project_root/structures/ingested_";
    EXPECT_EQ(rel.substr(prefix.size(), rel.size() - prefix.size() - 13), stem) << name;
  }
}

// For any file name, the comment stays one line and gives the copy no cell.
TEST(CanonicalXyz, ReadsBackAsTheOriginal) {
  const tests::ScratchFolder project;
  const std::pair<std::string, std::string> cases[] = {
      {"new\nline\r.xyz", "new\\x0aline\\x0d.xyz"},
      {"tab\tnel\u0085ls\u2028.xyz", "tab\\tnel\\x85ls\\u2028.xyz"},
      {"LATTICE=\"1 0 0 0 1 0 0 0 1\".xyz", "LATTICE=\\x221 0 0 0 1 0 0 0 1\".xyz"},
      {"a \"b\" c\\d \u202E\xFF.xyz", "a \"b\" c\\d \u202E\uFFFDFF.xyz"},
  };
  for (const auto& [name, shown] : cases) {
    const IngestedStructure record = water("/x/" + name);
    const std::string copy = project / write_copy(project.path(), record);
    const std::string text = tests::content_of(copy);
    EXPECT_EQ(text.substr(2, text.find('\n', 2) - 2),
              "ingested from " + shown + " (no cell information)");
    const IngestedStructure back = structure_ingest::parse_structure_file(copy);
    EXPECT_EQ(back.positions_ang, record.positions_ang) << name;
    EXPECT_FALSE(back.cell_ang) << name;
  }
}

TEST(CanonicalXyz, WritesOnlyMissingCopies) {
  const tests::ScratchFolder project;
  const std::string copy = project / WATER_REL;
  const fs::file_time_type long_ago{};
  std::string crlf = WATER_TEXT;
  for (std::size_t at = 0; (at = crlf.find('\n', at)) != std::string::npos; at += 2) {
    crlf.insert(at, "\r");
  }
  for (const std::string& same : {WATER_TEXT, crlf}) {
    project.write(WATER_REL, same);
    fs::last_write_time(copy, long_ago);
    write_copy(project.path(), water("water.xyz"));
    EXPECT_EQ(fs::last_write_time(copy), long_ago);
    EXPECT_EQ(tests::content_of(copy), same);
  }
  for (const std::string& other : {WATER_TEXT + "\xFF", std::string(), WATER_TEXT + "\n"}) {
    project.write(WATER_REL, other);
    write_copy(project.path(), water("water.xyz"));
    EXPECT_EQ(tests::content_of(copy), WATER_TEXT);
  }
  for (const char* target : {"loop", "/dev/zero", "/proc/kcore"}) {
    fs::remove(copy);
    project.link(WATER_REL, target);
    write_copy(project.path(), water("water.xyz"));
    EXPECT_FALSE(fs::is_symlink(copy)) << target;
    EXPECT_EQ(tests::content_of(copy), WATER_TEXT) << target;
  }
  // The target of a link stays as it is, and a link to the same text is no copy: whoever can write
  // to its target could change the structure.
  for (const std::string& content : {std::string("mine"), WATER_TEXT}) {
    fs::remove(copy);
    const std::string precious = project.write("precious", content);
    project.link(WATER_REL, precious);
    write_copy(project.path(), water("water.xyz"));
    EXPECT_EQ(tests::content_of(precious), content);
    EXPECT_FALSE(fs::is_symlink(copy));
    EXPECT_EQ(tests::content_of(copy), WATER_TEXT);
  }
}

// batch_test.cpp compares a whole entry; these cases cover the values that are rare there.
TEST(SourceEntry, ContainsTheRecord) {
  const IngestedStructure record{.source_path = "/d/quartz\xFF.cif",
                                 .format = "cif",
                                 .natoms = 3,
                                 .species = {"O", "Si"},
                                 .symbols = {"Si", "O", "O"},
                                 .positions_ang = {{0, 0, 0.5}},
                                 .cell_ang = std::vector<Vector3>(),
                                 .fractional = true,
                                 .formula = "O2Si",
                                 .sha256 = "0123456789abcdef",
                                 .cell_provenance = "/d/scf.input",
                                 .warnings = {"one", "tw\xFF"},
                                 .ok = true};
  const Json expected = Json::parse(R"({
      "path": "/d/quartz\uFFFDFF.cif", "discovery": "somehow", "format": "cif", "formula": "O2Si",
      "natoms": 3, "species": ["O", "Si"], "has_cell": false, "cell_ang": [],
      "symbols": ["Si", "O", "O"], "positions_ang": [[0.0, 0.0, 0.5]], "fractional": true,
      "source_path": "/d/quartz\uFFFDFF.cif", "sha256": "0123456789abcdef",
      "warnings": ["one", "tw\uFFFDFF"],
      "metadata": {"xyz_path": "", "provenance": "user_file", "discovery": "somehow",
          "source_file": "/d/quartz\uFFFDFF.cif", "cell_provenance": "/d/scf.input",
          "parser": "structure_ingest"}})");
  const Json entry = structure_source_entry(record, "somehow");
  for (const auto& [key, value] : expected.items()) EXPECT_EQ(entry[key], value) << key;
  EXPECT_EQ(structure_source_entry(record)["discovery"], "attachment");
  EXPECT_EQ(structure_source_entry({})["cell_ang"], Json());  // absent is not empty
}

}  // namespace
}  // namespace structure_ingest::internal

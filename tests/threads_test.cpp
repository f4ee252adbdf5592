// Many threads at once, each with its own state and project, and all with the same files.

#include <thread>

#include "collaborators/agent_modules/atomic_io.hpp"
#include "structure_ingest/structure_ingest.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest {
namespace {

TEST(Threads, ShareFilesButNothingElse) {
  const tests::ScratchFolder w;
  std::string long_file = "2000\n\n";
  for (int i = 0; i < 2000; ++i)
    long_file += "Si 0.1 -2.5 " + std::to_string(i) + ".12345678901234567\n";
  const std::vector<std::string> shared = {
      w.write("ws/a.xyz", "1\nLattice=\"5 0 0 0 5 0 0 0 5\"\nHe 0 0 0\n"),
      w.write("ws/long.xyz", long_file), w.write("ws/bad.xyz", "1\n\nQq 0 0 0\n"),
      w.write("ws/sub/b.xyz", "1\n\nO 0 0 \xC3\xA9\n"), w / "ws/missing.xyz"};
  w.write("ws/scf.input", "system.centralCellVectors = 1 0 0 0 1 0 0 0 1\n");
  std::vector<std::string> results(8);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < results.size(); ++i) {
    threads.emplace_back([&, i] {
      const std::string project = w.make_folder("project" + std::to_string(i));
      for (int round = 0; round < 3; ++round) {
        Json state = {{"project_path", project},
                      {"selected_workroot", w / "ws"},
                      {"user_request", "band structure of silicon"},
                      {"attachments", 5 * round}};  // the last two rounds fail in the guard
        hydrate_user_structures(state, {.extra_paths = shared});
        if (round == 0) results[i] = json_text(state["structure_notes"]);
        ingest_structure_files(project, shared);
        agent_modules::update_json(w / "count.json", 0,
                                   [](Json& count) { count = count.get<int>() + 1; });
        EXPECT_EQ(parse_structure_file(shared[1]).natoms, 2000);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& result : results) EXPECT_EQ(result, results[0]);
  EXPECT_NE(results[0].find("Si2000 (2000 atoms)"), std::string::npos) << results[0];
  EXPECT_EQ(agent_modules::read_json(w / "count.json", nullptr), 24);
}

}  // namespace
}  // namespace structure_ingest

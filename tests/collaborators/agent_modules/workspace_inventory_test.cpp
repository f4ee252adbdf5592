#include "collaborators/agent_modules/workspace_inventory.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "collaborators/agent_modules/directory_trust.hpp"
#include "tests/scratch_folder.hpp"

namespace agent_modules {
namespace {

using Paths = std::vector<std::string>;

TEST(WorkspaceInventory, ListsTheTreeInAFixedOrder) {
  const tests::ScratchFolder w;
  for (const char* file :
       {"b.xyz", "B.cif", "a b\n.xyz", "notes.txt", "sub/POSCAR", "sub/deep/c.vasp", "sub.d/x.xyz",
        ".hidden.xyz", ".git/x.xyz", "node_modules/x.xyz", "__pycache__/x.xyz", "CVS/x.xyz",
        ".diagnostics/x.xyz", "project_root/structures/ingested_a_12345678.xyz",
        "project_root/structures/own.xyz", "sub/project_root/structures/ingested_b_12345678.xyz",
        "structures/ingested_mine.xyz", "\xFF/x.xyz"}) {
    w.write(file, "");
  }
  w.make_folder("folder.xyz/empty");
  w.link("to_file.xyz", "b.xyz");
  w.link("to_folder", "sub");
  w.link("sub/loop", "..");
  w.link("dangling.xyz", "nowhere");
  ASSERT_EQ(mkfifo((w / "fifo.xyz").c_str(), 0600), 0);
  const Paths expected = {".hidden.xyz",    "B.cif",
                          "a b\n.xyz",      "b.xyz",
                          "to_file.xyz",    "structures/ingested_mine.xyz",
                          "sub/POSCAR",     "sub.d/x.xyz",
                          "\xFF/x.xyz",     "project_root/structures/own.xyz",
                          "sub/deep/c.vasp"};
  EXPECT_EQ(inventory_workspace(w.path()).structure_files, expected);
  EXPECT_EQ(inventory_workspace(w / "project_root/structures").structure_files, Paths{"own.xyz"});
  EXPECT_EQ(inventory_workspace(w / "missing").structure_files, Paths{});
}

TEST(WorkspaceInventory, SkipsFoldersOfToolsAndUntrustedFolders) {
  const tests::ScratchFolder w;
  const tests::Environment config("XDG_CONFIG_HOME", w / "config");
  for (const char* file :
       {"ws/venv/pyvenv.cfg", "ws/venv/lib/a.xyz", "ws/conda/conda-meta/history", "ws/conda/b.xyz",
        "ws/cache/CACHEDIR.TAG", "ws/cache/c.xyz", "ws/bad/d.xyz", "ws/bad/in/e.xyz",
        "ws/bad/good/f.xyz", "ws/mine/g.xyz"}) {
    w.write(file, "");
  }
  EXPECT_EQ(inventory_workspace(w / "ws").structure_files,
            (Paths{"bad/d.xyz", "mine/g.xyz", "bad/good/f.xyz", "bad/in/e.xyz"}));
  EXPECT_EQ(inventory_workspace(w / "ws/cache").structure_files, Paths{"c.xyz"});  // as root
  set_trust(w / "ws/bad", "untrusted");
  set_trust(w / "ws/bad/good", "trusted");
  const FolderTree tree = list_folder_tree(w / "ws");
  EXPECT_EQ(tree.structure_files, (Paths{"mine/g.xyz", "bad/good/f.xyz"}));
  EXPECT_EQ(tree.untrusted_folders, (Paths{"bad/", "bad/in/"}));
  EXPECT_EQ(inventory_workspace(w / "ws/bad/in").structure_files, Paths{});
  w.write("config/structure_ingest/directory_trust.json", "[");
  EXPECT_EQ(inventory_workspace(w / "ws").structure_files.size(), 4U);
  EXPECT_EQ(list_folder_tree(w / "missing").unreadable_folders, Paths{""});
}

TEST(WorkspaceInventory, ListsVeryDeepTrees) {
  const tests::ScratchFolder w;
  std::optional<tests::CurrentFolder> current(w.path());
  std::string folder;
  for (int i = 0; i < 5000; ++i) {
    ASSERT_EQ(mkdir("d", 0700), 0);
    ASSERT_EQ(chdir("d"), 0);
    folder += "d/";
  }
  close(open("deep.xyz", O_CREAT | O_WRONLY, 0600));
  current.reset();
  EXPECT_TRUE(inventory_workspace(w.path()).structure_files == Paths{folder + "deep.xyz"});
}

}  // namespace
}  // namespace agent_modules

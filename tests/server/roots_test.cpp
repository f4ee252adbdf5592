// Nothing outside the roots is named by any path, link or URI.
#include "server/roots.hpp"

#include "server/call.hpp"
#include "tests/scratch_folder.hpp"

namespace server {
namespace {

class RootsTest : public testing::Test {
 protected:
  RootsTest() {
    for (const char* file : {"ours/a.xyz", "ours/sub/b.xyz", "ours/both.xyz", "other/both.xyz",
                             "other/c.xyz", "outside/secret.xyz", "ours-2/d.xyz"}) {
      w.write(file, "1\n\nHe 0 0 0\n");
    }
    w.link("ours/out.xyz", "../outside/secret.xyz");
    w.link("ours/out", "../outside");
    w.link("ours/loop", "loop");
    w.link("ours/in.xyz", "sub/b.xyz");
    w.link("door", "ours");
  }
  /// The path from the scratch folder on, or what is refused.
  std::string located(const Roots& roots, const std::string& given) {
    try {
      const std::string path = roots.locate(given);
      EXPECT_EQ(path.substr(0, w.path().size()), w.path()) << given;
      return path.substr(w.path().size());
    } catch (const ToolError& error) {
      const std::string text = error.what();
      EXPECT_NE(text.find("root"), std::string::npos) << text;
      return "refused";
    }
  }
  tests::ScratchFolder w;
};

TEST_F(RootsTest, LocateWhatLiesInThem) {
  const Roots roots({w / "door", w / "ours", w / "other"});  // the first two are one
  ASSERT_EQ(roots.folders(), (std::vector<std::string>{w / "ours", w / "other"}));
  const std::string here = w.path();
  for (const auto& [given, expected] : std::vector<std::pair<std::string, std::string>>{
           {here + "/ours", "/ours"},
           {here + "/ours/", "/ours"},
           {here + "/ours/a.xyz", "/ours/a.xyz"},
           {here + "//ours/./sub/../a.xyz", "/ours/a.xyz"},
           {here + "/door/a.xyz", "/door/a.xyz"},
           {here + "/ours/in.xyz", "/ours/in.xyz"},
           {here + "/ours/new/one.xyz", "/ours/new/one.xyz"},
           {"file://" + here + "/ours/a.xyz", "/ours/a.xyz"},
           {"file://localhost" + here + "/ours/%61.xyz", "/ours/a.xyz"},
           {"a.xyz", "/ours/a.xyz"},
           {"c.xyz", "/other/c.xyz"},
           {"sub/../sub/b.xyz", "/ours/sub/b.xyz"},
           // what is refused
           {"", "refused"},
           {"none.xyz", "refused"},  // in none of several roots
           {"both.xyz", "refused"},  // in more than one
           {"../outside/secret.xyz", "refused"},
           {here + "/outside/secret.xyz", "refused"},
           {here + "/ours/../outside/secret.xyz", "refused"},
           {here + "/ours-2/d.xyz", "refused"},
           {here + "/ours/out.xyz", "refused"},
           {here + "/ours/out/secret.xyz", "refused"},
           {here + "/ours/out/new.xyz", "refused"},
           {here + "/ours/out/../ours/a.xyz", "/ours/a.xyz"},  // where the link leads, and back
           {here, "refused"},
           {"/", "refused"},
           {"/etc/passwd", "refused"},
           {"file:///etc/passwd", "refused"},
           {"file://" + here + "/ours/%2e%2e/outside/secret.xyz", "refused"},
           {"file://elsewhere" + here + "/ours/a.xyz", "refused"},
           {"file://" + here + "/ours/a.xyz%00", "refused"},
           {"file://" + here + "/ours/a.xyz?x", "refused"},
           {here + "/ours/a.xyz" + std::string(1, '\0') + "b", "refused"},
       }) {
    EXPECT_EQ(located(roots, given), expected) << given;
  }
  EXPECT_EQ(located(Roots({w / "ours"}), "new.xyz"), "/ours/new.xyz");
  EXPECT_EQ(located(Roots({"/"}), w / "outside/secret.xyz"), "/outside/secret.xyz");
}

TEST_F(RootsTest, MustBeFolders) {
  EXPECT_THROW(Roots({w / "none"}), std::runtime_error);
  EXPECT_THROW(Roots({w / "ours/a.xyz"}), std::runtime_error);
  EXPECT_THROW(Roots({""}), std::runtime_error);
}

// Readers look at these files beside the one that they read.
TEST_F(RootsTest, KeepReadersFromLinksBesideAFile) {
  const Roots roots({w / "ours"});
  EXPECT_TRUE(roots.may_read(w / "ours/a.xyz"));
  EXPECT_TRUE(roots.may_read(w / "ours/sub/b.xyz"));
  EXPECT_FALSE(roots.may_read(w / "ours/out.xyz"));
  EXPECT_FALSE(roots.may_read(w / "outside/secret.xyz"));
  for (const char* name : {"scf.input", "POTCAR", "OUTCAR.gz", "x-potcar"}) {
    const std::string link = w.link(std::string("ours/sub/") + name, "../../outside/secret.xyz");
    EXPECT_FALSE(roots.may_read(w / "ours/sub/b.xyz")) << name;
    EXPECT_THROW(roots.locate_structure(w / "ours/sub/b.xyz"), ToolError) << name;
    EXPECT_TRUE(roots.may_read(w / "ours/a.xyz")) << name;
    std::filesystem::remove(link);
    w.link(std::string("ours/sub/") + name, "../a.xyz");
    EXPECT_TRUE(roots.may_read(w / "ours/sub/b.xyz")) << name;
    std::filesystem::remove(link);
  }
}

TEST_F(RootsTest, RefuseProjectsThatLeadOutside) {
  const Roots roots({w / "ours"});
  EXPECT_EQ(roots.locate_project(w / "door/p"), w / "ours/p");
  EXPECT_THROW(roots.locate_project(w / "ours/a.xyz"), ToolError);
  EXPECT_THROW(roots.locate_project(w / "ours/out"), ToolError);
  for (const char* inside :
       {".strataquill_state.json", ".diagnostics", ".diagnostics/ingested_structures.json",
        ".diagnostics/structure_findings.json", "project_root", "project_root/structures",
        "project_root/structures/scf.input"}) {
    std::filesystem::remove_all(w / "ours/p");
    w.link("ours/p/" + std::string(inside), w / "outside/any");
    EXPECT_THROW(roots.locate_project(w / "ours/p"), ToolError) << inside;
  }
}

TEST(FileUri, KeepsEveryByte) {
  std::string path = "/";
  for (int byte = 1; byte < 256; ++byte) path += static_cast<char>(byte);
  EXPECT_EQ(path_of_uri(file_uri(path)), path);
  EXPECT_EQ(file_uri("/a b/\xC3\xA9%.xyz"), "file:///a%20b/%C3%A9%25.xyz");
  for (const char* no : {"", "a", "/a", "http://a/b", "file:", "file:a", "file://host/a",
                         "file:///a%", "file:///a%4", "file:///a%4g", "file:///%00"}) {
    EXPECT_EQ(path_of_uri(no), "") << no;
  }
}

}  // namespace
}  // namespace server

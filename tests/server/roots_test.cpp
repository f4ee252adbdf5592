// Nothing outside the roots is named by any path, link or URI.
#include "server/roots.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "server/tool_error.hpp"
#include "tests/scratch_folder.hpp"

namespace server {
namespace {

class RootsTest : public testing::Test {
 protected:
  RootsTest() {
    w.write("root/a.xyz", "1\n\nHe 0 0 0\n");
    w.write("root/sub/b.xyz", "1\n\nHe 0 0 0\n");
    w.write("other/c.xyz", "1\n\nHe 0 0 0\n");
    w.write("outside/secret.xyz", "1\n\nHe 0 0 0\n");
    w.write("root-2/d.xyz", "1\n\nHe 0 0 0\n");
    w.link("root/out.xyz", "../outside/secret.xyz");
    w.link("root/out", "../outside");
    w.link("root/loop", "loop");
    w.link("root/in.xyz", "sub/b.xyz");
    w.link("door", "root");
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
  const Roots roots({w / "door", w / "root", w / "other"});  // the first two are one
  ASSERT_EQ(roots.folders(), (std::vector<std::string>{w / "root", w / "other"}));
  const std::string here = w.path();
  for (const auto& [given, expected] : std::vector<std::pair<std::string, std::string>>{
           {here + "/root", "/root"},
           {here + "/root/", "/root"},
           {here + "/root/a.xyz", "/root/a.xyz"},
           {here + "//root/./sub/../a.xyz", "/root/a.xyz"},
           {here + "/door/a.xyz", "/door/a.xyz"},
           {here + "/root/in.xyz", "/root/in.xyz"},
           {here + "/root/new/one.xyz", "/root/new/one.xyz"},
           {"file://" + here + "/root/a.xyz", "/root/a.xyz"},
           {"file://localhost" + here + "/root/%61.xyz", "/root/a.xyz"},
           {"a.xyz", "/root/a.xyz"},
           {"c.xyz", "/other/c.xyz"},
           {"sub/../sub/b.xyz", "/root/sub/b.xyz"},
           // what is refused
           {"", "refused"},
           {"none.xyz", "refused"},  // in none of several roots
           {"../outside/secret.xyz", "refused"},
           {here + "/outside/secret.xyz", "refused"},
           {here + "/root/../outside/secret.xyz", "refused"},
           {here + "/root-2/d.xyz", "refused"},
           {here + "/root/out.xyz", "refused"},
           {here + "/root/out/secret.xyz", "refused"},
           {here + "/root/out/new.xyz", "refused"},
           {here + "/root/out/../root/a.xyz", "/root/a.xyz"},  // where the link leads, and back
           {here, "refused"},
           {"/", "refused"},
           {"/etc/passwd", "refused"},
           {"file:///etc/passwd", "refused"},
           {"file://" + here + "/root/%2e%2e/outside/secret.xyz", "refused"},
           {"file://elsewhere" + here + "/root/a.xyz", "refused"},
           {"file://" + here + "/root/a.xyz%00", "refused"},
           {"file://" + here + "/root/a.xyz?x", "refused"},
           {here + "/root/a.xyz" + std::string(1, '\0') + "b", "refused"},
       }) {
    EXPECT_EQ(located(roots, given), expected) << given;
  }
  EXPECT_EQ(located(Roots({w / "root"}), "new.xyz"), "/root/new.xyz");
  EXPECT_EQ(located(Roots({"/"}), w / "outside/secret.xyz"), "/outside/secret.xyz");
}

TEST_F(RootsTest, MustBeFolders) {
  EXPECT_THROW(Roots({w / "none"}), std::runtime_error);
  EXPECT_THROW(Roots({w / "root/a.xyz"}), std::runtime_error);
  EXPECT_THROW(Roots({""}), std::runtime_error);
}

// Readers look at these files beside the one that they read.
TEST_F(RootsTest, KeepReadersFromLinksBesideAFile) {
  const Roots roots({w / "root"});
  EXPECT_TRUE(roots.may_read(w / "root/a.xyz"));
  EXPECT_TRUE(roots.may_read(w / "root/sub/b.xyz"));
  EXPECT_FALSE(roots.may_read(w / "root/out.xyz"));
  EXPECT_FALSE(roots.may_read(w / "outside/secret.xyz"));
  for (const char* name : {"scf.input", "POTCAR", "OUTCAR.gz", "x-potcar"}) {
    const std::string link = w.link(std::string("root/sub/") + name, "../../outside/secret.xyz");
    EXPECT_FALSE(roots.may_read(w / "root/sub/b.xyz")) << name;
    EXPECT_THROW(roots.locate_structure(w / "root/sub/b.xyz"), ToolError) << name;
    EXPECT_TRUE(roots.may_read(w / "root/a.xyz")) << name;
    std::filesystem::remove(link);
    w.link(std::string("root/sub/") + name, "../a.xyz");
    EXPECT_TRUE(roots.may_read(w / "root/sub/b.xyz")) << name;
    std::filesystem::remove(link);
  }
}

TEST_F(RootsTest, RefuseProjectsThatLeadOutside) {
  const Roots roots({w / "root"});
  EXPECT_EQ(roots.locate_project(w / "door/p"), w / "root/p");
  EXPECT_THROW(roots.locate_project(w / "root/a.xyz"), ToolError);
  EXPECT_THROW(roots.locate_project(w / "root/out"), ToolError);
  for (const char* inside :
       {".strataquill_state.json", ".diagnostics", ".diagnostics/ingested_structures.json",
        ".diagnostics/structure_findings.json", "project_root", "project_root/structures",
        "project_root/structures/scf.input"}) {
    std::filesystem::remove_all(w / "root/p");
    w.make_folder("root/p");
    std::filesystem::create_directories(
        std::filesystem::path(w / ("root/p/" + std::string(inside))).parent_path());
    std::filesystem::create_symlink(w / "outside/any", w / ("root/p/" + std::string(inside)));
    EXPECT_THROW(roots.locate_project(w / "root/p"), ToolError) << inside;
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

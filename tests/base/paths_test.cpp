#include "structure_ingest/base/paths.hpp"

#include <stdexcept>

#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

TEST(Path, NormalFormAndParts) {
  const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
      {"", ".", "", "."},
      {"/", "/", "", "/"},
      {"a.xyz", "a.xyz", "a.xyz", "."},
      {"./a//b/./c/", "a/b/c", "c", "a/b"},
      {"//a/../b", "/a/../b", "b", "/a/.."},
      {"/a", "/a", "a", "/"},
      {"..", "..", "..", "."},
      {"x/.", "x", "x", "."},
      {"a b\n\xFF/c'd", "a b\n\xFF/c'd", "c'd", "a b\n\xFF"},
  };
  for (const auto& [path, text, name, parent] : cases) {
    EXPECT_EQ(path_text(path), text);
    EXPECT_EQ(file_name(path), name) << path;
    EXPECT_EQ(parent_folder(path_text(path)), parent) << path;
  }
  EXPECT_EQ(join_path("/p", "a/./b"), "/p/a/b");
  EXPECT_EQ(join_path("/p", "/a//b"), "/a/b");
  EXPECT_EQ(join_path("/", "a"), "/a");
}

TEST(Path, IsWithinComparesComponents) {
  EXPECT_TRUE(is_within("/a/b", "/a"));
  EXPECT_TRUE(is_within("/a", "/a"));
  EXPECT_TRUE(is_within("/a", "/"));
  EXPECT_FALSE(is_within("/ab", "/a"));
  EXPECT_FALSE(is_within("/a", "/a/b"));
}

TEST(Path, ResolvesDanglingLinks) {
  const tests::ScratchFolder folder;
  folder.make_folder("real/sub");
  folder.link("to_sub", "real/sub");
  folder.link("chain", "to_sub");
  folder.link("absolute", folder / "real");
  folder.link("dangling", "nowhere/x");
  folder.link("loop", "loop/y");
  const std::pair<const char*, const char*> cases[] = {
      {"real//sub/../a.xyz", "real/a.xyz"},
      {"to_sub/../a.xyz", "real/a.xyz"},  // ".." is the parent of the link's target
      {"chain/a.xyz", "real/sub/a.xyz"},
      {"absolute/./sub", "real/sub"},
      {"dangling/z", "nowhere/x/z"},
      {"missing/../other", "other"},
      {"loop/../z", "z"},
      {"loop", "loop"},
  };
  for (const auto& [path, resolved] : cases) {
    EXPECT_EQ(resolve_path(folder / path), folder / resolved) << path;
  }
  EXPECT_EQ(resolve_path("/../.."), "/");
  EXPECT_EQ(resolve_path("a/../b"), std::filesystem::current_path().string() + "/b");
  EXPECT_THROW(resolve_path(std::string_view("a\0b", 3)), std::invalid_argument);
  EXPECT_EQ(source_identity(resolve_path(folder / "chain/\u00DF.XYZ")),
            source_identity(resolve_path(folder / "REAL/sub/SS.xyz")));
}

TEST(Path, FollowsAsManyLinksAsTheSystem) {
  const tests::ScratchFolder folder;
  folder.write("link0", "");
  for (int i = 1; i <= 41; ++i) {
    folder.link("link" + std::to_string(i), "link" + std::to_string(i - 1));
  }
  EXPECT_EQ(resolve_path(folder / "link40"), folder / "link0");
  EXPECT_TRUE(is_regular_file(folder / "link40"));
  EXPECT_EQ(resolve_path(folder / "link41"), folder / "link41");
  EXPECT_FALSE(is_regular_file(folder / "link41"));
}

// What it remembers of folders leads to the same paths.
TEST(Path, AResolverGivesWhatResolvingAloneGives) {
  const tests::ScratchFolder folder;
  folder.make_folder("real/sub/deep");
  folder.link("to_sub", "real/sub");
  folder.link("real/sub/up", "..");
  folder.link("absolute", folder / "real");
  folder.link("dangling", "nowhere/x");
  folder.link("loop", "loop/y");
  folder.link("real/sub/deep/a.xyz", "../b.xyz");
  PathResolver resolver;
  for (int round = 0; round < 2; ++round) {
    for (const char* path :
         {"real/sub/deep/a.xyz", "to_sub/deep/a.xyz", "to_sub/deep/b.xyz", "to_sub/up/sub/deep/c",
          "to_sub/../to_sub/x", "to_sub/..", "absolute/sub/up/q", "dangling/z/y", "loop/a/b/c",
          "loop", "missing/a/../b/c", ".", "real//sub/./b"}) {
      EXPECT_EQ(resolver.resolve(folder / path), resolve_path(folder / path)) << path;
    }
  }
  for (const std::string& path : {std::string("/"), std::string("a/b"), std::string("/../b/.."),
                                  "/" + std::string(5000, 'x') + "/y"}) {
    EXPECT_EQ(resolver.resolve(path), resolve_path(path));
  }
}

TEST(Path, ExpandsTheHomeDirectory) {
  const tests::Environment home("HOME", "/home/of user/");
  EXPECT_EQ(expand_home("~"), "/home/of user");
  EXPECT_EQ(expand_home("~//a.xyz"), "/home/of user/a.xyz");
  EXPECT_EQ(expand_home("a/~"), "a/~");
  EXPECT_EQ(expand_home("/~"), "/~");
  EXPECT_EQ(expand_home("~daemon/x"), "/usr/sbin/x");
  EXPECT_THROW(expand_home("~no such user/x"), std::runtime_error);
  EXPECT_THROW(expand_home(std::string("~root\0x/y", 9)), std::invalid_argument);
}

TEST(Path, TestsForObjects) {
  const tests::ScratchFolder folder;
  const std::string file = folder.write("a", "");
  EXPECT_TRUE(is_regular_file(file));
  EXPECT_FALSE(is_directory(file));
  EXPECT_TRUE(is_directory(folder.path()));
  EXPECT_FALSE(is_regular_file(file + std::string("\0b", 2)));  // not cut at the NUL
  EXPECT_FALSE(is_regular_file("/dev/null"));
}

}  // namespace
}  // namespace structure_ingest::internal

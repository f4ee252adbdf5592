#include "structure_ingest/project/ownership.hpp"

#include "structure_ingest/project/folder_owners.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest {
namespace {

class Ownership : public testing::Test {
 protected:
  void SetUp() override {
    w.write("other/.strataquill_state.json", "");
    w.make_folder("proj/sub/.strataquill");
    w.write("proj/.strataquill_workspace.json", "{}");
    w.make_folder("no/.strataquill_state.json");
    w.write("no/.strataquill", "");
    w.link("linked/.strataquill_state.json", "../other/.strataquill_state.json");
    w.link("into_other", "other");
  }
  tests::ScratchFolder w;
};

TEST_F(Ownership, FindsTheNearestProjectAbove) {
  struct Case {
    const char* path;
    const char* owner;  // nullptr for none
  };
  for (const auto& [path, owner] :
       {Case{"other/a.xyz", "other"}, Case{"other/deep/er/a.xyz", "other"},
        Case{"proj/sub/x/a.xyz", "proj/sub"}, Case{"proj/a.xyz", "proj"}, Case{"proj/sub", "proj"},
        Case{"proj", nullptr}, Case{"no/a.xyz", nullptr}, Case{"a.xyz", nullptr},
        Case{"linked/a.xyz", "linked"}, Case{"into_other/a.xyz", "other"},
        Case{"proj/../other/a.xyz", "other"}}) {
    const std::optional<std::string> expected =
        owner == nullptr ? std::nullopt : std::optional(w / owner);
    EXPECT_EQ(owning_project_root(w / path), expected) << path;
  }
  EXPECT_EQ(owning_project_root("/"), std::nullopt);
  EXPECT_EQ(owning_project_root(w / std::string("other/\0", 7)), std::nullopt);
  EXPECT_EQ(owning_project_root("~no such user/x"), std::nullopt);
}

TEST_F(Ownership, StopsAtTheBoundary) {
  EXPECT_EQ(owning_project_root(w / "proj/x/a.xyz", {.stop_at = w / "proj"}), std::nullopt);
  EXPECT_EQ(owning_project_root(w / "proj/x/a.xyz", {.stop_at = w / "proj/x"}), std::nullopt);
  EXPECT_EQ(owning_project_root(w / "proj/sub/a.xyz", {.stop_at = w / "proj"}), w / "proj/sub");
  EXPECT_EQ(owning_project_root(w / "other/a.xyz", {.stop_at = w / "into_other"}), std::nullopt);
  EXPECT_EQ(owning_project_root(w / "other/a.xyz", {.stop_at = "~no such user"}), w / "other");
}

TEST_F(Ownership, RecognisesOtherProjects) {
  struct Case {
    const char* path;
    const char* project;
    bool other;
  };
  for (const auto& [path, project, other] :
       {Case{"other/a.xyz", "proj", true}, Case{"proj/sub/a.xyz", "proj", true},
        Case{"proj/a.xyz", "proj", false}, Case{"proj/a.xyz", "proj/sub", false},
        Case{"proj/a.xyz", "project", true}, Case{"a.xyz", "proj", false},
        Case{"other/a.xyz", "into_other", false}}) {
    EXPECT_EQ(belongs_to_another_project(w / path, w / project), other) << path << " " << project;
  }
  EXPECT_FALSE(belongs_to_another_project(w / "other/a.xyz", std::string("p\0", 2)));
}

TEST_F(Ownership, ExpandsTheHomeDirectory) {
  const tests::Environment home("HOME", w.path());
  EXPECT_EQ(owning_project_root("~/proj/sub/a.xyz", {.stop_at = "~/proj"}), w / "proj/sub");
  EXPECT_EQ(owning_project_root("~/proj/a.xyz", {.stop_at = "~/proj"}), std::nullopt);
  EXPECT_FALSE(belongs_to_another_project("~/proj/a.xyz", "~/proj"));
}

// A remembered folder gives the same answer as a fresh lookup.
TEST_F(Ownership, IsTheSameForManyPathsAsForEach) {
  internal::FolderOwners owners(w / "proj");
  for (const char* again : {"first", "again"}) {
    EXPECT_EQ(owners.owner_of(w / "other/deep/er/a.xyz"), w / "other") << again;
    EXPECT_EQ(owners.owner_of(w / "other/deep/b.xyz"), w / "other") << again;
    EXPECT_EQ(owners.owner_of(w / "other"), std::nullopt) << again;
    EXPECT_EQ(owners.owner_of(w / "proj/sub/x/a.xyz"), w / "proj/sub") << again;
    EXPECT_EQ(owners.owner_of(w / "proj/sub"), std::nullopt) << again;
    EXPECT_EQ(owners.owner_of(w / "no/a.xyz"), std::nullopt) << again;
  }
}

}  // namespace
}  // namespace structure_ingest

// The page of a report, and the commands that write reports and pictures.
#include <regex>

#include "outputs/escape.hpp"
#include "outputs/page.hpp"
#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/json.hpp"
#include "tests/picture/records.hpp"
#include "tests/scratch_folder.hpp"

namespace {

using structure_ingest::Json;
using structure_ingest::Severity;

TEST(ReportEscape, JsonCannotLeaveItsScript) {
  const Json value = {{"</script><!--", "<b>&amp;</b>"}, {"n", {1, 2.5, nullptr}}};
  const std::string text = outputs::script_json(value);
  EXPECT_EQ(text,
            "{\"\\u003c/script\\u003e\\u003c!--\": "
            "\"\\u003cb\\u003e\\u0026amp;\\u003c/b\\u003e\", \"n\": [1, 2.5, null]}");
  EXPECT_EQ(structure_ingest::parse_json(text), value);
}

TEST(ReportEscape, TemplateIsFilledOnce) {
  EXPECT_EQ(outputs::filled("a {{x}} b {{y}}{{x}}", {{"x", "{{y}}"}, {"y", "2"}}),
            "a {{y}} b 2{{y}}");
  EXPECT_THROW(outputs::filled("{{z}}", {}), std::out_of_range);
}

TEST(ReportEscape, PolicyHash) {
  // The example of Content Security Policy, level 2, section 4.2.5.
  EXPECT_EQ(outputs::policy_hash("alert('Hello, world.');"),
            "'sha256-qznLcsROx4GACP2dm0UCKCzCG+HiZ1guq6ZZDob/Tng='");
}

TEST(Report, ViewerIsTheOneThatItsChecksumSays) {
  const std::string folder = STRUCTURE_INGEST_SOURCE_DIR "/third_party/3dmol/";
  const std::string digest =
      structure_ingest::internal::sha256_hex(outputs::embedded_text("3Dmol-min.js"));
  EXPECT_EQ(tests::content_of(folder + "SHA256SUMS"), digest + "  3Dmol-min.js\n");
  EXPECT_TRUE(outputs::embedded_text("page.js") ==
              tests::content_of(STRUCTURE_INGEST_SOURCE_DIR "/outputs/page.js"));
  // Neither can end its element; the page's own files hold no address of another host.
  for (const std::string_view text :
       {outputs::embedded_text("3Dmol-min.js"), outputs::embedded_text("page.js"),
        outputs::embedded_text("page.css")}) {
    EXPECT_EQ(text.find("</"), std::string_view::npos);
    EXPECT_EQ(text.find("<!--"), std::string_view::npos);
  }
  for (const std::string_view text :
       {outputs::embedded_text("page.js"), outputs::embedded_text("page.css"),
        outputs::embedded_text("page.html")}) {
    EXPECT_EQ(text.find("://"), std::string_view::npos);
    EXPECT_EQ(text.find("innerHTML"), std::string_view::npos);
  }
}

/// What the first group of `pattern` matches in `text`.
std::string found(const std::string& text, const std::string& pattern) {
  std::smatch match;
  return std::regex_search(text, match, std::regex(pattern)) ? match.str(1) : "(nothing)";
}

outputs::Report hostile_report() {
  const std::string evil = "</td></script><script>hacked()</script>'\"\u202e\n{{data}}";
  outputs::ReportedStructure good{.record = tests::record_of({{"Na", {0, 0, 0}}}, tests::cubic(3)),
                                  .source = "a/" + evil,
                                  .fingerprint = evil,
                                  .copy = "1\n" + evil,
                                  .copy_name = evil};
  good.record.symbols = {evil};
  good.record.formula = evil;
  good.record.warnings = {evil};
  good.record.cell_provenance = evil;
  good.quantities.cell = structure_ingest::cell_geometry(*good.record.cell_ang);
  good.quantities.space_group = structure_ingest::SpaceGroup{.number = 1, .name = evil};
  good.findings = {{evil, Severity::error, evil, {0}, evil},
                   {"overlapping_atoms", Severity::warning, "Near.", {0}, "geometry"}};
  good.more = {{"Copy", evil}};
  outputs::ReportedStructure bad{.source = evil};
  bad.record.warnings = {evil};
  return {.program = evil, .title = evil, .remark = evil, .structures = {good, bad}};
}

TEST(Report, NoTextIsMarkup) {
  const std::string page = outputs::report_page(hostile_report());
  EXPECT_EQ(tests::count_of(page, "<script"), 3U);
  // Only the placeholder itself is filled in, and its data stand in the page once.
  EXPECT_NE(page.find("{{data}}"), std::string::npos);
  const std::string data = found(page, "<script type=\"application/json\" id=\"data\">([^<]*)<");
  EXPECT_EQ(structure_ingest::parse_json(data)["structures"].size(), 2U);
  EXPECT_EQ(page.find("\u202e"), page.find("\u202e", page.find(data)));  // in a string only
  const std::string shown =
      "&lt;/td&gt;&lt;/script&gt;&lt;script&gt;hacked()&lt;/script&gt;&#39;&quot;\\u202e\\x0a";
  EXPECT_EQ(found(page, "<title>(.*)\\{\\{data\\}\\}</title>"), shown);
  EXPECT_EQ(found(page, "<code>(.*?)\\{\\{data"), shown);
  EXPECT_EQ(found(page, "download=\"(.*?)\\{\\{data"), shown);
  EXPECT_NE(page.find("<p>To do: Look at the atoms that are named"), std::string::npos);
}

TEST(Report, PolicyAllowsItsOwnScriptsAndNothingElse) {
  const std::string page = outputs::report_page({.title = "T"});
  const std::string style = found(page, "<style>([^<]*)</style>");
  EXPECT_EQ(found(page, "Content-Security-Policy\" content=\"([^\"]*)\""),
            "default-src 'none'; script-src " +
                outputs::policy_hash(outputs::embedded_text("3Dmol-min.js")) + " " +
                outputs::policy_hash(outputs::embedded_text("page.js")) + "; style-src " +
                outputs::policy_hash(style) +
                "; img-src data: blob:; base-uri 'none'; form-action 'none'; "
                "require-trusted-types-for 'script'");
  EXPECT_NE(page.find("<p>0 structures.</p>"), std::string::npos);
  // A style attribute would need a policy of its own.
  EXPECT_EQ(
      outputs::report_page({.structures = {{.record = tests::rock_salt()}}}).find(" style=\""),
      std::string::npos);
}

struct ReportCommand : testing::Test {
  void SetUp() override {
    w.write("he.xyz", "1\nLattice=\"5 0 0 0 5 0 0 0 5\"\nHe 0 0 0\n");
    w.write("bad.xyz", "x\n");
  }
  int run(const std::string& arguments) {
    const tests::CommandResult result =
        tests::run("cd '" + w.path() + "' && XDG_CONFIG_HOME='" + (w / "config") +
                   "' '" STRUCTURE_INGEST_PROGRAM "' " + arguments + " 2>&1");
    out = result.output;
    return result.status;
  }
  tests::ScratchFolder w;
  std::string out;
};

TEST_F(ReportCommand, TheSameFilesGiveTheSamePage) {
  EXPECT_EQ(run("report he.xyz bad.xyz -o 1.html"), 1);
  EXPECT_EQ(run("report he.xyz bad.xyz -o 2.html"), 1);
  EXPECT_EQ(tests::content_of(w / "1.html"), tests::content_of(w / "2.html"));
}

/// The bytes of the copy that a page hands out.
std::string copy_in(const std::string& page) {
  return found(page, "href=\"data:chemical/x-xyz;base64,([^\"]*)\"");
}

TEST_F(ReportCommand, APageOfAProjectHandsOutItsCopies) {
  EXPECT_EQ(run("ingest --project p he.xyz bad.xyz"), 1);
  EXPECT_EQ(run("report --project p -o r.html"), 1);
  EXPECT_EQ(out, "r.html: 1 structure, 1 not parsed\n");
  const std::string page = tests::content_of(w / "r.html");
  EXPECT_NE(page.find("<h1>Structures of p</h1>"), std::string::npos);
  const auto folder = std::filesystem::directory_iterator(w / "p/project_root/structures");
  const std::string copy = folder->path().string();
  EXPECT_EQ(copy_in(page), structure_ingest::internal::base64(tests::content_of(copy)));
  EXPECT_NE(page.find("<dt>Copy</dt><dd>project_root/structures/"), std::string::npos);
  EXPECT_NE(page.find("XYZ file is too short to contain atoms."), std::string::npos);

  // A copy that someone changed is handed out as it is, and one that is gone is not parsed.
  tests::ScratchFolder none;
  std::filesystem::copy_file(w.write("changed", "1\n\xff\nHe 0 0 0.5\n"), copy,
                             std::filesystem::copy_options::overwrite_existing);
  EXPECT_EQ(run("report --project p -o r.html"), 1);
  EXPECT_EQ(copy_in(tests::content_of(w / "r.html")),
            structure_ingest::internal::base64("1\n\xff\nHe 0 0 0.5\n"));
  std::filesystem::remove(copy);
  EXPECT_EQ(run("report --project p -o r.html"), 1);
  EXPECT_EQ(out, "r.html: 0 structures, 2 not parsed\n");
}

}  // namespace

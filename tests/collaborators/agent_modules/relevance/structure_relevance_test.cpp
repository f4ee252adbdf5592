#include "collaborators/agent_modules/relevance/structure_relevance.hpp"

#include <gtest/gtest.h>

#include "collaborators/agent_modules/relevance/formula.hpp"
#include "collaborators/agent_modules/relevance/lexicon.hpp"
#include "collaborators/agent_modules/relevance/request_reading.hpp"
#include "structure_ingest/base/json.hpp"
#include "tests/collaborators/agent_modules/relevance/relevance_cases.hpp"

namespace agent_modules {
namespace {

using relevance_cases::drops;
using relevance_cases::entry_of;
using structure_ingest::Json;
using structure_ingest::parse_json;
using structure_ingest::RelevanceVerdict;

const std::string CASES = RELEVANCE_CASES;

TEST(StructureRelevance, KeepsWantedAndDropsMostUnwanted) {
  struct Floor {
    const char* table;
    std::size_t cases;
    const char* discovery;
    bool together;
    double precision;
    double recall;
  };
  for (const auto& [table, cases, discovery, together, precision, recall] : {
           Floor{"working_cases.tsv", 923, "attachment", true, 1, 0.38},
           Floor{"working_cases.tsv", 923, "attachment", false, 1, 0},
           Floor{"working_cases.tsv", 923, "project_folder", true, 1, 0.38},
           Floor{"working_cases.tsv", 923, "workspace_scan", false, 1, 0.35},
           Floor{"held_out_cases.tsv", 116, "attachment", true, 1, 0.38},
           Floor{"held_out_cases.tsv", 116, "workspace_scan", false, 1, 0.36},
           Floor{"aimed_cases.tsv", 122, "attachment", true, 1, 1},
           Floor{"aimed_cases.tsv", 122, "workspace_scan", false, 1, 1},
       }) {
    const auto rows = relevance_cases::read_cases(CASES + table);
    EXPECT_EQ(rows.size(), cases) << table;
    const auto score = relevance_cases::score_of(rows, discovery, together);
    for (const std::string& line : score.wrong) ADD_FAILURE() << discovery << ": " << line;
    EXPECT_GE(score.precision(), precision) << table << ", " << discovery;
    EXPECT_GE(score.recall(), recall) << table << ", " << discovery << ", " << together;
  }
}

RelevanceVerdict first_verdict(const std::vector<Json>& entries, const std::string& request,
                               const Json& state = Json()) {
  return assess_structure_relevance(entries, request, state).verdicts.at(0);
}

TEST(StructureRelevance, GivesTheReason) {
  struct Case {
    const char* request;
    const char* file;
    const char* formula;
    const char* other;  // formula of a further attachment, other.cif
    const char* discovery;
    std::string_view role;
    double confidence;
    const char* reason;
  };
  for (const auto& [request, file, formula, other, discovery, role, confidence, reason] : {
           Case{
               "Bands of TiO\u2082", "water.xyz", "ClNa", "O4Ti2", "attachment", ROLE_UNRELATED,
               0.9,
               "the request is about TiO2, which 'other.cif' matches, and this structure shares no "
               "element with anything that it names; attach it again by name to use it"},
           Case{"Bands of TiO2", "water.xyz", "ClNa", "Si", "project_folder", ROLE_UNRELATED, 0.9,
                "the request is about TiO2 alone, and this structure shares no element with "
                "anything that it names; attach it again by name to use it"},
           Case{"Bands of Si", "water.xyz", "ClNa", "Si", "attachment", ROLE_UNRELATED, 0.5,
                "the request is about Si, and may be about others, too"},
           Case{"Solubility of NH3", "a.cif", "ClNa", "HN", "attachment", ROLE_UNRELATED, 0.5,
                "the request is about NH3, and may be about others, too"},
           Case{"C11 and C44 of TiO2", "a.cif", "ClNa", "O2Ti", "attachment", ROLE_UNKNOWN, 0.5,
                "'C11' in the request may mean this structure"},
           Case{"RELAX MOS2", "a.cif", "ClNa", "MoS2", "attachment", ROLE_UNKNOWN, 0.5,
                "'\xEF\xBF\xBD' in the request may mean this structure"},
           Case{"Bands of TiO2", "water.xyz", "ClNa", "Si", "attachment", ROLE_UNRELATED, 0.5,
                "the request is about TiO2, but no structure at hand matches that"},
           Case{"Strangely TiO2", "water.xyz", "ClNa", "Si", "project_folder", ROLE_UNRELATED, 0.5,
                "the request is about TiO2, but no structure at hand matches that"},
           Case{"TiO2 on Cu(111)", "a.cif", "ClNa", "Cu", "attachment", ROLE_UNRELATED, 0.5,
                "the request is about TiO2, but no structure at hand matches that"},
           Case{"HF energy of TiO2", "a.xyz", "FH", "O2Ti", "attachment", ROLE_RELATED, 0.9,
                "it shares elements with what the request names"},
           Case{"Bands of MoS2, WSe2, GaAs and InP", "x.cif", "ClNa", "InP", "attachment",
                ROLE_UNRELATED, 0.9,
                "the request is about MoS2, WSe2, GaAs and others, which 'other.cif' matches, and "
                "this structure shares no element with anything that it names; attach it again by "
                "name to use it"},
           Case{"Bands of TiO2 with the tip", "a.cif", "Ag", "O2Ti", "attachment", ROLE_UNKNOWN,
                0.5, "'tip' in the request may mean this structure"},
           Case{"Relax on Cu(111)", "a.cif", "Ag", "Cu", "attachment", ROLE_UNKNOWN, 0.5,
                "the request names no material as its object"},
           Case{"Bands of TiO2", "r.cif", "O4Ti2", "Si", "attachment", ROLE_REQUESTED, 0.9,
                "the request is about TiO2"},
           Case{"Bands of TiO2", "r.cif", "O2Zr", "O2Ti", "attachment", ROLE_RELATED, 0.9,
                "it shares elements with what the request names"},
           Case{"Phonons of Si", "Phonons.cif", "ClNa", "Si", "attachment", ROLE_REQUESTED, 0.9,
                "the request mentions the file name 'Phonons'"},
           Case{"Bands of TiO2", "broken.cif", "", "O2Ti", "attachment", ROLE_UNKNOWN, 0.5,
                "its elements are not known"},
       }) {
    const RelevanceVerdict verdict = first_verdict(
        {entry_of(file, formula, discovery), entry_of("other.cif", other, "attachment")}, request);
    EXPECT_EQ(verdict.source,
              "project_root/structures/ingested_" + std::string(file) + "_0f1e2d3c.xyz");
    EXPECT_EQ(verdict.role, role) << request;
    EXPECT_EQ(verdict.confidence, confidence) << request;
    EXPECT_EQ(verdict.reason, reason);
  }
}

TEST(StructureRelevance, ComparesWithTheSourcesInTheState) {
  const Json salt = entry_of("a.cif", "ClNa", "attachment");
  Json state;
  EXPECT_FALSE(drops(first_verdict({salt}, "Bands of TiO2", state)));
  state["structure_sources"] = {Json(), entry_of("known.cif", "O4Ti2", "attachment")};
  EXPECT_EQ(first_verdict({salt}, "Bands of TiO2", state).reason,
            "the request is about TiO2, which 'known.cif' matches, and this structure shares no "
            "element with anything that it names; attach it again by name to use it");
}

// The texts of a state are from different times. What one of them wants, or may want, is kept.
TEST(StructureRelevance, JudgesByAllRequests) {
  struct Case {
    const char* brief;
    const char* query;
    const char* request;
    const char* discovery;
    bool dropped;
  };
  const std::vector<Json> structures = {entry_of("t.cif", "O4Ti2", "attachment"),
                                        entry_of("z.cif", "OZn", "attachment")};
  for (const auto& [brief, query, request, discovery, dropped] : {
           Case{"Relax TiO2", "", "", "attachment", true},
           Case{"Relax TiO2", "", "Relax TiO2", "attachment", true},
           Case{"Relax TiO2", "", "Now relax the attached GaAs in g.xyz", "attachment", false},
           Case{"Relax TiO2", "", "Relax GaAs", "attachment", false},
           Case{"Relax GaAs", "", "Relax TiO2", "attachment", false},
           Case{"Relax TiO2", "Relax GaAs", "Relax TiO2", "attachment", false},
           Case{"Relax TiO2", "", "Relax ZnO", "attachment", true},
           Case{"Relax TiO2", "", "Relax MgO", "attachment", false},  // which is not at hand
           Case{"Relax TiO2", "", "Relax it", "attachment", false},
           Case{"Relax TiO2", "", "Relax", "attachment", false},
           Case{"Relax TiO2", "", "Relax", "workspace_scan", true},
           Case{"Relax", "", "Relax TiO2", "attachment", true},
       }) {
    std::vector<Json> all = {entry_of("g.xyz", "AsGa", discovery)};
    all.insert(all.end(), structures.begin(), structures.end());
    const Json state = {
        {"project_brief", brief}, {"source_query", query}, {"user_request", request}};
    EXPECT_EQ(drops(first_verdict(all, brief, state)), dropped) << brief << ", " << request;
  }
}

TEST(StructureRelevance, KeepsWhatIsAttachedAgain) {
  const std::vector<Json> entries = {entry_of("g.xyz", "AsGa", "attachment"),
                                     entry_of("t.cif", "O4Ti2", "attachment")};
  Json state = {{"attachments", {{{"path", "/a/g.xyz"}}, {{"path", "/a/t.cif"}}}},
                {"structure_notes", {"Ignored 'g.xyz' (AsGa): of another material."}}};
  EXPECT_TRUE(drops(first_verdict(entries, "Relax TiO2", state)));
  state["attachments"].push_back({{"path", "/a/g.xyz"}});
  EXPECT_EQ(first_verdict(entries, "Relax TiO2", state).reason, "it was attached again");
  state["structure_notes"] = Json::array();
  EXPECT_TRUE(drops(first_verdict(entries, "Relax TiO2", state)));
}

std::string text_of(const Elements& elements) {
  std::string text;
  for (const std::string& element : elements) text += (text.empty() ? "" : " ") + element;
  return text;
}

TEST(Formula, IsReadInEverySpelling) {
  struct Case {
    const char* text;
    std::size_t length;  // of the formula, as plain text
    const char* elements;
    bool certain;
  };
  for (const auto& [text, length, elements, certain] : {
           Case{"TiO2", 4, "O Ti", true},
           Case{"Fe\u2082O\u2083 slab", 5, "Fe O", true},
           Case{"Fe$_2$O$_{3}$", 5, "Fe O", true},
           Case{"Fe<sub>2</sub>O<sub>3</sub>", 5, "Fe O", true},
           Case{"Fe\u00B3\u207A", 4, "Fe", true},
           Case{"SO4^2-", 6, "O S", true},
           Case{"(Mg,Fe)O", 8, "Fe Mg O", true},
           Case{"K4[Fe(CN)6]", 11, "C Fe K N", true},
           Case{"CuSO4\u00B75H2O", 10, "Cu H O S", true},
           Case{"H2O@C60", 7, "C H O", true},
           Case{"La1-xSrxMnO3", 12, "La Mn O Sr", true},
           Case{"YBa2Cu3O7-\u03B4", 12, "Ba Cu O Y", true},
           Case{"2H2O", 4, "H O", true},
           Case{"D2O", 3, "H O", true},
           Case{"GaAs", 4, "As Ga", true},
           Case{"C60", 3, "C", true},
           Case{"CO", 2, "C O", false},
           Case{"Co", 2, "Co", false},
           Case{"Cu(111)", 2, "Cu", false},
           Case{"MoS2/WSe2", 4, "Mo S", true},
           Case{"Li-ion", 2, "Li", false},
           Case{"TiO2\u7684", 4, "O Ti", true},
           Case{"K\u03B1", 0, "", false},
           Case{"tio2", 0, "", false},
           Case{"VASP", 0, "", false},
           Case{"Six", 0, "", false},
           Case{"SiOx", 4, "O Si", true},
           Case{"NbO", 3, "Nb O", true},
           Case{"10K", 0, "", false},
           Case{"Ca(OH]2", 2, "Ca", false},
           Case{"", 0, "", false},
       }) {
    const Formula formula = formula_at(plain_text(text));
    EXPECT_EQ(formula.length, length) << text;
    EXPECT_EQ(text_of(formula.elements), elements) << text;
    EXPECT_EQ(formula.certain, certain) << text;
  }
  EXPECT_EQ(plain_text("\xFF a\u00A0\n b\u00AD-\u2013\u2019 \xC3"), "a b--' ");
}

/// Reads in the language with this number: en, de, fr, es, zh, ja, ru.
RequestReading reading_of(std::size_t language, const std::string& request) {
  return read_request(plain_text(request), lexicons().at(language), {{"Si"}, {"Na", "Cl"}});
}

TEST(RequestReading, DistinguishesObjectsFromPartners) {
  struct Case {
    std::size_t language;
    const char* request;
    const char* objects;   // the names of objects
    const char* partners;  // and of other materials
    const char* unclear;
  };
  for (const auto& [language, request, objects, partners, unclear] : {
           Case{0, "Relax bulk TiO2 with PBE", "TiO2", "", ""},
           Case{0, "Relax TiO2 on clean Cu(111) and Ag", "TiO2", "Cu Ag", ""},
           Case{0, "Phonons in PbTe, vibrations in water", "PbTe", "water", ""},
           Case{0, "Energy in the CsCl structure", "", "CsCl", ""},
           Case{0, "Dope with 2% Al", "", "Al", "Dope"},
           Case{0, "GaN with 5 % Al", "GaN", "Al", ""},
           Case{0, "CO adsorption on Pt(111)", "CO Pt", "", ""},
           Case{0, "CO and O2 adsorption", "CO O2", "", "adsorption"},
           Case{0, "Adsorption on Cu(111) with Ag", "", "Cu Ag", "Adsorption"},
           Case{0, "Adsorption of CO in benzene", "CO", "benzene", "Adsorption"},
           Case{0, "Compare MgO and CaO", "MgO CaO", "", ""},
           Case{0, "Compare the adsorption of CO with O2", "CO", "O2", "Compare"},
           Case{0, "Rutile structure, TiO2 structure", "TiO2", "Rutile", ""},
           Case{0, "Relax the TiO2 slab", "TiO2", "", ""},
           Case{0, "Relax the slab with TiO2", "", "TiO2", "slab"},
           Case{0, "MgO and its phonons", "MgO", "", ""},
           Case{0, "Its phonons, MgO", "MgO", "", "Its"},
           Case{0, "Si bands and nacl bands", "Si nacl", "", ""},
           Case{0, "Ge bands", "Ge", "", "Ge"},
           Case{0, "Bands of C", "C", "", "C"},
           Case{0, "C position in NbO", "C NbO", "", "C"},
           Case{0, "Nb position in NbO", "Nb NbO", "", ""},
           Case{0, "Run GaP with the settings of silicon", "GaP", "silicon", ""},
           Case{0, "Run GaP in KBr pellets", "GaP", "KBr", ""},
           Case{0, "The gap of lead", "", "lead", ""},
           Case{0, "wollastonite and MgO", "MgO", "", "wollastonite"},
           Case{0, "The gap at 300 K, 2-butanol", "", "", "butanol"},
           Case{1, "Wassermolek\u00FCl auf Gold", "Wasser", "Gold", ""},
           Case{1, "Siliziumkrawall", "", "", "Siliziumkrawall"},
           Case{2, "Phonons de l'oxyde de cuivre", "oxyde de cuivre", "", ""},
           Case{3, "Fonones de \u00F3xido de cinc", "\u00F3xido de cinc", "", ""},
           Case{4, "\u8BA1\u7B97\u7845\u7684\u80FD\u5E26", "\u7845", "", ""},
           Case{4, "\u5728\u6C34\u4E2D", "", "\u6C34", ""},
           Case{5, "\u6C34\u3067", "", "\u6C34", ""},
           Case{6, "\u0417\u043E\u043D\u044B \u043A\u0440\u0435\u043C\u043D\u0438\u044F",
                "\u043A\u0440\u0435\u043C\u043D\u0438\u044F", "", ""},
       }) {
    const RequestReading reading = reading_of(language, request);
    std::string found[2];
    for (const Mention& mention : reading.mentions) {
      std::string& names = found[mention.object ? 0 : 1];
      names += (names.empty() ? "" : " ") + mention.text;
    }
    EXPECT_EQ(found[0], objects) << request;
    EXPECT_EQ(found[1], partners) << request;
    EXPECT_EQ(reading.unclear, unclear) << request;
  }
}

TEST(StructureRelevance, AcceptsMalformedEntries) {
  const std::string request = "Bands of TiO2";
  for (const char* text :
       {"null", "7", "[]", "{}", R"({"species": 3, "formula": []})", R"({"species": ["Na", 1]})",
        R"({"species": ["Na", "Xx"], "metadata": "none"})", R"({"path": ["x"], "metadata": []})"})
    EXPECT_EQ(first_verdict({parse_json(text)}, request).reason, "its elements are not known")
        << text;
  const auto verdict = first_verdict(
      {parse_json(
          R"({"formula": "ClNa", "source_path": "/a/b.cif", "discovery": "workspace_scan"})")},
      request, Json("no state"));
  EXPECT_TRUE(drops(verdict));
  EXPECT_EQ(verdict.source, "b.cif");
}

TEST(StructureRelevance, DropsNoNamesakeOfAKeptStructure) {
  Json salt = entry_of("a.cif", "ClNa", "attachment");
  salt["path"] = "a.cif";
  const Json rutile = entry_of("a.cif", "O4Ti2", "attachment");
  const auto report = assess_structure_relevance({salt, rutile}, "Bands of TiO2", Json());
  EXPECT_EQ(report.verdicts.at(0).role, ROLE_UNRELATED);
  EXPECT_EQ(report.verdicts.at(0).confidence, 0.5);
  EXPECT_EQ(report.verdicts.at(1).role, ROLE_REQUESTED);
}

const std::vector<Json> SALT_AND_RUTILE = {entry_of("a.cif", "ClNa", "attachment"),
                                           entry_of("b.cif", "O2Ti", "attachment")};

TEST(StructureRelevance, AcceptsTextCutAtAnyByte) {
  const std::string text =
      "Ba\u0308nder: La1-xSrxMnO3-\u03B4 \u2014 \u00AB2% "
      "\u041A\u0440\u0435\u043C\u043D\u0438\u0439\u00BB, "
      "\u7845\u548C\u30B7\u30EA\u30B3\u30F3\u3002 $\\mathrm{Fe_2O_{3}}$ ((([ -- 1e-6.. Si";
  for (std::size_t begin = 0; begin < text.size(); ++begin) {
    for (const std::size_t length : {std::size_t{1}, std::size_t{7}, text.size()}) {
      const auto report =
          assess_structure_relevance(SALT_AND_RUTILE, text.substr(begin, length), Json()).verdicts;
      ASSERT_EQ(report.size(), 2U);
      EXPECT_FALSE(drops(report[1])) << text.substr(begin, length);
    }
  }
}

// Very long requests: a quadratic cost would exceed the test's time limit.
TEST(StructureRelevance, DropsNothingForALongRequest) {
  for (const char* piece : {"bands of TiO2 ", "((((", "H-", "Fe2O3", "a.b/c_d-e,f ", "coco"}) {
    std::string request = "Bands of TiO2 ";
    EXPECT_TRUE(drops(first_verdict(SALT_AND_RUTILE, request)));
    while (request.size() < 300000) request += piece;
    EXPECT_FALSE(drops(first_verdict(SALT_AND_RUTILE, request))) << piece;
    EXPECT_EQ(first_verdict(SALT_AND_RUTILE, request + " a.cif").role, ROLE_REQUESTED) << piece;
  }
}

}  // namespace
}  // namespace agent_modules

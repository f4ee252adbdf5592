#include "collaborators/agent_modules/relevance/structure_relevance.hpp"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "collaborators/agent_modules/relevance/request_reading.hpp"
#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/record/chemistry.hpp"

namespace agent_modules {
namespace {

namespace base = structure_ingest::internal;
using structure_ingest::Json;
using structure_ingest::RelevanceReport;
using structure_ingest::RelevanceVerdict;

constexpr double SURE = 0.9;
constexpr double UNSURE = 0.5;
// Read at most this much of a request: one this long has unknown words anyway.
constexpr std::size_t LONGEST_REQUEST = 4000;

/// The fields of a source entry that the assessor uses.
struct Structure {
  std::string path;
  std::string name;                  // the name of its file
  std::set<std::string> file_names;  // the names of the file and its copy
  Elements elements;                 // empty when not all are known
  bool scanned = false;              // found by a scan, not supplied by the user
};

Elements elements_of(const Json& entry) {
  for (const char* const key : {"species", "symbols"}) {
    const Json& symbols = base::value_at(entry, key);
    if (!symbols.is_array() || symbols.empty()) continue;
    Elements elements;
    for (const Json& symbol : symbols) {
      if (!symbol.is_string()) return {};
      const auto& text = symbol.get_ref<const std::string&>();
      if (text.empty() || base::canonical_symbol(text) != text) return {};
      elements.insert(text);
    }
    return elements;
  }
  const std::string formula = base::text_or_empty(base::value_at(entry, "formula"));
  Formula read = formula_at(formula);
  return read.length == formula.size() ? std::move(read.elements) : Elements();
}

Structure structure_of(const Json& entry) {
  Structure structure;
  structure.path = base::text_or_empty(base::value_at(entry, "path"));
  structure.elements = elements_of(entry);
  const std::string discovery = base::text_or_empty(base::value_at(entry, "discovery"));
  structure.scanned = discovery == "workspace_scan" || discovery == "project_folder";
  for (const std::string& path :
       {base::text_or_empty(base::value_at(base::value_at(entry, "metadata"), "source_file")),
        base::text_or_empty(base::value_at(entry, "source_path")), structure.path}) {
    const std::string name = path.empty() ? std::string() : base::file_name(path);
    if (name.empty()) continue;
    if (structure.name.empty()) structure.name = name;
    if (structure.path.empty()) structure.path = name;
    structure.file_names.insert(name);
  }
  return structure;
}

/// The word of the request, all in lower case, that names the structure's file; empty for none.
std::string mentioned_name(const Structure& structure, const std::string& request) {
  constexpr std::size_t SHORTEST_STEM = 3;  // "in" and "no" do not mean files
  for (const std::string& file : structure.file_names) {
    const std::string stem = file.substr(0, file.rfind('.'));
    for (const std::string& name : {file, stem.size() < SHORTEST_STEM ? file : stem}) {
      const std::string wanted = base::case_folded(name);
      for (std::size_t at = request.find(wanted); at != std::string::npos;
           at = request.find(wanted, at + 1))
        if (at_boundary(request, at) && at_boundary(request, at + wanted.size())) return name;
    }
  }
  return {};
}

/// Whether a material of these elements is a solid of two or more. Of an element or a molecule it
/// is never sure that the request is about that alone: "hydrogen solubility" means a metal, and
/// "silicon first" others to come.
bool is_solid_compound(const Elements& elements) {
  return elements.size() > 1 && !is_fluid(elements);
}

bool share_an_element(const Elements& a, const Elements& b) {
  return std::any_of(a.begin(), a.end(), [&](const std::string& e) { return b.contains(e); });
}

/// Whether the elements are those of one mentioned material or of several combined, at least one of
/// them an object of the task.
bool is_made_of(const Elements& elements, const std::vector<Mention>& mentions) {
  Elements covered;
  bool object = false;
  for (const Mention& mention : mentions) {
    if (!std::includes(elements.begin(), elements.end(), mention.elements.begin(),
                       mention.elements.end()))
      continue;
    covered.insert(mention.elements.begin(), mention.elements.end());
    object |= mention.object;
  }
  return object && covered == elements;
}

/// The objects as a list: "TiO2", "MoS2 and WSe2".
std::string list_of_objects(const std::vector<Mention>& mentions) {
  constexpr std::size_t MOST = 3;
  std::vector<std::string> names;
  for (const Mention& mention : mentions)
    if (mention.object && std::find(names.begin(), names.end(), mention.text) == names.end())
      names.push_back(mention.text);
  if (names.size() > MOST) {
    names.resize(MOST);
    names.emplace_back("others");
  }
  std::string list;
  for (std::size_t i = 0; i < names.size(); ++i)
    list += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + names[i];
  return list;
}

/// A request read in one language, and the structures at hand.
class Assessment {
 public:
  Assessment(RequestReading reading, const std::vector<Structure>& available)
      : reading_(std::move(reading)) {
    const auto& mentions = reading_.mentions;
    for (const Mention& mention : mentions) {
      named_.insert(mention.elements.begin(), mention.elements.end());
      has_object_ |= mention.object;
    }
    named_.insert(reading_.possible.begin(), reading_.possible.end());
    for (const Structure& structure : available)
      if (match_.empty() && is_made_of(structure.elements, mentions)) match_ = structure.name;
    about_compounds_ = std::all_of(mentions.begin(), mentions.end(), [](const Mention& mention) {
      return !mention.object || is_solid_compound(mention.elements);
    });
    one_object_ =
        !mentions.empty() && !reading_.pair && !reading_.guessed &&
        std::all_of(mentions.begin(), mentions.end(), [&](const Mention& mention) {
          return mention.object && mention.certain && mention.elements == mentions[0].elements;
        });
  }

  bool understands() const { return reading_.unclear.empty(); }
  bool is_silent() const { return understands() && reading_.mentions.empty() && named_.empty(); }

  /// The number of bytes of the request that are understood.
  std::size_t understood() const { return understands() ? std::string::npos : reading_.understood; }

  RelevanceVerdict verdict_on(const Structure& structure) const {
    const auto decide = [&](std::string_view role, double confidence, std::string reason) {
      return RelevanceVerdict{structure.path, std::string(role), confidence, std::move(reason)};
    };
    if (structure.elements.empty())
      return decide(ROLE_UNKNOWN, UNSURE, "its elements are not known");
    if (is_made_of(structure.elements, reading_.mentions))
      return decide(ROLE_REQUESTED, SURE,
                    "the request is about " + list_of_objects(reading_.mentions));
    if (share_an_element(structure.elements, named_))
      return decide(ROLE_RELATED, SURE, "it shares elements with what the request names");
    if (!understands())
      return decide(ROLE_UNKNOWN, UNSURE,
                    "'" + reading_.unclear + "' in the request may mean this structure");
    if (!has_object_)
      return decide(ROLE_UNKNOWN, UNSURE, "the request names no material as its object");
    const std::string about = "the request is about " + list_of_objects(reading_.mentions);
    if (!about_compounds_)
      return decide(ROLE_UNRELATED, UNSURE, about + ", and may be about others, too");
    const std::string shares =
        "this structure shares no element with anything that it names; attach it again by name to "
        "use it";
    if (!match_.empty())
      return decide(ROLE_UNRELATED, SURE,
                    about + ", which '" + match_ + "' matches, and " + shares);
    if (one_object_ && structure.scanned)
      return decide(ROLE_UNRELATED, SURE, about + " alone, and " + shares);
    return decide(ROLE_UNRELATED, UNSURE, about + ", but no structure at hand matches that");
  }

 private:
  RequestReading reading_;
  Elements named_;     // all elements of materials that are or may be named
  std::string match_;  // the file name of a structure made of an object
  bool has_object_ = false;
  bool about_compounds_ = false;
  bool one_object_ = false;
};

/// Whether a text is written in capitals, where CO may mean cobalt.
bool is_in_capitals(std::string_view text) {
  constexpr std::size_t WORD = 4;  // longer than most formulas without a digit
  std::size_t capitals = 0;
  bool has_word = false;
  for (const char c : text) {
    if (base::is_small_letter(c)) return false;
    capitals = base::is_capital(c) ? capitals + 1 : 0;
    has_word |= capitals == WORD;
  }
  return has_word;
}

/// One of the texts that say what the user wants, read in every language.
class Request {
 public:
  Request(std::string_view text, const std::vector<Structure>& available)
      : words_(base::case_folded(text)) {
    std::set<Elements> at_hand;
    for (const Structure& structure : available)
      if (!structure.elements.empty()) at_hand.insert(structure.elements);
    std::string plain = plain_text(text.substr(0, LONGEST_REQUEST));
    if (text.size() > LONGEST_REQUEST || is_in_capitals(plain))
      plain += " \xEF\xBF\xBD";  // in no language
    for (const Lexicon& lexicon : lexicons())
      assessments_.emplace_back(read_request(plain, lexicon, at_hand), available);
    std::stable_sort(
        assessments_.begin(), assessments_.end(),
        [](const Assessment& a, const Assessment& b) { return a.understood() > b.understood(); });
  }

  RelevanceVerdict verdict_on(const Structure& structure) const {
    if (const std::string name = mentioned_name(structure, words_); !name.empty())
      return {structure.path, std::string(ROLE_REQUESTED), SURE,
              "the request mentions the file name '" + name + "'"};
    RelevanceVerdict verdict = assessments_[0].verdict_on(structure);
    // When several languages understand the request, drop only if all agree.
    for (std::size_t i = 1; i < assessments_.size() && assessments_[i].understands(); ++i)
      if (RelevanceVerdict other = assessments_[i].verdict_on(structure);
          other.role != ROLE_UNRELATED || other.confidence < SURE)
        verdict = std::move(other);
    return verdict;
  }

  /// Whether it is understood and names nothing: "Now the phonons".
  bool is_silent() const { return assessments_[0].is_silent(); }

 private:
  std::string words_;
  std::vector<Assessment> assessments_;  // that which understands most first
};

/// The texts that say what the user wants, the newest first.
std::vector<std::string> request_texts(const std::string& request, const Json& state) {
  std::vector<std::string> texts;
  for (const char* const key : {"user_request", "source_query", "project_brief"}) {
    const Json& value = base::value_at(state, key);
    if (base::is_empty(value)) continue;
    std::string text(base::stripped(base::text_of(value)));
    if (!text.empty() && std::find(texts.begin(), texts.end(), text) == texts.end())
      texts.push_back(std::move(text));
  }
  if (std::find(texts.begin(), texts.end(), request) == texts.end())
    texts.insert(texts.begin(), request);
  return texts;
}

/// Whether the user attached a file once more after a note had told that it was ignored.
bool was_attached_again(const Structure& structure, const Json& state) {
  const Json& attachments = base::value_at(state, "attachments");
  const Json& notes = base::value_at(state, "structure_notes");
  if (!attachments.is_array() || !notes.is_array()) return false;
  const std::string beginning = "Ignored '" + structure.name + "' (";
  const auto times = std::count_if(attachments.begin(), attachments.end(), [&](const Json& each) {
    const std::string path = base::text_or_empty(base::value_at(each, "path"));
    return !path.empty() && base::file_name(path) == structure.name;
  });
  return times > 1 && std::any_of(notes.begin(), notes.end(), [&](const Json& note) {
           return note.is_string() && note.get_ref<const std::string&>().starts_with(beginning);
         });
}

/// Judges by all texts: a structure that one of them wants, or may want, is kept. Otherwise the
/// newest that names a material decides.
RelevanceVerdict verdict_of_all(const std::vector<Request>& requests, const Structure& structure) {
  std::optional<RelevanceVerdict> decision;
  for (const Request& request : requests) {
    RelevanceVerdict verdict = request.verdict_on(structure);
    // What the user attaches to words that name nothing is what they are about.
    const bool is_silent = request.is_silent() && (structure.scanned || decision);
    if (verdict.role != ROLE_UNRELATED && !is_silent) return verdict;
    if (!decision || decision->role != ROLE_UNRELATED) decision = std::move(verdict);
  }
  return *std::move(decision);
}

}  // namespace

RelevanceReport assess_structure_relevance(const std::vector<Json>& entries,
                                           const std::string& request, const Json& state) {
  std::vector<Structure> structures;
  structures.reserve(entries.size());
  for (const Json& entry : entries) structures.push_back(structure_of(entry));
  std::vector<Structure> available = structures;
  if (const Json& known = base::value_at(state, "structure_sources"); known.is_array())
    for (const Json& entry : known) available.push_back(structure_of(entry));
  std::vector<Request> requests;
  for (const std::string& text : request_texts(request, state))
    requests.emplace_back(text, available);

  RelevanceReport report;
  std::set<std::string> sources_to_keep;
  for (const Structure& structure : structures) {
    RelevanceVerdict verdict = verdict_of_all(requests, structure);
    if (was_attached_again(structure, state))
      verdict = {structure.path, std::string(ROLE_REQUESTED), SURE, "it was attached again"};
    if (verdict.role != ROLE_UNRELATED || verdict.confidence < SURE) {
      sources_to_keep.insert(structure.path);
      sources_to_keep.insert(structure.file_names.begin(), structure.file_names.end());
    }
    report.verdicts.push_back(std::move(verdict));
  }
  // A dropped source that also names a kept structure would drop that one, too.
  for (RelevanceVerdict& verdict : report.verdicts)
    if (verdict.role == ROLE_UNRELATED && sources_to_keep.contains(verdict.source))
      verdict.confidence = UNSURE;
  return report;
}

}  // namespace agent_modules

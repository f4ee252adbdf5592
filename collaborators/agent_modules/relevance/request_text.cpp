#include "collaborators/agent_modules/relevance/request_text.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "collaborators/agent_modules/relevance/chemical_formula.hpp"
#include "collaborators/agent_modules/relevance/plain_letters.hpp"
#include "structure_ingest/base/text.hpp"

namespace agent_modules {
namespace {

using structure_ingest::internal::ascii_lower_cased;
using structure_ingest::internal::lower_cased;
using structure_ingest::internal::next_token;

constexpr auto EXTENSIONS = std::to_array<std::string_view>({
    ".cif",  ".xyz", ".extxyz", ".vasp", ".poscar", ".pdb",  ".mol", ".sdf", ".in",  ".out",
    ".json", ".txt", ".xsf",    ".gz",   ".zip",    ".traj", ".log", ".upf", ".dat", ".pw",
});

constexpr std::string_view OPENING = "([{";
constexpr std::string_view CLOSING = ")]}";
constexpr std::string_view STRONG_MARKS = "/@|:;=";  // between formulas
constexpr std::string_view WEAK_MARKS = "-+,*_";     // inside them too
constexpr std::string_view BRACKETS = "()[]{}\\<>&\"";

bool is_file_name(std::string_view chunk) {
  const std::string lower = ascii_lower_cased(chunk);
  const std::string_view name = std::string_view(lower).substr(lower.rfind('/') + 1);
  for (const std::string_view extension : EXTENSIONS)
    if (name.size() > extension.size() && name.ends_with(extension)) return true;
  return name.starts_with("poscar_") || name.starts_with("contcar_");
}

/// The length of the quote or punctuation mark at one end of `text`; 0 for anything else.
std::size_t mark_length(std::string_view text, bool at_end) {
  if (text.empty()) return 0;
  if (is_one_of(at_end ? text.back() : text.front(), "'\"`*~<>,;:.!?|=")) return 1;
  for (const std::string_view quote : {"\u2018", "\u2019", "\u201C", "\u201D", "\u2026"})
    if (at_end ? text.ends_with(quote) : text.starts_with(quote)) return quote.size();
  return 0;
}

/// Cuts quotes, punctuation and brackets without a partner off both ends.
std::string_view trimmed(std::string_view text) {
  const auto count = [&](std::string_view set) {
    return std::count_if(text.begin(), text.end(), [&](char c) { return is_one_of(c, set); });
  };
  auto opened = count(OPENING);
  auto closed = count(CLOSING);
  while (!text.empty()) {
    const bool opens = is_one_of(text.front(), OPENING);
    const bool closes = is_one_of(text.back(), CLOSING);
    if (const std::size_t length = mark_length(text, false); length > 0) {
      text.remove_prefix(length);
    } else if (const std::size_t trailing = mark_length(text, true); trailing > 0) {
      text.remove_suffix(trailing);
    } else if (opens && (opened > closed || (closes && opened == 1))) {
      text.remove_prefix(1);
      --opened;
    } else if (closes && closed > opened) {
      text.remove_suffix(1);
      --closed;
    } else {
      break;
    }
  }
  return text;
}

/// Cuts "(111)", "(0001)", "(III)" off the end of a word; says which by the flags of `word`.
std::string_view without_suffix_in_brackets(std::string_view text, RequestWord& word) {
  const std::size_t open = text.find_last_of(OPENING);
  if (open == std::string_view::npos || open == 0 || !is_one_of(text.back(), CLOSING)) return text;
  const std::string_view inside = text.substr(open + 1, text.size() - open - 2);
  if (inside.empty()) return text;
  const auto all_of = [&](std::string_view set) {
    return inside.find_first_not_of(set) == std::string_view::npos;
  };
  const bool plane = all_of("0123456789-,") && inside.size() >= 3;
  const bool state = all_of("IVX") || all_of("ivx");
  if (!plane && !state) return text;
  word.has_plane = plane;
  word.has_state = state;
  return text.substr(0, open);
}

class WordCutter {
 public:
  explicit WordCutter(std::string_view request) : rest_(request) {}

  std::vector<RequestWord> cut() {
    for (;;) {
      const char* const gap = rest_.data();
      const std::string_view chunk = next_token(rest_);
      if (chunk.empty()) return std::move(words_);
      const std::string_view blanks(gap, static_cast<std::size_t>(chunk.data() - gap));
      if (blanks.find('\n') != std::string_view::npos) end_clause(true);
      add_chunk(chunk);
    }
  }

 private:
  void end_clause(bool sentence) {
    ++clause_;
    sentence_start_ |= sentence;
  }

  /// A request may begin with nothing but marks, such as "+/-".
  void mark_after(char mark) {
    if (!words_.empty()) words_.back().after = mark;
  }

  void add_chunk(std::string_view raw) {
    const std::string_view name = trimmed(raw);
    if (is_file_name(name)) {
      add_word(name, ' ').is_file = true;
    } else {
      const std::string plain = plain_formula_text(raw);
      if (plain.starts_with('(') && !words_.empty()) end_clause(false);
      const std::string_view chunk = trimmed(plain);
      if (chunk.empty()) {
        if (!plain.empty()) mark_after(plain.front());
        if (plain == "..." || plain == "\u2026") add_word("...", ' ');
        if (plain == "-" || plain == "--") end_clause(false);
      } else {
        add_parts(chunk, STRONG_MARKS, ' ');
        if (is_one_of(plain.back(), "=:")) mark_after(plain.back());
      }
    }
    const std::size_t last = raw.find_last_not_of("'\"`)]}*");
    const char end = last == std::string_view::npos ? ' ' : raw[last];
    if (is_one_of(end, ".?!")) {
      end_clause(true);
    } else if (is_one_of(end, ",;:") || raw.back() == ')') {
      end_clause(false);
    }
  }

  /// Cuts a chunk at the marks outside brackets, and what is no formula at weaker marks.
  void add_parts(std::string_view chunk, std::string_view marks, char before) {
    std::size_t begin = 0;
    int depth = 0;
    for (std::size_t i = 0; i <= chunk.size(); ++i) {
      const char c = i < chunk.size() ? chunk[i] : marks[0];
      if (is_one_of(c, OPENING)) ++depth;
      if (is_one_of(c, CLOSING)) --depth;
      if (!is_one_of(c, marks) || (depth > 0 && i < chunk.size())) continue;
      if (i > begin) {
        add_part(chunk.substr(begin, i - begin), marks, before);
        mark_after(i < chunk.size() ? c : ' ');
      }
      if (i < chunk.size()) before = c;
      begin = i + 1;
    }
  }

  void add_part(std::string_view part, std::string_view marks, char before) {
    RequestWord flags;
    const std::string_view bare = without_suffix_in_brackets(part, flags);
    const bool whole = read_formula(bare).has_value() && !is_path_of_points(bare);
    if (!whole && marks == STRONG_MARKS &&
        bare.find_first_of(WEAK_MARKS) != std::string_view::npos) {
      add_parts(part, WEAK_MARKS, before);
      return;
    }
    if (!whole && bare.find_first_of(BRACKETS) != std::string_view::npos) {
      cut_at_brackets(part, before);
      return;
    }
    RequestWord& word = add_word(bare, before);
    word.has_plane = flags.has_plane;
    word.has_state = flags.has_state;
    word.is_number = !whole && is_digit(word.text[0]);
  }

  void cut_at_brackets(std::string_view part, char before) {
    while (!part.empty()) {
      const std::size_t end = std::min(part.find_first_of(BRACKETS), part.size());
      add_parts(part.substr(0, end), STRONG_MARKS, before);
      before = end < part.size() ? part[end] : ' ';
      part.remove_prefix(std::min(end + 1, part.size()));
    }
  }

  /// "N-P" and "H-" are joined letters rather than a formula with a charge.
  static bool is_path_of_points(std::string_view text) {
    return text.size() == 2 && text[1] == '-';
  }

  RequestWord& add_word(std::string_view text, char before) {
    RequestWord& word = words_.emplace_back();
    word.text = text;
    word.lower = lower_cased(text);
    if (word.lower.ends_with("'s")) word.lower.resize(word.lower.size() - 2);
    word.before = before;
    word.starts_sentence = std::exchange(sentence_start_, false);
    if (word.lower == "but") end_clause(false);
    word.clause = clause_;
    return word;
  }

  std::string_view rest_;
  std::vector<RequestWord> words_;
  std::size_t clause_ = 0;
  bool sentence_start_ = true;
};

}  // namespace

std::vector<RequestWord> request_words(std::string_view request) {
  return WordCutter(request).cut();
}

std::string_view file_stem(std::string_view path) {
  path.remove_prefix(path.rfind('/') + 1);
  return path.substr(0, std::max<std::size_t>(path.rfind('.'), 1));
}

bool is_in_capitals(const std::vector<RequestWord>& words) {
  constexpr std::size_t FEWEST = 3;
  std::size_t all = 0;
  std::size_t capital = 0;
  for (const RequestWord& word : words) {
    if (word.text.size() < 3 || word.is_number || word.is_file) continue;
    ++all;
    capital += std::none_of(word.text.begin(), word.text.end(), is_lower);
  }
  return all >= FEWEST && capital * 10 >= all * 8;
}

}  // namespace agent_modules

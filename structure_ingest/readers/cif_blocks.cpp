#include "structure_ingest/readers/cif_blocks.hpp"

#include <algorithm>

#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/words.hpp"

namespace structure_ingest::internal {
namespace {

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

struct Token {
  std::string_view text;
  bool quoted = false;       // in quotes or between semicolons
  bool begins_line = false;  // only blanks before it on its line
};

/// Cuts a CIF into tokens.
class Tokens {
 public:
  explicit Tokens(std::string_view text) : text_(text) {
    if (text_.starts_with("\xEF\xBB\xBF")) at_ = line_begin_ = 3;
  }

  /// Reads the next token; false at the end.
  bool next(Token& token) {
    token = {.text = {}, .begins_line = skip_blanks_and_comments()};
    if (at_ == text_.size()) return false;
    const char first = text_[at_];
    std::size_t end = at_;
    if (first == ';' && at_ == line_begin_) {
      token.quoted = true;
      end = std::min(text_.find("\n;", at_), text_.size());
      token.text = stripped(text_.substr(at_ + 1, end - at_ - 1));
      at_ = std::min(end + 2, text_.size());
    } else if ((first == '\'' || first == '"') && (end = closing_quote()) != at_) {
      token.quoted = true;
      token.text = text_.substr(at_ + 1, end - at_ - 1);
      at_ = end + 1;
    } else {
      while (end < text_.size() && !is_blank(text_[end])) ++end;
      token.text = text_.substr(at_, end - at_);
      at_ = end;
    }
    return true;
  }

 private:
  /// Returns whether the place behind them is the first of a line that is not blank.
  bool skip_blanks_and_comments() {
    bool begins_line = at_ == line_begin_;  // at the beginning of the text
    for (;;) {
      for (; at_ < text_.size() && is_blank(text_[at_]); ++at_) {
        if (text_[at_] != '\n' && text_[at_] != '\r') continue;
        begins_line = true;
        line_begin_ = at_ + 1;
      }
      if (at_ == text_.size() || text_[at_] != '#') return begins_line;
      at_ = std::min(text_.find_first_of("\n\r", at_), text_.size());
    }
  }

  /// Where the quote at the current place is closed, which must be on its line and before a blank;
  /// the current place itself when it is not closed and so is an ordinary character.
  std::size_t closing_quote() const {
    const std::size_t line_end = std::min(text_.find_first_of("\n\r", at_), text_.size());
    for (std::size_t end = at_ + 1; end < line_end; ++end) {
      const bool ends_word = end + 1 == text_.size() || is_blank(text_[end + 1]);
      if (text_[end] == text_[at_] && ends_word) return end;
    }
    return at_;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::size_t line_begin_ = 0;
};

/// Builds the blocks from tokens.
class Builder {
 public:
  void add(const Token& token, std::string_view text) {
    const bool is_name = !token.quoted && token.text.starts_with('_');
    const std::string word =
        token.quoted || token.text.size() < 5 ? "" : ascii_lower_cased(token.text.substr(0, 5));
    if (word == "data_" || word == "loop_" || is_name) end_loop();
    if (word == "data_") {
      file_.blocks.push_back({token.text.substr(5), {}});
      place_ = Place::nowhere;
    } else if (file_.blocks.empty()) {
      if (!file_.text_before.empty()) return;
      const auto from = static_cast<std::size_t>(token.text.data() - text.data());
      file_.text_before = text.substr(from, text.find_first_of("\n\r", from) - from);
    } else if (word == "loop_") {
      place_ = Place::loop_names;
      columns_ = 0;
    } else if (is_name) {
      if (place_ == Place::loop_names) {
        ++columns_;
      } else {
        place_ = Place::value;
      }
      items().push_back({ascii_lower_cased(token.text), {}});
    } else {
      add_value(token);
    }
  }

  CifFile file() && {
    end_loop();
    return std::move(file_);
  }

 private:
  enum class Place { nowhere, value, after_value, loop_names, loop_values };

  std::vector<CifItem>& items() { return file_.blocks.back().items; }

  void end_loop() {
    if (place_ != Place::loop_values) return;
    place_ = Place::nowhere;
    if (column_ == 0 || !file_.incomplete_loop.empty()) return;
    file_.incomplete_loop = items()[items().size() - columns_].name;
  }

  void add_value(const Token& token) {
    if (place_ == Place::loop_names) {
      place_ = columns_ > 0 ? Place::loop_values : Place::nowhere;
      column_ = 0;
    }
    if (place_ == Place::value) {
      items().back().values.push_back(token.text);
      place_ = token.quoted ? Place::nowhere : Place::after_value;
    } else if (place_ == Place::after_value && !token.begins_line && !token.quoted) {
      // An unquoted text with blanks: P 21/c.
      std::string_view& value = items().back().values.back();
      value = {value.data(),
               static_cast<std::size_t>(token.text.data() - value.data()) + token.text.size()};
    } else if (place_ == Place::loop_values) {
      items()[items().size() - columns_ + column_].values.push_back(token.text);
      column_ = (column_ + 1) % columns_;
    }
  }

  CifFile file_;
  Place place_ = Place::nowhere;
  std::size_t columns_ = 0;
  std::size_t column_ = 0;
};

}  // namespace

const std::vector<std::string_view>* CifBlock::values(
    std::initializer_list<const char*> names) const {
  for (const char* wanted : names) {
    const auto found =
        std::find_if(items.rbegin(), items.rend(), [&](const auto& i) { return i.name == wanted; });
    if (found != items.rend()) return &found->values;
  }
  return nullptr;
}

std::optional<std::string_view> CifBlock::value(std::initializer_list<const char*> names) const {
  for (const char* wanted : names) {
    const std::vector<std::string_view>* const found = values({wanted});
    if (found == nullptr || found->empty()) continue;
    const std::string_view text = found->front();
    if (!is_unknown(text) && !text.empty()) return text;
  }
  return std::nullopt;
}

std::optional<double> CifBlock::number(std::initializer_list<const char*> names) const {
  const std::optional<std::string_view> text = value(names);
  return text ? cif_number(*text) : std::nullopt;
}

bool CifBlock::has_operations() const {
  return values({"_space_group_symop_operation_xyz", "_space_group_symop.operation_xyz",
                 "_symmetry_equiv_pos_as_xyz"}) != nullptr;
}

bool CifBlock::has_name_with(std::string_view beginning) const {
  return std::any_of(items.begin(), items.end(),
                     [&](const CifItem& item) { return item.name.starts_with(beginning); });
}

CifFile cif_blocks(std::string_view text) {
  Tokens tokens(text);
  Builder builder;
  for (Token token; tokens.next(token);) builder.add(token, text);
  return std::move(builder).file();
}

std::optional<double> cif_number(std::string_view value) {
  return float_value(value.substr(0, value.find('(')));
}

}  // namespace structure_ingest::internal

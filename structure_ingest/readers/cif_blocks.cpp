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
    if (text_.starts_with("\xEF\xBB\xBF")) at_ = 3;
    line_begin_ = at_;
  }

  bool next(Token& token) {
    for (;;) {
      while (at_ < text_.size() && is_blank(text_[at_])) {
        if (text_[at_] == '\n' || text_[at_] == '\r') new_line_ = true, line_begin_ = at_ + 1;
        ++at_;
      }
      if (at_ >= text_.size()) return false;
      if (text_[at_] != '#') break;
      at_ = std::min(text_.find_first_of("\n\r", at_), text_.size());
    }
    token.begins_line = new_line_;
    token.quoted = false;
    const bool at_margin = at_ == line_begin_;
    new_line_ = false;
    const char c = text_[at_];
    if (c == ';' && at_margin) return text_field(token);
    if ((c == '\'' || c == '"') && quoted(token)) return true;
    const std::size_t begin = at_;
    while (at_ < text_.size() && !is_blank(text_[at_])) ++at_;
    token.text = text_.substr(begin, at_ - begin);
    return true;
  }

 private:
  bool text_field(Token& token) {
    const std::size_t begin = at_ + 1;
    std::size_t end = text_.find("\n;", begin - 1);
    if (end == std::string_view::npos) end = text_.size();
    token.text = stripped(text_.substr(std::min(begin, end), end - std::min(begin, end)));
    token.quoted = true;
    at_ = std::min(end + 2, text_.size());
    return true;
  }

  /// A closing quote must be followed by a blank; an opening quote that is not closed on its line
  /// is an ordinary character.
  bool quoted(Token& token) {
    const std::size_t line_end = std::min(text_.find_first_of("\n\r", at_), text_.size());
    for (std::size_t end = at_ + 1; end < line_end; ++end) {
      if (text_[end] != text_[at_]) continue;
      if (end + 1 < text_.size() && !is_blank(text_[end + 1])) continue;
      token.text = text_.substr(at_ + 1, end - at_ - 1);
      token.quoted = true;
      at_ = end + 1;
      return true;
    }
    return false;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::size_t line_begin_ = 0;
  bool new_line_ = true;
};

/// Builds the blocks from tokens.
class Builder {
 public:
  void take(const Token& token, std::string_view text) {
    const bool name = !token.quoted && token.text.starts_with('_');
    const std::string word =
        token.quoted || token.text.size() < 5 ? "" : ascii_lower_cased(token.text.substr(0, 5));
    if (word == "data_" || word == "loop_" || name) end_loop();
    if (word == "data_") {
      file_.blocks.push_back({token.text.substr(5), {}});
      begin_ = Place::nowhere;
    } else if (file_.blocks.empty()) {
      if (file_.text_before.empty()) {
        const auto from = static_cast<std::size_t>(token.text.data() - text.data());
        file_.text_before = text.substr(from, text.find_first_of("\n\r", from) - from);
      }
    } else if (word == "loop_") {
      begin_ = Place::loop_names;
      columns_ = 0;
    } else if (name) {
      if (begin_ != Place::loop_names) begin_ = Place::value;
      if (begin_ == Place::loop_names) ++columns_;
      block().items.push_back({ascii_lower_cased(token.text), {}});
    } else {
      take_value(token);
    }
  }

  CifFile file() && {
    end_loop();
    return std::move(file_);
  }

 private:
  enum class Place { nowhere, value, after_value, loop_names, loop_values };

  CifBlock& block() { return file_.blocks.back(); }

  void end_loop() {
    if (begin_ != Place::loop_values) return;
    begin_ = Place::nowhere;
    if (column_ == 0 || !file_.incomplete_loop.empty()) return;
    file_.incomplete_loop = block().items[block().items.size() - columns_].name;
  }

  void take_value(const Token& token) {
    if (begin_ == Place::loop_names) {
      begin_ = columns_ > 0 ? Place::loop_values : Place::nowhere;
      column_ = 0;
    }
    auto& items = block().items;
    if (begin_ == Place::value) {
      items.back().values.push_back(token.text);
      begin_ = token.quoted ? Place::nowhere : Place::after_value;
    } else if (begin_ == Place::after_value && !token.begins_line && !token.quoted) {
      // An unquoted text with blanks: P 21/c.
      std::string_view& value = items.back().values.back();
      value = {value.data(),
               static_cast<std::size_t>(token.text.data() - value.data()) + token.text.size()};
    } else if (begin_ == Place::loop_values) {
      items[items.size() - columns_ + column_].values.push_back(token.text);
      column_ = (column_ + 1) % columns_;
    }
  }

  CifFile file_;
  Place begin_ = Place::nowhere;
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

bool CifBlock::has_name_with(std::string_view beginning) const {
  return std::any_of(items.begin(), items.end(),
                     [&](const CifItem& item) { return item.name.starts_with(beginning); });
}

CifFile cif_blocks(std::string_view text) {
  Tokens tokens(text);
  Builder builder;
  for (Token token; tokens.next(token);) builder.take(token, text);
  return std::move(builder).file();
}

std::optional<double> cif_number(std::string_view value) {
  return float_value(value.substr(0, value.find('(')));
}

}  // namespace structure_ingest::internal

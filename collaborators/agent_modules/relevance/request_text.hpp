// The words of a free-text request: cut at blanks and joining marks, with what surrounds them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace agent_modules {

struct RequestWord {
  std::string text;        // as written, in plain formula characters
  std::string lower;       // its lower case, without a possessive ending
  std::size_t clause = 0;  // words of one clause share the number
  char before = ' ';       // the mark that joins it to the word before; a blank for none
  char after = ' ';        // the mark that follows without or with a blank: '=', ':', '-'
  bool starts_sentence = false;
  bool is_number = false;  // begins with a digit and is no formula
  bool is_file = false;    // a file name or path
  bool has_plane = false;  // Miller indices follow: Si(111)
  bool has_state = false;  // an oxidation state follows: iron(III)
};

/// The words of a request, in order. Never fails, whatever bytes it holds.
std::vector<RequestWord> request_words(std::string_view request);

/// The file name in a word that is a file name or path, without its folders and extension.
std::string_view file_stem(std::string_view path);

/// Whether a request is written in capitals, so that its letter case says nothing.
bool is_in_capitals(const std::vector<RequestWord>& words);

}  // namespace agent_modules

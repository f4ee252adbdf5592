// Large JSON values changed and ended without asking for memory, which the JSON library does: a
// mapping that grows copies its values, and a destructor that finds no memory ends the process.
#pragma once

#include <cstddef>
#include <exception>
#include <vector>

#include "structure_ingest/base/json.hpp"

namespace structure_ingest::internal {

/// Makes room for `more` keys in a mapping, moving its values. Throws std::bad_alloc and has then
/// changed nothing.
void make_room(Json& mapping, std::size_t more);

/// Empties a value from its innermost parts outwards.
void take_apart(Json& value) noexcept;
void take_apart(std::vector<Json>& values) noexcept;

/// Takes a value of the scope around it apart at the end; where the value is what a function
/// returns, only when an error ends the function.
enum class On { END, ERROR };
template <typename Values>
class TakenApart {
 public:
  explicit TakenApart(Values& values, On when = On::END)
      : values_(values), errors_(when == On::END ? -1 : std::uncaught_exceptions()) {}
  ~TakenApart() {
    if (std::uncaught_exceptions() > errors_) take_apart(values_);
  }
  TakenApart(const TakenApart&) = delete;
  TakenApart& operator=(const TakenApart&) = delete;

 private:
  Values& values_;
  int errors_;
};

}  // namespace structure_ingest::internal

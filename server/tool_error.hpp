// What a tool says of a call that it cannot do.
#pragma once

#include <stdexcept>
#include <string>

#include "telling/words.hpp"

namespace server {

/// A call that cannot be done. The message tells a model what is wrong and what to do next, in
/// whole sentences; what it quotes from files is in quotes.
struct ToolError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Ends a call that the client has cancelled.
struct Cancelled : std::runtime_error {
  Cancelled() : std::runtime_error("the call was cancelled") {}
};

using telling::in_quotes;

}  // namespace server

// One call of a tool: whether it was cancelled, how its progress is told, and how it fails.
#pragma once

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>

#include "structure_ingest/ingest/batch.hpp"
#include "telling/words.hpp"

namespace server {

using telling::in_quotes;

/// A call that cannot be done. The message tells a model what is wrong and what to do next, in
/// whole sentences; what it quotes from files is in quotes.
struct ToolError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Ends a call that the client has cancelled.
struct Cancelled : std::runtime_error {
  Cancelled() : std::runtime_error("the call was cancelled") {}
};

struct Call {
  /// Whether the client has cancelled the call.
  std::function<bool()> is_cancelled = [] { return false; };
  /// Tells the client how far it is; empty when the client did not ask for it.
  structure_ingest::Progress report{};

  /// Throws Cancelled if the client has cancelled the call.
  void check() const {
    if (is_cancelled()) throw Cancelled();
  }

  /// What to hand to the library: checks and reports before each file.
  structure_ingest::Progress progress() const {
    return [this](std::size_t done, std::size_t total, const std::string& path) {
      check();
      if (report) report(done, total, path);
    };
  }
};

}  // namespace server

// One call of a tool: whether it was cancelled, and how its progress is told.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "structure_ingest/ingest/batch.hpp"

namespace server {

struct Call {
  /// Whether the client has cancelled the call.
  std::function<bool()> is_cancelled = [] { return false; };
  /// Tells the client how far it is; empty when the client did not ask for it.
  std::function<void(std::size_t done, std::size_t total, const std::string& about)> report{};

  /// Throws Cancelled if the client has cancelled the call.
  void check() const;

  /// What to hand to the library: checks and reports before each file.
  structure_ingest::Progress progress() const;
};

}  // namespace server

// One client's session: its life, and which request is answered by what.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "server/json_rpc.hpp"
#include "server/tools.hpp"
#include "server/workspace.hpp"

namespace server {

/// The protocol revisions that are spoken, the latest first.
inline constexpr std::array REVISIONS = {"2025-11-25", "2025-06-18", "2025-03-26"};

struct SessionOptions {
  std::string version{};  // of the program
  /// How long the process that runs ASE is kept without being used.
  std::chrono::milliseconds idle_time = std::chrono::minutes(5);
  /// How much may wait for the tools: then no more is read until something is done.
  std::size_t most_waiting = 4096;
  std::size_t most_waiting_bytes = std::size_t{64} << 20;
  /// Told what a person may want to know, one line each.
  std::function<void(const std::string&)> log = [](const std::string&) {};
};

/// Serves the client that writes to `input` and reads from `output`, and returns when the input has
/// ended and all that came was answered, or nobody reads the answers any more. Tools run in a
/// thread of its own.
void serve(Workspace& workspace, LineInput& input, LineOutput& output,
           const SessionOptions& options);

}  // namespace server

// The protocol between the library and the worker that runs ASE; the head of ase_worker.py
// describes it. Nothing in an answer is trusted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "structure_ingest/readers/ase.hpp"

namespace structure_ingest::internal {

/// The worker's greetings, equal in size: that ASE is installed, then that it is loaded.
inline constexpr std::string_view ASE_FOUND = "found  1";
inline constexpr std::string_view ASE_READY = "ready  1";

/// The size of a size or count, in bytes.
inline constexpr std::size_t ASE_SIZE_BYTES = 8;

/// Limits on the text from one file: the bytes of a message or warning (ASE quotes unreadable
/// content of any size), and the number of warnings.
inline constexpr std::size_t MAX_ASE_TEXT = 4096;
inline constexpr std::size_t MAX_ASE_WARNINGS = 16;

std::string ase_request(const std::string& path);

/// Decodes the number in ASE_SIZE_BYTES bytes.
std::uint64_t ase_size(std::string_view bytes);

/// Decodes an answer without its leading size; nothing when it is malformed. A text above
/// MAX_ASE_TEXT is cut between two characters, followed by " ... [cut: N bytes in all]".
std::optional<AseAnswer> ase_answer(std::string_view bytes);

}  // namespace structure_ingest::internal

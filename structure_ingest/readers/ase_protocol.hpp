// What is said between the library and the worker that runs ASE. The head of ase_worker.py
// describes it; nothing in an answer is trusted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "structure_ingest/readers/ase.hpp"

namespace structure_ingest::internal {

/// The worker's greetings, of one size: that ASE is installed, then that it is loaded.
inline constexpr std::string_view ASE_FOUND = "found  1";
inline constexpr std::string_view ASE_READY = "ready  1";

/// The bytes of a size or count.
inline constexpr std::size_t ASE_SIZE_BYTES = 8;

/// The most bytes that are kept of a message or warning (ASE quotes what it cannot read, whatever
/// its size), and the most warnings of one file.
inline constexpr std::size_t MAX_ASE_TEXT = 4096;
inline constexpr std::size_t MAX_ASE_WARNINGS = 16;

std::string ase_request(const std::string& path);

/// The number in ASE_SIZE_BYTES bytes.
std::uint64_t ase_size(std::string_view bytes);

/// What an answer says after its size; nothing when it makes no sense. A text above MAX_ASE_TEXT is
/// cut between two characters, with " ... [cut: N bytes in all]" behind it.
std::optional<AseAnswer> ase_answer(std::string_view bytes);

}  // namespace structure_ingest::internal

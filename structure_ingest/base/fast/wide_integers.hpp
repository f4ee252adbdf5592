// Powers of ten and 128-bit integers, for exact arithmetic on decimals.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace structure_ingest::internal {

__extension__ using Uint128 = unsigned __int128;

/// 10^0 to 10^18. Signed, because signed integers convert to double faster.
inline constexpr std::array<std::int64_t, 19> POWERS_OF_TEN = [] {
  std::array<std::int64_t, 19> powers{1};
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = 10 * powers[i - 1];
  return powers;
}();

}  // namespace structure_ingest::internal

#include "structure_ingest/check/wording.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace structure_ingest::internal {

std::string number_text(double value) {
  std::array<char, 64> text{};
  const auto result =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, 4);
  return {text.data(), result.ptr};
}

std::string counted(std::size_t count, std::string_view singular) {
  return std::to_string(count) + " " + std::string(singular) + (count == 1 ? "" : "s");
}

std::string composition_text(const std::map<std::string, double>& composition) {
  std::string text;
  for (const auto& [symbol, count] : composition) {
    if (count < 0.0005) continue;
    text += symbol;
    const double whole = std::round(count);
    if (std::abs(count - whole) >= 0.0005) {
      std::array<char, 64> digits{};
      const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), count,
                                        std::chars_format::fixed, 3);
      std::string number(digits.data(), result.ptr);
      number.erase(number.find_last_not_of('0') + 1);
      text += number;
    } else if (whole != 1) {
      text += std::to_string(static_cast<long long>(std::min(whole, 1e15)));
    }
  }
  return text;
}

std::string first_of(const std::vector<std::string>& items, std::size_t most) {
  std::string text;
  const std::size_t shown = items.size() <= most + 1 ? items.size() : most;
  for (std::size_t i = 0; i < shown; ++i) {
    const bool last = i + 1 == items.size();
    text += (i == 0 ? "" : last ? " and " : ", ") + items[i];
  }
  if (shown < items.size()) text += " and " + std::to_string(items.size() - shown) + " more";
  return text;
}

}  // namespace structure_ingest::internal

#include "structure_ingest/base/fast/plain_text.hpp"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace structure_ingest::internal {
namespace {

/// The same function, one character at a time.
std::size_t slow_end(const std::string& text) {
  std::size_t at = 0;
  while (text[at] == '\t' || (text[at] >= ' ' && static_cast<unsigned char>(text[at]) < 0x80)) ++at;
  return at;
}

TEST(PlainText, AgreesWithTheSlowFunction) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 200000; ++i) {
    std::string text(random() % 40, 'x');
    for (char& character : text) {
      if (random() % 8 == 0) character = "\t\x1F \x7F~\r\xFF\x80"[random() % 8];
    }
    text += '\n' + std::string(LOOK_AHEAD, "\0\xFF x"[random() % 4]);
    ASSERT_EQ(static_cast<std::size_t>(end_of_plain_text(text.data()) - text.data()),
              slow_end(text))
        << testing::PrintToString(text);
  }
}

}  // namespace
}  // namespace structure_ingest::internal

#include "structure_ingest/base/lines.hpp"

#include "tests/scratch_folder.hpp"

namespace structure_ingest::internal {
namespace {

using Lines = std::vector<std::string>;

Lines lines_of(const std::string& path, std::size_t piece_size) {
  LineReader reader(path, {.piece_size = piece_size});
  Lines lines;
  while (const auto line = reader.next()) lines.emplace_back(*line);
  EXPECT_FALSE(reader.next());
  return lines;
}

TEST(LineReader, SplitsAtEveryBoundaryWhateverThePieces) {
  const tests::ScratchFolder folder;
  const std::pair<std::string_view, Lines> cases[] = {
      {"", {}},
      {"a", {"a"}},
      {"a\n", {"a"}},
      {"\n", {""}},
      {"a\n\nb", {"a", "", "b"}},
      {"a\r\nb\rc\r\r\nd\r", {"a", "b", "c", "", "d"}},
      {"1\v2\f3\x1Cx\x1Dy\x1Ez\u00857\u20288\u20299\x1F!",
       {"1", "2", "3", "x", "y", "z", "7", "8", "9\x1F!"}},
      {"\u00C2\u00A9\u2027x\u2030", {"\u00C2\u00A9\u2027x\u2030"}},  // look alike
      {"\uFEFF3\n", {"\uFEFF3"}},
      // Invalid bytes are removed before lines are split: these two line ends become one.
      {"a\r\xFF\nb\xE2\x80\n\xC2", {"a", "b"}},
      {"a\xE2\x80", {"a"}},
  };
  for (const auto& [text, lines] : cases) {
    const std::string path = folder.write("text", text);
    for (const std::size_t piece_size : {1U, 2U, 3U, 5U, 1000U}) {
      EXPECT_EQ(lines_of(path, piece_size), lines) << text << " in pieces of " << piece_size;
    }
  }
}

TEST(LineReader, ReadsALongTextLineByLine) {
  const tests::ScratchFolder folder;
  std::string text;
  for (int i = 0; i < 5000; ++i)
    text += std::string(static_cast<std::size_t>(i % 97), 'x') + "\u20AC\r\n";
  const std::string path = folder.write("text", text);
  EXPECT_EQ(lines_of(path, 64), lines_of(path, 1 << 20));
  EXPECT_EQ(lines_of(path, 64).size(), 5000U);
  LineReader reader(path, {.piece_size = 64});
  EXPECT_EQ(*reader.next(), "\u20AC");
  reader.skip_rest();
  EXPECT_FALSE(reader.next());
}

}  // namespace
}  // namespace structure_ingest::internal

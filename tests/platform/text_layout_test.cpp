#include "platform/text_layout.h"

#include <gtest/gtest.h>

using namespace tessaron;

TEST(TextLayout, MeasuresAndBreaksAlikeOnAllSystems) {
  using Places = std::vector<std::size_t>;
  const struct {
    std::string_view text;
    Places characters, lines;
  } rows[] = {
      {"to be", {1, 2, 3, 4, 5}, {3, 5}},
      {"e\u0301a", {3, 4}, {4}},         // a letter and its accent
      {"\u672C\u5C4B", {3, 6}, {3, 6}},  // two ideographs
      {"\U0001F3B5!", {4, 5}, {5}},      // an emoji
      {"\uD55C", {3}, {3}},              // a syllable
      {"\u00AD", {2}, {2}},              // a soft hyphen
      {"a\u200B", {1, 4}, {4}},          // a space without width
      {"", {}, {}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(textBreaks(TextBreak::Character, row.text), row.characters) << row.text;
    EXPECT_EQ(textBreaks(TextBreak::Line, row.text), row.lines) << row.text;
  }
  const std::pair<char32_t, int> widths[] = {{U'a', 1},      {U'\u0301', 0}, {U'\u672C', 2},
                                             {0x1F3B5, 2},   {U'\uD55C', 2}, {U'\u00AD', 1},
                                             {U'\u200B', 0}, {U'\u11A8', 0}, {U'\uFF21', 2}};
  for (const auto& [character, columns] : widths)
    EXPECT_EQ(columnsOf(character), columns) << std::hex << static_cast<unsigned>(character);
}

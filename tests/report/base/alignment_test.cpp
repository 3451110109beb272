#include "report/base/alignment.h"

#include <gtest/gtest.h>

namespace kavrel::report {
namespace {

// "a=a b>c d>_ _>e": equal, changed, left out, added.
std::string shown(const std::u32string& expected, const std::u32string& read) {
  std::string text;
  const auto name = [](char32_t character) {
    return character == kNoCharacter ? '_' : static_cast<char>(character);
  };
  for (const AlignedPair& pair : align(expected, read)) {
    if (!text.empty()) text += ' ';
    text += name(pair.expected);
    text += pair.expected == pair.read ? '=' : '>';
    text += name(pair.read);
  }
  return text;
}

int edits(const std::u32string& expected, const std::u32string& read) {
  return count_edits(align(expected, read));
}

TEST(Alignment, PairsEqualTexts) { EXPECT_EQ(shown(U"ab", U"ab"), "a=a b=b"); }

TEST(Alignment, TellsChangedLeftOutAndAdded) {
  EXPECT_EQ(shown(U"abc", U"axc"), "a=a b>x c=c");
  EXPECT_EQ(shown(U"abc", U"ac"), "a=a b>_ c=c");
  EXPECT_EQ(shown(U"ac", U"abc"), "a=a _>b c=c");
  EXPECT_EQ(shown(U"ab", U""), "a>_ b>_");
  EXPECT_EQ(shown(U"", U"ab"), "_>a _>b");
  EXPECT_EQ(shown(U"", U""), "");
}

// From the end: pair first, then leave out, then add.
TEST(Alignment, BreaksTiesInTheStatedOrder) {
  EXPECT_EQ(shown(U"aa", U"a"), "a>_ a=a");
  EXPECT_EQ(shown(U"a", U"aa"), "_>a a=a");
  EXPECT_EQ(shown(U"77-88", U"778"), "7=7 7=7 ->_ 8>_ 8=8");
  EXPECT_EQ(shown(U"ab", U"ba"), "a>b b>a");
}

TEST(Alignment, CountsLevenshteinsDistance) {
  EXPECT_EQ(edits(U"kitten", U"sitting"), 3);
  EXPECT_EQ(edits(U"品川330あ12-34", U"品川330い12-34"), 1);
  EXPECT_EQ(edits(U"abc", U"abc"), 0);
  EXPECT_EQ(edits(U"", U"abc"), 3);
}

TEST(Alignment, LooksAtTheFirst256Characters) {
  const std::u32string long_text(300, U'a');
  EXPECT_EQ(align(long_text, U"").size(), 256U);
  EXPECT_EQ(edits(long_text, std::u32string(256, U'a') + U"b"), 0);
}

}  // namespace
}  // namespace kavrel::report

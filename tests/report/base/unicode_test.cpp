#include "report/base/unicode.h"

#include <gtest/gtest.h>

namespace kavrel::report {
namespace {

TEST(CodePoints, CountsCharactersNotBytes) {
  EXPECT_EQ(code_points("品a𠮷"), U"品a𠮷");
  EXPECT_EQ(code_points(""), U"");
  EXPECT_EQ(code_points(std::string("a\0b", 3)), std::u32string(U"a\0b", 3));
}

TEST(CodePoints, TakesEachBadByteForOneReplacement) {
  EXPECT_EQ(code_points("a\xFFz"), U"a\uFFFDz");
  EXPECT_EQ(code_points("\xE5\x93"), U"\uFFFD\uFFFD");  // 品 without its last byte
  EXPECT_EQ(code_points("\xE5\x93"
                        "a"),
            U"\uFFFD\uFFFDa");
  EXPECT_EQ(code_points("\xED\xA0\x80"), U"\uFFFD\uFFFD\uFFFD");  // half a surrogate pair
  EXPECT_EQ(code_points("\xC0\xAF"), U"\uFFFD\uFFFD");            // a slash, too long
}

TEST(Printable, LeavesOrdinaryTextAlone) {
  EXPECT_EQ(printable("品川 330 あ 12-34 <b>&\"'"), "品川 330 あ 12-34 <b>&\"'");
}

TEST(Printable, ShowsControlCharactersAsPictures) {
  EXPECT_EQ(printable(std::string("\0\n\x1B\x7F", 4)), "␀␊␛␡");
}

TEST(Printable, ReplacesWhatAPageMustNotCarry) {
  EXPECT_EQ(printable("\xC2\x85"), "\uFFFD");  // a C1 control
  EXPECT_EQ(printable("a\u202Eb"),
            "a\uFFFD"
            "b");                                      // turns the direction of text
  EXPECT_EQ(printable("\xEF\xBF\xBE"), "\uFFFD");      // U+FFFE
  EXPECT_EQ(printable("\xF0\x9F\xBF\xBF"), "\uFFFD");  // U+1FFFF
  EXPECT_EQ(printable("\xFF"), "\uFFFD");
}

}  // namespace
}  // namespace kavrel::report

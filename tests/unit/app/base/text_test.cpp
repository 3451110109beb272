#include "app/base/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kavrel {
namespace {

using testing::ElementsAre;

const std::string kFullWidthSpace = "\u3000";

std::vector<char> all_bytes() {
  std::vector<char> bytes;
  for (int value = 0; value < 256; ++value) bytes.push_back(static_cast<char>(value));
  return bytes;
}

bool is_one_of(char byte, const std::string& bytes) {
  return bytes.find(byte) != std::string::npos;
}

std::string name_of(char byte) {
  return "byte " + std::to_string(static_cast<unsigned char>(byte));
}

TEST(Trim, RemovesTheSixAsciiBlanksAndNoOtherByte) {
  for (const char byte : all_bytes()) {
    const std::string text = std::string(1, byte) + "a" + std::string(2, byte);
    EXPECT_EQ(trim(text), is_one_of(byte, " \t\n\v\f\r") ? "a" : text) << name_of(byte);
  }
}

TEST(Trim, KeepsBlanksInsideAndTakesMixedOnesOutside) {
  EXPECT_EQ(trim("\t abc \r\n"), "abc");
  EXPECT_EQ(trim(" a \t b "), "a \t b");
  EXPECT_EQ(trim("a"), "a");
}

TEST(Trim, LeavesNothingOfBlanks) {
  EXPECT_EQ(trim(""), "");
  EXPECT_EQ(trim(" "), "");
  EXPECT_EQ(trim(" \t\n\v\f\r"), "");
}

TEST(Trim, TakesAFullWidthSpaceForText) {
  const std::string text = kFullWidthSpace + "品川" + kFullWidthSpace + "500" + kFullWidthSpace;
  EXPECT_EQ(trim(" " + text + " "), text);
}

TEST(RemoveSpaces, RemovesFourBytesWhereverTheyStandAndNoOther) {
  for (const char byte : all_bytes()) {
    const std::string text = std::string(1, byte) + "a" + std::string(2, byte) + "b" + byte;
    EXPECT_EQ(remove_spaces(text), is_one_of(byte, " \t\r\n") ? "ab" : text) << name_of(byte);
  }
}

TEST(RemoveSpaces, JoinsTheWordsOfAPlate) {
  EXPECT_EQ(remove_spaces("品川 500"), "品川500");
  EXPECT_EQ(remove_spaces(""), "");
}

TEST(RemoveSpaces, KeepsAFullWidthSpace) {
  const std::string text = "品川" + kFullWidthSpace + "500";
  EXPECT_EQ(remove_spaces(text), text);
}

TEST(IsAsciiDigit, HoldsForTenBytesOnly) {
  for (const char byte : all_bytes()) {
    EXPECT_EQ(is_ascii_digit(byte), is_one_of(byte, "0123456789")) << name_of(byte);
  }
}

TEST(Contains, FindsAPartAnywhereAndNothingElse) {
  EXPECT_TRUE(contains("品川500", "品川"));
  EXPECT_TRUE(contains("品川500", "00"));
  EXPECT_TRUE(contains("abc", "abc"));
  EXPECT_FALSE(contains("abc", "ac"));
  EXPECT_FALSE(contains("", "a"));
}

TEST(JoinStrings, PutsTheSeparatorBetweenNeighboursOnly) {
  EXPECT_EQ(join_strings({}, ", "), "");
  EXPECT_EQ(join_strings({"a"}, ", "), "a");
  EXPECT_EQ(join_strings({"a", "b", "c"}, ", "), "a, b, c");
}

TEST(JoinStrings, SeparatesEmptyTextsToo) {
  EXPECT_EQ(join_strings({"", "", ""}, "-"), "--");
  EXPECT_EQ(join_strings({"", "a", ""}, "-"), "-a-");
}

TEST(BasenameNoExt, CutsTheDirectoryAndTheLastExtension) {
  const std::vector<std::vector<std::string>> cases = {
      {"a/b/img.01.jpg", "img.01"},
      {"a.dir/file", "file"},
      {"noext", "noext"},
      {".jpg", ""},
      {"a/.jpg", ""},
      {"img.", "img"},
      {"a/b/", ""},
      {"", ""},
      {"/x.png", "x"},
      {"品川/車.jpg", "車"},
      {"../up", "up"},
  };
  for (const auto& path_and_name : cases) {
    EXPECT_EQ(basename_no_ext(path_and_name[0]), path_and_name[1]) << path_and_name[0];
  }
}

TEST(ShellQuote, WrapsEveryByteInSingleQuotesUnchanged) {
  for (const char byte : all_bytes()) {
    if (byte == '\'') continue;
    EXPECT_EQ(shell_quote(std::string(1, byte)), std::string("'") + byte + "'") << name_of(byte);
  }
}

TEST(ShellQuote, StepsOutOfTheQuotesForASingleQuote) {
  EXPECT_EQ(shell_quote("it's"), "'it'\\''s'");
  EXPECT_EQ(shell_quote("''"), "''\\'''\\'''");
}

TEST(ShellQuote, MakesAWordOfNothing) { EXPECT_EQ(shell_quote(""), "''"); }

TEST(CsvEscape, QuotesOnlyWhatWouldBreakTheRow) {
  for (const char byte : all_bytes()) {
    if (byte == '"') continue;
    const std::string text = std::string("a") + byte + "b";
    EXPECT_EQ(csv_escape(text), is_one_of(byte, ",\n\r") ? '"' + text + '"' : text)
        << name_of(byte);
  }
}

TEST(CsvEscape, DoublesQuotes) {
  EXPECT_EQ(csv_escape("\""), "\"\"\"\"");
  EXPECT_EQ(csv_escape("say \"hi\", you"), "\"say \"\"hi\"\", you\"");
}

TEST(CsvEscape, LeavesPlainTextAsItIs) {
  for (const std::string text : {"", "abc", " a ", "品川 500 あ 12-34"}) {
    EXPECT_EQ(csv_escape(text), text);
  }
  EXPECT_EQ(csv_escape("a,b"), "\"a,b\"");
}

TEST(JsonEscape, EscapesFiveBytes) {
  EXPECT_EQ(json_escape("\\"), "\\\\");
  EXPECT_EQ(json_escape("\""), "\\\"");
  EXPECT_EQ(json_escape("\n"), "\\n");
  EXPECT_EQ(json_escape("\r"), "\\r");
  EXPECT_EQ(json_escape("\t"), "\\t");
  EXPECT_EQ(json_escape("a\\\"\n\r\tb"), "a\\\\\\\"\\n\\r\\tb");
}

TEST(JsonEscape, CopiesEveryOtherByteAlsoControlBytes) {
  for (const char byte : all_bytes()) {
    if (is_one_of(byte, "\\\"\n\r\t")) continue;
    EXPECT_EQ(json_escape(std::string(1, byte)), std::string(1, byte)) << name_of(byte);
  }
}

TEST(SplitCsvSimple, TrimsCellsAndKeepsCommasInQuotes) {
  EXPECT_THAT(split_csv_simple("a, \"b,c\" ,d"), ElementsAre("a", "b,c", "d"));
  EXPECT_THAT(split_csv_simple("\t a b \t, c "), ElementsAre("a b", "c"));
}

TEST(SplitCsvSimple, HasACellMoreThanUnquotedCommas) {
  EXPECT_THAT(split_csv_simple(""), ElementsAre(""));
  EXPECT_THAT(split_csv_simple("x,"), ElementsAre("x", ""));
  EXPECT_THAT(split_csv_simple(",,"), ElementsAre("", "", ""));
}

TEST(SplitCsvSimple, DropsEveryQuoteAlsoADoubledOne) {
  EXPECT_THAT(split_csv_simple("\"a\"\"b\",c"), ElementsAre("ab", "c"));
  EXPECT_THAT(split_csv_simple("a\"b,c\"d,e"), ElementsAre("ab,cd", "e"));
}

TEST(SplitCsvSimple, TrimsWhatStoodInQuotes) {
  EXPECT_THAT(split_csv_simple("\" a \",b"), ElementsAre("a", "b"));
}

TEST(SplitCsvSimple, LetsAnOpenQuoteReachTheEndOfTheLine) {
  EXPECT_THAT(split_csv_simple("a,\"b,c"), ElementsAre("a", "b,c"));
}

}  // namespace
}  // namespace kavrel

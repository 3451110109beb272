#include "reading/plate_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace kavrel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ExtractDigitRuns, CutsATextAtEverythingButDigitsAndHyphens) {
  EXPECT_THAT(extract_digit_runs("品川500あ12-34"), ElementsAre("500", "12-34"));
  EXPECT_THAT(extract_digit_runs("1 2"), ElementsAre("1", "2"));
  EXPECT_THAT(extract_digit_runs("a1b22c333"), ElementsAre("1", "22", "333"));
  EXPECT_THAT(extract_digit_runs("12345"), ElementsAre("12345"));
}

TEST(ExtractDigitRuns, DropsAHyphenWithoutADigitBeforeIt) {
  EXPECT_THAT(extract_digit_runs("-12"), ElementsAre("12"));
  EXPECT_THAT(extract_digit_runs("--12"), ElementsAre("12"));
  EXPECT_THAT(extract_digit_runs("1a-2"), ElementsAre("1", "2"));
}

TEST(ExtractDigitRuns, KeepsHyphensAfterADigit) {
  EXPECT_THAT(extract_digit_runs("12-x"), ElementsAre("12-"));
  EXPECT_THAT(extract_digit_runs("12-"), ElementsAre("12-"));
  EXPECT_THAT(extract_digit_runs("1--2-3"), ElementsAre("1--2-3"));
}

TEST(ExtractDigitRuns, TakesMultiByteCharactersForSeparators) {
  EXPECT_THAT(extract_digit_runs("12・34"), ElementsAre("12", "34"));
  EXPECT_THAT(extract_digit_runs("1\uFF12"
                                 "3"),
              ElementsAre("1", "3"));
  EXPECT_THAT(extract_digit_runs("12\uFF0D34"), ElementsAre("12", "34"));
  EXPECT_THAT(extract_digit_runs("1\u30002"), ElementsAre("1", "2"));
}

TEST(ExtractDigitRuns, FindsNoneInATextWithoutDigits) {
  EXPECT_THAT(extract_digit_runs(""), IsEmpty());
  EXPECT_THAT(extract_digit_runs("品川-あ"), IsEmpty());
}

TEST(DigitsOnly, KeepsAsciiDigitsInTheirOrder) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"12-34", "1234"}, {"・12", "12"}, {"9a8 7", "987"}, {"\uFF11", ""}, {"", ""},
  };
  for (const auto& [text, digits] : cases) EXPECT_EQ(digits_only(text), digits) << text;
}

TEST(FormatSerial, WritesFourDigitsInPairsAndOthersAsTheyAre) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"12-34", "12-34"}, {"1234", "12-34"}, {"1-2-3-4", "12-34"}, {"123", "123"}, {"12-3", "123"},
      {"12345", "12345"}, {"12", "12"},      {"・・12", "12"},     {"あ", ""},     {"", ""},
  };
  for (const auto& [text, serial] : cases) EXPECT_EQ(format_serial(text), serial) << text;
}

TEST(NormalizePlateText, ForgivesAsciiBlanksOnly) {
  EXPECT_EQ(normalize_plate_text("品川 500 あ 12-34"), "品川500あ12-34");
  EXPECT_EQ(normalize_plate_text(" \t品川\r\n500 "), "品川500");
  for (const std::string text : {"品川\u3000500", "12・34", "12-34", "\uFF11", "aB", "1\v2\f3"}) {
    EXPECT_EQ(normalize_plate_text(text), text);
  }
}

}  // namespace
}  // namespace kavrel

#include "report/base/fields.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kavrel::report {
namespace {

using testing::ElementsAre;

std::vector<std::string> split(const std::string& text) {
  const auto fields = split_plate_number(text);
  if (!fields) return {};
  return {fields->region, fields->class_no, fields->kana, fields->serial};
}

TEST(ExpectedFields, AreTheFourPartsBetweenBlanks) {
  EXPECT_THAT(split("品川 330 あ 12-34"), ElementsAre("品川", "330", "あ", "12-34"));
  EXPECT_THAT(split(" 品川\t30A  E ・・12 "), ElementsAre("品川", "30A", "E", "・・12"));
}

TEST(ExpectedFields, AreToldApartWithoutBlanks) {
  EXPECT_THAT(split("品川330あ12-34"), ElementsAre("品川", "330", "あ", "12-34"));
  EXPECT_THAT(split("尾張小牧 530の29-07"), ElementsAre("尾張小牧", "530", "の", "29-07"));
  EXPECT_THAT(split("品川330あ・・・7"), ElementsAre("品川", "330", "あ", "・・・7"));
}

TEST(ExpectedFields, AreNothingOfAnotherText) {
  for (const char* text :
       {"", " ", "品川", "330", "330 あ 12-34", "品川330", "品川330あ", "品川12-34", "品川 あ"}) {
    EXPECT_FALSE(split_plate_number(text).has_value()) << text;
  }
}

}  // namespace
}  // namespace kavrel::report

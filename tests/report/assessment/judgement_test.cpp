#include "report/assessment/judgement.h"

#include <gtest/gtest.h>

namespace kavrel::report {
namespace {

const std::string kLabel = "品川 330 あ 12-34";

PlateJudgement judge(PlateFields read, const std::string& expected = kLabel) {
  read.final_plate_number = assemble_plate_number(read);
  return judge_plate(expected, read);
}

Outcome outcome_of(const PlateJudgement& plate, std::size_t field) {
  return plate.fields.value().at(field).outcome;
}

TEST(Judgement, IsCorrectByTheStatusRule) {
  const PlateJudgement plate = judge({"品川", "330", "あ", "12-34", ""});
  EXPECT_EQ(plate.outcome, Outcome::kCorrect);
  for (std::size_t i = 0; i < kFields.size(); ++i) {
    EXPECT_EQ(outcome_of(plate, i), Outcome::kCorrect);
  }
}

TEST(Judgement, TellsMisreadFromNotRead) {
  const PlateJudgement plate = judge({"", "380", "い", "", ""});
  EXPECT_EQ(plate.outcome, Outcome::kMisread);
  EXPECT_EQ(outcome_of(plate, 0), Outcome::kNotRead);
  EXPECT_EQ(outcome_of(plate, 1), Outcome::kMisread);
  EXPECT_EQ(outcome_of(plate, 2), Outcome::kMisread);
  EXPECT_EQ(outcome_of(plate, 3), Outcome::kNotRead);
  EXPECT_EQ(judge({}).outcome, Outcome::kNotRead);
}

TEST(Judgement, IsUnlabelledWithoutAnExpectedText) {
  const PlateJudgement plate = judge({"品川", "330", "あ", "12-34", ""}, "");
  EXPECT_EQ(plate.outcome, Outcome::kUnlabelled);
  EXPECT_FALSE(plate.fields.has_value());
}

TEST(Judgement, HasNoFieldsIfTheExpectedTextHasNone) {
  const PlateJudgement plate = judge({"品川", "330", "あ", "12-34", ""}, "unreadable");
  EXPECT_EQ(plate.outcome, Outcome::kMisread);
  EXPECT_FALSE(plate.fields.has_value());
}

}  // namespace
}  // namespace kavrel::report

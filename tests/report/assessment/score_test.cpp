#include "report/assessment/score.h"

#include <gtest/gtest.h>

#include "report/assessment/assessment.h"
#include "tests/report/output_dir.h"

namespace kavrel::report {
namespace {

void expect_counts(const OutcomeCounts& counts, int correct, int misread, int not_read) {
  EXPECT_EQ(counts.correct, correct);
  EXPECT_EQ(counts.misread, misread);
  EXPECT_EQ(counts.not_read, not_read);
}

Assessment assess_small_run() {
  const kavrel_test::OutputDir dir;
  dir.write_finished(kavrel_test::small_run());
  return assess(read_run(dir.path()), kavrel_test::kWords);
}

TEST(Score, CountsGroups) {
  const Score groups = assess_small_run().groups;
  expect_counts(groups.plates, 1, 2, 1);  // a; b and e; c
  EXPECT_EQ(groups.unlabelled, 1);
  expect_counts(groups.fields[0], 3, 0, 1);
  expect_counts(groups.fields[1], 3, 0, 1);
  expect_counts(groups.fields[2], 2, 1, 1);
  expect_counts(groups.fields[3], 2, 1, 1);
}

TEST(Score, CountsFrames) {
  const Score frames = assess_small_run().frames;
  expect_counts(frames.plates, 2, 4, 1);  // a1, a3; a2, b1, b2, e1; c1
  EXPECT_EQ(frames.unlabelled, 1);
  expect_counts(frames.fields[0], 6, 0, 1);
  expect_counts(frames.fields[1], 6, 0, 1);
  expect_counts(frames.fields[2], 3, 3, 1);
  expect_counts(frames.fields[3], 5, 1, 1);
}

// Expected characters: 11 each, 12 of c. Edits of groups: 0, 1, 12 and 2.
TEST(Score, RatesCharacters) {
  const Assessment assessment = assess_small_run();
  EXPECT_EQ(assessment.groups.edits, 15);
  EXPECT_EQ(assessment.groups.characters, 45);
  EXPECT_DOUBLE_EQ(assessment.groups.micro_error_rate().value(), 15.0 / 45);
  EXPECT_NEAR(assessment.groups.macro_error_rate().value(), (1.0 / 11 + 1 + 2.0 / 11) / 4, 1e-12);
  EXPECT_DOUBLE_EQ(assessment.frames.micro_error_rate().value(), 17.0 / 78);
  EXPECT_NEAR(assessment.frames.macro_error_rate().value(), (5.0 / 11 + 1) / 7, 1e-12);
}

TEST(Score, RatesNothingWithoutAnExpectedCharacter) {
  Score score;
  score.add(judge_plate("", {"", "", "", "", "品川"}));
  score.add(judge_plate(" ", {"", "", "", "", "品川"}));
  EXPECT_FALSE(score.micro_error_rate().has_value());
  EXPECT_FALSE(score.macro_error_rate().has_value());
  EXPECT_EQ(score.plates.total(), 1);
}

TEST(Score, RatesTheFirst256CharactersOfALongText) {
  Score score;
  score.add(judge_plate(std::string(300, 'x'), {}));
  EXPECT_EQ(score.characters, 256);
  EXPECT_EQ(score.micro_error_rate(), 1.0);
}

// No reading had the expected kana of a2 and of c1; in b1 it lost; in b2 the search guessed.
TEST(Score, CountsWhyFieldsOfFramesAreWrong) {
  const Assessment assessment = assess_small_run();
  const auto count = [&](std::size_t field, Cause cause) {
    return assessment.field_causes[field][static_cast<std::size_t>(cause)];
  };
  EXPECT_EQ(count(2, Cause::kNotRead), 2);
  EXPECT_EQ(count(2, Cause::kOutvoted), 1);
  EXPECT_EQ(count(2, Cause::kKanaSearch), 1);
  EXPECT_EQ(count(0, Cause::kNotRead), 1);
  EXPECT_EQ(count(3, Cause::kNotRead), 2);
  EXPECT_EQ(count(3, Cause::kOutvoted), 0);
  EXPECT_EQ(assessment.guessed, (std::array<int, 4>{0, 0, 1, 0}));
  EXPECT_EQ(assessment.fallback_frames, 1);
  EXPECT_EQ(assessment.fallback_right, 0);
  EXPECT_EQ(assessment.not_as_recorded, 0);
}

}  // namespace
}  // namespace kavrel::report

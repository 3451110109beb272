#include "report/assessment/confusion.h"

#include <gtest/gtest.h>

#include "report/assessment/assessment.h"
#include "report/base/alignment.h"
#include "tests/report/output_dir.h"

namespace kavrel::report {
namespace {

void expect_confusion(const Confusion& confusion, const std::string& field, char32_t expected,
                      char32_t read, int count, int of) {
  EXPECT_EQ(kFields[confusion.field].key, field);
  EXPECT_EQ(confusion.expected, expected);
  EXPECT_EQ(confusion.read, read);
  EXPECT_EQ(confusion.count, count);
  EXPECT_EQ(confusion.of, of);
}

std::vector<Confusion> confusions_in(const std::vector<OcrText>& readings) {
  ConfusionCounts counts;
  add_confusions({"福岡", "301", "わ", "77-88", ""}, readings, counts);
  return most_frequent(counts);
}

// The kana of a1 to a3 was read as い once; that of b1 in two readings, one of them as き. What the
// kana search made of b2 is no reading.
TEST(Confusions, AreListedMostFrequentFirst) {
  const kavrel_test::OutputDir dir;
  dir.write_finished(kavrel_test::small_run());
  const auto list = most_frequent(assess(read_run(dir.path()), kavrel_test::kWords).confusions);
  ASSERT_EQ(list.size(), 3U);
  expect_confusion(list[0], "kana", U'あ', U'い', 1, 3);
  expect_confusion(list[1], "kana", U'さ', U'き', 1, 1);
  expect_confusion(list[2], "serial", U'8', kNoCharacter, 1, 3);
}

// Both 3 and 7 are there: what the vote made of the two rows does not tell which character failed.
TEST(Confusions, AreThoseOfReadingsThatMeantTheSameRow) {
  const auto list = confusions_in({{"gray_upper_row", "福岡30Y"},
                                   {"gray_lower_row", "わ77-88"},
                                   {"gray_serial_area", "77 88"}});
  ASSERT_EQ(list.size(), 1U);
  expect_confusion(list[0], "class_no", U'1', U'Y', 1, 1);
}

TEST(Confusions, TakeATextLineForThePartThatItResembles) {
  const auto list = confusions_in({{"gray_det_crop_0", "福岡301"},
                                   {"gray_det_crop_1", "わ7T88"},
                                   {"gray_det_crop_2", "801"},
                                   {"gray_det_crop_3", "福岡301わ7788"}});
  ASSERT_EQ(list.size(), 2U);
  expect_confusion(list[0], "class_no", U'3', U'8', 1, 1);
  expect_confusion(list[1], "serial", U'7', U'T', 1, 1);
}

TEST(Confusions, CountAFrameOnceHoweverManyReadingsItHas) {
  ConfusionCounts counts;
  const PlateFields plate = {"福岡", "301", "わ", "77-88", ""};
  const std::vector<OcrText> wrong = {
      {"gray_upper_row", "福岡801"}, {"clahe_upper_row", "福岡801"}, {"up2x_upper_row", "福岡301"}};
  add_confusions(plate, wrong, counts);
  add_confusions(plate, wrong, counts);
  add_confusions(plate, {{"gray_upper_row", "福岡301"}}, counts);
  const auto list = most_frequent(counts);
  ASSERT_EQ(list.size(), 1U);
  expect_confusion(list[0], "class_no", U'3', U'8', 2, 3);
}

TEST(Confusions, LeaveOutAReadingOfSomethingElse) {
  EXPECT_TRUE(confusions_in({{"gray_upper_row", "わ77-88"},
                             {"gray_lower_row", "JAF"},
                             {"gray_full", "301"},
                             {"gray_det_crop_0", "ん"}})
                  .empty());
}

TEST(Confusions, CountAnAddedCharacterOfNothing) {
  const auto list = confusions_in({{"gray_lower_row", "わ77-881"}});
  ASSERT_EQ(list.size(), 1U);
  expect_confusion(list[0], "serial", kNoCharacter, U'1', 1, 0);
}

}  // namespace
}  // namespace kavrel::report

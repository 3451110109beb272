#include "report/confusion.h"

#include <gtest/gtest.h>

#include "report/alignment.h"
#include "report/assessment.h"
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

// The kana さ was expected twice and read as き each time. c1, where nothing was read, does not
// count.
TEST(Confusions, AreListedMostFrequentFirst) {
  const kavrel_test::OutputDir dir;
  dir.write_finished(kavrel_test::small_run());
  const auto list = most_frequent(assess(read_run(dir.path()), kavrel_test::kWords).confusions);
  ASSERT_EQ(list.size(), 4U);
  expect_confusion(list[0], "kana", U'さ', U'き', 2, 2);
  expect_confusion(list[1], "kana", U'あ', U'い', 1, 3);
  expect_confusion(list[2], "serial", U'-', kNoCharacter, 1, 6);
  expect_confusion(list[3], "serial", U'8', kNoCharacter, 1, 4);
}

TEST(Confusions, CountAnAddedCharacterOfNothing) {
  ConfusionCounts counts;
  add_confusions(judge_plate("品川 330 あ 12-34", {"品川", "330", "あ", "112-34", "x"}), counts);
  const auto list = most_frequent(counts);
  ASSERT_EQ(list.size(), 1U);
  expect_confusion(list[0], "serial", kNoCharacter, U'1', 1, 0);
}

}  // namespace
}  // namespace kavrel::report

#include "report/assessment/compare.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "report/assessment/rereading.h"
#include "report/text/text_compare.h"
#include "tests/report/output_dir.h"

namespace kavrel::report {
namespace {

using kavrel_test::frame_of;
using kavrel_test::kWords;
using kavrel_test::OutputDir;
using testing::HasSubstr;

const std::vector<OcrText> kRight = {{"gray_upper_row", "品川330"}, {"gray_lower_row", "あ12-34"}};
const std::vector<OcrText> kWrong = {{"gray_upper_row", "品川330"}, {"gray_lower_row", "い12-34"}};
const std::vector<OcrText> kWorse = {{"gray_upper_row", "横浜330"}, {"gray_lower_row", "い12-34"}};
const std::string kExpected = "品川 330 あ 12-34";

FrameResult labelled(const std::string& group, const std::vector<OcrText>& readings) {
  return frame_of(group, "in/" + group + ".jpg", kExpected, readings);
}

struct Sides {
  RecordedRun base;
  RecordedRun fresh;
  Assessment base_assessment;
  Assessment fresh_assessment;
  Comparison comparison;

  Sides(const std::vector<FrameResult>& base_frames, const std::vector<FrameResult>& fresh_frames) {
    base = run_of(base_frames);
    fresh = run_of(fresh_frames);
    base_assessment = assess(base, kWords);
    fresh_assessment = assess(fresh, kWords);
    comparison = compare_runs(base, base_assessment, fresh, fresh_assessment);
  }

  ComparedRuns both() const { return {base, base_assessment, fresh, fresh_assessment, comparison}; }

  static RecordedRun run_of(const std::vector<FrameResult>& frames) {
    const OutputDir dir;
    dir.write_finished(frames);
    return read_run(dir.path());
  }
};

// A group of every kind, and two that stay as they are.
Sides all_kinds() {
  return {{labelled("broken", kRight), labelled("fixed", kWrong), labelled("gone", kRight),
           labelled("good", kRight), labelled("other", kWrong), labelled("same", kWrong)},
          {labelled("broken", kWrong), labelled("fixed", kRight), labelled("good", kRight),
           labelled("new", kRight), labelled("other", kWorse), labelled("same", kWrong)}};
}

TEST(Comparison, TellsEveryKindOfChange) {
  const Comparison comparison = all_kinds().comparison;
  for (const ItemChanges& changes : {comparison.groups, comparison.frames}) {
    EXPECT_EQ(changes.items.size(), 7U);
    for (const Change change :
         {Change::kBroken, Change::kFixed, Change::kStillNotCorrect, Change::kRemoved,
          Change::kAdded, Change::kSameNotCorrect, Change::kSameCorrect}) {
      EXPECT_EQ(changes.count(change), 1) << name_of(change);
    }
  }
}

TEST(Comparison, FindsAFrameInAnotherFolder) {
  const Sides sides({frame_of("g", "host/1.jpg", kExpected, kRight)},
                    {frame_of("g", "/board/1.png", kExpected, kWrong)});
  EXPECT_EQ(sides.comparison.frames.count(Change::kBroken), 1);
  EXPECT_EQ(sides.comparison.frames.items.size(), 1U);
}

TEST(Comparison, PairsFramesOfOneNameInOrder) {
  const Sides sides(
      {frame_of("g", "x/1.jpg", kExpected, kRight), frame_of("g", "y/1.jpg", kExpected, kWrong)},
      {frame_of("g", "x/1.jpg", kExpected, kRight), frame_of("g", "y/1.jpg", kExpected, kRight)});
  EXPECT_EQ(sides.comparison.frames.count(Change::kSameCorrect), 1);
  EXPECT_EQ(sides.comparison.frames.count(Change::kFixed), 1);
}

TEST(Comparison, LosesWhatIsBrokenOrRemoved) {
  const Sides sides = all_kinds();
  EXPECT_EQ(count_lost(sides.comparison, false), 2);
  EXPECT_EQ(count_lost(sides.comparison, true), 1);
  EXPECT_EQ(verdict_on(sides.both(), false),
            "Groups that were correct in the base run and no longer are: 2.");
  const Sides same({labelled("a", kRight)}, {labelled("a", kRight)});
  EXPECT_THAT(verdict_on(same.both(), false), HasSubstr("No group"));
  EXPECT_TRUE(are_comparable(same.both()));
}

TEST(Comparison, HasNoVerdictOnRunsThatAreNotWhole) {
  const Sides empty({labelled("a", kRight)}, {});
  EXPECT_FALSE(are_comparable(empty.both()));
  EXPECT_FALSE(are_comparable(Sides({}, {labelled("a", kRight)}).both()));
  EXPECT_EQ(verdict_on(empty.both(), false), "No verdict: the new run is empty.");
}

TEST(Comparison, HasNoVerdictOnRunsOfOtherLists) {
  FrameResult other = labelled("a", kRight);
  other.expected = "横浜 500 さ 56-78";
  const Sides sides({other}, {labelled("a", kRight)});
  EXPECT_FALSE(are_comparable(sides.both()));
  EXPECT_EQ(verdict_on(sides.both(), true),
            "No verdict: of no group do both runs expect the same plate.");
  EXPECT_FALSE(are_comparable(Sides({labelled("a", kRight)}, {labelled("b", kRight)}).both()));
}

TEST(Comparison, TellsOfLabelsThatChanged) {
  FrameResult other = labelled("a", kRight);
  other.expected = "横浜 500 さ 56-78";
  const Sides sides({other, labelled("b", kRight)}, {labelled("a", kRight), labelled("b", kRight)});
  EXPECT_TRUE(are_comparable(sides.both()));
  std::ostringstream out;
  print_comparison(sides.both(), out);
  EXPECT_THAT(out.str(), HasSubstr("1 group with another expected text in the new run.\n"));
  EXPECT_EQ(sides.comparison.groups.count(Change::kFixed), 1);
  EXPECT_EQ(sides.comparison.groups.like_labelled_fixed, 0);  // nothing is read otherwise
}

TEST(Comparison, LosesAGroupWhoseLabelIsGone) {
  FrameResult unlabelled = labelled("a", kRight);
  unlabelled.expected = "";
  const Comparison comparison = Sides({labelled("a", kRight)}, {unlabelled}).comparison;
  EXPECT_EQ(count_lost(comparison, false), 1);
  EXPECT_EQ(comparison.relabelled, 1);
  EXPECT_EQ(comparison.groups.like_labelled_broken, 0);  // nothing for the test to count
}

// By the run's own words; what was expected plays no part.
TEST(Rereading, CountsPlatesFieldsAndCharactersThatChanged) {
  const Sides sides = all_kinds();
  EXPECT_EQ(
      sentences_on(find_rereading(sides.both())),
      (std::vector<std::string>{
          "Read otherwise: 3 of 5 plates, 3 of 5 frames; fields that changed in frames: "
          "Region 1, Kana 2.",
          "Most often: Region 品 became 横 1 time, Region 川 became 浜 1 time, Kana あ became "
          "い 1 time, Kana い became あ 1 time."}));
}

TEST(Rereading, SaysWhereNothingChanged) {
  const Sides same({labelled("a", kWrong)}, {labelled("a", kWrong)});
  EXPECT_EQ(sentences_on(find_rereading(same.both())),
            std::vector<std::string>{"Read otherwise: 0 of 1 plates, 0 of 1 frames."});
}

TEST(Rereading, NamesTheFiveMostFrequentCharactersAndThoseThatAreGone) {
  const std::vector<OcrText> short_serial = {{"gray_upper_row", "品川330"},
                                             {"gray_lower_row", "あ1-23"}};
  const Sides sides({labelled("a", kRight), labelled("b", kRight), labelled("c", kRight)},
                    {labelled("a", kWrong), labelled("b", kWrong), labelled("c", short_serial)});
  const std::string most_often = sentences_on(find_rereading(sides.both())).back();
  EXPECT_EQ(most_often.rfind("Most often: Kana あ became い 2 times, Serial ", 0), 0U)
      << most_often;
  EXPECT_THAT(most_often, HasSubstr(" became nothing 1 time"));
}

TEST(Rereading, LeadsWhatIsPrinted) {
  const Sides sides = all_kinds();
  std::ostringstream out;
  print_comparison(sides.both(), out);
  EXPECT_EQ(out.str().rfind("Read otherwise: 3 of 5 plates", 0), 0U) << out.str();
}

TEST(Comparison, IsPrintedGroupByGroup) {
  const Sides sides = all_kinds();
  std::ostringstream out;
  print_comparison(
      {sides.base, sides.base_assessment, sides.fresh, sides.fresh_assessment, sides.comparison},
      out);
  const std::string text = out.str();
  EXPECT_THAT(text, HasSubstr("groups: base 3 of 6 correct, new 3 of 6; broken 1, fixed 1, still "
                              "not correct but read otherwise 1, removed 1, added 1; McNemar's "
                              "exact test p = 1.0000\n"));
  EXPECT_THAT(text, HasSubstr("  broken  broken  expected 品川 330 あ 12-34  base 品川 330 あ "
                              "12-34  new 品川 330 い 12-34\n"));
  EXPECT_THAT(text, HasSubstr("  removed  gone  expected 品川 330 あ 12-34  base 品川 330 あ 12-34"
                              "  new (not there)\n"));
  EXPECT_THAT(text, testing::Not(HasSubstr("  good  ")));
}

}  // namespace
}  // namespace kavrel::report

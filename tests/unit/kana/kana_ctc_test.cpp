#include "kana/kana_ctc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "ocr/line_recogniser.h"
#include "tests/support/floats.h"
#include "tests/support/pictures.h"
#include "tests/support/test_support.h"

namespace kavrel {
namespace {

using kavrel_test::attr_of;
using kavrel_test::Capture;
using kavrel_test::failure_of;
using kavrel_test::inputs_of;
using kavrel_test::kInf;
using kavrel_test::kNaN;
using kavrel_test::rec_script;
using kavrel_test::RuntimeLog;
using kavrel_test::same_pictures;
using kavrel_test::ScriptedModel;
using testing::ElementsAre;
using testing::HasSubstr;

using Dict = std::vector<std::string>;
using Row = std::vector<float>;

// Class 1 is no kana, classes 2, 3 and 4 are わ, さ and あ: against the alphabet's order.
const Dict kKana = {"川", "わ", "さ", "あ"};

std::string decode(const std::vector<Row>& rows, const Dict& dict = kKana) {
  std::vector<float> logits;
  for (const Row& row : rows) logits.insert(logits.end(), row.begin(), row.end());
  const auto steps = static_cast<std::uint32_t>(rows.size());
  const auto classes = static_cast<std::uint32_t>(rows.front().size());
  return ctc_decode_kana_constrained(logits, attr_of({1, steps, classes}), dict);
}

TEST(KanaCtc, TakesTheBestOfBlankAndKana) {
  EXPECT_EQ(decode({{1, 0, 2, 3, 0}}), "さ");
  EXPECT_EQ(decode({{1, 0, 3, 2, 0}}), "わ");
  EXPECT_EQ(decode({{9, 0, 0, 0, 0}, {0, 0, 0, 0, 1}, {9, 0, 0, 0, 0}}), "あ");
}

TEST(KanaCtc, DoesNotLookAtOtherClassesHoweverHighTheyAre) {
  EXPECT_EQ(decode({{0, 99, 0, 1, 0}}), "さ");
  EXPECT_EQ(decode({{0, kInf, 0, 1, 0}}), "さ");
}

TEST(KanaCtc, PrefersTheAlphabetsOrderToTheOrderInTime) {
  EXPECT_EQ(decode({{0, 0, 0, 1, 0}, {0, 0, 0, 0, 1}}), "あ");
  EXPECT_EQ(decode({{0, 0, 0, 0, 1}, {0, 0, 0, 1, 0}}), "あ");
  EXPECT_EQ(decode({{0, 0, 1, 0, 0}, {0, 0, 0, 1, 0}}), "さ");
}

TEST(KanaCtc, PrefersAKanaAboveTheBlankToOnesThatOnlyComeNear) {
  EXPECT_EQ(decode({{5, 0, 0, 0, 5}, {0, 0, 1, 0, 0}}), "わ");
}

TEST(KanaCtc, PrefersTheAlphabetsOrderToTheMarginAboveTheBlank) {
  EXPECT_EQ(decode({{0, 0, 0, 9, 0}, {0, 0, 0, 0, 1}}), "あ");
}

TEST(KanaCtc, LetsTheFirstClassWinATieAboveTheBlank) { EXPECT_EQ(decode({{0, 0, 1, 1, 1}}), "わ"); }

TEST(KanaCtc, LetsTheBlankWinATie) {
  EXPECT_EQ(decode({{1, 0, 0, 0, 1}, {0, 0, 0, 1, 0}}), "さ");
  EXPECT_EQ(decode({{0, 0, 0, 1, 0}, {1, 0, 0, 0, 1}}), "さ");
}

TEST(KanaCtc, TakesTheKanaNearestToTheBlankWhenTheBlankAlwaysWins) {
  EXPECT_EQ(decode({{9, 0, 1, 2, 3}, {9, 0, 8, 0, 0}}), "わ");
  EXPECT_EQ(decode({{9, 0, 8, 0, 0}, {9, 0, 1, 2, 3}}), "わ");
  EXPECT_EQ(decode({{1000, 0, -1000, -999, -1001}}), "さ");
}

TEST(KanaCtc, MeasuresNearnessAsADifferenceNotByTheScoreAlone) {
  EXPECT_EQ(decode({{100, 0, 0, 90, 0}, {1, 0, 0, -20, -4}}), "わ");
  EXPECT_EQ(decode({{100, 0, 0, 90, 0}, {1, 0, -20, -20, -4}}), "あ");
}

TEST(KanaCtc, TakesTheLowerCodePointOfKanaEquallyNear) {
  EXPECT_EQ(decode({{1, 0, 0.5F, 0.5F, 0.5F}}), "あ");
  EXPECT_EQ(decode({{1, 0, 0.5F, 0, 0}, {2, 0, 0, 1.5F, 0}}), "さ");
  EXPECT_EQ(decode({{1, 0.5F, 0.5F}}, {"か", "あ"}), "あ");
}

TEST(KanaCtc, TakesTheBestOfTwoEntriesWithTheSameKana) {
  EXPECT_EQ(decode({{9, 8, 0, 7}}, {"わ", "わ", "さ"}), "わ");
  EXPECT_EQ(decode({{9, 0, 8, 7}}, {"わ", "わ", "さ"}), "わ");
}

TEST(KanaCtc, FindsNothingWithoutAKanaInTheDictionary) {
  EXPECT_EQ(decode({{0, 1, 1, 1, 1}}, {"川", "し", "あ ", "ア"}), "");
  EXPECT_EQ(decode({{0, 1}}, {}), "");
}

// Were class 3 looked at, the blank of the following step would stand for it.
TEST(KanaCtc, LeavesOutKanaBeyondTheClassesOfTheOutput) {
  EXPECT_EQ(decode({{9, 0, 8}, {99, 0, 0}}, {"川", "わ", "あ"}), "わ");
  EXPECT_EQ(decode({{0, 1, 2}}, {"川", "し", "あ"}), "");
  EXPECT_EQ(decode({{9, 0, 8}}, {"川", "わ"}), "わ");
}

TEST(KanaCtc, ReadsAnOutputWithMoreClassesThanTheDictionary) {
  EXPECT_EQ(decode({{0, 0, 0, 1, 0, 9, 9}}), "さ");
}

TEST(KanaCtc, FindsNothingThatIsInfinitelyFarFromTheBlank) {
  EXPECT_EQ(decode({{0, 0, -kInf, -kInf, -kInf}}), "");
}

TEST(KanaCtc, PassesOverScoresThatAreNoNumbers) {
  EXPECT_EQ(decode({{0, kNaN, kNaN, 1, kNaN}}), "さ");
  EXPECT_EQ(decode({{0, kNaN, kNaN, -1, kNaN}}), "さ");
  EXPECT_EQ(decode({{kNaN, 1, 1, 1, 1}}), "");
}

TEST(KanaCtc, ReadsTheShapeFromTheLastTwoDimensions) {
  const std::vector<float> logits = {9, 0, 8, 7, 0, 0, 0, 0, 9, 1};
  for (const std::vector<std::uint32_t>& dims :
       {std::vector<std::uint32_t>{2, 5}, {1, 2, 5}, {7, 2, 5}, {1, 1, 2, 5}}) {
    EXPECT_EQ(ctc_decode_kana_constrained(logits, attr_of(dims), kKana), "さ")
        << dims_to_string(attr_of(dims));
  }
}

TEST(KanaCtc, FindsNothingInAShapeThatDoesNotFitWithoutAWord) {
  const std::vector<float> logits = {0, 0, 1, 0, 0};
  const Capture err;
  for (const std::vector<std::uint32_t>& dims :
       std::vector<std::vector<std::uint32_t>>{{},
                                               {5},
                                               {1, 2, 5},
                                               {1, 1, 6},
                                               {1, 0, 5},
                                               {1, 1, 0},
                                               {65536, 65536},
                                               {0x80000000U, 5},
                                               {1, 0x80000000U},
                                               {0x80000001U, 0x80000001U}}) {
    EXPECT_EQ(ctc_decode_kana_constrained(logits, attr_of(dims), kKana), "")
        << dims_to_string(attr_of(dims));
  }
  EXPECT_EQ(ctc_decode_kana_constrained({}, attr_of({1, 1, 5}), kKana), "");
  EXPECT_EQ(err.text(), "");
}

TEST(KanaCtc, IgnoresValuesBeyondTheShape) {
  EXPECT_EQ(ctc_decode_kana_constrained({0, 0, 0, 1, 0, 0, 0, 0, 0, 9}, attr_of({1, 1, 5}), kKana),
            "さ");
}

const cv::Mat kCrop(10, 20, CV_8UC3, cv::Scalar(10, 20, 30));

TEST(KanaConstrainedRecogniser, DecodesItsFirstOutput) {
  ScriptedModel rec(
      rec_script("output logits 1,1,5\noutput other 1,1,5\n"
                 "answer * 0 floats 0 9 0 1 0\nanswer * 1 floats 0 0 1 0 0\n"));
  EXPECT_EQ(run_ppocr_rec_kana_constrained(rec.get(), kCrop, kKana), "さ");
}

TEST(KanaConstrainedRecogniser, ShowsTheNetworkWhatFreeRecognitionShowsIt) {
  ScriptedModel rec(rec_script("output logits 1,1,5\n"));
  const RuntimeLog log;
  run_ppocr_rec_kana_constrained(rec.get(), kCrop, kKana);
  run_ppocr_rec(rec.get(), kCrop, kKana);
  const cv::Mat shown = make_rec_input_rgb(kCrop);
  EXPECT_TRUE(same_pictures(inputs_of(log.inputs("rec"), {320, 48}), {shown, shown}));
}

TEST(KanaConstrainedRecogniser, FindsNothingWithoutAnOutput) {
  const Capture err;
  ScriptedModel without(rec_script(""));
  EXPECT_EQ(run_ppocr_rec_kana_constrained(without.get(), kCrop, kKana), "");
  ScriptedModel empty(rec_script("output logits 1,0,5 elems=0\n"));
  EXPECT_EQ(run_ppocr_rec_kana_constrained(empty.get(), kCrop, kKana), "");
  EXPECT_EQ(err.text(), "");
}

TEST(KanaConstrainedRecogniser, RefusesAnEmptyCrop) {
  ScriptedModel rec(rec_script("output logits 1,1,5\n"));
  EXPECT_EQ(failure_of([&] { run_ppocr_rec_kana_constrained(rec.get(), cv::Mat(), kKana); }),
            "empty crop for recognition");
}

TEST(KanaConstrainedRecogniser, PassesOnWhatTheRuntimeFailsWith) {
  ScriptedModel rec(rec_script("output logits 1,1,5\nfail run * -1\n"));
  EXPECT_THAT(failure_of([&] { run_ppocr_rec_kana_constrained(rec.get(), kCrop, kKana); }),
              HasSubstr("rknn_run failed: "));
}

}  // namespace
}  // namespace kavrel

#include "ocr/text_detection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <opencv2/core.hpp>
#include <string>
#include <utility>
#include <vector>

#include "plate/image_prep.h"
#include "tests/support/floats.h"
#include "tests/support/pictures.h"
#include "tests/support/test_support.h"

namespace kavrel {
namespace {

using kavrel_test::Capture;
using kavrel_test::decoded;
using kavrel_test::det_script;
using kavrel_test::expect_frames;
using kavrel_test::failure_of;
using kavrel_test::gradient_image;
using kavrel_test::inputs_of;
using kavrel_test::jpeg_of;
using kavrel_test::kInf;
using kavrel_test::kNaN;
using kavrel_test::noise_image;
using kavrel_test::row_values;
using kavrel_test::RuntimeLog;
using kavrel_test::same_pictures;
using kavrel_test::same_pixels;
using kavrel_test::ScriptedModel;
using kavrel_test::TempDir;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAreArray;

std::vector<float> values_of(const cv::Mat& map) { return {map.begin<float>(), map.end<float>()}; }

float logistic(float x) { return static_cast<float>(1.0 / (1.0 + std::exp(-double{x}))); }

TEST(TextProbabilityMap, IsSquareAndRowMajor) {
  const std::vector<float> values = {0.0F,   0.125F, 0.25F,  0.375F, 0.5F,
                                     0.625F, 0.75F,  0.875F, 1.0F};
  const cv::Mat map = text_probability_map(values);
  ASSERT_EQ(map.size(), cv::Size(3, 3));
  ASSERT_EQ(map.type(), CV_32F);
  EXPECT_EQ(map.at<float>(0, 2), 0.25F);
  EXPECT_EQ(map.at<float>(2, 0), 0.75F);
}

TEST(TextProbabilityMap, IsEmptyUnlessTheValuesAreASquare) {
  for (const std::size_t count : {0U, 2U, 3U, 5U, 8U, 1000U, 409599U, 409601U}) {
    EXPECT_TRUE(text_probability_map(std::vector<float>(count, 0.5F)).empty()) << count;
  }
  EXPECT_EQ(values_of(text_probability_map({0.5F})), std::vector<float>{0.5F});
  EXPECT_EQ(text_probability_map(std::vector<float>(409600, 0.5F)).size(), cv::Size(640, 640));
}

TEST(TextProbabilityMap, KeepsProbabilitiesAsTheyAre) {
  const std::vector<float> probabilities = {0.0F, 0.25F, 0.75F, 1.0F};
  EXPECT_EQ(values_of(text_probability_map(probabilities)), probabilities);
}

TEST(TextProbabilityMap, KeepsProbabilitiesThatMissTheirRangeALittle) {
  const std::vector<float> probabilities = {-0.01F, 0.5F, 0.5F, 1.01F};
  EXPECT_EQ(values_of(text_probability_map(probabilities)), probabilities);
}

TEST(TextProbabilityMap, TakesEveryValueForALogitWhereOneIsNoProbability) {
  for (const float logit :
       {1.02F, -0.02F, std::nextafter(1.01F, 2.0F), std::nextafter(-0.01F, -1.0F), 30.0F, -30.0F}) {
    for (std::size_t place = 0; place < 9; ++place) {
      std::vector<float> values = {0.0F, 0.1F, 0.2F, 0.3F, 0.4F, 0.5F, 0.6F, 0.7F, 0.8F};
      values[place] = logit;
      const std::vector<float> map = values_of(text_probability_map(values));
      for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(map[i], logistic(values[i]), 1e-6F) << logit << " at " << place;
      }
    }
  }
}

TEST(TextProbabilityMap, BringsInfiniteLogitsToTheirLimits) {
  EXPECT_THAT(values_of(text_probability_map({kInf, -kInf, 1e30F, -1e30F})),
              ElementsAre(1.0F, 0.0F, 1.0F, 0.0F));
}

// Nothing is less or greater than a first value that is no number.
TEST(TextProbabilityMap, LooksForNoLogitBehindAFirstValueThatIsNoNumber) {
  const std::vector<float> map = values_of(text_probability_map({kNaN, 5.0F, -5.0F, 0.5F}));
  EXPECT_TRUE(std::isnan(map[0]));
  EXPECT_EQ(std::vector<float>(map.begin() + 1, map.end()),
            (std::vector<float>{5.0F, -5.0F, 0.5F}));
}

TEST(TextProbabilityMap, PassesOverALaterValueThatIsNoNumber) {
  const std::vector<float> map = values_of(text_probability_map({0.5F, kNaN, 5.0F, 0.0F}));
  EXPECT_NEAR(map[0], logistic(0.5F), 1e-6F);
  EXPECT_TRUE(std::isnan(map[1]));
  EXPECT_EQ(map[3], 0.5F);
}

cv::Mat black_map(int side) { return cv::Mat(side, side, CV_32F, cv::Scalar(0)); }

cv::Mat mask_of(const cv::Size& size, const std::vector<cv::Rect>& shapes) {
  cv::Mat mask(size, CV_8U, cv::Scalar(0));
  for (const cv::Rect& shape : shapes) mask(shape).setTo(255);
  return mask;
}

// The mask of shapes of probability 1, at threshold 0.5.
cv::Mat closed(int side, const std::vector<cv::Rect>& shapes) {
  cv::Mat map = black_map(side);
  for (const cv::Rect& shape : shapes) map(shape).setTo(1.0F);
  return text_mask(map, 0.5F);
}

TEST(TextMask, HoldsWhatIsAboveTheThreshold) {
  for (const float threshold : {0.25F, 0.3F, 0.75F}) {
    SCOPED_TRACE(threshold);
    cv::Mat map = black_map(20);
    map(cv::Rect(1, 1, 4, 4)).setTo(threshold);
    map(cv::Rect(11, 11, 4, 4)).setTo(std::nextafter(threshold, 1.0F));
    EXPECT_TRUE(same_pixels(text_mask(map, threshold), mask_of({20, 20}, {{11, 11, 4, 4}})));
  }
}

TEST(TextMask, ClosesGapsOfFourColumnsAndTwoRows) {
  EXPECT_TRUE(
      same_pixels(closed(40, {{8, 8, 6, 6}, {18, 8, 6, 6}}), mask_of({40, 40}, {{8, 8, 16, 6}})));
  EXPECT_TRUE(
      same_pixels(closed(40, {{8, 8, 6, 6}, {8, 16, 6, 6}}), mask_of({40, 40}, {{8, 8, 6, 14}})));
}

TEST(TextMask, KeepsWiderGaps) {
  const std::vector<cv::Rect> columns = {{8, 8, 6, 6}, {19, 8, 6, 6}};
  EXPECT_TRUE(same_pixels(closed(40, columns), mask_of({40, 40}, columns)));
  const std::vector<cv::Rect> rows = {{8, 8, 6, 6}, {8, 17, 6, 6}};
  EXPECT_TRUE(same_pixels(closed(40, rows), mask_of({40, 40}, rows)));
}

TEST(TextMask, KeepsTheOutlineOfALoneShape) {
  const std::vector<cv::Rect> shape = {{11, 9, 7, 5}};
  EXPECT_TRUE(same_pixels(closed(40, shape), mask_of({40, 40}, shape)));
}

TEST(TextMask, ReachesTheEdgeFromTwoColumnsOrOneRowAway) {
  EXPECT_TRUE(same_pixels(closed(40, {{2, 8, 6, 6}}), mask_of({40, 40}, {{0, 8, 8, 6}})));
  EXPECT_TRUE(same_pixels(closed(40, {{32, 33, 6, 6}}), mask_of({40, 40}, {{32, 33, 8, 7}})));
  const std::vector<cv::Rect> further_away = {{3, 2, 6, 6}};
  EXPECT_TRUE(same_pixels(closed(40, further_away), mask_of({40, 40}, further_away)));
}

TEST(TextMask, HoldsNothingThatIsNoNumber) {
  const cv::Mat map(20, 20, CV_32F, cv::Scalar(kNaN));
  EXPECT_TRUE(same_pixels(text_mask(map, 0.3F), mask_of({20, 20}, {})));
}

TEST(TextMask, TakesASinglePixel) {
  EXPECT_TRUE(same_pixels(text_mask(cv::Mat(1, 1, CV_32F, cv::Scalar(0.5)), 0.3F),
                          mask_of({1, 1}, {{0, 0, 1, 1}})));
}

std::vector<cv::Rect> rects_of(const std::vector<TextBox>& boxes) {
  std::vector<cv::Rect> rects;
  for (const TextBox& text_box : boxes) rects.push_back(text_box.box);
  return rects;
}

std::vector<cv::Rect> boxes_of(int side, const std::vector<cv::Rect>& shapes,
                               const cv::Size& image_size) {
  return rects_of(text_boxes(mask_of({side, side}, shapes), image_size));
}

TEST(TextBoxRecord, StartsEmpty) {
  const TextBox text_box;
  EXPECT_EQ(text_box.box, cv::Rect(0, 0, 0, 0));
  EXPECT_EQ(text_box.score, 0.0F);
}

TEST(TextBoxes, ArePaddedByFiveColumnsAndFourRows) {
  EXPECT_THAT(boxes_of(640, {{100, 200, 50, 30}}, {640, 640}),
              ElementsAre(cv::Rect(95, 196, 60, 38)));
}

TEST(TextBoxes, AreScaledToTheImage) {
  EXPECT_THAT(boxes_of(64, {{10, 20, 8, 6}}, {640, 192}), ElementsAre(cv::Rect(95, 56, 90, 26)));
}

TEST(TextBoxes, StartRoundedDownAndAreRoundedUpInSize) {
  // x 101 x 0.3125 = 31.6, y 208 x 0.1 = 20.8, width 52 x 0.3125 = 16.3, height 64 x 0.1 = 6.4
  EXPECT_THAT(boxes_of(640, {{101, 208, 52, 64}}, {200, 64}),
              ElementsAre(cv::Rect(26, 16, 27, 15)));
}

TEST(TextBoxes, AreScaledInSinglePrecision) {
  // 96 / 640 is a little more than 0.15 in single precision: 100 of them are above 15, while 20
  // are 3 after rounding.
  EXPECT_THAT(boxes_of(640, {{100, 200, 50, 100}}, {640, 96}),
              ElementsAre(cv::Rect(95, 26, 60, 24)));
  EXPECT_THAT(boxes_of(640, {{100, 200, 50, 20}}, {640, 96}),
              ElementsAre(cv::Rect(95, 26, 60, 11)));
}

TEST(TextBoxes, KeepTheirPaddedSizeAtTheLeftAndTopEdge) {
  EXPECT_THAT(boxes_of(640, {{0, 0, 64, 64}}, {200, 64}), ElementsAre(cv::Rect(0, 0, 30, 15)));
  EXPECT_THAT(boxes_of(640, {{3, 2, 30, 20}}, {640, 640}), ElementsAre(cv::Rect(0, 0, 40, 28)));
}

TEST(TextBoxes, AreCutAtTheRightAndBottomEdge) {
  EXPECT_THAT(boxes_of(640, {{576, 576, 64, 64}}, {200, 64}),
              ElementsAre(cv::Rect(175, 53, 25, 11)));
  EXPECT_THAT(boxes_of(640, {{600, 600, 34, 35}}, {640, 640}),
              ElementsAre(cv::Rect(595, 596, 44, 43)));
  EXPECT_THAT(boxes_of(640, {{600, 600, 36, 37}}, {640, 640}),
              ElementsAre(cv::Rect(595, 596, 45, 44)));
}

TEST(TextBoxes, AreCutToAnImageSmallerThanThePadding) {
  EXPECT_THAT(boxes_of(64, {{0, 0, 64, 64}}, {9, 8}), ElementsAre(cv::Rect(0, 0, 9, 8)));
  EXPECT_THAT(boxes_of(64, {{0, 0, 64, 64}}, {1, 1}), IsEmpty());
}

TEST(TextBoxes, NeedAShapeOfTwentyMapPixels) {
  // A contour runs through pixel centres: 6 x 5 pixels enclose 5 x 4, a missing corner costs half.
  cv::Mat mask = mask_of({640, 640}, {{100, 200, 6, 5}});
  EXPECT_THAT(text_boxes(mask, {640, 640}), SizeIs(1));
  mask.at<unsigned char>(200, 100) = 0;
  EXPECT_THAT(text_boxes(mask, {640, 640}), IsEmpty());
}

TEST(TextBoxes, AreMeasuredAlongEveryBendOfTheShape) {
  // A cross encloses its bars of 7 x 1 and 1 x 12, less their common 1, and half a pixel in each
  // of its four bends: 20.
  EXPECT_THAT(boxes_of(640, {{100, 205, 8, 2}, {102, 200, 2, 13}}, {640, 640}), SizeIs(1));
  EXPECT_THAT(boxes_of(640, {{100, 205, 7, 2}, {102, 200, 2, 13}}, {640, 640}), IsEmpty());
}

TEST(TextBoxes, AreMeasuredOnTheMapWhateverTheImagesSize) {
  EXPECT_THAT(boxes_of(640, {{100, 200, 5, 5}}, {6400, 6400}), IsEmpty());
  EXPECT_THAT(boxes_of(640, {{100, 200, 6, 5}}, {64, 64}), SizeIs(1));
}

TEST(TextBoxes, AreAtLeastEightPixelsWideAndHigh) {
  EXPECT_THAT(boxes_of(640, {{638, 100, 2, 40}}, {640, 640}), IsEmpty());
  EXPECT_THAT(boxes_of(640, {{637, 100, 3, 40}}, {640, 640}),
              ElementsAre(cv::Rect(632, 96, 8, 48)));
  EXPECT_THAT(boxes_of(640, {{100, 637, 40, 3}}, {640, 640}), IsEmpty());
  EXPECT_THAT(boxes_of(640, {{100, 636, 40, 4}}, {640, 640}),
              ElementsAre(cv::Rect(95, 632, 50, 8)));
}

TEST(TextBoxes, ScoreOne) {
  const auto boxes = text_boxes(mask_of({640, 640}, {{100, 200, 50, 30}}), {640, 640});
  ASSERT_THAT(boxes, SizeIs(1));
  EXPECT_EQ(boxes[0].score, 1.0F);
}

TEST(TextBoxes, IgnoreWhatAShapeEncloses) {
  cv::Mat mask = mask_of({640, 640}, {{100, 100, 200, 200}});
  mask(cv::Rect(120, 120, 160, 160)).setTo(0);
  mask(cv::Rect(150, 150, 50, 50)).setTo(255);
  EXPECT_THAT(rects_of(text_boxes(mask, {640, 640})), ElementsAre(cv::Rect(95, 96, 210, 208)));
}

TEST(TextBoxes, SurroundShapesOfAnyForm) {
  cv::Mat mask = mask_of({640, 640}, {{100, 100, 10, 60}, {100, 150, 80, 10}});
  EXPECT_THAT(rects_of(text_boxes(mask, {640, 640})), ElementsAre(cv::Rect(95, 96, 90, 68)));
}

TEST(TextBoxes, AreNoneWithoutAShape) {
  EXPECT_THAT(boxes_of(640, {}, {640, 640}), IsEmpty());
  EXPECT_THAT(boxes_of(1, {{0, 0, 1, 1}}, {640, 640}), IsEmpty());
}

TEST(TextBoxes, SpanTheImageWhereAllIsText) {
  EXPECT_THAT(boxes_of(64, {{0, 0, 64, 64}}, {320, 96}), ElementsAre(cv::Rect(0, 0, 320, 96)));
}

TEST(TextBoxes, ComeInReadingOrder) {
  // Centres 110 and 120 share a row, 150 is the next.
  EXPECT_THAT(
      boxes_of(640, {{300, 100, 40, 20}, {50, 110, 40, 20}, {10, 140, 20, 20}}, {640, 640}),
      ElementsAre(cv::Rect(45, 106, 50, 28), cv::Rect(295, 96, 50, 28), cv::Rect(5, 136, 30, 28)));
}

// Shapes 120 columns and 100 rows apart, five in a row.
cv::Rect shape_in_grid(int number, const cv::Size& size) {
  return {20 + number % 5 * 120, 50 + number / 5 * 100, size.width, size.height};
}

cv::Rect padded(const cv::Rect& shape) {
  return {shape.x - 5, shape.y - 4, shape.width + 10, shape.height + 8};
}

TEST(TextBoxes, AreTheSixteenLargestInReadingOrder) {
  std::vector<cv::Rect> shapes;
  std::vector<cv::Rect> expected;
  for (int number = 0; number < 20; ++number) {
    // Four of smaller area, among them the widest and the highest.
    const cv::Size size = number == 1    ? cv::Size(60, 10)
                          : number == 8  ? cv::Size(10, 60)
                          : number == 14 ? cv::Size(25, 30)
                          : number == 15 ? cv::Size(30, 26)
                                         : cv::Size(30, 30);
    shapes.push_back(shape_in_grid(number, size));
    if (size == cv::Size(30, 30)) expected.push_back(padded(shapes.back()));
  }
  EXPECT_THAT(boxes_of(640, shapes, {640, 640}), ElementsAreArray(expected));
}

TEST(TextBoxes, LoseTheSmallestOfSeventeen) {
  for (const int smallest : {0, 7, 16}) {
    std::vector<cv::Rect> shapes;
    for (int number = 0; number < 17; ++number) {
      shapes.push_back(shape_in_grid(number, {number == smallest ? 29 : 30, 30}));
    }
    const std::vector<cv::Rect> boxes = boxes_of(640, shapes, {640, 640});
    EXPECT_THAT(boxes, SizeIs(16));
    EXPECT_THAT(boxes, Not(testing::Contains(padded(shapes[static_cast<std::size_t>(smallest)]))));
  }
}

TEST(TextBoxes, AreAllOfSixteen) {
  std::vector<cv::Rect> shapes;
  std::vector<cv::Rect> expected;
  for (int number = 0; number < 16; ++number) {
    shapes.push_back(shape_in_grid(number, {20 + number, 30}));
    expected.push_back(padded(shapes.back()));
  }
  EXPECT_THAT(boxes_of(640, shapes, {640, 640}), ElementsAreArray(expected));
}

// Centres 10 pixels apart: each shares its row with the next but not with the one after that, so
// the reading order runs in circles.
std::vector<cv::Rect> chain_of_shapes(int count) {
  std::vector<cv::Rect> shapes;
  for (int i = 0; i < count; ++i) shapes.push_back({10 + i * 37 % 200, 10 + 10 * i, 12 + i, 6});
  return shapes;
}

TEST(TextBoxes, AreAllKeptWhereTheReadingOrderRunsInCircles) {
  for (int count = 2; count <= 16; ++count) {
    std::vector<cv::Rect> expected;
    for (const cv::Rect& shape : chain_of_shapes(count)) expected.push_back(padded(shape));
    EXPECT_THAT(boxes_of(1300, chain_of_shapes(count), {1300, 1300}),
                UnorderedElementsAreArray(expected));
  }
}

TEST(TextBoxes, AreTheLargestWhereTheReadingOrderOfManyRunsInCircles) {
  for (const int count : {17, 18, 33, 64, 120}) {
    SCOPED_TRACE(count);
    std::vector<cv::Rect> expected;
    for (const cv::Rect& shape : chain_of_shapes(count)) expected.push_back(padded(shape));
    expected.erase(expected.begin(), expected.end() - 16);
    EXPECT_THAT(boxes_of(1300, chain_of_shapes(count), {1300, 1300}),
                UnorderedElementsAreArray(expected));
  }
}

bool read_before(const cv::Rect& a, const cv::Rect& b) {
  return in_reading_order({a, 1.0F}, {b, 1.0F});
}

TEST(ReadingOrder, RunsFromLeftToRightInARow) {
  const cv::Rect right(100, 10, 30, 20);
  const cv::Rect left(10, 20, 30, 20);
  EXPECT_TRUE(read_before(left, right));
  EXPECT_FALSE(read_before(right, left));
}

TEST(ReadingOrder, RunsFromTheUpperRowToTheLower) {
  const cv::Rect upper(100, 10, 30, 20);
  const cv::Rect lower(10, 30, 30, 20);
  EXPECT_TRUE(read_before(upper, lower));
  EXPECT_FALSE(read_before(lower, upper));
}

TEST(ReadingOrder, TakesCentresTwelvePixelsApartForOneRow) {
  const cv::Rect right(100, 10, 30, 20);
  EXPECT_TRUE(read_before({10, 22, 30, 20}, right));
  EXPECT_FALSE(read_before({10, 23, 30, 20}, right));
  EXPECT_TRUE(read_before({10, -2, 30, 20}, right));
  EXPECT_FALSE(read_before(right, {10, -2, 30, 20}));
  EXPECT_TRUE(read_before({200, -3, 30, 20}, right));
}

TEST(ReadingOrder, ComparesCentresNotTops) {
  const cv::Rect small(100, 30, 30, 10);
  EXPECT_TRUE(read_before({10, 5, 30, 60}, small));
  EXPECT_TRUE(read_before(small, {10, 30, 30, 60}));
}

TEST(ReadingOrder, RoundsACentreDown) {
  // Centres 10 and 22, then 10 and 23.
  EXPECT_TRUE(read_before({10, 12, 30, 20}, {100, 0, 30, 21}));
  EXPECT_FALSE(read_before({10, 13, 30, 20}, {100, 0, 30, 21}));
  EXPECT_FALSE(read_before({100, 0, 30, 21}, {10, 12, 30, 20}));
  EXPECT_TRUE(read_before({100, 0, 30, 21}, {10, 13, 30, 20}));
}

TEST(ReadingOrder, PutsNeitherOfTwoFirstWithoutADifference) {
  EXPECT_FALSE(read_before({10, 20, 30, 20}, {10, 20, 30, 20}));
  EXPECT_FALSE(read_before({10, 20, 30, 20}, {10, 25, 90, 20}));
  EXPECT_FALSE(read_before({10, 25, 90, 20}, {10, 20, 30, 20}));
}

// A detector whose map of `side` x `side` is 0 but for what `lines` draw.
std::string map_script(int side, const std::string& lines) {
  const std::string length = std::to_string(side);
  return det_script("output map 1,1," + length + "," + length + "\nanswer * 0 fill " +
                    std::to_string(side * side) + " 0\n" + lines);
}

std::vector<cv::Rect> detected(const std::string& script, float threshold,
                               const cv::Size& size = {200, 64}) {
  ScriptedModel model(script);
  const TempDir dir;
  return rects_of(run_ppocr_det_boxes(model.get(), noise_image(size.width, size.height),
                                      dir.path("case"), threshold));
}

TEST(TextDetector, FindsTheBoxOfAShapeOfItsMap) {
  EXPECT_THAT(detected(map_script(640, "answer * 0 rect 0 0 64 64 0.9\n"), 0.3F),
              ElementsAre(cv::Rect(0, 0, 30, 15)));
}

TEST(TextDetector, TakesTheSideOfTheMapFromItsLength) {
  EXPECT_THAT(detected(map_script(64, "answer * 0 rect 16 16 16 16 0.9\n"), 0.3F),
              ElementsAre(cv::Rect(45, 12, 60, 24)));
}

TEST(TextDetector, AppliesTheThresholdThatItIsGiven) {
  const std::string script = map_script(64, "answer * 0 rect 16 16 16 16 0.5\n");
  EXPECT_THAT(detected(script, 0.49F), SizeIs(1));
  EXPECT_THAT(detected(script, 0.5F), IsEmpty());
}

TEST(TextDetector, ReadsLogitsAsProbabilities) {
  // sigmoid(0) is 0.5 everywhere but in the part of -1, 0.27, and the one of 1, 0.73.
  const std::string script =
      map_script(64, "answer * 0 rect 4 4 8 8 -1\nanswer * 0 rect 40 40 16 16 1\n");
  EXPECT_THAT(detected(script, 0.6F), ElementsAre(cv::Rect(120, 36, 60, 24)));
  EXPECT_THAT(detected(script, 0.4F), ElementsAre(cv::Rect(0, 0, 200, 64)));
}

TEST(TextDetector, JoinsTheCharactersOfALine) {
  EXPECT_THAT(
      detected(map_script(64, "answer * 0 rect 10 16 8 16 1\nanswer * 0 rect 22 16 8 16 1\n"), 0.3F,
               {640, 64}),
      ElementsAre(cv::Rect(95, 12, 210, 24)));
}

TEST(TextDetector, FindsNothingOnAMapOfOneValue) {
  EXPECT_THAT(detected(map_script(1, "answer * 0 floats 1\n"), 0.3F), IsEmpty());
}

TEST(TextDetector, FindsTheWholeImageWhereAllIsText) {
  EXPECT_THAT(detected(map_script(64, "answer * 0 rect 0 0 64 64 1\n"), 0.3F),
              ElementsAre(cv::Rect(0, 0, 200, 64)));
}

TEST(TextDetector, SurvivesAMapThatIsNoNumber) {
  EXPECT_THAT(detected(map_script(64, "answer * 0 rect 0 0 64 64 nan\n"), 0.3F), IsEmpty());
}

TEST(TextDetector, LooksAtTheFirstOutputOnly) {
  EXPECT_THAT(detected(map_script(64,
                                  "output other 1,1,64,64\nanswer * 1 fill 4096 0\n"
                                  "answer * 1 rect 16 16 16 16 1\n"),
                       0.3F),
              IsEmpty());
}

TEST(TextDetector, IsFedTheImageStretchedTo640WhateverItsInputSays) {
  for (const char* dims : {"1,3,640,640", "1,3,8,8", "-"}) {
    SCOPED_TRACE(dims);
    const RuntimeLog log;
    ScriptedModel model(std::string("name det\ninput image ") + dims + "\noutput map 1,1,8,8\n");
    const TempDir dir;
    run_ppocr_det_boxes(model.get(), noise_image(200, 64), dir.path("case"), 0.3F);
    EXPECT_TRUE(same_pictures(inputs_of(log.inputs("det"), {640, 640}),
                              {bgr_to_rgb_resized(noise_image(200, 64), 640, 640)}));
  }
}

TEST(TextDetector, FailsWithoutAnOutput) {
  for (const char* outputs : {"", "output map 1,0\n", "output map 0\noutput other 1,1,8,8\n"}) {
    SCOPED_TRACE(outputs);
    EXPECT_EQ(failure_of([&] { detected(det_script(outputs), 0.3F); }), "ppocr det output invalid");
  }
}

TEST(TextDetector, PassesTheNetworksFailureOn) {
  EXPECT_THAT(failure_of([] { detected(map_script(8, "fail run 1 -2\n"), 0.3F); }),
              StartsWith("rknn_run failed: "));
}

TEST(TextDetector, WarnsOfAnOutputThatIsNoSquareAndDrawsNothing) {
  ScriptedModel model(det_script("output map 1000\n"));
  const TempDir dir;
  const Capture messages;
  EXPECT_THAT(run_ppocr_det_boxes(model.get(), noise_image(200, 64), dir.path("case"), 0.3F),
              IsEmpty());
  EXPECT_EQ(messages.text(), "[WARN] unexpected ppocr det output elems=1000, skip DB boxes.\n");
  EXPECT_THAT(dir.names(), IsEmpty());
}

TEST(TextDetector, DrawsItsMaskAndItsBoxes) {
  ScriptedModel model(map_script(
      64, "answer * 0 rect 10 16 8 16 1\nanswer * 0 rect 22 16 8 16 1\nanswer * 0 set 4000 1\n"));
  const TempDir dir;
  const Capture messages;
  const cv::Mat image = gradient_image(200, 64);
  run_ppocr_det_boxes(model.get(), image, dir.path("prefix"), 0.3F);

  EXPECT_THAT(dir.names(), ElementsAre("prefix_det_boxes.jpg", "prefix_det_mask.jpg"));
  expect_frames(decoded(dir.read("prefix_det_boxes.jpg")), image, {{26, 12, 73, 24}});
  EXPECT_TRUE(same_pixels(image, gradient_image(200, 64)));
  EXPECT_EQ(messages.text(), "");

  // The gap between columns 18 and 22 is closed; the lone pixel, at column 32 of row 62, is in the
  // mask but is no box. So close to the edge it grows into the last row. A pixel x of the picture
  // lies at (x + 0.5) x 64 / 200 - 0.5 in the map: 30 at 9.26 and 31 at 9.58, between column 9 of
  // 0 and column 10 of 255, 94 at 29.74, 95 at 30.06, and 102 at 32.3.
  const cv::Mat mask = decoded(dir.read("prefix_det_mask.jpg"));
  ASSERT_EQ(mask.size(), cv::Size(200, 64));
  const std::vector<int> line = row_values(mask, 24, 0);
  const std::vector<std::pair<std::size_t, int>> expected = {
      {20, 0}, {30, 66}, {31, 148}, {50, 255}, {62, 255}, {94, 66}, {95, 0}, {110, 0}};
  for (const auto& [x, level] : expected) EXPECT_NEAR(line[x], level, 16) << x;
  for (const int y : {8, 40, 54}) EXPECT_NEAR(row_values(mask, y, 0)[50], 0, 16) << y;
  for (const int y : {62, 63}) EXPECT_NEAR(row_values(mask, y, 0)[102], 178, 24) << y;
  EXPECT_NEAR(row_values(mask, 62, 0)[112], 0, 16);
}

TEST(TextDetector, DrawsItsPicturesAlsoWithoutABox) {
  ScriptedModel model(map_script(64, ""));
  const TempDir dir;
  run_ppocr_det_boxes(model.get(), noise_image(200, 64), dir.path("prefix"), 0.3F);
  EXPECT_EQ(dir.read("prefix_det_mask.jpg"), jpeg_of(mask_of({200, 64}, {})));
  EXPECT_EQ(dir.read("prefix_det_boxes.jpg"), jpeg_of(noise_image(200, 64)));
}

TEST(TextDetector, DrawsOnlyTheBoxesThatItReturns) {
  std::string lines;
  for (int i = 0; i < 17; ++i) {
    lines += "answer * 0 rect " + std::to_string(2 + i % 5 * 25) + " " +
             std::to_string(2 + i / 5 * 30) + " " + (i == 6 ? "8" : "10") + " 10 1\n";
  }
  ScriptedModel model(map_script(128, lines));
  const TempDir dir;
  const cv::Mat image = gradient_image(256, 256);
  const auto boxes = run_ppocr_det_boxes(model.get(), image, dir.path("prefix"), 0.3F);
  ASSERT_THAT(boxes, SizeIs(16));
  expect_frames(decoded(dir.read("prefix_det_boxes.jpg")), image, rects_of(boxes));
}

TEST(TextDetector, FindsBoxesWithoutAPlaceForThePictures) {
  ScriptedModel model(map_script(64, "answer * 0 rect 16 16 16 16 0.9\n"));
  const TempDir dir;
  EXPECT_THAT(
      run_ppocr_det_boxes(model.get(), noise_image(200, 64), dir.path("missing/case"), 0.3F),
      SizeIs(1));
}

}  // namespace
}  // namespace kavrel

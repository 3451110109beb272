#include "plate/plate_detection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "plate/image_prep.h"
#include "tests/support/floats.h"
#include "tests/support/pictures.h"
#include "tests/support/test_support.h"

namespace kavrel {
namespace {

using kavrel_test::Capture;
using kavrel_test::decoded;
using kavrel_test::expect_frames;
using kavrel_test::failure_of;
using kavrel_test::gradient_image;
using kavrel_test::inputs_of;
using kavrel_test::kInf;
using kavrel_test::kNaN;
using kavrel_test::noise_image;
using kavrel_test::RuntimeLog;
using kavrel_test::same_pictures;
using kavrel_test::same_pixels;
using kavrel_test::ScriptedModel;
using kavrel_test::TempDir;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr float kThreshold = 0.25F;
constexpr char kPicture[] = "plate_det_debug.jpg";

using Row = std::array<float, 6>;

std::vector<float> tensor_of(const std::vector<Row>& rows) {
  std::vector<float> values;
  for (const Row& row : rows) values.insert(values.end(), row.begin(), row.end());
  return values;
}

// A good row: a box of 50 x 50 pixels, box first.
Row row_of_score(float score) { return {100, 50, 149, 99, score, 0}; }

std::vector<float> scores_of(const std::vector<PlateDetection>& detections) {
  std::vector<float> scores;
  for (const PlateDetection& detection : detections) scores.push_back(detection.score);
  return scores;
}

std::vector<cv::Rect> boxes_of(const std::vector<PlateDetection>& detections) {
  std::vector<cv::Rect> boxes;
  for (const PlateDetection& detection : detections) boxes.push_back(detection.box);
  return boxes;
}

struct ReadRow {
  Row row;
  float score;
  cv::Rect box;
};

void expect_rows(const cv::Size& image, const std::vector<ReadRow>& rows) {
  for (const ReadRow& expected : rows) {
    SCOPED_TRACE(testing::PrintToString(expected.row));
    const auto found = parse_detection_output_as_n6(tensor_of({expected.row}), image.width,
                                                    image.height, kThreshold);
    EXPECT_THAT(scores_of(found), ElementsAre(expected.score));
    EXPECT_THAT(boxes_of(found), ElementsAre(expected.box));
  }
}

void expect_no_box(const cv::Size& image, const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row));
    EXPECT_THAT(
        parse_detection_output_as_n6(tensor_of({row}), image.width, image.height, kThreshold),
        IsEmpty());
  }
}

TEST(DetectionRow, StartsWithTheClassWhereValueOneCanBeAScore) {
  expect_rows({1000, 500}, {{{0, 0.9F, 0.125F, 0.25F, 0.5F, 0.75F}, 0.9F, {125, 125, 376, 251}}});
  expect_rows({200, 200}, {{{5, 1, 20, 30, 120, 130}, 1, {20, 30, 101, 101}},
                           {{5, 0.25F, 0, 0, 120, 130}, 0.25F, {0, 0, 121, 131}}});
}

TEST(DetectionRow, StartsWithTheClassAtTheSmallestScore) {
  const auto found =
      parse_detection_output_as_n6(tensor_of({{5, 0, 20, 30, 120, 130}}), 200, 200, 0.0F);
  EXPECT_THAT(scores_of(found), ElementsAre(0.0F));
  EXPECT_THAT(boxes_of(found), ElementsAre(cv::Rect(20, 30, 101, 101)));
}

TEST(DetectionRow, StartsWithTheBoxWhereValueOneIsNoScore) {
  expect_rows({301, 121}, {{{100, 50, 300, 120, 0.8F, 0}, 0.8F, {100, 50, 201, 71}}});
  expect_rows({200, 200}, {{{5, 1.001F, 20, 30, 120, 130}, 120, {5, 1, 16, 30}},
                           {{5, -0.001F, 20, 30, 120, 130}, 120, {5, 0, 16, 31}}});
}

TEST(DetectionRow, StartsWithTheBoxWhereValueTwoOrThreeIsNegative) {
  expect_rows({200, 200}, {{{15, 0.5F, -1, 30, 120, 130}, 120, {0, 0, 16, 31}}});
  expect_rows({100, 100}, {{{0.125F, 0.5F, 0.875F, -1, 120, 130}, 120, {12, 0, 77, 51}}});
}

TEST(DetectionRow, IsDroppedWhereACoordinateIsNoNumber) {
  // Value 1 of the first row is no score either: the row starts with the box.
  expect_no_box({200, 200}, {{5, kNaN, 20, 30, 120, 130},
                             {5, 0.5F, kNaN, 30, 120, 130},
                             {5, 0.5F, 20, kNaN, 120, 130},
                             {5, 0.5F, 20, 30, kNaN, 130},
                             {5, 0.5F, 20, 30, 120, kNaN},
                             {kNaN, 50, 149, 99, 0.5F, 0},
                             {100, 50, kNaN, 99, 0.5F, 0},
                             {100, 50, 149, kNaN, 0.5F, 0}});
}

TEST(DetectionRow, IsReadByItsOwnLayoutOnly) {
  const auto found = parse_detection_output_as_n6(
      tensor_of({{0, 0.9F, 20, 30, 60, 70}, {100, 50, 139, 99, 0.8F, 0}}), 200, 200, kThreshold);
  EXPECT_THAT(boxes_of(found), ElementsAre(cv::Rect(20, 30, 41, 41), cv::Rect(100, 50, 40, 50)));
}

TEST(DetectionRow, MayHaveAnyClass) {
  for (const float class_value : {0.0F, 79.0F, -1.0F, kNaN, kInf}) {
    SCOPED_TRACE(class_value);
    expect_rows({200, 200}, {{{class_value, 0.5F, 20, 30, 59, 69}, 0.5F, {20, 30, 40, 40}},
                             {{20, 30, 59, 69, 0.5F, class_value}, 0.5F, {20, 30, 40, 40}}});
  }
}

TEST(DetectionRow, IsKeptAtTheThresholdAndDroppedBelow) {
  const std::vector<float> at = tensor_of({row_of_score(0.5F)});
  const std::vector<float> below = tensor_of({row_of_score(std::nextafter(0.5F, 0.0F))});
  EXPECT_THAT(parse_detection_output_as_n6(at, 200, 200, 0.5F), SizeIs(1));
  EXPECT_THAT(parse_detection_output_as_n6(below, 200, 200, 0.5F), IsEmpty());
}

TEST(DetectionRow, IsKeptWhenItsScoreIsNoNumber) {
  const std::vector<float> values = tensor_of({row_of_score(kNaN)});
  EXPECT_THAT(parse_detection_output_as_n6(values, 200, 200, 0.5F), SizeIs(1));
}

TEST(DetectionRow, HoldsFractionsUpToTwo) {
  expect_rows({100, 80}, {{{0, 0.5F, 0.5F, 0.25F, 2, 2}, 0.5F, {50, 20, 50, 60}},
                          {{0, 0.5F, 0.5F, 0.25F, 0.75F, 0.75F}, 0.5F, {50, 20, 26, 41}}});
}

TEST(DetectionRow, HoldsPixelsWhereOneOfTheSecondCornerIsAboveTwo) {
  expect_rows({100, 80}, {{{0, 0.5F, 40, 10, 1.5F, 30}, 0.5F, {1, 10, 40, 21}},
                          {{0, 0.5F, 10, 40, 30, 1.5F}, 0.5F, {10, 1, 21, 40}},
                          {{0, 0.5F, 1, 1, 30, 30}, 0.5F, {1, 1, 30, 30}}});
  expect_no_box({100, 80}, {{0, 0.5F, 0.5F, 0.25F, 2.001F, 2}, {0, 0.5F, 0.5F, 0.25F, 2, 2.001F}});
}

TEST(DetectionRow, IsTakenForFractionsByItsSecondCornerAlone) {
  // As pixels, columns 1 to 50 and rows 1 to 60; as fractions, all beyond the last pixel.
  expect_no_box({100, 80}, {{0, 0.5F, 50, 60, 1, 1}});
}

TEST(DetectionRow, HasItsCornersRoundedOutwards) {
  expect_rows({100, 80}, {{{10.9F, 20.9F, 30.1F, 40.1F, 0.5F, 0}, 0.5F, {10, 20, 22, 22}},
                          {{10, 20, 30, 40, 0.5F, 0}, 0.5F, {10, 20, 21, 21}}});
}

TEST(DetectionRow, MayHaveItsCornersSwapped) {
  expect_rows({100, 80}, {{{30.1F, 20.9F, 10.9F, 40.1F, 0.5F, 0}, 0.5F, {10, 20, 22, 22}},
                          {{10.9F, 40.1F, 30.1F, 20.9F, 0.5F, 0}, 0.5F, {10, 20, 22, 22}},
                          {{30.1F, 40.1F, 10.9F, 20.9F, 0.5F, 0}, 0.5F, {10, 20, 22, 22}}});
}

TEST(DetectionRow, IsClampedToTheImage) {
  expect_rows({100, 80}, {{{-50, -50, 500, 500, 0.5F, 0}, 0.5F, {0, 0, 100, 80}},
                          {{60, 40, 500, 500, 0.5F, 0}, 0.5F, {60, 40, 40, 40}},
                          {{-50, -50, 60, 40, 0.5F, 0}, 0.5F, {0, 0, 61, 41}}});
  expect_no_box({100, 80}, {{200, 20, 300, 60, 0.5F, 0},
                            {20, 200, 60, 300, 0.5F, 0},
                            {-90, 20, -20, 60, 0.5F, 0},
                            {20, -90, 60, -20, 0.5F, 0}});
}

TEST(DetectionRow, IsDroppedBelowTenPixels) {
  expect_no_box({100, 80}, {{20, 20, 28, 60, 0.5F, 0}, {20, 20, 60, 28, 0.5F, 0}});
  expect_rows({100, 80}, {{{20, 20, 29, 60, 0.5F, 0}, 0.5F, {20, 20, 10, 41}},
                          {{20, 20, 60, 29, 0.5F, 0}, 0.5F, {20, 20, 41, 10}}});
}

TEST(DetectionRow, IsMeasuredInsideTheImage) {
  expect_no_box({100, 80}, {{-40, 20, 8, 60, 0.5F, 0}, {91, 20, 140, 60, 0.5F, 0}});
  expect_rows({100, 80}, {{{-40, 20, 9, 60, 0.5F, 0}, 0.5F, {0, 20, 10, 41}},
                          {{90, 20, 140, 60, 0.5F, 0}, 0.5F, {90, 20, 10, 41}}});
}

TEST(DetectionRow, StaysInsideTheImageForValuesBeyondAnyInteger) {
  expect_rows({100, 80}, {{{-1e30F, -1e30F, 1e30F, 1e30F, 0.5F, 0}, 0.5F, {0, 0, 100, 80}},
                          {{-kInf, -kInf, kInf, kInf, 0.5F, 0}, 0.5F, {0, 0, 100, 80}},
                          {{0, 0.5F, 0, 0, 1e30F, kInf}, 0.5F, {0, 0, 100, 80}},
                          {{20, 20, 3e9F, 4e9F, 0.5F, 0}, 0.5F, {20, 20, 80, 60}},
                          {{-3e9F, -4e9F, 20, 20, 0.5F, 0}, 0.5F, {0, 0, 21, 21}}});
}

TEST(DetectionRow, NeverLeavesTheImageWhateverItHolds) {
  const std::vector<float> hostile = {kNaN,  kInf, -kInf, 1e30F, -1e30F, 3e9F, -3e9F,
                                      -0.0F, 0,    0.5F,  1,     2,      40,   1e-40F};
  const cv::Rect image(0, 0, 100, 80);
  const std::size_t kinds = hostile.size();
  std::size_t kept = 0;
  for (std::size_t code = 0; code < kinds * kinds * kinds * kinds; ++code) {
    const Row box_first = {hostile[code % kinds],
                           hostile[code / kinds % kinds],
                           hostile[code / kinds / kinds % kinds],
                           hostile[code / kinds / kinds / kinds],
                           0.5F,
                           0};
    const Row class_first = {0, 0.5F, box_first[0], box_first[1], box_first[2], box_first[3]};
    for (const auto& detection :
         parse_detection_output_as_n6(tensor_of({box_first, class_first}), 100, 80, kThreshold)) {
      ++kept;
      ASSERT_EQ(detection.box & image, detection.box) << testing::PrintToString(box_first);
      ASSERT_GE(std::min(detection.box.width, detection.box.height), 10);
    }
  }
  EXPECT_GT(kept, 1000U);
}

TEST(DetectionTensor, HoldsNoBoxUnlessItsLengthIsAMultipleOfSix) {
  std::vector<float> values = tensor_of({row_of_score(0.9F), row_of_score(0.8F)});
  for (const std::size_t length : {0U, 1U, 2U, 3U, 4U, 5U, 7U, 8U, 9U, 10U, 11U}) {
    SCOPED_TRACE(length);
    const std::vector<float> cut(values.begin(), values.begin() + static_cast<long>(length));
    const Capture messages;
    EXPECT_THAT(parse_detection_output_as_n6(cut, 200, 200, kThreshold), IsEmpty());
    EXPECT_EQ(messages.text(), "");
  }
  EXPECT_THAT(parse_detection_output_as_n6(values, 200, 200, kThreshold), SizeIs(2));
}

TEST(DetectionTensor, GivesTheHighestScoreFirst) {
  std::vector<Row> rows;
  for (const float score : {0.5F, 0.9F, 0.3F, 0.7F, 0.4F}) rows.push_back(row_of_score(score));
  const auto found = parse_detection_output_as_n6(tensor_of(rows), 200, 200, kThreshold);
  EXPECT_THAT(scores_of(found), ElementsAre(0.9F, 0.7F, 0.5F, 0.4F, 0.3F));
}

TEST(DetectionTensor, KeepsEachScoreWithItsBox) {
  const auto found = parse_detection_output_as_n6(
      tensor_of({{10, 20, 30, 40, 0.5F, 0}, {50, 60, 80, 90, 0.75F, 0}}), 200, 200, kThreshold);
  EXPECT_THAT(boxes_of(found), ElementsAre(cv::Rect(50, 60, 31, 31), cv::Rect(10, 20, 21, 21)));
}

TEST(DetectionTensor, KeepsEveryOverlappingBox) {
  const std::vector<Row> rows(1000, row_of_score(0.5F));
  const auto found = parse_detection_output_as_n6(tensor_of(rows), 200, 200, kThreshold);
  EXPECT_THAT(boxes_of(found), SizeIs(1000));
  EXPECT_THAT(boxes_of(found), Each(cv::Rect(100, 50, 50, 50)));
}

// NaN is neither above nor below any score, so the order is no strict weak one.
TEST(DetectionTensor, KeepsThousandsOfRowsWhoseScoresAreNoNumbers) {
  std::vector<Row> rows;
  for (int i = 0; i < 6000; ++i) {
    rows.push_back(row_of_score(i % 3 == 0 ? static_cast<float>(i * 7919 % 6000) + 1 : kNaN));
  }
  const auto found = parse_detection_output_as_n6(tensor_of(rows), 200, 200, kThreshold);
  EXPECT_THAT(boxes_of(found), SizeIs(6000));
  EXPECT_THAT(boxes_of(found), Each(cv::Rect(100, 50, 50, 50)));
  std::vector<float> numbers = scores_of(found);
  numbers.erase(std::remove_if(numbers.begin(), numbers.end(), [](float s) { return s != s; }),
                numbers.end());
  std::sort(numbers.begin(), numbers.end());
  EXPECT_EQ(std::unique(numbers.begin(), numbers.end()) - numbers.begin(), 2000);
}

TEST(DetectionTensor, HoldsNoBoxOfAnImageThatIsTooSmall) {
  for (const cv::Size& image : {cv::Size(0, 0), cv::Size(1, 1), cv::Size(9, 500)}) {
    EXPECT_THAT(parse_detection_output_as_n6(tensor_of({{0, 0.9F, 0, 0, 1, 1}}), image.width,
                                             image.height, kThreshold),
                IsEmpty());
  }
}

TEST(PlateDetectionRecord, StartsEmpty) {
  const PlateDetection detection;
  EXPECT_EQ(detection.box, cv::Rect(0, 0, 0, 0));
  EXPECT_EQ(detection.score, 0.0F);
}

TEST(PlateDetector, IsReplacedByTheWholeImageWithoutAModel) {
  const TempDir dir;
  const Capture messages;
  const auto found = run_plate_det(nullptr, noise_image(200, 120), kThreshold, dir.path());
  EXPECT_THAT(boxes_of(found), ElementsAre(cv::Rect(0, 0, 200, 120)));
  EXPECT_THAT(scores_of(found), ElementsAre(1.0F));
  EXPECT_EQ(messages.text(), "");
  EXPECT_THAT(dir.names(), IsEmpty());
}

TEST(PlateDetector, IsFedTheImageStretchedToItsInput) {
  struct Input {
    const char* dims;
    int width, height;
  };
  for (const Input& input :
       {Input{"1,3,32,48", 48, 32}, Input{"1,48,32,3", 3, 32}, Input{"3,32,48", 640, 640},
        Input{"-", 640, 640}, Input{"1,3,32,0", 640, 32}, Input{"1,3,0,48", 48, 640},
        Input{"1,3,4294967295,48", 48, 640}, Input{"1,3,32,2147483648", 640, 32}}) {
    SCOPED_TRACE(input.dims);
    const TempDir dir;
    const RuntimeLog log;
    const Capture fallback_warning;
    ScriptedModel model(std::string("name det\ninput image ") + input.dims + "\noutput rows 1,6\n");
    run_plate_det(&model.get(), noise_image(200, 120), kThreshold, dir.path());
    EXPECT_TRUE(
        same_pictures(inputs_of(log.inputs("det"), {input.width, input.height}),
                      {bgr_to_rgb_resized(noise_image(200, 120), input.width, input.height)}));
  }
}

TEST(PlateDetector, FindsBoxesInTheImagesOwnPixels) {
  ScriptedModel model(
      "name det\ninput image 1,3,32,48\noutput rows 2,6\n"
      "answer * 0 floats 0 0.5 0.25 0.5 0.75 0.75 100 50 140 99 0.75 0\n");
  const TempDir dir;
  const Capture messages;
  const auto found = run_plate_det(&model.get(), noise_image(200, 120), kThreshold, dir.path());
  EXPECT_THAT(boxes_of(found), ElementsAre(cv::Rect(100, 50, 41, 50), cv::Rect(50, 60, 101, 31)));
  EXPECT_THAT(scores_of(found), ElementsAre(0.75F, 0.5F));
  EXPECT_EQ(messages.text(), "");
}

TEST(PlateDetector, RanksTheBoxesOfAllItsOutputs) {
  ScriptedModel model(
      "name det\ninput image 1,3,32,48\noutput a 2,6\noutput odd 7\noutput b 1,6\n"
      "answer * 0 floats 10 20 50 60 0.5 0 10 20 50 60 0.75 0\n"
      "answer * 1 floats 10 20 50 60 0.9 0 0\n"
      "answer * 2 floats 10 20 50 60 0.625 0\n");
  const TempDir dir;
  const auto found = run_plate_det(&model.get(), noise_image(200, 120), kThreshold, dir.path());
  EXPECT_THAT(scores_of(found), ElementsAre(0.75F, 0.625F, 0.5F));
}

TEST(PlateDetector, AppliesTheThresholdThatItIsGiven) {
  ScriptedModel model(
      "name det\ninput image 1,3,32,48\noutput rows 2,6\n"
      "answer * 0 floats 10 20 50 60 0.5 0 10 20 50 60 0.75 0\n");
  const TempDir dir;
  const auto scores = [&](float threshold) {
    return scores_of(run_plate_det(&model.get(), noise_image(200, 120), threshold, dir.path()));
  };
  EXPECT_THAT(scores(0.5F), ElementsAre(0.75F, 0.5F));
  EXPECT_THAT(scores(0.625F), ElementsAre(0.75F));
}

TEST(PlateDetector, FallsBackToTheWholeImageWithAWarning) {
  for (const char* outputs : {"", "output odd 7\nanswer * 0 floats 10 20 50 60 0.5 0 0\n",
                              "output low 1,6\nanswer * 0 floats 10 20 50 60 0.125 0\n"}) {
    SCOPED_TRACE(outputs);
    ScriptedModel model(std::string("name det\ninput image 1,3,32,48\n") + outputs);
    const TempDir dir;
    const Capture messages;
    const cv::Mat image = gradient_image(200, 120);
    const auto found = run_plate_det(&model.get(), image, kThreshold, dir.path());
    EXPECT_THAT(boxes_of(found), ElementsAre(cv::Rect(0, 0, 200, 120)));
    EXPECT_THAT(scores_of(found), ElementsAre(0.0F));
    EXPECT_EQ(messages.text(),
              "[WARN] plate_det produced no valid final boxes. Fallback to full image ROI.\n");
    expect_frames(decoded(dir.read(kPicture)), image, {{0, 0, 200, 120}});
  }
}

TEST(PlateDetector, DrawsEveryBoxIntoAPicture) {
  ScriptedModel model(
      "name det\ninput image 1,3,32,48\noutput rows 2,6\n"
      "answer * 0 floats 10 20 50 60 0.5 0 100 50 140 99 0.75 0\n");
  const TempDir dir;
  const cv::Mat image = gradient_image(200, 120);
  run_plate_det(&model.get(), image, kThreshold, dir.path());
  EXPECT_THAT(dir.names(), ElementsAre(kPicture));
  expect_frames(decoded(dir.read(kPicture)), image, {{100, 50, 41, 50}, {10, 20, 41, 41}});
  EXPECT_TRUE(same_pixels(image, gradient_image(200, 120)));
}

TEST(PlateDetector, FindsBoxesWithoutAPlaceForThePicture) {
  ScriptedModel model(
      "name det\ninput image 1,3,32,48\noutput rows 1,6\n"
      "answer * 0 floats 10 20 50 60 0.5 0\n");
  const TempDir dir;
  const auto found =
      run_plate_det(&model.get(), noise_image(200, 120), kThreshold, dir.path("missing"));
  EXPECT_THAT(scores_of(found), ElementsAre(0.5F));
}

TEST(PlateDetector, PassesTheNetworksFailureOn) {
  ScriptedModel model("name det\ninput image 1,3,32,48\noutput rows 1,6\nfail run 1 -3\n");
  const TempDir dir;
  const std::string failure = failure_of(
      [&] { run_plate_det(&model.get(), noise_image(200, 120), kThreshold, dir.path()); });
  EXPECT_THAT(failure, testing::StartsWith("rknn_run failed: "));
  EXPECT_THAT(dir.names(), IsEmpty());
}

}  // namespace
}  // namespace kavrel

#include "ocr/line_recogniser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/pictures.h"
#include "tests/support/test_support.h"

namespace kavrel {
namespace {

using kavrel_test::Capture;
using kavrel_test::channels_reversed;
using kavrel_test::failure_of;
using kavrel_test::grey_row;
using kavrel_test::inputs_of;
using kavrel_test::noise_image;
using kavrel_test::plain_image;
using kavrel_test::rec_script;
using kavrel_test::row_values;
using kavrel_test::RuntimeLog;
using kavrel_test::same_pictures;
using kavrel_test::same_pixels;
using kavrel_test::ScriptedModel;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

const cv::Scalar kWhite = cv::Scalar::all(255);

// A white canvas with `area` in its top-left corner.
cv::Mat on_canvas(const cv::Mat& area) {
  cv::Mat canvas(48, 320, CV_8UC3, kWhite);
  area.copyTo(canvas(cv::Rect(0, 0, area.cols, area.rows)));
  return canvas;
}

TEST(RecogniserInput, HoldsTheCropScaledToFit) {
  struct Scaled {
    cv::Size crop, area;
  };
  const std::vector<Scaled> table = {
      {{320, 48}, {320, 48}},  {{160, 24}, {320, 48}},   {{1, 1}, {48, 48}},
      {{1000, 10}, {320, 3}},  {{320, 96}, {160, 48}},   {{640, 40}, {320, 20}},
      {{100, 62}, {77, 48}},   {{231, 62}, {179, 48}},   {{48, 320}, {7, 48}},
      {{10, 5}, {96, 48}},     {{2000, 1200}, {80, 48}}, {{30, 1}, {320, 11}},
      {{5000, 480}, {320, 31}}};
  for (const auto& [crop, area] : table) {
    SCOPED_TRACE(crop);
    const cv::Mat input = make_rec_input_rgb(plain_image(crop.width, crop.height, {10, 20, 30}));
    EXPECT_TRUE(same_pixels(input, on_canvas(plain_image(area.width, area.height, {30, 20, 10}))));
  }
}

TEST(RecogniserInput, HoldsAtLeastOnePixelOfACropInEachDirection) {
  struct Scaled {
    cv::Size crop, area;
  };
  for (const auto& [crop, area] :
       {Scaled{{1, 1000}, {1, 48}}, Scaled{{10, 1000}, {1, 48}}, Scaled{{3000, 1}, {320, 1}}}) {
    SCOPED_TRACE(crop);
    const cv::Mat input = make_rec_input_rgb(plain_image(crop.width, crop.height, {10, 20, 30}));
    EXPECT_TRUE(same_pixels(input, on_canvas(plain_image(area.width, area.height, {30, 20, 10}))));
  }
}

TEST(RecogniserInput, RoundsHalfAPixelUp) {
  // Half of 5 rows and half of 5 columns.
  EXPECT_TRUE(same_pixels(make_rec_input_rgb(plain_image(640, 5, {0, 0, 0})),
                          on_canvas(plain_image(320, 3, {0, 0, 0}))));
  EXPECT_TRUE(same_pixels(make_rec_input_rgb(plain_image(5, 96, {0, 0, 0})),
                          on_canvas(plain_image(3, 48, {0, 0, 0}))));
}

TEST(RecogniserInput, IsScaledInSinglePrecision) {
  // 55 x (48 / 352) is 7.5 in single precision and a little less in double.
  EXPECT_TRUE(same_pixels(make_rec_input_rgb(plain_image(55, 352, {0, 0, 0})),
                          on_canvas(plain_image(8, 48, {0, 0, 0}))));
  // 3 x (320 / 384) is rounded to 2.5, though the scale itself was rounded down.
  EXPECT_TRUE(same_pixels(make_rec_input_rgb(plain_image(384, 3, {0, 0, 0})),
                          on_canvas(plain_image(320, 3, {0, 0, 0}))));
}

TEST(RecogniserInput, IsInterpolatedLinearly) {
  cv::Mat crop;
  cv::repeat(grey_row({0, 200}), 24, 80, crop);
  const cv::Mat input = make_rec_input_rgb(crop);
  const std::vector<int> row = row_values(input, 20, 1);
  EXPECT_THAT(std::vector<int>(row.begin(), row.begin() + 7),
              ElementsAre(0, 50, 150, 150, 50, 50, 150));
}

// A third of the width and height: pixel x of the input lies at (x + 0.5) x 3 - 0.5 = 3 x + 1 of
// the crop, on the middle one of three equal columns and rows, and takes nothing of the others.
TEST(RecogniserInput, IsShrunkWithoutAveraging) {
  cv::Mat crop;
  cv::repeat(grey_row({0, 60, 240}), 144, 100, crop);
  EXPECT_TRUE(same_pixels(make_rec_input_rgb(crop), on_canvas(plain_image(100, 48, {60, 60, 60}))));
}

TEST(RecogniserInput, IsTheCropInReverseChannelOrderAtItsOwnSize) {
  EXPECT_TRUE(same_pixels(make_rec_input_rgb(noise_image(320, 48)),
                          channels_reversed(noise_image(320, 48))));
}

TEST(RecogniserInput, IsContinuousAlsoForAPartOfAnImage) {
  const cv::Mat image = noise_image(100, 80);
  const cv::Rect part(30, 20, 40, 24);
  const cv::Mat input = make_rec_input_rgb(image(part));
  EXPECT_TRUE(input.isContinuous());
  EXPECT_TRUE(same_pixels(input, make_rec_input_rgb(image(part).clone())));
  EXPECT_TRUE(same_pixels(image, noise_image(100, 80)));
}

TEST(RecogniserInput, IsRefusedForAnEmptyCrop) {
  EXPECT_EQ(failure_of([] { make_rec_input_rgb(cv::Mat()); }), "empty crop for recognition");
  EXPECT_EQ(failure_of([] { make_rec_input_rgb(cv::Mat(0, 5, CV_8UC3)); }),
            "empty crop for recognition");
}

const std::vector<std::string> kLetters = {"a", "b", "c"};

TEST(LineRecogniser, ReadsTheFirstOutputByItsShape) {
  ScriptedModel rec(
      rec_script("output logits 1,4,4\noutput other 1,2,4\n"
                 "answer * 0 steps 4 1 0 1 3\nanswer * 1 steps 4 2 2\n"));
  EXPECT_EQ(run_ppocr_rec(rec.get(), noise_image(60, 20), kLetters), "aac");
}

TEST(LineRecogniser, KeepsTheBlanksOfAText) {
  ScriptedModel rec(rec_script("output logits 1,3,4\nanswer * 0 steps 4 1 2 1\n"));
  EXPECT_EQ(run_ppocr_rec(rec.get(), noise_image(60, 20), {" ", "b", "c"}), " b ");
}

TEST(LineRecogniser, MayReadNothing) {
  ScriptedModel rec(rec_script("output logits 1,4,4\n"));
  const Capture messages;
  EXPECT_EQ(run_ppocr_rec(rec.get(), noise_image(60, 20), kLetters), "");
  EXPECT_EQ(messages.text(), "");
}

TEST(LineRecogniser, IsFedTheCanvasWhateverItsInputSays) {
  for (const char* dims : {"1,48,320,3", "1,3,8,8", "-"}) {
    SCOPED_TRACE(dims);
    const RuntimeLog log;
    ScriptedModel rec(std::string("name rec\ninput image ") + dims + "\noutput logits 1,4,4\n");
    run_ppocr_rec(rec.get(), noise_image(60, 20), kLetters);
    EXPECT_TRUE(same_pictures(inputs_of(log.inputs("rec"), {320, 48}),
                              {make_rec_input_rgb(noise_image(60, 20))}));
  }
}

TEST(LineRecogniser, FailsWithoutAnOutput) {
  for (const char* outputs : {"", "output logits 1,0,4\n", "output logits 0\noutput b 1,4\n"}) {
    SCOPED_TRACE(outputs);
    ScriptedModel rec(rec_script(outputs));
    EXPECT_EQ(failure_of([&] { run_ppocr_rec(rec.get(), noise_image(60, 20), kLetters); }),
              "ppocr rec output invalid");
  }
}

TEST(LineRecogniser, FailsOnAnEmptyCropBeforeTheNetworkRuns) {
  const RuntimeLog log;
  ScriptedModel rec(rec_script("output logits 1,4,4\n"));
  EXPECT_EQ(failure_of([&] { run_ppocr_rec(rec.get(), cv::Mat(), kLetters); }),
            "empty crop for recognition");
  EXPECT_THAT(log.inputs("rec"), IsEmpty());
}

TEST(LineRecogniser, PassesTheNetworksFailureOn) {
  ScriptedModel rec(rec_script("output logits 1,4,4\nfail inputs_set 1 -5\n"));
  EXPECT_THAT(failure_of([&] { run_ppocr_rec(rec.get(), noise_image(60, 20), kLetters); }),
              StartsWith("rknn_inputs_set failed: "));
}

struct Alignment {
  std::vector<std::string> dict;
  std::vector<std::string> messages;
};

// A dictionary of three entries, aligned with a recogniser whose output has these dimensions.
Alignment aligned_with(const std::string& dims) {
  ScriptedModel rec(rec_script("output logits " + dims + "\n"));
  Alignment alignment{kLetters, {}};
  const Capture messages;
  align_dict_with_rec_classes(rec.get(), alignment.dict);
  alignment.messages = messages.lines();
  return alignment;
}

constexpr char kAppended[] =
    "[WARN] OCR dict was missing one char; appended half-width space in memory.";
constexpr char kMismatch[] =
    "[WARN] OCR dict size still does not match rec output classes. CTC decode may be wrong.";

std::string info(const std::string& classes, const std::string& chars,
                 const std::string& expected) {
  return "[INFO] rec_classes=" + classes + " ocr_chars_after_shape_check=" + chars +
         " expected_chars=" + expected;
}

TEST(DictAlignment, SaysThatTheClassesAreTheDictionaryAndTheBlank) {
  const Alignment alignment = aligned_with("1,40,4");
  EXPECT_EQ(alignment.dict, kLetters);
  EXPECT_THAT(alignment.messages, ElementsAre(info("4", "3", "3")));
}

TEST(DictAlignment, AppendsTheHalfWidthSpaceThatIsMissing) {
  const Alignment alignment = aligned_with("1,40,5");
  EXPECT_THAT(alignment.dict, ElementsAre("a", "b", "c", " "));
  EXPECT_THAT(alignment.messages, ElementsAre(kAppended, info("5", "4", "4")));
}

TEST(DictAlignment, WarnsOfAnyOtherDifferenceAndKeepsTheDictionary) {
  struct Mismatch {
    const char* dims;
    std::string said;
  };
  for (const Mismatch& mismatch :
       {Mismatch{"1,40,6", info("6", "3", "5")}, Mismatch{"1,40,3", info("3", "3", "2")},
        Mismatch{"1,40,2", info("2", "3", "1")}, Mismatch{"1,40,1", info("1", "3", "0")},
        Mismatch{"1,40,2147483647", info("2147483647", "3", "2147483646")}}) {
    SCOPED_TRACE(mismatch.dims);
    const Alignment alignment = aligned_with(mismatch.dims);
    EXPECT_EQ(alignment.dict, kLetters);
    EXPECT_THAT(alignment.messages, ElementsAre(mismatch.said, kMismatch));
  }
}

TEST(DictAlignment, TakesTheClassesFromTheLastOfAnyNumberOfDimensions) {
  for (const char* dims : {"5", "9,5", "1,1,40,5"}) {
    SCOPED_TRACE(dims);
    EXPECT_THAT(aligned_with(dims).messages, ElementsAre(kAppended, info("5", "4", "4")));
  }
}

TEST(DictAlignment, SaysNothingWhereTheTensorTellsNoClasses) {
  for (const char* dims : {"-", "1,40,0", "0", "1,40,4294967295", "1,40,2147483648"}) {
    SCOPED_TRACE(dims);
    const Alignment alignment = aligned_with(dims);
    EXPECT_EQ(alignment.dict, kLetters);
    EXPECT_THAT(alignment.messages, IsEmpty());
  }
}

TEST(DictAlignment, FillsAnEmptyDictionaryWithTheSpace) {
  ScriptedModel rec(rec_script("output logits 1,40,2\n"));
  std::vector<std::string> dict;
  const Capture messages;
  align_dict_with_rec_classes(rec.get(), dict);
  EXPECT_THAT(dict, ElementsAre(" "));
  EXPECT_THAT(messages.lines(), ElementsAre(kAppended, info("2", "1", "1")));
}

TEST(DictAlignment, LooksAtTheFirstOutputOnly) {
  ScriptedModel rec(rec_script("output logits 1,40,4\noutput other 1,40,5\n"));
  std::vector<std::string> dict = kLetters;
  const Capture messages;
  align_dict_with_rec_classes(rec.get(), dict);
  EXPECT_THAT(messages.lines(), ElementsAre(info("4", "3", "3")));
}

TEST(DictAlignment, FailsForARecogniserWithoutOutputs) {
  ScriptedModel rec(rec_script(""));
  std::vector<std::string> dict = kLetters;
  EXPECT_THROW(align_dict_with_rec_classes(rec.get(), dict), std::out_of_range);
}

}  // namespace
}  // namespace kavrel

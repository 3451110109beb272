#include "ocr/whole_plate_ocr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "ocr/line_recogniser.h"
#include "plate/image_prep.h"
#include "tests/support/pictures.h"
#include "tests/support/test_support.h"

namespace kavrel {
namespace {

using kavrel_test::det_script;
using kavrel_test::failure_of;
using kavrel_test::inputs_of;
using kavrel_test::jpeg_of;
using kavrel_test::noise_image;
using kavrel_test::rec_script;
using kavrel_test::RuntimeLog;
using kavrel_test::same_pictures;
using kavrel_test::same_pixels;
using kavrel_test::ScriptedModel;
using kavrel_test::TempDir;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

// Class 1 is a blank, 2 to 4 are letters.
const std::vector<std::string> kBlankAndLetters = {" ", "a", "b", "c"};
const std::vector<std::string> kVariants = {"original", "gray", "clahe", "sharpen", "up2x"};
const std::vector<std::string> kWindows = {"_full", "_upper_row", "_lower_row", "_serial_area"};

// A shape of this map is the box (45, 11, 110, 40) of a plate of 320 x 100 pixels and the box
// (95, 27, 210, 71) of the enlarged one.
constexpr char kOneLine[] = "answer * 0 fill 4096 0\nanswer * 0 rect 10 10 20 20 1\n";

// A map of 64 x 64, and four steps of the blank and the dictionary.
constexpr char kMap[] = "output map 1,1,64,64\n";
constexpr char kSteps[] = "output logits 1,4,5\n";

std::vector<OcrText> read_plate(const std::string& det_lines, const std::string& rec_lines,
                                const std::string& out_dir,
                                const cv::Mat& plate = noise_image(320, 100)) {
  ScriptedModel det(det_script(kMap + det_lines));
  ScriptedModel rec(rec_script(kSteps + rec_lines));
  return run_whole_plate_ocr_variants(det.get(), rec.get(), plate, kBlankAndLetters, out_dir);
}

std::vector<OcrText> read_plate(const std::string& det_lines, const std::string& rec_lines) {
  const TempDir dir;
  return read_plate(det_lines, rec_lines, dir.path());
}

std::vector<std::string> sources_of(const std::vector<OcrText>& texts) {
  std::vector<std::string> sources;
  for (const OcrText& text : texts) sources.push_back(text.source);
  return sources;
}

std::vector<std::string> texts_of(const std::vector<OcrText>& texts) {
  std::vector<std::string> values;
  for (const OcrText& text : texts) values.push_back(text.text);
  return values;
}

TEST(WholePlateOcr, ReadsFourWindowsOfFiveVariantsInOrder) {
  const auto texts = read_plate("", "answer * 0 steps 5 2 3\n");
  EXPECT_THAT(sources_of(texts),
              ElementsAre("original_full", "original_upper_row", "original_lower_row",
                          "original_serial_area", "gray_full", "gray_upper_row", "gray_lower_row",
                          "gray_serial_area", "clahe_full", "clahe_upper_row", "clahe_lower_row",
                          "clahe_serial_area", "sharpen_full", "sharpen_upper_row",
                          "sharpen_lower_row", "sharpen_serial_area", "up2x_full", "up2x_upper_row",
                          "up2x_lower_row", "up2x_serial_area"));
  EXPECT_THAT(texts_of(texts), Each("ab"));
}

TEST(WholePlateOcr, KeepsEachTextWithItsSource) {
  const auto texts = read_plate("",
                                "answer 1 0 steps 5 2\nanswer 7 0 steps 5 3\n"
                                "answer 12 0 steps 5 4\nanswer 20 0 steps 5 2 3\n");
  EXPECT_THAT(sources_of(texts), ElementsAre("original_full", "gray_lower_row", "clahe_serial_area",
                                             "up2x_serial_area"));
  EXPECT_THAT(texts_of(texts), ElementsAre("a", "b", "c", "ab"));
}

TEST(WholePlateOcr, ReadsTheTextLinesOfAVariantBeforeItsWindows) {
  std::vector<std::string> expected;
  for (const std::string& variant : kVariants) {
    expected.push_back(variant + "_det_crop_0");
    for (const std::string& window : kWindows) expected.push_back(variant + window);
  }
  EXPECT_THAT(sources_of(read_plate(kOneLine, "answer * 0 steps 5 2\n")),
              ElementsAreArray(expected));
}

TEST(WholePlateOcr, NumbersTheTextLinesOfEachVariantInReadingOrder) {
  // Two lines, the right one first on the map, in "original"; three in "gray"; none elsewhere.
  const auto texts = read_plate(
      "answer 1 0 fill 4096 0\nanswer 1 0 rect 40 8 10 10 1\nanswer 1 0 rect 10 10 10 10 1\n"
      "answer 2 0 fill 4096 0\nanswer 2 0 rect 40 8 10 10 1\nanswer 2 0 rect 10 10 10 10 1\n"
      "answer 2 0 rect 10 40 10 10 1\n",
      "answer 1 0 steps 5 2\nanswer 2 0 steps 5 3\n"
      "answer 7 0 steps 5 2\nanswer 8 0 steps 5 3\nanswer 9 0 steps 5 4\n");
  EXPECT_THAT(sources_of(texts),
              ElementsAre("original_det_crop_0", "original_det_crop_1", "gray_det_crop_0",
                          "gray_det_crop_1", "gray_det_crop_2"));
  EXPECT_THAT(texts_of(texts), ElementsAre("a", "b", "a", "b", "c"));
}

TEST(WholePlateOcr, NumbersATextLineAlsoWhereItReadsNothing) {
  const TempDir dir;
  const auto texts = read_plate(
      "answer 1 0 fill 4096 0\nanswer 1 0 rect 10 8 10 10 1\nanswer 1 0 rect 40 8 10 10 1\n",
      "answer 2 0 steps 5 3\n", dir.path());
  EXPECT_THAT(sources_of(texts), ElementsAre("original_det_crop_1"));
  EXPECT_TRUE(dir.exists("ocr_original_crop_0.jpg"));
  EXPECT_TRUE(dir.exists("ocr_original_crop_1.jpg"));
}

std::vector<cv::Mat> variants_of(const cv::Mat& plate) {
  return {plate, make_gray_bgr(plate), make_clahe_bgr(plate), make_sharpen_bgr(plate),
          enlarge(plate, 2.0)};
}

TEST(WholePlateOcr, DetectsTextOnEachVariantOnce) {
  const RuntimeLog log;
  read_plate(kOneLine, "");
  std::vector<cv::Mat> expected;
  for (const cv::Mat& variant : variants_of(noise_image(320, 100))) {
    expected.push_back(bgr_to_rgb_resized(variant, 640, 640));
  }
  EXPECT_TRUE(same_pictures(inputs_of(log.inputs("det"), {640, 640}), expected));
}

TEST(WholePlateOcr, RecognisesTheTextLineTheWholeAndThreePartsOfEachVariant) {
  const RuntimeLog log;
  read_plate(kOneLine, "");
  std::vector<cv::Mat> expected;
  for (const cv::Mat& variant : variants_of(noise_image(320, 100))) {
    const bool enlarged = variant.cols == 640;
    const std::vector<cv::Rect> parts = enlarged ? std::vector<cv::Rect>{{95, 27, 210, 71},
                                                                         {0, 0, 640, 200},
                                                                         {0, 0, 640, 100},
                                                                         {0, 76, 640, 124},
                                                                         {179, 76, 461, 124}}
                                                 : std::vector<cv::Rect>{{45, 11, 110, 40},
                                                                         {0, 0, 320, 100},
                                                                         {0, 0, 320, 50},
                                                                         {0, 38, 320, 62},
                                                                         {89, 38, 231, 62}};
    for (const cv::Rect& part : parts) expected.push_back(make_rec_input_rgb(variant(part)));
  }
  EXPECT_TRUE(same_pictures(inputs_of(log.inputs("rec"), {320, 48}), expected));
}

TEST(WholePlateOcr, TakesProbabilitiesAboveThreeTenthsForText) {
  const auto lines_at = [](const std::string& probability) {
    const TempDir dir;
    read_plate("answer * 0 fill 4096 0\nanswer * 0 rect 10 10 20 20 " + probability + "\n", "",
               dir.path());
    return dir.exists("ocr_original_crop_0.jpg");
  };
  EXPECT_FALSE(lines_at("0.3"));
  EXPECT_TRUE(lines_at("0.30000004"));
}

TEST(WholePlateOcr, TrimsATextAndDropsOneOfBlanksOnly) {
  const auto texts = read_plate("",
                                "answer 1 0 steps 5 1 2 3 1\nanswer 2 0 steps 5 1 0 1\n"
                                "answer 3 0 steps 5 2 1 3\n");
  EXPECT_THAT(sources_of(texts), ElementsAre("original_full", "original_lower_row"));
  EXPECT_THAT(texts_of(texts), ElementsAre("ab", "a b"));
}

TEST(WholePlateOcr, GivesNoTextForABlankPlate) { EXPECT_THAT(read_plate(kOneLine, ""), IsEmpty()); }

TEST(WholePlateOcr, WritesTheVariantsTheDetectorsPicturesAndTheTextLines) {
  const TempDir dir;
  read_plate(kOneLine, "", dir.path());
  std::vector<std::string> expected;
  for (const std::string& variant : kVariants) {
    expected.push_back("ocr_" + variant + "_crop_0.jpg");
    for (const char* suffix : {".jpg", "_det_boxes.jpg", "_det_mask.jpg"}) {
      expected.push_back("ocr_variant_" + variant + suffix);
    }
  }
  EXPECT_THAT(dir.names(), testing::UnorderedElementsAreArray(expected));
}

TEST(WholePlateOcr, WritesEachVariantAndItsTextLineAsTheyWereRead) {
  const TempDir dir;
  read_plate(kOneLine, "", dir.path());
  const std::vector<cv::Mat> variants = variants_of(noise_image(320, 100));
  for (std::size_t i = 0; i < variants.size(); ++i) {
    SCOPED_TRACE(kVariants[i]);
    const cv::Rect line = i == 4 ? cv::Rect(95, 27, 210, 71) : cv::Rect(45, 11, 110, 40);
    EXPECT_EQ(dir.read("ocr_variant_" + kVariants[i] + ".jpg"), jpeg_of(variants[i]));
    EXPECT_EQ(dir.read("ocr_" + kVariants[i] + "_crop_0.jpg"), jpeg_of(variants[i](line)));
  }
}

TEST(WholePlateOcr, GivesEachVariantItsOwnDetectorPictures) {
  const TempDir dir;
  read_plate("answer 3 0 fill 4096 0\nanswer 3 0 rect 10 10 20 20 1\n", "", dir.path());
  EXPECT_TRUE(dir.exists("ocr_clahe_crop_0.jpg"));
  EXPECT_NE(dir.read("ocr_variant_clahe_det_mask.jpg"), dir.read("ocr_variant_gray_det_mask.jpg"));
  EXPECT_EQ(dir.read("ocr_variant_gray_det_mask.jpg"),
            dir.read("ocr_variant_sharpen_det_mask.jpg"));
}

TEST(WholePlateOcr, ReadsAPlateOfOnePixel) {
  const TempDir dir;
  const auto texts = read_plate("answer * 0 fill 4096 1\n", "answer * 0 steps 5 2\n", dir.path(),
                                noise_image(1, 1));
  EXPECT_THAT(texts, SizeIs(20));
}

TEST(WholePlateOcr, ReadsWithoutAPlaceForThePictures) {
  const TempDir dir;
  EXPECT_THAT(read_plate(kOneLine, "answer * 0 steps 5 2\n", dir.path("missing")), SizeIs(25));
}

TEST(WholePlateOcr, LeavesThePlateUntouched) {
  const cv::Mat plate = noise_image(320, 100);
  const TempDir dir;
  read_plate(kOneLine, "", dir.path(), plate);
  EXPECT_TRUE(same_pixels(plate, noise_image(320, 100)));
}

TEST(WholePlateOcr, EndsWithTheFirstFailureOfANetwork) {
  const RuntimeLog log;
  EXPECT_THAT(failure_of([] { read_plate("fail run 2 -1\n", ""); }),
              StartsWith("rknn_run failed: "));
  EXPECT_THAT(log.inputs("rec"), SizeIs(4));
  EXPECT_THAT(failure_of([] { read_plate("", "fail outputs_get 7 -1\n"); }),
              StartsWith("rknn_outputs_get failed: "));
}

TEST(WholePlateOcr, PassesOnThatANetworkGivesNothing) {
  const TempDir dir;
  ScriptedModel det(det_script(kMap));
  ScriptedModel rec(rec_script(kSteps));
  ScriptedModel nothing("name nothing\ninput image 1,3,8,8\n");
  const auto failure = [&](RknnModel& detector, RknnModel& recogniser) {
    return failure_of([&] {
      run_whole_plate_ocr_variants(detector, recogniser, noise_image(320, 100), kBlankAndLetters,
                                   dir.path());
    });
  };
  EXPECT_EQ(failure(nothing.get(), rec.get()), "ppocr det output invalid");
  EXPECT_EQ(failure(det.get(), nothing.get()), "ppocr rec output invalid");
}

// The plate parser tells readings apart by these words.
TEST(WholePlateOcr, NamesNoTextLineLikeAWindow) {
  const auto texts = read_plate(kOneLine, "answer 1-25/5 0 steps 5 2\n");
  EXPECT_THAT(texts, SizeIs(5));
  for (const std::string& source : sources_of(texts)) {
    for (const char* window : {"full", "upper_row", "lower_row", "serial_area"}) {
      EXPECT_EQ(source.find(window), std::string::npos) << source;
    }
  }
}

TEST(AddTextIfValid, AppendsTheTrimmedText) {
  std::vector<OcrText> texts = {{"first", "a"}};
  add_text_if_valid(texts, "second", " \t\r\n\v\f b c \n");
  EXPECT_THAT(sources_of(texts), ElementsAre("first", "second"));
  EXPECT_THAT(texts_of(texts), ElementsAre("a", "b c"));
}

TEST(AddTextIfValid, DropsATextOfBlanks) {
  std::vector<OcrText> texts;
  for (const char* text : {"", " ", "\t\r\n\v\f "}) add_text_if_valid(texts, "source", text);
  EXPECT_THAT(texts, IsEmpty());
}

TEST(AddTextIfValid, KeepsEveryCopyOfAText) {
  std::vector<OcrText> texts;
  for (int i = 0; i < 3; ++i) add_text_if_valid(texts, "source", "a");
  EXPECT_THAT(texts_of(texts), ElementsAre("a", "a", "a"));
}

TEST(AddTextIfValid, KeepsTextsOfAnyLengthAndAnyBytes) {
  // The last one is the wide space of Japanese text, which is no ASCII blank.
  const std::vector<std::string> any = {"1", std::string(100000, 'x'), "?!", "\xFF",
                                        "\xE3\x80\x80"};
  std::vector<OcrText> texts;
  for (const std::string& text : any) add_text_if_valid(texts, "source", text);
  EXPECT_EQ(texts_of(texts), any);
}

TEST(OcrTextRecord, StartsEmpty) {
  const OcrText text;
  EXPECT_EQ(text.source, "");
  EXPECT_EQ(text.text, "");
}

}  // namespace
}  // namespace kavrel

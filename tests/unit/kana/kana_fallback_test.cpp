#include "kana/kana_fallback.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "app/base/output_format.h"
#include "ocr/line_recogniser.h"
#include "plate/image_prep.h"
#include "tests/support/pictures.h"
#include "tests/support/test_support.h"

namespace kavrel {
namespace {

using kavrel_test::Capture;
using kavrel_test::failure_of;
using kavrel_test::inputs_of;
using kavrel_test::jpeg_of;
using kavrel_test::noise_image;
using kavrel_test::rec_script;
using kavrel_test::RuntimeLog;
using kavrel_test::same_pictures;
using kavrel_test::ScriptedModel;
using kavrel_test::TempDir;
using testing::HasSubstr;

// Where a window lies in the rectified plate of 320 x 96 and in the crop of 200 x 80 pixels.
struct Window {
  std::string name;
  int weight;
  cv::Rect place;
};

const std::vector<Window> kWindows = {
    {"rect_kana_left_lower_wide", 1, {0, 33, 144, 63}},
    {"roi_kana_left_lower_wide", 2, {0, 28, 90, 52}},
    {"rect_kana_narrow_00_18", 4, {0, 33, 58, 62}},
    {"rect_kana_narrow_00_22", 4, {0, 33, 71, 62}},
    {"rect_kana_narrow_02_26", 4, {6, 36, 78, 59}},
    {"rect_kana_narrow_low", 4, {0, 43, 90, 53}},
    {"roi_kana_narrow_00_18", 5, {0, 28, 36, 51}},
    {"roi_kana_narrow_00_22", 5, {0, 28, 44, 51}},
    {"roi_kana_narrow_02_26", 5, {4, 30, 48, 49}},
    {"roi_kana_narrow_low", 5, {0, 36, 56, 44}},
};

struct Variant {
  std::string suffix;
  int bonus;
};

const std::vector<Variant> kVariants = {
    {"_original", 0}, {"_gray", 0}, {"_clahe", 0},     {"_sharpen", 0},   {"_otsu", 1},
    {"_otsu_inv", 1}, {"_up4x", 0}, {"_gray_up5x", 2}, {"_gray_up8x", 2}, {"_clahe_up5x", 1},
};

std::vector<std::string> candidate_names() {
  std::vector<std::string> names;
  for (const Window& window : kWindows) {
    for (const Variant& variant : kVariants) names.push_back(window.name + variant.suffix);
  }
  return names;
}

// The place of a candidate in the order in which they are read.
std::size_t index_of(const std::string& name) {
  const std::vector<std::string> names = candidate_names();
  const auto found = std::find(names.begin(), names.end(), name);
  EXPECT_NE(found, names.end()) << name;
  return static_cast<std::size_t>(found - names.begin());
}

const cv::Mat kRect = noise_image(320, 96);
const cv::Mat kRoi = 255 - noise_image(200, 80);

// Classes 1 to 5; steps of the answers and their classes as text.
const std::vector<std::string> kDict = {"川", "愛", "は", "さ", "あ"};
constexpr char kSteps[] = "output logits 1,4,6\nanswer * 0 fill 24 -inf\n";

// Each candidate is read twice, first freely and then narrowed to kana.
std::string answer(std::size_t run, const std::string& steps) {
  return "answer " + std::to_string(run) + " 0 steps 6 " + steps + "\n";
}
std::string free_reading(const std::string& name, const std::string& steps) {
  return answer(2 * index_of(name) + 1, steps);
}
std::string narrowed_reading(const std::string& name, const std::string& steps) {
  return answer(2 * index_of(name) + 2, steps);
}

struct Search {
  std::string kana;
  std::vector<std::string> lines;  // on standard error
  std::vector<cv::Mat> inputs;     // of the network
};

Search search(const std::string& answers, const TempDir& dir) {
  ScriptedModel rec(rec_script(kSteps + answers));
  const RuntimeLog log;
  const Capture err;
  const std::string kana = run_kana_fallback(rec.get(), kRect, kRoi, kDict, dir.path());
  return {kana, err.lines(), inputs_of(log.inputs("rec"), {320, 48})};
}

Search search(const std::string& answers) { return search(answers, TempDir()); }

// The ten variants of a window in their order.
std::vector<cv::Mat> variants_of(const cv::Mat& window) {
  const cv::Mat gray = make_gray_bgr(window);
  return {window,
          gray,
          make_clahe_bgr(window),
          make_sharpen_bgr(window),
          make_otsu_bgr(window),
          ~make_otsu_bgr(window),
          enlarge(window, 4.0),
          enlarge(gray, 5.0),
          enlarge(gray, 8.0),
          enlarge(make_clahe_bgr(window), 5.0)};
}

std::vector<cv::Mat> candidate_images() {
  std::vector<cv::Mat> images;
  for (const Window& window : kWindows) {
    const cv::Mat& source = window.name.substr(0, 4) == "rect" ? kRect : kRoi;
    for (const cv::Mat& image : variants_of(source(window.place).clone())) images.push_back(image);
  }
  return images;
}

TEST(KanaCandidateWeight, AddsWhatWindowAndVariantAreWorth) {
  for (const Window& window : kWindows) {
    for (const Variant& variant : kVariants) {
      const std::string name = window.name + variant.suffix;
      EXPECT_EQ(kana_candidate_weight(name), window.weight + variant.bonus) << name;
    }
  }
}

TEST(KanaCandidateWeight, RangesFromOneToSeven) {
  EXPECT_EQ(kana_candidate_weight("rect_kana_left_lower_wide_original"), 1);
  EXPECT_EQ(kana_candidate_weight("roi_kana_narrow_00_18_gray_up8x"), 7);
  EXPECT_EQ(kana_candidate_weight("roi_kana_narrow_low_otsu_inv"), 6);
  EXPECT_EQ(kana_candidate_weight("rect_kana_narrow_low_clahe_up5x"), 5);
}

TEST(KanaFallback, ShowsTheNetworkEveryCandidateTwiceInOrder) {
  std::vector<cv::Mat> expected;
  for (const cv::Mat& image : candidate_images()) {
    expected.insert(expected.end(), 2, make_rec_input_rgb(image));
  }
  EXPECT_TRUE(same_pictures(search("").inputs, expected));
}

TEST(KanaFallback, WritesAPictureOfEveryCandidateAndNothingElse) {
  const TempDir dir;
  search("", dir);
  const std::vector<std::string> names = candidate_names();
  const std::vector<cv::Mat> images = candidate_images();
  EXPECT_EQ(dir.names().size(), names.size());
  EXPECT_EQ("kana_fallback_" + names.front() + ".jpg", output::picture::kWideKanaWindow);
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_TRUE(dir.read("kana_fallback_" + names[i] + ".jpg") == jpeg_of(images[i])) << names[i];
  }
}

TEST(KanaFallback, TellsOfEveryCandidateInOrder) {
  const std::vector<std::string> names = candidate_names();
  const Search found = search(free_reading(names[0], "1 3 0 3") + narrowed_reading(names[0], "4") +
                              free_reading(names[57], "1 2") + narrowed_reading(names[99], "5"));
  ASSERT_EQ(found.lines.size(), names.size() + 1);
  for (std::size_t i = 0; i < names.size(); ++i) {
    std::string readings = " text= kana= kana_constrained=";
    if (i == 0) readings = " text=川はは kana=は kana_constrained=さ";
    if (i == 57) readings = " text=川愛 kana=あ kana_constrained=";
    if (i == 99) readings = " text= kana= kana_constrained=あ";
    EXPECT_EQ(found.lines[i], "[KANA_FALLBACK] " + names[i] + readings);
  }
  EXPECT_EQ(found.lines.back(), "[KANA_FALLBACK_RESULT] mode=direct best=あ");
}

TEST(KanaFallback, LetsOneFreeReadingOutrankAllNarrowedOnes) {
  std::string answers = "answer 2-200/2 0 steps 6 4\n";
  answers += free_reading("rect_kana_left_lower_wide_original", "3");
  const Search found = search(answers);
  EXPECT_EQ(found.kana, "は");
  EXPECT_EQ(found.lines.back(), "[KANA_FALLBACK_RESULT] mode=direct best=は");
}

TEST(KanaFallback, CountsALookAlikeAsAFreeReadingOfItsKana) {
  const Search found =
      search("answer 2-200/2 0 steps 6 4\n" + free_reading("roi_kana_left_lower_wide_gray", "2"));
  EXPECT_EQ(found.kana, "あ");
  EXPECT_EQ(found.lines.back(), "[KANA_FALLBACK_RESULT] mode=direct best=あ");
}

TEST(KanaFallback, TakesNarrowedReadingsWithoutAFreeOne) {
  const Search found = search(free_reading("rect_kana_left_lower_wide_gray", "1 1") +
                              narrowed_reading("rect_kana_left_lower_wide_original", "4"));
  EXPECT_EQ(found.kana, "さ");
  EXPECT_EQ(found.lines.back(), "[KANA_FALLBACK_RESULT] mode=constrained best=さ");
}

TEST(KanaFallback, FindsNothingWithoutAVoteAndAnnouncesNothing) {
  const Search found = search("");
  EXPECT_EQ(found.kana, "");
  EXPECT_THAT(found.lines.back(), HasSubstr("[KANA_FALLBACK] roi_kana_narrow_low_clahe_up5x "));
}

using ReadingOf = std::string (*)(const std::string& name, const std::string& steps);

// Readings of `light` at all of `light_names` and of `heavy` at all of `heavy_names`.
std::string readings(ReadingOf reading_of, const std::vector<std::string>& light_names,
                     const std::string& light, const std::vector<std::string>& heavy_names,
                     const std::string& heavy) {
  std::string answers;
  for (const std::string& name : light_names) answers += reading_of(name, light);
  for (const std::string& name : heavy_names) answers += reading_of(name, heavy);
  return answers;
}

const std::string kSa = "4";
const std::string kHa = "3";

// Weights 1 + 1 + 1 + 1 + 1 + 2 against 7; さ comes before は.
TEST(KanaFallback, WeighsNarrowedReadingsByTheirCandidates) {
  const std::string wide = "rect_kana_left_lower_wide";
  const std::vector<std::string> light = {wide + "_original", wide + "_gray", wide + "_clahe",
                                          wide + "_sharpen",  wide + "_up4x", wide + "_otsu"};
  const std::vector<std::string> fewer(light.begin() + 1, light.end());
  const std::vector<std::string> heavy = {"roi_kana_narrow_00_18_gray_up8x"};
  EXPECT_EQ(search(readings(narrowed_reading, light, kSa, heavy, kHa)).kana, "さ");
  EXPECT_EQ(search(readings(narrowed_reading, light, kHa, heavy, kSa)).kana, "さ");
  EXPECT_EQ(search(readings(narrowed_reading, fewer, kSa, heavy, kHa)).kana, "は");
}

// 11 + 11 + 12 against 17 + 17: a tie only if each reading counts ten before its weight.
TEST(KanaFallback, CountsFreeReadingsFirstAndTheirWeightsSecond) {
  const std::string wide = "rect_kana_left_lower_wide";
  const std::vector<std::string> light = {wide + "_original", wide + "_gray", wide + "_otsu"};
  const std::vector<std::string> lighter = {wide + "_original", wide + "_gray", wide + "_clahe"};
  const std::vector<std::string> heavy = {"roi_kana_narrow_00_18_gray_up8x",
                                          "roi_kana_narrow_00_22_gray_up5x"};
  EXPECT_EQ(search(readings(free_reading, light, kSa, heavy, kHa)).kana, "さ");
  EXPECT_EQ(search(readings(free_reading, light, kHa, heavy, kSa)).kana, "さ");
  EXPECT_EQ(search(readings(free_reading, lighter, kSa, heavy, kHa)).kana, "は");
}

TEST(KanaFallback, PassesOnARecogniserWithoutAnOutput) {
  const TempDir dir;
  ScriptedModel rec(rec_script(""));
  EXPECT_EQ(failure_of([&] { run_kana_fallback(rec.get(), kRect, kRoi, kDict, dir.path()); }),
            "ppocr rec output invalid");
}

TEST(KanaFallback, DoesNotMindPicturesThatCannotBeWritten) {
  const TempDir dir;
  ScriptedModel rec(rec_script(kSteps + narrowed_reading("roi_kana_narrow_low_otsu", kSa)));
  const Capture err;
  EXPECT_EQ(run_kana_fallback(rec.get(), kRect, kRoi, kDict, dir.path("missing")), "さ");
}

TEST(KanaFallback, SearchesEvenAPlateOfOnePixel) {
  const TempDir dir;
  ScriptedModel rec(rec_script(kSteps + free_reading("roi_kana_narrow_low_otsu", kSa)));
  const Capture err;
  const cv::Mat pixel(1, 1, CV_8UC3, cv::Scalar::all(7));
  EXPECT_EQ(run_kana_fallback(rec.get(), pixel, pixel, kDict, dir.path()), "さ");
}

}  // namespace
}  // namespace kavrel

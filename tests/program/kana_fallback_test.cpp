#include <algorithm>
#include <map>
#include <stdexcept>

#include "tests/program/program_fixture.h"
#include "tests/support/pictures.h"

namespace kavrel_test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kCandidates = 100;
constexpr int kFirstRun = kRunsPerPlate + 1;  // then a free and a constrained run per candidate

std::string class_of_kana(const std::string& kana) {
  const auto& entries = ocr_dictionary();
  return std::to_string(std::find(entries.begin(), entries.end(), kana) - entries.begin() + 1);
}

const std::string kFreeRuns = "21-219/2";
const std::string kConstrainedRuns = "22-220/2";
// Neither decoder finds anything in values that are all minus infinity.
const std::string kNothingAnywhere =
    "answer 21-220 0 fill " + std::to_string((ocr_dictionary().size() + 1) * kSteps) + " -inf\n";

// Where a window lies in the upright plate of 320 x 96 and in a crop of 160 x 80 pixels.
struct Window {
  std::string name;
  cv::Rect place;
};
const std::vector<Window> kWindows = {
    {"rect_kana_left_lower_wide", {0, 33, 144, 63}}, {"roi_kana_left_lower_wide", {0, 28, 72, 52}},
    {"rect_kana_narrow_00_18", {0, 33, 58, 62}},     {"rect_kana_narrow_00_22", {0, 33, 71, 62}},
    {"rect_kana_narrow_02_26", {6, 36, 78, 59}},     {"rect_kana_narrow_low", {0, 43, 90, 53}},
    {"roi_kana_narrow_00_18", {0, 28, 29, 51}},      {"roi_kana_narrow_00_22", {0, 28, 36, 51}},
    {"roi_kana_narrow_02_26", {3, 30, 39, 49}},      {"roi_kana_narrow_low", {0, 36, 45, 44}}};

enum class Look { kColour, kGrey, kEqualised, kBlackAndWhite, kWhiteAndBlack };

struct Variant {
  std::string suffix;
  int factor;
  Look look;
};
const std::vector<Variant> kVariants = {
    {"_original", 1, Look::kColour},    {"_gray", 1, Look::kGrey},
    {"_clahe", 1, Look::kEqualised},    {"_sharpen", 1, Look::kColour},
    {"_otsu", 1, Look::kBlackAndWhite}, {"_otsu_inv", 1, Look::kWhiteAndBlack},
    {"_up4x", 4, Look::kColour},        {"_gray_up5x", 5, Look::kGrey},
    {"_gray_up8x", 8, Look::kGrey},     {"_clahe_up5x", 5, Look::kEqualised}};

// That a pixel looks as one of a gradient_image does, in this variant of the image.
void expect_look(const cv::Vec3b& pixel, const cv::Vec3b& bgr, bool is_bright, Look look) {
  const double grey = 0.114 * bgr[0] + 0.587 * bgr[1] + 0.299 * bgr[2];
  for (int channel = 0; channel < 3; ++channel) {
    switch (look) {
      case Look::kColour:
        EXPECT_NEAR(pixel[channel], bgr[channel], 10);
        break;
      case Look::kGrey:
        EXPECT_NEAR(pixel[channel], grey, 6);
        break;
      case Look::kEqualised:
        break;  // lighter and darker than it was, by its neighbours
      case Look::kBlackAndWhite:
        EXPECT_NEAR(pixel[channel], is_bright ? 255 : 0, 12);
        break;
      case Look::kWhiteAndBlack:
        EXPECT_NEAR(pixel[channel], is_bright ? 0 : 255, 12);
        break;
    }
  }
}

class KanaFallback : public ProgramTest {
 protected:
  KanaFallback() {
    for (const Window& window : kWindows) {
      for (const Variant& variant : kVariants) names_.push_back(window.name + variant.suffix);
    }
    write(kCaseList, "a.png,品川 500 あ 12-34\n");
    write_image("a.png", image_);
  }

  // Runs the case a.png, whose plate reads `texts`, with these answers to the search.
  void search(const std::string& answers, const PlateTexts& texts = {"", "品川500", "12-34", ""}) {
    write(kReaderModel, reader_script(reads_plate(texts) + answers));
    outcome_ = run();
    EXPECT_EQ(outcome_.status, 0) << outcome_.err;
  }

  // The answer to the free or the constrained run of one candidate.
  std::string free_read(const std::string& candidate, const std::string& text) const {
    return reads(std::to_string(kFirstRun + 2 * number_of(candidate)), text);
  }
  std::string constrained_read(const std::string& candidate, const std::string& text) const {
    return reads(std::to_string(kFirstRun + 2 * number_of(candidate) + 1), text);
  }

  // Constrained reads of さ that weigh 1 to 7 in sum: five candidates weigh 1, one more weighs 2.
  std::string votes_for_sa(int sum) const {
    const std::string window = "rect_kana_left_lower_wide_";
    std::string answers;
    if (sum > 5) {
      answers = constrained_read(window + "otsu", "さ");
      sum -= 2;
    }
    const std::vector<std::string> plain = {"original", "gray", "clahe", "sharpen", "up4x"};
    for (const auto& variant : plain) {
      if (sum-- > 0) answers += constrained_read(window + variant, "さ");
    }
    return answers;
  }

  std::vector<std::string> result_lines() const {
    return lines_with(outcome_.err, "[KANA_FALLBACK_RESULT]");
  }
  std::string result(const std::string& key) const {
    return lines_with(read(kCases + "/a/result.txt"), key + ": ").at(0).substr(key.size() + 2);
  }

  // That all candidates are there, cut from this crop and from what it is upright.
  void expect_candidates(const cv::Mat& crop) const {
    for (const Window& window : kWindows) {
      const bool is_upright = window.name[1] == 'e';
      const cv::Size size = is_upright ? cv::Size(320, 96) : crop.size();
      // The colour of the crop where this pixel of the window lies.
      const auto colour_at = [&](const cv::Point2d& pixel) {
        const double x = (window.place.x + pixel.x) / (size.width - 1) * (crop.cols - 1);
        const double y = (window.place.y + pixel.y) / (size.height - 1) * (crop.rows - 1);
        return crop.at<cv::Vec3b>(cvRound(y), cvRound(x));
      };
      for (const Variant& variant : kVariants) {
        SCOPED_TRACE(window.name + variant.suffix);
        const cv::Mat candidate =
            picture(kCases + "/a/kana_fallback_" + window.name + variant.suffix + ".jpg");
        ASSERT_EQ(candidate.size(), window.place.size() * variant.factor);
        const cv::Point last(window.place.width - 1, window.place.height - 1);
        expect_look(candidate.at<cv::Vec3b>(0, 0), colour_at({0, 0}), false, variant.look);
        expect_look(candidate.at<cv::Vec3b>(candidate.rows - 1, candidate.cols - 1),
                    colour_at(last), true, variant.look);
      }
    }
  }

  const cv::Mat image_ = gradient_image(160, 80);
  std::vector<std::string> names_;
  Outcome outcome_;

 private:
  int number_of(const std::string& candidate) const {
    const auto found = std::find(names_.begin(), names_.end(), candidate);
    if (found == names_.end()) throw std::invalid_argument(candidate);
    return static_cast<int>(found - names_.begin());
  }
};

TEST_F(KanaFallback, TellsOneLinePerCandidateAndTheResult) {
  search(reads(kFreeRuns, "8愛") + reads(kConstrainedRuns, "さ"));
  std::string expected =
      start_up_lines("roi", 1) + "========== CASE 1/1: a.png group=a ==========\n";
  for (const std::string& name : names_) {
    expected += "[KANA_FALLBACK] " + name + " text=8愛 kana=あ kana_constrained=さ\n";
  }
  EXPECT_EQ(outcome_.err, expected + "[KANA_FALLBACK_RESULT] mode=direct best=あ\n");
}

// The whole life of a run: three networks loaded, one corner run, five line detections, 5 x 4
// readings, the hundred pictures twice, and nothing else.
TEST_F(KanaFallback, CallsTheReaderTwiceForEachOfAHundredPictures) {
  search("");
  std::vector<std::string> expected = calls_up_to_corners();
  for (int variant = 0; variant < 5; ++variant) {
    append(expected, inference_calls("lines", kLinesInput));
    for (int reading = 0; reading < 4; ++reading) {
      append(expected, inference_calls("reader", kReaderInput));
    }
  }
  for (int reading = 0; reading < 2 * kCandidates; ++reading) {
    append(expected, inference_calls("reader", kReaderInput));
  }
  auto made = calls();
  ASSERT_EQ(made.size(), expected.size() + 3);
  made.resize(expected.size());
  EXPECT_EQ(made, expected);
}

// A candidate is higher than 48 pixels, or as high: it fills the reader's height, from the left.
TEST_F(KanaFallback, ShowsTheReaderEachPictureTwice) {
  search("");
  run_keeping_inputs();
  const auto seen = inputs("reader", kReaderInput);
  ASSERT_EQ(seen.size(), std::size_t{kRunsPerPlate + 2 * kCandidates});
  for (std::size_t i = 0; i < names_.size(); ++i) {
    SCOPED_TRACE(names_[i]);
    const cv::Mat& input = seen[kRunsPerPlate + 2 * i];
    EXPECT_TRUE(same_pixels(seen[kRunsPerPlate + 2 * i + 1], input));
    const cv::Mat candidate = picture(kCases + "/a/kana_fallback_" + names_[i] + ".jpg");
    const int width = cvRound(candidate.cols * 48.0 / candidate.rows);
    expect_stretched(input.colRange(0, width), candidate);
    EXPECT_TRUE(has_colour(input, {width, 0}, {255, 255, 255}, 0));
  }
}

TEST_F(KanaFallback, LeavesAHundredPictures) {
  search("");
  expect_candidates(image_);
  const auto names = files(kCases + "/a");
  EXPECT_EQ(std::count_if(names.begin(), names.end(),
                          [](const std::string& name) { return name.rfind("kana_", 0) == 0; }),
            kCandidates);
}

TEST_F(KanaFallback, CompletesThePlateNumber) {
  search(reads(kFreeRuns, "あ"));
  EXPECT_EQ(result("kana"), "あ");
  EXPECT_EQ(result("final_plate_number"), "品川 500 あ 12-34");
  EXPECT_EQ(result("status"), "correct");
  EXPECT_EQ(read(kOutput + "/summary.csv"), kSummaryHeader +
                                                "a,品川 500 あ 12-34,品川 500 あ 12-34,correct," +
                                                kShinagawaFields + ",1\n");
}

TEST_F(KanaFallback, JoinsTheFieldsThatThereAreWithSingleBlanks) {
  const std::vector<std::pair<PlateTexts, std::string>> numbers = {
      {{"", "", "", ""}, "あ"},
      {{"", "品川", "", ""}, "品川  あ"},
      {{"", "", "12-34", ""}, "あ 12-34"},
      {{"", "500", "12-34", ""}, "500 あ 12-34"}};
  for (const auto& [texts, number] : numbers) {
    search(reads(kFreeRuns, "あ"), texts);
    EXPECT_EQ(result("final_plate_number"), number) << texts.upper << texts.lower;
  }
}

TEST_F(KanaFallback, IsLeftOutWhenThePlateReadAKana) {
  search("", kShinagawa);
  EXPECT_THAT(lines_with(outcome_.err, "[KANA_FALLBACK"), IsEmpty());
  EXPECT_EQ(count_calls("rknn_run", "reader"), kRunsPerPlate);
}

TEST_F(KanaFallback, LeavesTheFieldsAloneWhenNothingVotes) {
  search(kNothingAnywhere);
  EXPECT_THAT(lines_with(outcome_.err, "[KANA_FALLBACK] "),
              Each(testing::EndsWith(" text= kana= kana_constrained=")));
  EXPECT_THAT(result_lines(), IsEmpty());
  EXPECT_EQ(result("kana"), "");
  EXPECT_EQ(result("final_plate_number"), "品川 500  12-34");
  EXPECT_EQ(result("status"), "check");
}

TEST_F(KanaFallback, FindsNothingWithADictionaryWithoutKana) {
  write(kOcrDictionary, "1\n2\n愛に\n");
  search("", {"", "", "", ""});
  EXPECT_THAT(result_lines(), IsEmpty());
  EXPECT_EQ(result("final_plate_number"), "");
}

TEST_F(KanaFallback, TrustsOneFreeReadMoreThanAnyConstrainedOnes) {
  search(kNothingAnywhere + reads(kConstrainedRuns, "さ") +
         free_read("rect_kana_left_lower_wide_original", "は"));
  EXPECT_THAT(result_lines(), ElementsAre("[KANA_FALLBACK_RESULT] mode=direct best=は"));
}

TEST_F(KanaFallback, CountsFreeReadsFirstAndWeightsSecond) {
  // Two reads of weight 1 make 22, one read of weight 7 makes 17.
  search(kNothingAnywhere + free_read("rect_kana_left_lower_wide_gray", "わ") +
         free_read("rect_kana_left_lower_wide_up4x", "わ") +
         free_read("roi_kana_narrow_low_gray_up8x", "あ"));
  EXPECT_THAT(result_lines(), ElementsAre("[KANA_FALLBACK_RESULT] mode=direct best=わ"));
}

TEST_F(KanaFallback, TakesTheLowerCodePointOfEqualTotals) {
  search(kNothingAnywhere + free_read("rect_kana_left_lower_wide_original", "わ") +
         free_read("rect_kana_left_lower_wide_gray", "か"));
  EXPECT_THAT(result_lines(), ElementsAre("[KANA_FALLBACK_RESULT] mode=direct best=か"));
}

// One constrained read of は at the candidate stands against reads of さ that weigh one less in
// sum, and then against reads that weigh the same: a tie, which さ wins by its code point.
TEST_F(KanaFallback, WeighsACandidateByItsName) {
  const std::map<std::string, int> weights = {
      {"roi_kana_left_lower_wide_original", 2},    {"rect_kana_left_lower_wide_otsu_inv", 2},
      {"rect_kana_left_lower_wide_clahe_up5x", 2}, {"rect_kana_left_lower_wide_gray_up5x", 3},
      {"rect_kana_left_lower_wide_gray_up8x", 3},  {"rect_kana_narrow_00_18_sharpen", 4},
      {"rect_kana_narrow_00_22_otsu", 5},          {"roi_kana_narrow_02_26_up4x", 5},
      {"roi_kana_narrow_low_clahe_up5x", 6},       {"roi_kana_narrow_00_18_gray_up8x", 7}};
  for (const auto& [name, weight] : weights) {
    const std::string vote = constrained_read(name, "は");
    search(kNothingAnywhere + votes_for_sa(weight - 1) + vote);
    EXPECT_THAT(result_lines(), ElementsAre("[KANA_FALLBACK_RESULT] mode=constrained best=は"))
        << name;
    search(kNothingAnywhere + votes_for_sa(weight) + vote);
    EXPECT_THAT(result_lines(), ElementsAre("[KANA_FALLBACK_RESULT] mode=constrained best=さ"))
        << name;
  }
}

TEST_F(KanaFallback, IgnoresEveryOtherCharacterInTheConstrainedRead) {
  // At its one loud step the 8 is loudest, か beats the blank, and さ does not.
  const std::string runs = "answer 21-220 0 ";
  search(runs + "fill " + std::to_string((ocr_dictionary().size() + 1) * kSteps) + " 0\n" + runs +
         "set 0 5\n" + runs + "set 9 9\n" + runs + "set " + class_of_kana("か") + " 6\n" + runs +
         "set " + class_of_kana("さ") + " 4\n");
  EXPECT_THAT(lines_with(outcome_.err, "[KANA_FALLBACK] "),
              Each(testing::EndsWith(" text=8 kana= kana_constrained=か")));
  EXPECT_THAT(result_lines(), ElementsAre("[KANA_FALLBACK_RESULT] mode=constrained best=か"));
}

TEST_F(KanaFallback, ChoosesTheKanaNearestToTheBlankWhenNoneBeatsIt) {
  // The blank leads everywhere; わ comes within 1 at step 0, さ within 0.5 at step 3.
  const std::size_t classes = ocr_dictionary().size() + 1;
  const std::string runs = "answer 21-220 0 ";
  std::string answer = runs + "fill " + std::to_string(classes * kSteps) + " -9\n";
  for (std::size_t step = 0; step < static_cast<std::size_t>(kSteps); ++step) {
    answer += runs + "set " + std::to_string(step * classes) + " 5\n";
  }
  const std::size_t step3 = 3 * classes;
  answer += runs + "set " + class_of_kana("わ") + " 4\n" + runs + "set " +
            std::to_string(step3 + std::stoul(class_of_kana("さ"))) + " 4.5\n";
  search(answer);
  EXPECT_THAT(lines_with(outcome_.err, "[KANA_FALLBACK] "),
              Each(testing::EndsWith(" text= kana= kana_constrained=さ")));
  EXPECT_THAT(result_lines(), ElementsAre("[KANA_FALLBACK_RESULT] mode=constrained best=さ"));
}

TEST_F(KanaFallback, FindsNothingConstrainedInAnOutputWithoutSteps) {
  write(kReaderModel, "name reader\ninput image 1,48,320,3\noutput steps 400\n");
  outcome_ = run();
  EXPECT_THAT(lines_with(outcome_.err, "[KANA_FALLBACK] "),
              Each(testing::EndsWith(" text= kana= kana_constrained=")));
  EXPECT_THAT(result_lines(), IsEmpty());
}

TEST_F(KanaFallback, CutsThePicturesFromTheCrop) {
  // In frame mode the crop is the detected box, and no longer the whole image.
  const cv::Mat frame = gradient_image(400, 200);
  write_image("a.png", frame);
  write(kPlateModel, plate_detector_script("answer * 0 floats 200 50 359 129 0.9 0\n"));
  write(kReaderModel, reader_script(reads("*", "8")));
  EXPECT_EQ(run({"--input-mode", "frame"}).status, 0);
  expect_candidates(frame(cv::Rect(200, 50, 160, 80)));
}

}  // namespace
}  // namespace kavrel_test

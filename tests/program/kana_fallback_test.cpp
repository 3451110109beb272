#include <algorithm>
#include <map>
#include <stdexcept>

#include "expected_pictures.h"
#include "program_fixture.h"

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

class KanaFallback : public ProgramTest {
 protected:
  KanaFallback() {
    for (const NamedPicture& candidate : kana_candidates(plate_, image_)) {
      names_.push_back(candidate.name);
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
    const std::string region = "rect_kana_left_lower_wide_";
    std::string answers;
    if (sum > 5) {
      answers = constrained_read(region + "otsu", "さ");
      sum -= 2;
    }
    const std::vector<std::string> plain = {"original", "gray", "clahe", "sharpen", "up4x"};
    for (const auto& variant : plain) {
      if (sum-- > 0) answers += constrained_read(region + variant, "さ");
    }
    return answers;
  }

  std::vector<std::string> result_lines() const {
    return lines_with(outcome_.err, "[KANA_FALLBACK_RESULT]");
  }
  std::string result(const std::string& key) const {
    return lines_with(read(kCases + "/a/result.txt"), key + ": ").at(0).substr(key.size() + 2);
  }

  const cv::Mat image_ = colourful(160, 80);
  const cv::Mat plate_ = rectified(image_, {{0, 0}, {159, 0}, {159, 79}, {0, 79}});
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
TEST_F(KanaFallback, LooksAtAHundredPicturesTwice) {
  search("");
  std::vector<std::string> expected = calls_up_to_corners(image_);
  for (const NamedPicture& variant : plate_variants(plate_)) {
    append(expected, inference_calls("lines", network_input(variant.image, 640, 640)));
    for (const cv::Mat& region : read_regions(variant.image)) {
      append(expected, inference_calls("reader", reader_input(region)));
    }
  }
  for (const NamedPicture& candidate : kana_candidates(plate_, image_)) {
    for (int reading = 0; reading < 2; ++reading) {
      append(expected, inference_calls("reader", reader_input(candidate.image)));
    }
  }
  auto made = calls();
  ASSERT_EQ(made.size(), expected.size() + 3);
  made.resize(expected.size());
  EXPECT_EQ(made, expected);
  EXPECT_EQ(count_calls("rknn_run", "reader"), kRunsPerPlate + 2 * kCandidates);
}

TEST_F(KanaFallback, LeavesAHundredPictures) {
  search("");
  for (const NamedPicture& candidate : kana_candidates(plate_, image_)) {
    EXPECT_TRUE(shows(kCases + "/a/kana_fallback_" + candidate.name + ".jpg", candidate.image))
        << candidate.name;
  }
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
  const size_t classes = ocr_dictionary().size() + 1;
  const std::string runs = "answer 21-220 0 ";
  std::string answer = runs + "fill " + std::to_string(classes * kSteps) + " -9\n";
  for (size_t step = 0; step < static_cast<size_t>(kSteps); ++step) {
    answer += runs + "set " + std::to_string(step * classes) + " 5\n";
  }
  const size_t step3 = 3 * classes;
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

TEST_F(KanaFallback, CutsTheRoiPicturesFromTheCrop) {
  // In frame mode the crop is the detected box, and no longer the whole image.
  const cv::Rect box(20, 10, 101, 61);
  write(kPlateModel, plate_detector_script("answer * 0 floats 20 10 120 70 0.9 0\n"));
  write(kReaderModel, reader_script(reads("*", "8")));
  EXPECT_EQ(run({"--input-mode", "frame"}).status, 0);
  const cv::Mat crop = image_(box).clone();
  const cv::Mat plate = rectified(crop, {{0, 0}, {100, 0}, {100, 60}, {0, 60}});
  for (const NamedPicture& candidate : kana_candidates(plate, crop)) {
    EXPECT_TRUE(shows(kCases + "/a/kana_fallback_" + candidate.name + ".jpg", candidate.image))
        << candidate.name;
  }
}

}  // namespace
}  // namespace kavrel_test

#include "expected_pictures.h"
#include "program_fixture.h"

namespace kavrel_test {
namespace {

using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::UnorderedElementsAre;

constexpr char kVariants[5][9] = {"original", "gray", "clahe", "sharpen", "up2x"};

// One plate picture with slanted corners and two text lines, read completely and correctly.
class FullCase : public ProgramTest {
 protected:
  void SetUp() override {
    write(kCornerModel, corner_script("answer * 0 floats 10 4 0.95 0.0625 190 92 0.05 0.875\n"));
    write(kLinesModel, line_detector_script("answer * 0 fill 4096 0\n"
                                            "answer * 0 rect 8 8 40 20 1\n"
                                            "answer * 0 rect 4 40 50 16 1\n"));
    write(kReaderModel,
          reader_script(reads_in_turn({"品川500", "あ12-34", kShinagawa.full, kShinagawa.upper,
                                       kShinagawa.lower, kShinagawa.serial})));
    write(kCaseList, "image_path,expected,group_id\nphotos/car1_f01.png,品川500 あ12-34,car1\n");
    write_image("photos/car1_f01.png", image_);
    outcome_ = run();
  }

  const cv::Mat image_ = colourful(200, 100);
  const std::vector<cv::Point2f> corners_ = {
      {10, 4}, {200 * 0.95F, 100 * 0.0625F}, {190, 92}, {200 * 0.05F, 100 * 0.875F}};
  const cv::Mat plate_ = rectified(image_, corners_);
  const std::string directory_ = kCases + "/car1_f01";
  const std::string texts_ = ocr_texts({{"_det_crop_0", "品川500"},
                                        {"_det_crop_1", "あ12-34"},
                                        {"_full", kShinagawa.full},
                                        {"_upper_row", kShinagawa.upper},
                                        {"_lower_row", kShinagawa.lower},
                                        {"_serial_area", kShinagawa.serial}});
  Outcome outcome_;
};

// The two text lines in a variant: padded by 5 and 4 pixels around the scaled map rectangles.
std::vector<cv::Rect> boxes_in(const cv::Mat& variant) {
  if (variant.cols == 640) return {{75, 20, 410, 68}, {35, 116, 510, 56}};
  return {{35, 8, 210, 38}, {15, 56, 260, 32}};
}

TEST_F(FullCase, EndsWellAndSaysSo) {
  EXPECT_EQ(outcome_.status, 0);
  EXPECT_EQ(outcome_.err, start_up_lines("roi", 1) +
                              "========== CASE 1/1: photos/car1_f01.png group=car1 ==========\n");
  EXPECT_EQ(outcome_.out,
            "========== FINAL_RESULT ==========\n"
            "input_mode=roi use_plate_det=false\n"
            "frame_total=1 frame_correct=1 frame_check_or_failed=0\n"
            "group_total=1 group_correct=1 group_check_or_failed=0\n"
            "summary=output/v21_product_validation/summary.csv\n");
}

TEST_F(FullCase, LeavesExactlyTheseFiles) {
  std::vector<std::string> expected = {"FINAL_RESULT.json", "frame_summary.csv", "summary.csv"};
  for (const char* name :
       {"corner_debug.jpg", "plate_roi.jpg", "rectified_plate.jpg", "result.json", "result.txt"}) {
    expected.push_back("cases/car1_f01/" + std::string(name));
  }
  for (const std::string variant : kVariants) {
    for (const std::string& name :
         {"_" + variant + "_crop_0", "_" + variant + "_crop_1", "_variant_" + variant,
          "_variant_" + variant + "_det_boxes", "_variant_" + variant + "_det_mask"}) {
      expected.push_back("cases/car1_f01/ocr" + name + ".jpg");
    }
  }
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(files(kOutput), expected);
}

TEST_F(FullCase, WritesTheResultForPeople) {
  EXPECT_EQ(read(directory_ + "/result.txt"),
            "group_id: car1\n"
            "image_path: photos/car1_f01.png\n"
            "expected: 品川500 あ12-34\n"
            "ocr_texts: " +
                texts_ +
                "\n"
                "region: 品川\n"
                "class_no: 500\n"
                "kana: あ\n"
                "serial: 12-34\n"
                "final_plate_number: 品川 500 あ 12-34\n"
                "status: correct\n");
}

TEST_F(FullCase, WritesTheResultForTools) {
  EXPECT_EQ(read(directory_ + "/result.json"),
            "{\n"
            "  \"group_id\": \"car1\",\n"
            "  \"image_path\": \"photos/car1_f01.png\",\n"
            "  \"expected\": \"品川500 あ12-34\",\n"
            "  \"final_plate_number\": \"品川 500 あ 12-34\",\n"
            "  \"region\": \"品川\",\n"
            "  \"class_no\": \"500\",\n"
            "  \"kana\": \"あ\",\n"
            "  \"serial\": \"12-34\",\n"
            "  \"ocr_texts\": \"" +
                texts_ +
                "\",\n"
                "  \"status\": \"correct\"\n"
                "}\n");
}

TEST_F(FullCase, WritesTheSummaries) {
  EXPECT_EQ(read(kOutput + "/frame_summary.csv"),
            kFrameSummaryHeader +
                "car1,photos/car1_f01.png,品川500 あ12-34,品川 500 あ 12-34,correct,"
                "品川,500,あ,12-34," +
                texts_ + "\n");
  EXPECT_EQ(
      read(kOutput + "/summary.csv"),
      kSummaryHeader + "car1,品川500 あ12-34,品川 500 あ 12-34,correct,品川,500,あ,12-34,1\n");
  EXPECT_EQ(read(kOutput + "/FINAL_RESULT.json"),
            "{\n"
            "  \"input_mode\": \"roi\",\n"
            "  \"use_plate_det\": false,\n"
            "  \"frame_total\": 1,\n"
            "  \"frame_correct\": 1,\n"
            "  \"frame_check_or_failed\": 0,\n"
            "  \"group_total\": 1,\n"
            "  \"group_correct\": 1,\n"
            "  \"group_check_or_failed\": 0,\n"
            "  \"frame_summary_csv\": \"output/v21_product_validation/frame_summary.csv\",\n"
            "  \"summary_csv\": \"output/v21_product_validation/summary.csv\"\n"
            "}\n");
}

TEST_F(FullCase, ShowsThePlateItsCornersAndItsRectification) {
  EXPECT_TRUE(shows(directory_ + "/plate_roi.jpg", image_));
  EXPECT_TRUE(shows(directory_ + "/corner_debug.jpg", with_corners(image_, corners_)));
  EXPECT_TRUE(shows(directory_ + "/rectified_plate.jpg", plate_));
}

TEST_F(FullCase, ShowsEveryVariantWithItsTextLines) {
  cv::Mat map(64, 64, CV_8U, cv::Scalar(0));
  map(cv::Rect(8, 8, 40, 20)).setTo(255);
  map(cv::Rect(4, 40, 50, 16)).setTo(255);
  for (const auto& [name, variant] : plate_variants(plate_)) {
    const std::string prefix = directory_ + "/ocr_variant_" + name;
    const std::vector<cv::Rect> boxes = boxes_in(variant);
    EXPECT_TRUE(shows(prefix + ".jpg", variant)) << name;
    EXPECT_TRUE(shows(prefix + "_det_mask.jpg", stretched(map, variant.size()))) << name;
    EXPECT_TRUE(shows(prefix + "_det_boxes.jpg", with_boxes(variant, boxes))) << name;
    for (size_t k = 0; k < boxes.size(); ++k) {
      EXPECT_TRUE(shows(directory_ + "/ocr_" + name + "_crop_" + std::to_string(k) + ".jpg",
                        variant(boxes[k])))
          << name;
    }
  }
}

// One corner run, five line detections, 5 x (2 boxes + 4 regions) readings, and nothing else.
TEST_F(FullCase, ShowsEveryNetworkThePictureThatItMustSee) {
  std::vector<std::string> expected = calls_up_to_corners(image_);
  for (const auto& [name, variant] : plate_variants(plate_)) {
    append(expected, inference_calls("lines", network_input(variant, 640, 640)));
    for (const cv::Rect& box : boxes_in(variant)) {
      append(expected, inference_calls("reader", reader_input(variant(box))));
    }
    for (const cv::Mat& region : read_regions(variant)) {
      append(expected, inference_calls("reader", reader_input(region)));
    }
  }
  auto made = calls();
  ASSERT_EQ(made.size(), expected.size() + 3);
  EXPECT_THAT(std::vector<std::string>(made.end() - 3, made.end()),
              UnorderedElementsAre("rknn_destroy corner ret=0", "rknn_destroy lines ret=0",
                                   "rknn_destroy reader ret=0"));
  made.resize(expected.size());
  EXPECT_EQ(made, expected);
}

TEST_F(FullCase, LeavesTheSameBytesWhenRunAgain) {
  std::vector<std::string> before;
  for (const std::string& name : files(kOutput)) before.push_back(read(kOutput + "/" + name));
  EXPECT_EQ(run().out, outcome_.out);
  std::vector<std::string> after;
  for (const std::string& name : files(kOutput)) after.push_back(read(kOutput + "/" + name));
  EXPECT_EQ(after, before);
}

class OneCase : public ProgramTest {
 protected:
  // The value of one line of the result file of the single case a.png.
  std::string result(const std::string& key) {
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return lines_with(read(kCases + "/a/result.txt"), key + ": ").at(0).substr(key.size() + 2);
  }
};

TEST_F(OneCase, IsCorrectWhenTheTextsMatchButForAsciiBlanks) {
  const std::vector<std::pair<std::string, std::string>> verdicts = {
      {"品川 500 あ 12-34", "correct"},
      {"品川500あ12-34", "correct"},
      {" 品\t川 5 0 0あ1 2-3 4 ", "correct"},
      {"品川 500 あ 1234", "check"},
      {"品川\u3000500 あ 12-34", "check"},
      {"品川 500 あ 12・34", "check"},
      {"品川 500 あ", "check"},
      {"", "unknown"}};
  for (const auto& [expected, status] : verdicts) {
    list_cases("a.png," + expected + "\n", {"a.png"});
    EXPECT_EQ(result("status"), status) << expected;
  }
}

TEST_F(OneCase, KeepsADoubledBlankWhereAFieldIsMissing) {
  write(kReaderModel, reader_script(reads_every_plate({"品川あ", "品川", "あ", ""})));
  list_cases("a.png,品川あ\n", {"a.png"});
  EXPECT_EQ(result("final_plate_number"), "品川  あ");
  EXPECT_EQ(result("status"), "correct");
  EXPECT_EQ(result("ocr_texts"), ocr_texts({"品川あ", "品川", "あ", ""}));
}

TEST_F(OneCase, QuotesAndEscapesWhatTheFilesRequire) {
  write(kReaderModel, reader_script(reads("*", "あ\",")));
  list_cases("a.png,\"x\\,\ty\",\"g,1\"\n", {"a.png"});
  const std::string texts = ocr_texts({"あ\",", "あ\",", "あ\",", "あ\","});
  EXPECT_EQ(result("expected"), "x\\,\ty");
  EXPECT_EQ(result("group_id"), "g,1");
  EXPECT_EQ(result("ocr_texts"), texts);
  EXPECT_THAT(lines_of(read(kCases + "/a/result.json")),
              IsSupersetOf({std::string("  \"group_id\": \"g,1\","),
                            std::string("  \"expected\": \"x\\\\,\\ty\",")}));
  EXPECT_THAT(read(kCases + "/a/result.json"),
              testing::HasSubstr("\"ocr_texts\": \"original_full:あ\\\", / "
                                 "original_upper_row:あ\\\", / "));
  EXPECT_THAT(read(kOutput + "/frame_summary.csv"),
              testing::HasSubstr("\"g,1\",a.png,\"x\\,\ty\",あ,check,,,あ,,"
                                 "\"original_full:あ\"\", / original_upper_row:あ\"\", / "));
  EXPECT_EQ(read(kOutput + "/summary.csv"),
            kSummaryHeader + "\"g,1\",\"x\\,\ty\",あ,check,,,あ,,1\n");
}

TEST_F(OneCase, TakesEveryImageAsAColourPicture) {
  cv::Mat gray(20, 40, CV_8UC1, cv::Scalar(77));
  gray.colRange(0, 10).setTo(200);
  write(kCaseList, "gray.png\nclear.png\n");
  write_image("gray.png", gray);
  write_image("clear.png", cv::Mat(20, 40, CV_8UC4, cv::Scalar(10, 20, 30, 0)));
  EXPECT_EQ(run().status, 0);
  cv::Mat gray_bgr;
  cv::merge(std::vector<cv::Mat>(3, gray), gray_bgr);
  const cv::Mat clear_bgr(20, 40, CV_8UC3, cv::Scalar(10, 20, 30));
  EXPECT_TRUE(shows(kCases + "/gray/plate_roi.jpg", gray_bgr));
  EXPECT_TRUE(shows(kCases + "/clear/plate_roi.jpg", clear_bgr));
}

}  // namespace
}  // namespace kavrel_test

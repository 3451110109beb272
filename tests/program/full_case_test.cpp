#include <map>
#include <opencv2/imgproc.hpp>

#include "tests/program/program_fixture.h"
#include "tests/support/pictures.h"

namespace kavrel_test {
namespace {

using testing::IsSupersetOf;

constexpr char kRowVariants[5][9] = {"original", "gray", "clahe", "sharpen", "up2x"};

// A plate of 400 x 200 pixels, seen from its left: the left edge is twice as long as the right one.
// It is of grey 85, with a cyan, a green, a magenta and a yellow disc at its corners, clockwise
// from the top left, and a white one in its middle, which is where its diagonals cross: at two
// thirds of them, (40, 20) + 2 / 3 x (320, 120) = (253, 100).
cv::Mat plate_picture() {
  cv::Mat image = plain_image(400, 200, cv::Scalar::all(85));
  cv::circle(image, {40, 20}, 36, {255, 255, 0}, cv::FILLED);
  cv::circle(image, {360, 60}, 14, {0, 255, 0}, cv::FILLED);
  cv::circle(image, {360, 140}, 14, {255, 0, 255}, cv::FILLED);
  cv::circle(image, {40, 180}, 36, {0, 255, 255}, cv::FILLED);
  cv::circle(image, {253, 100}, 22, {255, 255, 255}, cv::FILLED);
  return image;
}

// What is left of it upright, in colour and in grey: cyan is 179 of 255, green 150, magenta 105
// and yellow 226.
const std::vector<std::string> kUprightPlate = {"C33333333333333G",  //
                                                "3333333993333333",  //
                                                "3333333993333333",  //
                                                "Y33333333333333M"};
const std::vector<std::string> kUprightGreyPlate = {"6333333333333335",  //
                                                    "3333333993333333",  //
                                                    "3333333993333333",  //
                                                    "8333333333333334"};

// One plate picture with two text lines, read completely and correctly. Two of the corners are told
// in pixels and two in fractions.
class FullCase : public ProgramTest {
 protected:
  void SetUp() override {
    write(kCornerModel, corner_script("answer * 0 floats 40 20 0.9 0.3 360 140 0.1 0.9\n"));
    write(kLinesModel, line_detector_script("answer * 0 fill 4096 0\n"
                                            "answer * 0 rect 8 8 40 20 1\n"
                                            "answer * 0 rect 4 40 52 16 1\n"));
    write(kReaderModel,
          reader_script(reads_in_turn({"品川500", "あ12-34", kShinagawa.full, kShinagawa.upper,
                                       kShinagawa.lower, kShinagawa.serial})));
    write(kCaseList, "image_path,expected,group_id\nphotos/car1_f01.png,品川500 あ12-34,car1\n");
    write_image("photos/car1_f01.png", image_);
    outcome_ = run_keeping_inputs();
  }

  const cv::Mat image_ = plate_picture();
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
  if (variant.cols == 640) return {{75, 20, 410, 68}, {35, 116, 530, 56}};
  return {{35, 8, 210, 38}, {15, 56, 270, 32}};
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
  for (const std::string variant : kRowVariants) {
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

TEST_F(FullCase, ShowsThePlateAsItIsAndUpright) {
  EXPECT_TRUE(shows(directory_ + "/plate_roi.jpg", image_));
  const cv::Mat upright = picture(directory_ + "/rectified_plate.jpg");
  EXPECT_EQ(upright.size(), cv::Size(320, 96));
  EXPECT_EQ(sketch(upright, 16, 4), kUprightPlate);
}

// What tells one variant from the others: a plain area, and the darkest pixel beside the white
// disc. CLAHE: 108 has a lightness of 117 of 255; in a tile of 40 x 12 = 480 pixels a level keeps 3
// and the rest is spread, so it becomes (2 x 118 + 3) x 255 / 480 = 127, a grey of 118. Sharpened,
// a pixel beside an edge up to 255 loses 0.6 x 0.3 x 147 = 26; bicubic, 0.105 x 147 = 15, and some
// more where the edge is round.
struct VariantLook {
  std::string name;
  cv::Size size;
  int plain;
  int darkest;
};
const std::vector<VariantLook> kLooks = {{"original", {320, 96}, 85, 85},
                                         {"gray", {320, 96}, 85, 85},
                                         {"clahe", {320, 96}, 93, 90},
                                         {"sharpen", {320, 96}, 85, 54},
                                         {"up2x", {640, 192}, 85, 60}};

// Of a variant, at any size.
void expect_look(const cv::Mat& variant, const VariantLook& look) {
  SCOPED_TRACE(look.name);
  EXPECT_EQ(sketch(variant, 16, 4), look.name == "gray" ? kUprightGreyPlate : kUprightPlate);
  cv::Mat green;
  cv::extractChannel(variant, green, 1);
  const auto around = [&](double x0, double y0, double x1, double y1) {
    return green(cv::Rect(cv::Point2d(x0 * variant.cols, y0 * variant.rows),
                          cv::Point2d(x1 * variant.cols, y1 * variant.rows)));
  };
  double darkest = 0;
  cv::minMaxLoc(around(0.375, 0.125, 0.625, 0.875), &darkest);
  EXPECT_NEAR(darkest, look.darkest, 8);
  EXPECT_NEAR(cv::mean(around(0.25, 0.25, 0.375, 0.75))[0], look.plain, 4);
}

// The two rectangles of the map, columns 8 to 47 of rows 8 to 27 and 4 to 55 of 40 to 55, of 64.
const std::vector<std::string> kMask = {"0000000000000000",  //
                                        "0099999999990000",  //
                                        "0099999999990000",  //
                                        "0000000000000000",  //
                                        "0999999999999900",  //
                                        "0000000000000000"};

TEST_F(FullCase, ShowsEveryVariantWithItsTextLines) {
  for (const VariantLook& look : kLooks) {
    const std::string prefix = directory_ + "/ocr_variant_" + look.name;
    const cv::Mat variant = picture(prefix + ".jpg");
    EXPECT_EQ(variant.size(), look.size);
    expect_look(variant, look);
    const std::vector<cv::Rect> boxes = boxes_in(variant);
    expect_frames(picture(prefix + "_det_boxes.jpg"), variant, boxes);
    const cv::Mat mask = picture(prefix + "_det_mask.jpg");
    EXPECT_EQ(mask.size(), look.size);
    EXPECT_EQ(sketch(mask, 16, 6), kMask);
    for (std::size_t k = 0; k < boxes.size(); ++k) {
      const cv::Mat crop =
          picture(directory_ + "/ocr_" + look.name + "_crop_" + std::to_string(k) + ".jpg");
      EXPECT_TRUE(same_pixels(crop, variant(boxes[k]), 90)) << look.name << k;
    }
  }
}

// One corner run, five line detections, 5 x (2 boxes + 4 windows) readings, and nothing else.
TEST_F(FullCase, CallsTheNetworksInTurn) {
  std::vector<std::string> expected = calls_up_to_corners();
  for (int variant = 0; variant < 5; ++variant) {
    append(expected, inference_calls("lines", kLinesInput));
    for (int reading = 0; reading < 6; ++reading) {
      append(expected, inference_calls("reader", kReaderInput));
    }
  }
  expect_calls_and_releases(expected);
}

TEST_F(FullCase, ShowsTheCornerNetworkThePlateAsItIs) {
  const auto shown = inputs("corner", kCornerInput);
  ASSERT_EQ(shown.size(), 1U);
  EXPECT_EQ(sketch(shown[0], 16, 8), sketch(image_, 16, 8));
}

TEST_F(FullCase, ShowsTheLineDetectorEveryVariant) {
  const auto shown = inputs("lines", kLinesInput);
  ASSERT_EQ(shown.size(), kLooks.size());
  for (std::size_t i = 0; i < shown.size(); ++i) expect_look(shown[i], kLooks[i]);
}

struct Mark {
  cv::Point place;
  char shown;
};

// Where the marks of the plate lie in the reader's 320 x 48 pixels, which a part fills from the top
// left: where one plate pixel is `scale` of its pixels, (x, y) lies at scale x (x - left, y - top).
// The rest is white. The parts of the enlarged plate differ from these by a few pixels.
const std::vector<std::vector<Mark>> kReadings = {
    // Text line (35, 8, 210, 38), scale 1.26: the middle, at (160, 40), and the white to its right.
    {{{4, 4}, '3'}, {{60, 40}, '3'}, {{162, 42}, '9'}, {{200, 10}, '3'}, {{300, 24}, '9'}},
    // Text line (15, 56, 270, 32), scale 1.19: the middle, at (160, 58), and the white below.
    {{{4, 4}, '3'}, {{60, 3}, '3'}, {{172, 2}, '9'}, {{300, 30}, '3'}, {{300, 42}, '9'}},
    // The whole, scale 0.5.
    {{{3, 3}, 'C'},
     {{157, 3}, 'G'},
     {{157, 44}, 'M'},
     {{3, 44}, 'Y'},
     {{80, 24}, '9'},
     {{40, 24}, '3'}},
    // The upper 48 rows as they are.
    {{{5, 5}, 'C'}, {{316, 5}, 'G'}, {{160, 45}, '9'}, {{5, 45}, '3'}, {{316, 45}, '3'}},
    // The rows from 36 on, scale 0.8.
    {{{3, 44}, 'Y'}, {{253, 44}, 'M'}, {{128, 4}, '9'}, {{3, 4}, '3'}, {{270, 24}, '9'}},
    // Of these the columns from 89 on.
    {{{3, 44}, '3'}, {{182, 44}, 'M'}, {{57, 4}, '9'}, {{120, 24}, '3'}, {{200, 24}, '9'}}};

TEST_F(FullCase, ShowsTheReaderBothLinesAndFourPartsOfEveryVariant) {
  const std::map<char, char> grey_of = {{'C', '6'}, {'G', '5'}, {'M', '4'}, {'Y', '8'}};
  const auto shown = inputs("reader", kReaderInput);
  ASSERT_EQ(shown.size(), kLooks.size() * kReadings.size());
  for (std::size_t i = 0; i < shown.size(); ++i) {
    const bool is_gray = kLooks[i / kReadings.size()].name == "gray";
    for (const Mark& mark : kReadings[i % kReadings.size()]) {
      const bool turns_grey = is_gray && grey_of.count(mark.shown) > 0;
      EXPECT_EQ(letter_at(shown[i], mark.place), turns_grey ? grey_of.at(mark.shown) : mark.shown)
          << "reading " << i << " at " << mark.place;
    }
  }
}

// A plain picture with these corners: a red disc of radius 4 at each, and green lines between them,
// two pixels thick, which are drawn over them.
TEST_F(FullCase, DrawsTheCornersAndTheLinesBetweenThem) {
  const std::vector<cv::Point> corners = {{40, 20}, {160, 30}, {150, 80}, {30, 70}};
  write(kCornerModel, corner_script("answer * 0 floats 40 20 160 30 150 80 30 70\n"));
  write_image("photos/car1_f01.png", plain_image(200, 100, cv::Scalar::all(128)));
  EXPECT_EQ(run().status, 0);
  const cv::Mat drawn = picture(directory_ + "/corner_debug.jpg");
  const auto red_at = [&](const cv::Point& place) {
    const auto pixel = drawn.at<cv::Vec3b>(place);
    return pixel[2] - std::max(pixel[0], pixel[1]);
  };
  for (std::size_t k = 0; k < corners.size(); ++k) {
    SCOPED_TRACE(corners[k]);
    // Away from both lines.
    const cv::Point outwards(corners[k].x < 100 ? -1 : 1, corners[k].y < 50 ? -1 : 1);
    EXPECT_GT(red_at(corners[k] + 2 * outwards), 80);
    EXPECT_LT(red_at(corners[k] + 5 * outwards), 30);
    const cv::Point halfway = (corners[k] + corners[(k + 1) % corners.size()]) / 2;
    EXPECT_TRUE(has_colour(drawn, halfway, {0, 255, 0}, 70));
    EXPECT_TRUE(has_colour(drawn, halfway + cv::Point(6, 6), {128, 128, 128}));
  }
  EXPECT_TRUE(has_colour(drawn, {95, 50}, {128, 128, 128}));
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

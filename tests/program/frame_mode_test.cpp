#include "tests/program/program_fixture.h"
#include "tests/support/pictures.h"

namespace kavrel_test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kFallbackLine[] =
    "[WARN] plate_det produced no valid final boxes. Fallback to full image ROI.";

// One camera image street.png of 1000 x 500 pixels.
class FrameMode : public ProgramTest {
 protected:
  FrameMode() {
    write(kCaseList, "street.png\n");
    write_image("street.png", image_);
  }

  void detect(const std::string& answers) { detect_with(plate_detector_script(answers)); }

  void detect_with(const std::string& script) {
    write(kPlateModel, script);
    outcome_ = run({"--input-mode", "frame"});
    EXPECT_EQ(outcome_.status, 0) << outcome_.err;
  }

  void detect_and_keep_inputs(const std::string& script) {
    write(kPlateModel, script);
    EXPECT_EQ(run_keeping_inputs({"--input-mode", "frame"}).status, 0);
  }

  // That the network saw this part of the image, once.
  void expect_seen(const std::string& label, const cv::Size& size, const cv::Rect& part) {
    const auto seen = inputs(label, size);
    ASSERT_EQ(seen.size(), 1U);
    expect_stretched(seen[0], image_(part));
  }

  // That the crop is this part of the image and that the debug picture shows these boxes.
  void expect_crop(const cv::Rect& crop, const std::vector<cv::Rect>& shown) {
    EXPECT_TRUE(shows(directory_ + "/plate_roi.jpg", image_(crop).clone()));
    expect_frames(picture(directory_ + "/plate_det_debug.jpg"), image_, shown);
  }

  const cv::Mat image_ = gradient_image(1000, 500);
  const cv::Rect everything_{0, 0, 1000, 500};
  const std::string directory_ = kCases + "/street";
  Outcome outcome_;
};

TEST_F(FrameMode, CutsTheDetectedPlateFromTheImage) {
  detect("answer * 0 floats 0 0.9 0.125 0.25 0.5 0.75\n");
  const cv::Rect box(125, 125, 376, 251);
  expect_crop(box, {box});
  EXPECT_EQ(outcome_.err, start_up_lines("frame", 1) +
                              "========== CASE 1/1: street.png group=street ==========\n");
  const cv::Mat plate = picture(directory_ + "/rectified_plate.jpg");
  EXPECT_EQ(plate.size(), cv::Size(320, 96));
  expect_stretched(plate, image_(box));
}

TEST_F(FrameMode, ShowsTheDetectorTheWholeImageAndTheOthersTheCrop) {
  detect_and_keep_inputs(plate_detector_script("answer * 0 floats 100 50 300 120 0.8 0\n"));
  expect_seen("plate", {416, 320}, everything_);
  expect_seen("corner", kCornerInput, {100, 50, 201, 71});
  EXPECT_EQ(count_calls("rknn_run", "plate"), 1);
  EXPECT_EQ(count_calls("rknn_run", "corner"), 1);
  EXPECT_EQ(count_calls("rknn_run", "lines"), 5);
  EXPECT_EQ(count_calls("rknn_run", "reader"), kRunsPerPlate);
  EXPECT_EQ(count_calls("rknn_destroy", "plate"), 1);
}

TEST_F(FrameMode, SizesTheDetectorsInputByTheLastTwoOfFourDims) {
  const std::vector<std::pair<std::string, cv::Size>> sizes = {
      {"1,3,480,320", {320, 480}}, {"1,640,640,3", {3, 640}}, {"2,2,1,3,96,64", {64, 96}},
      {"3,480,320", {640, 640}},   {"-", {640, 640}},         {"1,3,0,0", {640, 640}},
      {"1,3,0,96", {96, 640}}};
  for (const auto& [dims, size] : sizes) {
    detect_and_keep_inputs("name plate\ninput image " + dims + "\noutput boxes 1,6\n");
    SCOPED_TRACE(dims);
    expect_seen("plate", size, everything_);
  }
}

TEST_F(FrameMode, ReadsBothRowLayouts) {
  const std::vector<std::pair<std::string, cv::Rect>> rows = {
      {"0 0.9 0.125 0.25 0.5 0.75", {125, 125, 376, 251}},
      {"7 0.9 100 50 300 120", {100, 50, 201, 71}},
      {"100 50 300 120 0.8 0", {100, 50, 201, 71}},
      {"300 120 100 50 0.8 0", {100, 50, 201, 71}},
      {"100.9 50.9 300.1 120.1 0.8 0", {100, 50, 202, 72}},
      {"0 0.9 300 120 100.5 50.5", {100, 50, 201, 71}},
      {"-1 -1 300 120 0.8 0", {0, 0, 301, 121}},
      {"900 450 5000 5000 0.8 0", {900, 450, 100, 50}},
      {"0.5 -0.5 1.5 0.5 0.8 0", {500, 0, 500, 251}},
      {"300 0.5 -3 50 0.8 0", {0, 0, 301, 51}}};
  for (const auto& [row, box] : rows) {
    SCOPED_TRACE(row);
    detect("answer * 0 floats " + row + "\n");
    expect_crop(box, {box});
  }
}

TEST_F(FrameMode, DropsBoxesUnderTenPixels) {
  detect("answer * 0 floats 100 50 109 59 0.5 0\n");
  expect_crop({100, 50, 10, 10}, {{100, 50, 10, 10}});
  for (const std::string row : {"100 50 108 90 0.5 0", "100 50 190 58 0.5 0"}) {
    detect("answer * 0 floats " + row + "\n");
    EXPECT_THAT(lines_with(outcome_.err, "[WARN]"), ElementsAre(kFallbackLine)) << row;
  }
}

TEST_F(FrameMode, TakesTheSurestBoxAndShowsAllOfThem) {
  detect(
      "answer * 0 floats 100 50 300 120 0.5 0  0 0.9 400 200 600 300  700 90 900 150 0.7 0  "
      "10 10 90 90 0.2 0\n");
  const cv::Rect surest(400, 200, 201, 101);
  expect_crop(surest, {surest, {700, 90, 201, 61}, {100, 50, 201, 71}});
}

TEST_F(FrameMode, JoinsTheBoxesOfAllOutputs) {
  detect_with(
      "name plate\ninput image 1,3,64,64\noutput a 1,6\noutput b 7\noutput c 2,6\n"
      "answer * 0 floats 100 50 300 120 0.5 0\n"
      "answer * 1 floats 0 0.99 0 0 900 400 0\n"
      "answer * 2 floats 20 20 80 80 0.4 0 0 0.6 400 200 600 300\n");
  const cv::Rect surest(400, 200, 201, 101);
  expect_crop(surest, {surest, {100, 50, 201, 71}, {20, 20, 61, 61}});
}

TEST_F(FrameMode, TakesTheWholeImageWhenNothingIsDetected) {
  const std::string net = "name plate\ninput image 1,3,64,64\n";
  for (const std::string& script :
       {plate_detector_script("answer * 0 fill 24 0\n"),
        plate_detector_script("answer * 0 floats 100 50 300 120 0.2 0\n"),
        net + "output a 7\nanswer * 0 floats 0 0.99 0 0 900 400 0\n", net + "output a 0\n", net}) {
    SCOPED_TRACE(script);
    detect_with(script);
    expect_crop(everything_, {everything_});
    EXPECT_THAT(outcome_.err, EndsWith("========== CASE 1/1: street.png group=street ==========\n" +
                                       std::string(kFallbackLine) + "\n"));
  }
}

TEST_F(FrameMode, DetectsInEveryImageAnew) {
  write(kCaseList, "street.png\ntwo.png\n");
  const cv::Mat two = gradient_image(300, 200);
  write_image("two.png", two);
  detect("answer 1 0 floats 100 50 300 120 0.8 0\nanswer 2 0 floats 20 20 80 80 0.5 0\n");
  expect_crop({100, 50, 201, 71}, {{100, 50, 201, 71}});
  EXPECT_TRUE(shows(kCases + "/two/plate_roi.jpg", two(cv::Rect(20, 20, 61, 61)).clone()));
}

TEST_F(FrameMode, TellsTheModeInTheReport) {
  detect("");
  EXPECT_THAT(outcome_.out, HasSubstr("\ninput_mode=frame use_plate_det=true\n"));
  EXPECT_THAT(read(kOutput + "/FINAL_RESULT.json"),
              HasSubstr("{\n  \"input_mode\": \"frame\",\n  \"use_plate_det\": true,\n"));
}

TEST_F(FrameMode, IsWhatAutoModeDoesWithADetector) {
  detect("answer * 0 floats 100 50 300 120 0.8 0\n");
  const std::string framed = read(directory_ + "/plate_roi.jpg");
  remove(kOutput);
  const Outcome outcome = run({"--input-mode", "auto"});
  EXPECT_EQ(read(directory_ + "/plate_roi.jpg"), framed);
  EXPECT_THAT(outcome.out, HasSubstr("\ninput_mode=auto use_plate_det=true\n"));
}

TEST_F(FrameMode, IsNotWhatAutoModeDoesWithoutADetector) {
  const Outcome outcome = run({"--input-mode", "auto"});
  EXPECT_TRUE(shows(directory_ + "/plate_roi.jpg", image_));
  EXPECT_FALSE(exists(directory_ + "/plate_det_debug.jpg"));
  EXPECT_THAT(lines_with(outcome.err, "[WARN]"), IsEmpty());
  EXPECT_THAT(outcome.out, HasSubstr("\ninput_mode=auto use_plate_det=false\n"));
}

}  // namespace
}  // namespace kavrel_test

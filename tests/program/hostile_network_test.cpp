#include "tests/program/program_fixture.h"
#include "tests/support/pictures.h"

namespace kavrel_test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const cv::Vec3b kRed(0, 0, 255);
const std::vector<std::string> kStrangeValues = {"nan", "inf", "-inf", "1e30", "-1e30"};

// Frame mode over one image of 200 x 120 pixels. The detector finds nothing, the plate is read as
// kShinagawa, and what a test writes over these networks is the only strange thing.
class HostileNetwork : public ProgramTest {
 protected:
  HostileNetwork() {
    write(kPlateModel, plate_detector_script(""));
    write(kCaseList, "a.png\n");
    write_image("a.png", image_);
  }

  Outcome finished_run() {
    remove(kOutput);
    const Outcome outcome = run({"--input-mode", "frame"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome;
  }
  std::string result(const std::string& key) const {
    return lines_with(read(kCases + "/a/result.txt"), key + ": ").at(0).substr(key.size() + 2);
  }
  // Every value of the output is this one.
  static std::string all(const std::string& value, std::size_t count) {
    return "answer * 0 fill " + std::to_string(count) + " " + value + "\n";
  }

  const cv::Mat image_ = gradient_image(200, 120);
};

TEST_F(HostileNetwork, FindsNoPlateInValuesThatAreNoBox) {
  for (const std::string& value : kStrangeValues) {
    SCOPED_TRACE(value);
    write(kPlateModel, plate_detector_script(all(value, 24)));
    EXPECT_THAT(finished_run().err, HasSubstr("\n[WARN] plate_det produced no valid final boxes."));
    EXPECT_TRUE(shows(kCases + "/a/plate_roi.jpg", image_));
    EXPECT_EQ(result("final_plate_number"), kShinagawaNumber);
  }
}

TEST_F(HostileNetwork, KeepsCornersInTheImage) {
  for (const std::string& value : kStrangeValues) {
    SCOPED_TRACE(value);
    write(kCornerModel, corner_script(all(value, 8)));
    finished_run();
    // The disc of a corner is beside the first or the last pixel, and beside none else.
    const bool are_first = value[0] == '-';
    const cv::Mat drawn = picture(kCases + "/a/corner_debug.jpg");
    EXPECT_TRUE(has_colour(drawn, {2, 2}, are_first ? kRed : image_.at<cv::Vec3b>(2, 2), 60));
    EXPECT_TRUE(
        has_colour(drawn, {197, 117}, are_first ? image_.at<cv::Vec3b>(117, 197) : kRed, 60));
    for (const cv::Point& elsewhere : {cv::Point(197, 2), cv::Point(2, 117), cv::Point(100, 60)}) {
      EXPECT_TRUE(has_colour(drawn, elsewhere, image_.at<cv::Vec3b>(elsewhere)));
    }
    EXPECT_EQ(result("final_plate_number"), kShinagawaNumber);
  }
}

TEST_F(HostileNetwork, FindsAllOrNoTextInAMapOfOneStrangeValue) {
  for (const std::string& value : kStrangeValues) {
    for (const std::size_t side : {std::size_t{1}, std::size_t{64}}) {
      SCOPED_TRACE(value + " " + std::to_string(side));
      write(kLinesModel, "name lines\ninput image 1,640,640,3\noutput map 1,1," +
                             std::to_string(side) + "," + std::to_string(side) + "\n" +
                             all(value, side * side));
      finished_run();
      const bool is_text = side > 1 && (value == "inf" || value == "1e30");
      EXPECT_EQ(exists(kCases + "/a/ocr_original_crop_0.jpg"), is_text);
      EXPECT_FALSE(exists(kCases + "/a/ocr_original_crop_1.jpg"));
      EXPECT_TRUE(exists(kCases + "/a/ocr_variant_original_det_mask.jpg"));
    }
  }
}

// Equal values are the blank's, and あ is the lowest of the kana that are equally near to it; of
// values without a difference none is near.
TEST_F(HostileNetwork, ReadsNothingFromOneStrangeValue) {
  const std::size_t count = (ocr_dictionary().size() + 1) * kSteps;
  for (const std::string& value : kStrangeValues) {
    SCOPED_TRACE(value);
    write(kReaderModel, reader_script(all(value, count)));
    const Outcome outcome = finished_run();
    const std::string kana = value.find("1e30") == std::string::npos ? "" : "あ";
    EXPECT_THAT(lines_with(outcome.err, "[KANA_FALLBACK] "),
                Each(EndsWith(" text= kana= kana_constrained=" + kana)));
    EXPECT_EQ(result("final_plate_number"), kana);
    EXPECT_EQ(result("ocr_texts"), "");
  }
}

TEST_F(HostileNetwork, RanksTenThousandBoxes) {
  constexpr int kRows = 10000;
  std::string rows = "answer * 0 floats";
  for (int i = 0; i < kRows; ++i) {
    // The surest row stands in the middle and is the only one elsewhere.
    const bool surest = i == kRows / 2;
    rows += surest ? " 50 40 149 79" : " 10 10 89 39";
    rows += surest ? " 0.99 0" : " 0." + std::to_string(3000 + i * 7919 % 5000) + " 0";
  }
  write(kPlateModel, "name plate\ninput image 1,3,320,416\noutput boxes 1,10000,6\n" + rows + "\n");
  EXPECT_THAT(lines_with(finished_run().err, "[WARN]"), IsEmpty());
  const cv::Rect surest(50, 40, 100, 40);
  EXPECT_TRUE(shows(kCases + "/a/plate_roi.jpg", image_(surest).clone()));
  expect_frames(picture(kCases + "/a/plate_det_debug.jpg"), image_, {surest, {10, 10, 80, 30}});
}

TEST_F(HostileNetwork, TakesASizeBeyondAnyIntegerForNone) {
  write(kPlateModel,
        "name plate\ninput image 1,3,4294967295,2147483648\noutput boxes 4294967295,6 elems=6\n");
  finished_run();
  EXPECT_THAT(calls(), Contains(inference_calls("plate", {640, 640})[0]));
}

TEST_F(HostileNetwork, TakesItsCountOfElementsFromTheDimsWhenItTellsNone) {
  write(kReaderModel, "name reader\ninput image 1,48,320,3\noutput steps 1,16,25 elems=0\n" +
                          reads_every_plate(kShinagawa));
  EXPECT_THAT(finished_run().err, HasSubstr(" dims=[1,16,25] elems=0 "));
  EXPECT_EQ(result("final_plate_number"), kShinagawaNumber);
}

TEST_F(HostileNetwork, ReadsNothingWithANegativeNumberOfClasses) {
  write(kReaderModel,
        "name reader\ninput image 1,48,320,3\noutput steps 1,16,4294967295 elems=400\n");
  const Outcome outcome = finished_run();
  EXPECT_THAT(outcome.err, HasSubstr("\n[WARN] invalid rec output shape T=16 C=-1 logits=400\n"));
  EXPECT_THAT(lines_with(outcome.err, "[INFO] rec_classes="), IsEmpty());
  EXPECT_EQ(result("final_plate_number"), "");
}

TEST_F(HostileNetwork, MayHaveFewerClassesThanTheDictionary) {
  // Eleven classes after the blank: the digits and the hyphen. The kana are beyond.
  write(kReaderModel, reader_script("answer * 0 steps 12 2 3 4\n", 12));
  const Outcome outcome = finished_run();
  EXPECT_THAT(lines_with(outcome.err, "[INFO] rec_classes="),
              ElementsAre("[INFO] rec_classes=12 ocr_chars_after_shape_check=24 "
                          "expected_chars=11"));
  EXPECT_THAT(lines_with(outcome.err, "[KANA_FALLBACK] "),
              Each(EndsWith(" text=123 kana= kana_constrained=")));
  EXPECT_EQ(result("final_plate_number"), "123  123");
}

TEST_F(HostileNetwork, IsRefusedWhenItsBufferIsTooSmall) {
  for (const std::string buffer : {"size 31", "null"}) {
    write(kCornerModel, corner_script() + "answer * 0 " + buffer + "\n");
    EXPECT_THAT(run(), FailsWith("rknn output 0 too small: " + kCornerModel));
  }
}

TEST_F(HostileNetwork, IsRefusedAsARecogniserWithoutOutputs) {
  write(kReaderModel, "name reader\ninput image 1,48,320,3\n");
  const Outcome outcome = run();
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(last_line(outcome.err), StartsWith("[ERROR] "));
}

TEST_F(HostileNetwork, IsRefusedAsADetectorWithoutInputs) {
  write(kPlateModel, "name plate\noutput boxes 1,4,6\n");
  const Outcome outcome = run({"--input-mode", "frame"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(last_line(outcome.err), StartsWith("[ERROR] "));
  EXPECT_FALSE(exists(kCases + "/a/plate_roi.jpg"));
}

}  // namespace
}  // namespace kavrel_test

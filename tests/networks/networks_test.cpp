// Needs models/host, which tools/public_networks.sh prepares.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "app/base/files.h"
#include "app/base/text.h"
#include "app/batch_driver.h"

namespace kavrel {
namespace {

const std::string kSource = KAVREL_SOURCE_DIR;

// A folder of its own for each test, as they run side by side.
std::string output_dir() {
  const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
  return std::string(KAVREL_TEST_OUTPUT_DIR) + "/" + test->name();
}

Args host_args(const std::string& list) {
  Args args;
  args.plate_corner_model = kSource + "/models/reference/plate_corner.onnx";
  args.ppocr_det_model = kSource + "/models/host/ppocr_det.onnx";
  args.ppocr_rec_model = kSource + "/models/host/ppocr_rec.onnx";
  args.ocr_dict = kSource + "/models/host/ppocr_rec_dict.txt";
  args.dict_region = kSource + "/dict/region_words.txt";
  args.input_list = list;
  args.output_dir = output_dir();
  args.fail_on_error = true;
  return args;
}

// The plates of one group each, as a case list with absolute image paths.
std::string write_list(const std::vector<std::string>& image_and_expected) {
  ensure_dir(output_dir());
  const std::string path = output_dir() + "/list.csv";
  std::ofstream list(path);
  for (const std::string& row : image_and_expected) {
    list << kSource << "/samples/rendered/" << row << '\n';
  }
  return path;
}

TEST(RealNetworks, ReadPlatesOfThreeKindsAndRegionsOfOneToThreeCharacters) {
  const std::string list =
      write_list({"car01_f01.jpg,品川 330 さ 12-34", "car03_f01.jpg,柏 300 な 27-91",
                  "car04_f01.jpg,春日部 480 か 43-65", "car05_f01.jpg,習志野 130 い 90-12"});

  const int status = run_batch(host_args(list));

  EXPECT_EQ(status, 0);
  for (const std::string& row : read_trimmed_lines(output_dir() + "/summary.csv")) {
    EXPECT_TRUE(contains(row, ",correct,") || contains(row, ",status,")) << row;
  }
}

TEST(RealNetworks, DoNotConfirmATextThatThePlateDoesNotShow) {
  const std::string list = write_list({"car03_f01.jpg,品川 330 さ 12-34"});

  EXPECT_EQ(run_batch(host_args(list)), 2);
}

}  // namespace
}  // namespace kavrel

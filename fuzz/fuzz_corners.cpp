// The corner network's output, through the model wrapper, up to the rectified plate.
#include <stdexcept>

#include "fuzz/fuzz_support.h"
#include "fuzz/fuzzed_runtime.h"
#include "plate/plate_corner.h"

using kavrel_fuzz::require;

namespace {

void check_corners(const std::vector<cv::Point2f>& corners, const cv::Mat& image) {
  require(corners.size() == 4, "a plate has four corners");
  for (const cv::Point2f& corner : corners) {
    require(corner.x >= 0 && corner.x <= static_cast<float>(image.cols - 1) && corner.y >= 0 &&
                corner.y <= static_cast<float>(image.rows - 1),
            "corners lie inside of the image");
  }
  const cv::Mat plate = kavrel::warp_plate(image, corners, 320, 96);
  require(plate.size() == cv::Size(320, 96) && plate.type() == CV_8UC3,
          "every quadrilateral is rectified");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  const cv::Size image_size(data.ConsumeIntegralInRange(1, 100),
                            data.ConsumeIntegralInRange(1, 100));
  const cv::Mat image(image_size, CV_8UC3, cv::Scalar(10, 20, 30));
  kavrel_fuzz::runtime_outputs = kavrel_fuzz::take_outputs(data);
  try {
    kavrel::RknnModel model;
    model.load("/dev/null");
    check_corners(kavrel::run_plate_corner(model, image), image);
  } catch (const std::runtime_error& failure) {
    require(*failure.what() != '\0', "a failure has a message");
  }
  return 0;
}

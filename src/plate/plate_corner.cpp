#include "plate/plate_corner.h"

#include <opencv2/imgproc.hpp>
#include <stdexcept>

#include "plate/image_prep.h"

namespace kavrel {
namespace {

constexpr int kNetworkWidth = 256;
constexpr int kNetworkHeight = 128;
constexpr std::size_t kCornerCount = 4;

cv::Point2f corner_in(const cv::Mat& image, float x, float y) {
  const auto cols = static_cast<float>(image.cols);
  const auto rows = static_cast<float>(image.rows);
  if (are_fractions(x, y)) {
    x *= cols;
    y *= rows;
  }
  return {clamp_float(x, 0.0F, cols - 1.0F), clamp_float(y, 0.0F, rows - 1.0F)};
}

}  // namespace

std::vector<cv::Point2f> run_plate_corner(RknnModel& model, const cv::Mat& image) {
  const auto outputs =
      model.infer_uint8_nhwc(bgr_to_rgb_resized(image, kNetworkWidth, kNetworkHeight));
  if (outputs.empty() || outputs[0].size() < 2 * kCornerCount) {
    throw std::runtime_error("plate_corner output invalid");
  }
  std::vector<cv::Point2f> corners;
  for (std::size_t i = 0; i < kCornerCount; ++i) {
    corners.push_back(corner_in(image, outputs[0][2 * i], outputs[0][2 * i + 1]));
  }
  return corners;
}

cv::Mat warp_plate(const cv::Mat& image, const std::vector<cv::Point2f>& corners, int out_w,
                   int out_h) {
  const auto right = static_cast<float>(out_w - 1);
  const auto bottom = static_cast<float>(out_h - 1);
  const std::vector<cv::Point2f> upright = {{0, 0}, {right, 0}, {right, bottom}, {0, bottom}};
  cv::Mat plate;
  cv::warpPerspective(image, plate, cv::getPerspectiveTransform(corners, upright),
                      cv::Size(out_w, out_h), cv::INTER_LINEAR, cv::BORDER_REPLICATE);
  return plate;
}

}  // namespace kavrel

#include "plate/plate_corner.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

#include "app/base/output_format.h"
#include "plate/image_prep.h"

namespace kavrel {
namespace {

constexpr int kNetworkWidth = 256;
constexpr int kNetworkHeight = 128;
constexpr int kPlateWidth = 320;
constexpr int kPlateHeight = 96;
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

void write_corner_picture(const cv::Mat& crop, const std::vector<cv::Point2f>& corners,
                          const std::string& path) {
  cv::Mat picture = crop.clone();
  for (std::size_t k = 0; k < corners.size(); ++k) {
    const cv::Point2f& next = corners[(k + 1) % corners.size()];
    cv::circle(picture, corners[k], 4, cv::Scalar(0, 0, 255), cv::FILLED, cv::LINE_8);
    cv::line(picture, corners[k], next, cv::Scalar(0, 255, 0), 2, cv::LINE_8);
  }
  cv::imwrite(path, picture);
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

cv::Mat rectify_plate(RknnModel& model, const cv::Mat& crop, const std::string& out_dir) {
  const std::vector<cv::Point2f> corners = run_plate_corner(model, crop);
  write_corner_picture(crop, corners, out_dir + "/" + output::picture::kCorners);
  cv::Mat plate = warp_plate(crop, corners, kPlateWidth, kPlateHeight);
  cv::imwrite(out_dir + "/" + output::picture::kRectifiedPlate, plate);
  return plate;
}

}  // namespace kavrel

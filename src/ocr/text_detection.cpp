#include "ocr/text_detection.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

#include "app/base/bounded_sort.h"
#include "app/base/log.h"
#include "app/base/output_format.h"
#include "plate/boxes_picture.h"
#include "plate/image_prep.h"

namespace kavrel {
namespace {

constexpr int kNetworkSide = 640;
constexpr double kMinContourArea = 20.0;  // map pixels
constexpr int kPadX = 5;                  // image pixels on each side
constexpr int kPadY = 4;
constexpr int kMinBoxSide = 8;
constexpr int kRowTolerance = 12;
constexpr std::size_t kMaxBoxes = 16;

// A leading NaN hides the range of the values, a later one is passed over. The loop has neither a
// branch nor an early end, so that the compiler makes vector code of it.
bool are_logits(const std::vector<float>& values) {
  if (std::isnan(values.front())) return false;
  int outside = 0;
  for (const float value : values) outside += (value < -0.01F) | (value > 1.01F);
  return outside > 0;
}

// The bounds of a contour of the map as a padded box of the image. A box raised to the left or top
// edge keeps its padded size; one that passes the right or bottom edge is cut there.
cv::Rect image_box(const cv::Rect& bounds, int side, const cv::Size& image_size) {
  const float sx = static_cast<float>(image_size.width) / static_cast<float>(side);
  const float sy = static_cast<float>(image_size.height) / static_cast<float>(side);
  const auto scaled = [](int length, float scale) { return static_cast<float>(length) * scale; };
  cv::Rect box;
  box.x = std::max(0, static_cast<int>(std::floor(scaled(bounds.x, sx))) - kPadX);
  box.y = std::max(0, static_cast<int>(std::floor(scaled(bounds.y, sy))) - kPadY);
  box.width = static_cast<int>(std::ceil(scaled(bounds.width, sx))) + 2 * kPadX;
  box.height = static_cast<int>(std::ceil(scaled(bounds.height, sy))) + 2 * kPadY;
  box.width = std::min(box.width, image_size.width - box.x);
  box.height = std::min(box.height, image_size.height - box.y);
  return box;
}

void sort_in_reading_order(std::vector<TextBox>& boxes) { bounded_sort(boxes, in_reading_order); }

void keep_largest(std::vector<TextBox>& boxes, std::size_t count) {
  bounded_sort(boxes, [](const TextBox& a, const TextBox& b) {
    return a.box.width * a.box.height > b.box.width * b.box.height;
  });
  boxes.resize(count);
}

void write_mask_picture(const cv::Mat& mask, const cv::Size& image_size, const std::string& path) {
  cv::Mat picture;
  cv::resize(mask, picture, image_size, 0.0, 0.0, cv::INTER_LINEAR);
  cv::imwrite(path, picture);
}

}  // namespace

cv::Mat text_probability_map(const std::vector<float>& values) {
  const auto side = static_cast<std::size_t>(std::sqrt(static_cast<double>(values.size())));
  if (values.empty() || side * side != values.size()) return {};
  cv::Mat map = cv::Mat(values).reshape(1, static_cast<int>(side));
  if (!are_logits(values)) return map;
  cv::Mat probabilities(map.size(), CV_32F);
  std::transform(values.begin(), values.end(), probabilities.ptr<float>(), sigmoid);
  return probabilities;
}

cv::Mat text_mask(const cv::Mat& probabilities, float threshold) {
  cv::Mat mask;
  cv::compare(probabilities, threshold, mask, cv::CMP_GT);
  // Wider than high: it joins the characters of a line, not the lines.
  const cv::Mat element = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(5, 3));
  cv::morphologyEx(mask, mask, cv::MORPH_CLOSE, element);
  return mask;
}

std::vector<TextBox> text_boxes(const cv::Mat& mask, const cv::Size& image_size) {
  std::vector<std::vector<cv::Point>> contours;
  cv::findContours(mask, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
  std::vector<TextBox> boxes;
  for (const auto& contour : contours) {
    if (cv::contourArea(contour) < kMinContourArea) continue;
    const cv::Rect box = image_box(cv::boundingRect(contour), mask.cols, image_size);
    if (box.width < kMinBoxSide || box.height < kMinBoxSide) continue;
    boxes.push_back({box, 1.0F});
  }
  sort_in_reading_order(boxes);
  if (boxes.size() > kMaxBoxes) {
    keep_largest(boxes, kMaxBoxes);
    sort_in_reading_order(boxes);
  }
  return boxes;
}

bool in_reading_order(const TextBox& a, const TextBox& b) {
  const int center_a = a.box.y + a.box.height / 2;
  const int center_b = b.box.y + b.box.height / 2;
  if (std::abs(center_a - center_b) <= kRowTolerance) return a.box.x < b.box.x;
  return center_a < center_b;
}

std::vector<TextBox> run_ppocr_det_boxes(RknnModel& model, const cv::Mat& image,
                                         const std::string& debug_prefix, float threshold) {
  const auto outputs =
      model.infer_uint8_nhwc(bgr_to_rgb_resized(image, kNetworkSide, kNetworkSide));
  if (outputs.empty() || outputs[0].empty()) throw std::runtime_error("ppocr det output invalid");
  const cv::Mat probabilities = text_probability_map(outputs[0]);
  if (probabilities.empty()) {
    log_line("[WARN] unexpected ppocr det output elems=" + std::to_string(outputs[0].size()) +
             ", skip DB boxes.");
    return {};
  }
  const cv::Mat mask = text_mask(probabilities, threshold);
  write_mask_picture(mask, image.size(), debug_prefix + output::picture::kTextMaskEnd);
  std::vector<TextBox> boxes = text_boxes(mask, image.size());
  write_boxes_picture(image, boxes, debug_prefix + output::picture::kTextBoxesEnd);
  return boxes;
}

}  // namespace kavrel

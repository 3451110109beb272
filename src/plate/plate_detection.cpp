#include "plate/plate_detection.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgcodecs.hpp>

#include "app/base/bounded_sort.h"
#include "app/base/log.h"
#include "app/base/output_format.h"
#include "plate/boxes_picture.h"
#include "plate/image_prep.h"

namespace kavrel {
namespace {

constexpr std::size_t kRowLength = 6;
constexpr int kDefaultNetworkSide = 640;  // where the model does not tell its input size
constexpr int kSmallestSide = 10;

struct Candidate {
  float score;
  float x1, y1, x2, y2;
};

// Class first only if value 1 can be a score and values 2 and 3 can be a corner; else box first.
Candidate candidate_of(const float* row) {
  const bool class_first = row[1] >= 0.0F && row[1] <= 1.0F && row[2] >= 0.0F && row[3] >= 0.0F;
  if (class_first) return {row[1], row[2], row[3], row[4], row[5]};
  return {row[4], row[0], row[1], row[2], row[3]};
}

void scale_fractions_to_pixels(Candidate& candidate, int img_w, int img_h) {
  if (!are_fractions(candidate.x2, candidate.y2)) return;
  candidate.x1 *= static_cast<float>(img_w);
  candidate.x2 *= static_cast<float>(img_w);
  candidate.y1 *= static_cast<float>(img_h);
  candidate.y2 *= static_cast<float>(img_h);
}

// Clamped before the conversion: a network may emit NaN, infinities or values beyond int.
int pixel_in(float coordinate, int size) {
  return static_cast<int>(clamp_float(coordinate, 0.0F, static_cast<float>(size - 1)));
}

// Corners may come swapped; the right and bottom pixels belong to the box.
cv::Rect box_of(const Candidate& candidate, int img_w, int img_h) {
  const int left = pixel_in(std::floor(std::min(candidate.x1, candidate.x2)), img_w);
  const int top = pixel_in(std::floor(std::min(candidate.y1, candidate.y2)), img_h);
  const int right = pixel_in(std::ceil(std::max(candidate.x1, candidate.x2)), img_w);
  const int bottom = pixel_in(std::ceil(std::max(candidate.y1, candidate.y2)), img_h);
  return {left, top, right - left + 1, bottom - top + 1};
}

void sort_by_score(std::vector<PlateDetection>& detections) {
  bounded_sort(detections,
               [](const PlateDetection& a, const PlateDetection& b) { return a.score > b.score; });
}

std::vector<PlateDetection> detect(RknnModel& model, const cv::Mat& image, float conf_threshold) {
  const int width = model.input_w() > 0 ? model.input_w() : kDefaultNetworkSide;
  const int height = model.input_h() > 0 ? model.input_h() : kDefaultNetworkSide;
  std::vector<PlateDetection> detections;
  for (const auto& output : model.infer_uint8_nhwc(bgr_to_rgb_resized(image, width, height))) {
    const auto found = parse_detection_output_as_n6(output, image.cols, image.rows, conf_threshold);
    detections.insert(detections.end(), found.begin(), found.end());
  }
  sort_by_score(detections);
  return detections;
}

}  // namespace

std::vector<PlateDetection> parse_detection_output_as_n6(const std::vector<float>& values,
                                                         int img_w, int img_h,
                                                         float conf_threshold) {
  std::vector<PlateDetection> detections;
  if (values.size() % kRowLength != 0) return detections;
  for (std::size_t start = 0; start < values.size(); start += kRowLength) {
    Candidate candidate = candidate_of(&values[start]);
    if (candidate.score < conf_threshold) continue;
    scale_fractions_to_pixels(candidate, img_w, img_h);
    const cv::Rect box = box_of(candidate, img_w, img_h);
    if (box.width < kSmallestSide || box.height < kSmallestSide) continue;
    detections.push_back({box, candidate.score});
  }
  sort_by_score(detections);
  return detections;
}

std::vector<PlateDetection> run_plate_det(RknnModel* model, const cv::Mat& image,
                                          float conf_threshold, const std::string& out_dir) {
  const cv::Rect whole_image(0, 0, image.cols, image.rows);
  if (model == nullptr) return {{whole_image, 1.0F}};
  std::vector<PlateDetection> detections = detect(*model, image, conf_threshold);
  if (detections.empty()) {
    log_line("[WARN] plate_det produced no valid final boxes. Fallback to full image ROI.");
    detections.push_back({whole_image, 0.0F});
  }
  write_boxes_picture(image, detections, out_dir + "/" + output::picture::kPlateDetections);
  return detections;
}

cv::Mat crop_plate(RknnModel* model, const cv::Mat& image, float conf_threshold,
                   const std::string& out_dir) {
  const cv::Rect best = run_plate_det(model, image, conf_threshold, out_dir).front().box;
  cv::Mat crop = image(best & cv::Rect(cv::Point(0, 0), image.size())).clone();
  cv::imwrite(out_dir + "/" + output::picture::kPlateCrop, crop);
  return crop;
}

}  // namespace kavrel

#include "report/place.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numeric>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "app/base/output_format.h"
#include "report/picture.h"

namespace kavrel::report {
namespace {

// A dot is drawn with a radius of four pixels; the file's colours are blurred by one.
constexpr int kLeastDotSide = 3;
constexpr int kMostDotSide = 11;
constexpr int kLeastDotPixels = 6;
constexpr float kDotRadius = 3.5F;
constexpr int kRedder = 90;          // than green and blue
constexpr int kUnlikeTheCrop = 100;  // sum over the three colours

// Of 190 frames that were read right, half of them photographs, none lay beyond.
constexpr float kNarrowest = 0.9F;  // width per height: a plate seen from far aside
constexpr float kWidest = 3.2F;
constexpr float kMostUnlikeSides = 1.5F;
constexpr float kMostAside = 0.08F;  // from the crop's middle, in widths of the plate
constexpr float kMostAbove = 0.12F;  // or below, in heights

bool is_dot(const int* stats) {
  const int width = stats[cv::CC_STAT_WIDTH];
  const int height = stats[cv::CC_STAT_HEIGHT];
  return std::min(width, height) >= kLeastDotSide && std::max(width, height) <= kMostDotSide &&
         stats[cv::CC_STAT_AREA] >= kLeastDotPixels;
}

// What is red in the picture and was not in the crop, as a tail lamp is.
cv::Mat drawn_red(const cv::Mat& picture, const cv::Mat& crop) {
  cv::Mat mask(picture.size(), CV_8U);
  for (int y = 0; y < picture.rows; ++y) {
    for (int x = 0; x < picture.cols; ++x) {
      const auto& now = picture.at<cv::Vec3b>(y, x);
      const auto& was = crop.at<cv::Vec3b>(y, x);
      int change = 0;
      for (int c = 0; c < 3; ++c) change += std::abs(now[c] - was[c]);
      const bool red = now[2] - std::max(now[0], now[1]) > kRedder;
      mask.at<unsigned char>(y, x) = red && change > kUnlikeTheCrop ? 1 : 0;
    }
  }
  return mask;
}

std::vector<cv::Rect> dots_of(const cv::Mat& mask) {
  cv::Mat labels;
  cv::Mat stats;
  cv::Mat centroids;
  const int count = cv::connectedComponentsWithStats(mask, labels, stats, centroids);
  std::vector<cv::Rect> dots;
  for (int i = 1; i < count; ++i) {
    const int* dot = stats.ptr<int>(i);
    if (!is_dot(dot)) continue;
    dots.emplace_back(dot[cv::CC_STAT_LEFT], dot[cv::CC_STAT_TOP], dot[cv::CC_STAT_WIDTH],
                      dot[cv::CC_STAT_HEIGHT]);
  }
  return dots;
}

cv::Point2f middle_of(const cv::Rect& box) {
  return {static_cast<float>(box.x) + static_cast<float>(box.width - 1) / 2,
          static_cast<float>(box.y) + static_cast<float>(box.height - 1) / 2};
}

// Clockwise from the upper left one.
void put_in_order(std::vector<cv::Rect>& dots) {
  cv::Point2f middle;
  for (const cv::Rect& dot : dots)
    middle += middle_of(dot) * (1.0F / static_cast<float>(dots.size()));
  const auto angle = [&](const cv::Rect& dot) {
    const cv::Point2f from = middle_of(dot) - middle;
    return std::atan2(from.y, from.x);
  };
  std::sort(dots.begin(), dots.end(),
            [&](const cv::Rect& a, const cv::Rect& b) { return angle(a) < angle(b); });
  const auto first = std::min_element(
      dots.begin(), dots.end(), [](const auto& a, const auto& b) { return a.x + a.y < b.x + b.y; });
  std::rotate(dots.begin(), first, dots.end());
}

// The lines of the frame cut into the dots: from the first to the right and below, from the
// others to the next. A dot's middle is told by the sides that they leave.
Corners middles_of(const std::vector<cv::Rect>& dots) {
  Corners corners;
  for (std::size_t i = 0; i < corners.size(); ++i) corners[i] = middle_of(dots[i]);
  const auto right = [](const cv::Rect& box) { return static_cast<float>(box.x + box.width - 1); };
  const auto bottom = [](const cv::Rect& box) {
    return static_cast<float>(box.y + box.height - 1);
  };
  corners[0] = {static_cast<float>(dots[0].x) + kDotRadius,
                static_cast<float>(dots[0].y) + kDotRadius};
  corners[1].y = static_cast<float>(dots[1].y) + kDotRadius;
  corners[2].x = right(dots[2]) - kDotRadius;
  corners[3].y = bottom(dots[3]) - kDotRadius;
  return corners;
}

float distance(const cv::Point2f& a, const cv::Point2f& b) {
  return static_cast<float>(cv::norm(a - b));
}

bool is_convex(const Corners& corners) {
  for (std::size_t i = 0; i < 4; ++i) {
    const cv::Point2f side = corners[(i + 1) % 4] - corners[i];
    const cv::Point2f next = corners[(i + 2) % 4] - corners[(i + 1) % 4];
    if (side.cross(next) <= 0) return false;
  }
  return true;
}

bool are_alike(float a, float b) { return std::max(a, b) <= kMostUnlikeSides * std::min(a, b); }

bool has_text_lines(const std::string& case_dir) {
  namespace source = output::source;
  const auto variants = {source::kOriginal, source::kGray, source::kClahe, source::kSharpen,
                         source::kUp2x};
  return std::any_of(variants.begin(), variants.end(), [&](const char* variant) {
    return std::filesystem::exists(case_dir + "/" + output::picture::text_line(variant, 0));
  });
}

}  // namespace

SeenPlace see_place(const RecordedRun& run, std::size_t frame) {
  SeenPlace place;
  if (run.overwritten.count(frame) > 0) return place;
  const std::string dir = output::case_dir(run.dir, run.frames[frame].image_path);
  const std::string crop = dir + "/" + output::picture::kPlateCrop;
  place.crop = picture_size(crop);
  if (run.used_plate_det) {
    place.picture = picture_size(dir + "/" + output::picture::kPlateDetections);
  }
  if (!place.crop || place.picture == place.crop) return place;
  place.has_text_lines = has_text_lines(dir);
  place.corners =
      find_corners(read_picture(dir + "/" + output::picture::kCorners), read_picture(crop));
  return place;
}

std::optional<Corners> find_corners(const cv::Mat& picture, const cv::Mat& crop) {
  if (picture.empty() || picture.size() != crop.size()) return std::nullopt;
  std::vector<cv::Rect> dots = dots_of(drawn_red(picture, crop));
  if (dots.size() != 4) return std::nullopt;
  put_in_order(dots);
  return middles_of(dots);
}

bool is_plausible(const Corners& corners, const cv::Size& crop) {
  if (!is_convex(corners)) return false;
  const float top = distance(corners[0], corners[1]);
  const float right = distance(corners[1], corners[2]);
  const float bottom = distance(corners[2], corners[3]);
  const float left = distance(corners[3], corners[0]);
  if (!are_alike(top, bottom) || !are_alike(left, right)) return false;
  const float width = (top + bottom) / 2;
  const float height = (left + right) / 2;
  if (width < kNarrowest * height || width > kWidest * height) return false;
  const cv::Point2f middle = (corners[0] + corners[1] + corners[2] + corners[3]) / 4.0F;
  return std::abs(middle.x - static_cast<float>(crop.width - 1) / 2) <= kMostAside * width &&
         std::abs(middle.y - static_cast<float>(crop.height - 1) / 2) <= kMostAbove * height;
}

PlaceFinding judge_place(const SeenPlace& place, bool nothing_read) {
  PlaceFinding finding;
  if (!place.crop) return finding;
  finding.whole_picture = place.picture == place.crop;
  if (finding.whole_picture) return finding;
  if (place.corners && !is_plausible(*place.corners, *place.crop)) {
    finding.corners = Finding::kSuspect;
  } else if (place.picture && nothing_read && !place.has_text_lines) {
    finding.box = Finding::kSuspect;
  }
  return finding;
}

}  // namespace kavrel::report

#include "report/run/drawn.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace kavrel::report {
namespace {

// A dot is drawn with a radius of four pixels; the file's colours are blurred by one.
constexpr int kLeastDotSide = 3;
constexpr int kMostDotSide = 11;
constexpr int kLeastDotPixels = 6;
constexpr float kDotRadius = 3.5F;
constexpr int kRedder = 90;          // than green and blue
constexpr int kUnlikeTheCrop = 100;  // sum over the three colours

constexpr int kGreener = 60;         // than red and blue
constexpr float kLeastFrame = 0.8F;  // of a side must be green

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
  for (const cv::Rect& dot : dots) {
    middle += middle_of(dot) * (1.0F / static_cast<float>(dots.size()));
  }
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

// The one of four that cannot be seen, as where the crop's rim leaves no more than its lines: it
// completes the other three to a parallelogram, inside of the crop.
cv::Rect fourth_dot(const std::vector<cv::Rect>& dots, const cv::Size& crop) {
  std::size_t middle = 0;  // the neighbour of both others, which are farthest apart
  double farthest = 0;
  for (std::size_t i = 0; i < dots.size(); ++i) {
    const cv::Point2f apart = middle_of(dots[(i + 1) % 3]) - middle_of(dots[(i + 2) % 3]);
    if (cv::norm(apart) <= farthest) continue;
    farthest = cv::norm(apart);
    middle = i;
  }
  const cv::Point2f place = middle_of(dots[(middle + 1) % 3]) + middle_of(dots[(middle + 2) % 3]) -
                            middle_of(dots[middle]);
  const cv::Point inside(std::clamp(cvRound(place.x), 0, crop.width - 1),
                         std::clamp(cvRound(place.y), 0, crop.height - 1));
  return {inside, cv::Size(1, 1)};
}

// Those that two dots leave out: across from them, at the crop's rim, which hides them.
std::vector<cv::Rect> dots_across(const std::vector<cv::Rect>& dots, const cv::Size& crop) {
  const cv::Point2f apart = middle_of(dots[1]) - middle_of(dots[0]);
  const auto across = [](int at, int length) { return 2 * at < length ? length - 1 : 0; };
  std::vector<cv::Rect> hidden;
  for (const cv::Rect& dot : dots) {
    cv::Point place = middle_of(dot);
    if (std::abs(apart.y) > std::abs(apart.x)) {
      place.x = across(place.x, crop.width);
    } else {
      place.y = across(place.y, crop.height);
    }
    hidden.emplace_back(place, cv::Size(1, 1));
  }
  return hidden;
}

// The middle between two sides of a dot, of which one may be cut: by a line of the frame, or by
// the crop's rim at 0 and `last`.
float middle_between(int low, int high, int cut_side, int last) {
  if (low == high) return static_cast<float>(low);
  const bool low_is_cut = cut_side < 0 || low == 0;
  const bool high_is_cut = cut_side > 0 || high == last;
  if (high_is_cut && low != 0) return static_cast<float>(low) + kDotRadius;
  if (low_is_cut && high != last) return static_cast<float>(high) - kDotRadius;
  return static_cast<float>(low + high) / 2;
}

// The lines of the frame cut into the dots: from the first to the right and below, from the
// others to the next.
Corners middles_of(const std::vector<cv::Rect>& dots, const cv::Size& crop) {
  const std::array<cv::Point, 4> kCutSides = {{{1, 1}, {0, 1}, {-1, 0}, {0, -1}}};
  Corners corners;
  for (std::size_t i = 0; i < corners.size(); ++i) {
    const cv::Point low = dots[i].tl();
    const cv::Point high = dots[i].br() - cv::Point(1, 1);
    corners[i] = {middle_between(low.x, high.x, kCutSides[i].x, crop.width - 1),
                  middle_between(low.y, high.y, kCutSides[i].y, crop.height - 1)};
  }
  return corners;
}

cv::Mat drawn_green(const cv::Mat& picture) {
  cv::Mat mask(picture.size(), CV_8U);
  for (int y = 0; y < picture.rows; ++y) {
    for (int x = 0; x < picture.cols; ++x) {
      const auto& colour = picture.at<cv::Vec3b>(y, x);
      mask.at<unsigned char>(y, x) = colour[1] - std::max(colour[0], colour[2]) > kGreener ? 1 : 0;
    }
  }
  return mask;
}

bool is_green(const cv::Mat& line) {
  return static_cast<float>(cv::countNonZero(line)) >=
         kLeastFrame * static_cast<float>(line.total());
}

// Whether the four sides of the frame are.
bool is_green(const cv::Mat& mask, const cv::Rect& frame) {
  const cv::Mat inside = mask(frame);
  return is_green(inside.row(0)) && is_green(inside.row(frame.height - 1)) &&
         is_green(inside.col(0)) && is_green(inside.col(frame.width - 1));
}

// Where in a row of the mask a green line of `length` pixels may begin.
std::vector<int> starts_of_lines(const cv::Mat& row, int length) {
  std::vector<int> starts;
  const auto* pixel = row.ptr<unsigned char>();
  int count = std::accumulate(pixel, pixel + std::min(length, row.cols), 0);
  for (int x = 0; x + length <= row.cols; ++x) {
    if (static_cast<float>(count) >= kLeastFrame * static_cast<float>(length)) starts.push_back(x);
    if (x + length < row.cols) count += pixel[x + length] - pixel[x];
  }
  return starts;
}

}  // namespace

std::optional<Corners> find_corners(const cv::Mat& picture, const cv::Mat& crop,
                                    bool plate_may_fill_it) {
  if (picture.empty() || picture.size() != crop.size()) return std::nullopt;
  std::vector<cv::Rect> dots = dots_of(drawn_red(picture, crop));
  if (dots.size() == 2 && plate_may_fill_it) {
    for (const cv::Rect& dot : dots_across(dots, crop.size())) dots.push_back(dot);
  }
  if (dots.size() == 3) dots.push_back(fourth_dot(dots, crop.size()));
  if (dots.size() != 4) return std::nullopt;
  put_in_order(dots);
  return middles_of(dots, crop.size());
}

std::optional<cv::Point> find_frame(const cv::Mat& picture, const cv::Size& crop) {
  const cv::Mat green = drawn_green(picture);
  std::vector<cv::Point> places;
  for (int y = 0; y + crop.height <= green.rows; ++y) {
    for (const int x : starts_of_lines(green.row(y), crop.width)) {
      const cv::Rect frame({x, y}, crop);
      if (is_green(green, frame)) places.emplace_back(x, y);
    }
  }
  if (places.empty()) return std::nullopt;
  // The line is three pixels wide; its middle is the box.
  return std::accumulate(places.begin(), places.end(), cv::Point()) /
         static_cast<int>(places.size());
}

}  // namespace kavrel::report

#include "report/run/strokes.h"

#include <algorithm>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace kavrel::report {
namespace {

const cv::Size kSize(256, 128);
constexpr int kWidestStroke = 17;  // of that size
// Shares of the pixels that are weaker.
constexpr double kStrong = 0.95;
constexpr double kStrongest = 0.97;
constexpr double kLeastContrast = 20;  // grey levels; what is weaker is noise
constexpr double kLeastShare = 0.4;    // of the contrast of the strongest
// Of 93 plates that a detector found, every second one in a photograph, none had less than twice
// this.
constexpr double kLeastWriting = 0.1;
constexpr double kRim = 0.03;     // share of the size
constexpr double kBeyond = 0.1;   // share of the plate's width or height
constexpr int kPlaces = 40;       // looked at on each side of a plate
constexpr int kDepths = 8;        // and beyond each place
constexpr double kMargin = 0.08;  // of a side is left out at its ends, where the others stand

// The value that a share of the bytes is below.
double quantile(const cv::Mat& bytes, double share) {
  std::vector<std::uint8_t> values;
  for (int y = 0; y < bytes.rows; ++y) {
    values.insert(values.end(), bytes.ptr<std::uint8_t>(y),
                  bytes.ptr<std::uint8_t>(y) + bytes.cols);
  }
  const auto place =
      values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), place, values.end());
  return *place;
}

cv::Mat thin_parts(const cv::Mat& grey, cv::MorphTypes what) {
  const cv::Mat element = cv::getStructuringElement(cv::MORPH_RECT, {kWidestStroke, kWidestStroke});
  cv::Mat thin;
  cv::morphologyEx(grey, thin, what, element, {-1, -1}, 1, cv::BORDER_REPLICATE);
  return thin;
}

cv::Mat middle_of(const cv::Mat& picture) {
  const cv::Size size = picture.size();
  return picture({size.width / 8, size.height / 4, size.width * 3 / 4, size.height / 2});
}

// How many of the columns have a stroke; of the rows with the matrix turned.
double share_of_columns(const cv::Mat& strokes) {
  cv::Mat any;
  cv::reduce(strokes, any, 0, cv::REDUCE_MAX);
  return static_cast<double>(cv::countNonZero(any)) / any.cols;
}

double share_of_rows(const cv::Mat& strokes) { return share_of_columns(strokes.t()); }

bool has_stroke(const cv::Mat& strokes, const cv::Point2f& from, const cv::Point2f& way) {
  int seen = 0;
  bool any = false;
  for (int i = 0; i < kDepths; ++i) {
    const cv::Point place = from + way * (static_cast<float>(i) / (kDepths - 1));
    if (!cv::Rect({}, strokes.size()).contains(place)) continue;
    ++seen;
    any = any || strokes.at<std::uint8_t>(place) != 0;
  }
  return any && 2 * seen >= kDepths;
}

// Beyond the side from a to b of a plate whose other side goes from c to d.
double share_beyond(const cv::Mat& strokes, const std::array<cv::Point2f, 4>& abcd) {
  const auto& [a, b, c, d] = abcd;
  int count = 0;
  for (int i = 0; i < kPlaces; ++i) {
    const auto share = static_cast<float>(kMargin + (1 - 2 * kMargin) * i / (kPlaces - 1));
    const cv::Point2f place = a * (1 - share) + b * share;
    const cv::Point2f other = c * (1 - share) + d * share;
    if (has_stroke(strokes, place, (place - other) * kBeyond)) ++count;
  }
  return static_cast<double>(count) / kPlaces;
}

}  // namespace

cv::Mat find_strokes(const cv::Mat& crop) {
  cv::Mat grey;
  cv::cvtColor(crop, grey, cv::COLOR_BGR2GRAY);
  cv::resize(grey, grey, kSize, 0, 0, crop.cols > kSize.width ? cv::INTER_AREA : cv::INTER_LINEAR);
  cv::GaussianBlur(grey, grey, {3, 3}, 0);
  const cv::Mat bright = thin_parts(grey, cv::MORPH_TOPHAT);
  const cv::Mat dark = thin_parts(grey, cv::MORPH_BLACKHAT);
  const bool is_bright = quantile(middle_of(bright), kStrong) > quantile(middle_of(dark), kStrong);
  const cv::Mat& thin = is_bright ? bright : dark;
  const double strongest = std::max(kLeastContrast, quantile(thin, kStrongest));
  cv::Mat strokes;
  cv::threshold(thin, strokes, kLeastShare * strongest, 1, cv::THRESH_BINARY);
  return strokes;
}

bool has_writing(const cv::Mat& strokes) {
  return cv::mean(middle_of(strokes))[0] >= kLeastWriting;
}

Sides strokes_on_rim(const cv::Mat& strokes) {
  const int wide = cvRound(strokes.cols * kRim);
  const int high = cvRound(strokes.rows * kRim);
  // Without the corners of the crop, each of which lies on two rims.
  const cv::Mat rows = strokes.rowRange(strokes.rows / 10, strokes.rows * 9 / 10);
  const cv::Mat columns = strokes.colRange(strokes.cols / 20, strokes.cols * 19 / 20);
  return {share_of_rows(rows.colRange(0, wide)),
          share_of_rows(rows.colRange(rows.cols - wide, rows.cols)),
          share_of_columns(columns.rowRange(0, high)),
          share_of_columns(columns.rowRange(columns.rows - high, columns.rows))};
}

Sides strokes_beyond(const cv::Mat& strokes, const Corners& plate, const cv::Size& crop) {
  Corners in_strokes;
  for (std::size_t i = 0; i < plate.size(); ++i) {
    in_strokes[i] = {
        plate[i].x * static_cast<float>(strokes.cols) / static_cast<float>(crop.width),
        plate[i].y * static_cast<float>(strokes.rows) / static_cast<float>(crop.height)};
  }
  const auto& [top_left, top_right, bottom_right, bottom_left] = in_strokes;
  return {share_beyond(strokes, {top_left, bottom_left, top_right, bottom_right}),
          share_beyond(strokes, {top_right, bottom_right, top_left, bottom_left}),
          share_beyond(strokes, {top_left, top_right, bottom_left, bottom_right}),
          share_beyond(strokes, {bottom_left, bottom_right, top_left, top_right})};
}

}  // namespace kavrel::report

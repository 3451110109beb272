// Where writing lies in the crop of a plate: whether the crop's rim or the plate's sides cut it.
#ifndef KAVREL_REPORT_RUN_STROKES_H
#define KAVREL_REPORT_RUN_STROKES_H

#include <array>
#include <opencv2/core.hpp>

#include "report/run/drawn.h"

namespace kavrel::report {

// A value for each side.
using Sides = std::array<double, 4>;
constexpr std::size_t kLeft = 0;
constexpr std::size_t kRight = 1;
constexpr std::size_t kTop = 2;
constexpr std::size_t kBottom = 3;
constexpr std::array<std::size_t, 4> kOpposite = {kRight, kLeft, kBottom, kTop};

// Strokes of a crop as bytes of 1 in a matrix of 256 x 128, whatever its size: what is thin, and
// darker than its surroundings or brighter, whichever the middle of the crop has more of.
cv::Mat find_strokes(const cv::Mat& crop);

// Whether the crop's middle has as many as writing there has.
bool has_writing(const cv::Mat& strokes);

// The share of each rim of the crop at which strokes stand.
Sides strokes_on_rim(const cv::Mat& strokes);

// The share of each side of the plate beyond which strokes go on in the crop, which has this size.
Sides strokes_beyond(const cv::Mat& strokes, const Corners& plate, const cv::Size& crop);

}  // namespace kavrel::report

#endif

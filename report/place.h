// Where a case's plate was looked for: what its pictures tell of the detector's box and of the
// plate's corners.
#ifndef KAVREL_REPORT_PLACE_H
#define KAVREL_REPORT_PLACE_H

#include <array>
#include <opencv2/core.hpp>
#include <optional>

#include "report/run.h"

namespace kavrel::report {

// Top left, top right, bottom right, bottom left.
using Corners = std::array<cv::Point2f, 4>;

// In pixels; what the pictures do not tell is missing.
struct SeenPlace {
  std::optional<cv::Size> picture;  // the whole one, where the detector looked at it
  std::optional<cv::Size> crop;
  std::optional<Corners> corners;  // in the crop
  bool has_text_lines = false;     // the text detector found some on the plate
};

enum class Finding { kUntold, kGood, kSuspect, kWrong };

struct PlaceFinding {
  bool whole_picture = false;  // was taken for the plate
  Finding box = Finding::kUntold;
  Finding corners = Finding::kUntold;
};

// Nothing is known of a frame whose pictures a later case took, and where the whole picture was
// taken for the plate no more than that.
SeenPlace see_place(const RecordedRun& run, std::size_t frame);

// The four red dots of a picture of corners that was drawn over `crop`; nothing unless there are
// four. Dots that lie on the crop's rim are cut, and two pixels off at most.
std::optional<Corners> find_corners(const cv::Mat& picture, const cv::Mat& crop);

// A plate that stands in the middle of its crop, with sides of which opposite ones are alike.
bool is_plausible(const Corners& corners, const cv::Size& crop);

// Without knowing where the plate is. `nothing_read`: no reading had a part of a plate.
PlaceFinding judge_place(const SeenPlace& place, bool nothing_read);

}  // namespace kavrel::report

#endif

// Where a case's plate was looked for: what its pictures tell of the detector's box and of the
// plate's corners.
#ifndef KAVREL_REPORT_RUN_PLACE_H
#define KAVREL_REPORT_RUN_PLACE_H

#include <array>
#include <opencv2/core.hpp>
#include <optional>

#include "report/run/run.h"

namespace kavrel::report {

// Top left, top right, bottom right, bottom left.
using Corners = std::array<cv::Point2f, 4>;

// Where a plate is, in pixels of the whole picture.
struct TruePlace {
  cv::Rect2f box;
  Corners corners;
};

// In pixels; what the pictures do not tell is missing.
struct SeenPlace {
  std::optional<cv::Size> picture;  // the whole one, where the detector looked at it
  std::optional<cv::Size> crop;
  std::optional<Corners> corners;  // in the crop
  bool has_text_lines = false;     // the text detector found some on the plate
};

// The crop and its corners against where the plate is.
struct PlaceError {
  double covered;                 // share of the plate's box that lies in the crop
  double overlap;                 // of both boxes, intersection over union
  std::optional<double> corners;  // mean distance of the four, in widths of the plate
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

// The four red dots of a picture of corners that was drawn over `crop`, to a pixel; a fourth one
// that cannot be seen follows from the others. Nothing if there are fewer or more.
std::optional<Corners> find_corners(const cv::Mat& picture, const cv::Mat& crop);

// A plate that stands in the middle of its crop, with sides of which opposite ones are alike.
bool is_plausible(const Corners& corners, const cv::Size& crop);

// Where the green frame of a crop of this size was drawn; nothing if there is none. A crop at the
// picture's rim may be a pixel off.
std::optional<cv::Point> find_frame(const cv::Mat& picture, const cv::Size& crop);

// Nothing if the pictures do not tell where the crop was cut.
std::optional<PlaceError> measure_place(const RecordedRun& run, std::size_t frame,
                                        const SeenPlace& place, const TruePlace& truth);

// Without knowing where the plate is: what the pictures make suspect. `nothing_read`: no reading
// had a part of a plate.
PlaceFinding suspect_place(const SeenPlace& place, bool nothing_read);

// Knowing it.
PlaceFinding judge_place(const SeenPlace& place, const PlaceError& error);

}  // namespace kavrel::report

#endif

// Where a case's plate was looked for: what its pictures tell of the detector's box and of the
// plate's corners.
#ifndef KAVREL_REPORT_RUN_PLACE_H
#define KAVREL_REPORT_RUN_PLACE_H

#include <opencv2/core.hpp>
#include <optional>

#include "report/run/drawn.h"
#include "report/run/run.h"

namespace kavrel::report {

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
  bool corners_hidden = false;     // they were drawn, and the crop's rim hides more than one
  cv::Mat pixels;                  // of the crop; empty where it cannot be read
};

// Where the run took a plate to be, in pixels of the whole picture.
struct LocatedPlate {
  cv::Size picture;
  std::optional<cv::Rect2f> box;  // missing where the whole picture was taken for want of one
  std::optional<Corners> corners;
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

float distance(const cv::Point2f& a, const cv::Point2f& b);

// Nothing is known of a frame whose pictures a later case took, and where the whole picture was
// taken for the plate no more than that.
SeenPlace see_place(const RecordedRun& run, std::size_t frame);

// Nothing if the pictures do not tell. The box is that of the corners, which is closer than the
// detector's, and where they cannot be seen the crop.
std::optional<LocatedPlate> locate_plate(const RecordedRun& run, std::size_t frame);

// Nothing if the pictures do not tell where the crop was cut.
std::optional<PlaceError> measure_place(const RecordedRun& run, std::size_t frame,
                                        const SeenPlace& place, const TruePlace& truth);

// Knowing where the plate is. Corners that are hidden are suspect, but in a picture that a plate
// may fill.
PlaceFinding judge_place(const SeenPlace& place, const PlaceError& error);

}  // namespace kavrel::report

#endif

#include "report/run/place.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "app/base/output_format.h"
#include "report/run/picture.h"

namespace kavrel::report {
namespace {

// Of the plate's box, and of its width. Of 167 street frames that were read right, none had less
// than 0.93 of it in its crop or its corners further off than 0.03; of boxes that were shifted by
// 0.3, none had more than 0.83.
constexpr double kLeastCovered = 0.9;
constexpr double kMostCornerError = 0.05;

// Where the crop was cut from the picture.
std::optional<cv::Point> crop_at(const RecordedRun& run, std::size_t frame,
                                 const SeenPlace& place) {
  if (!place.picture || place.picture == place.crop) return cv::Point();
  const std::string dir = output::case_dir(run.dir, run.frames[frame].image_path);
  return find_frame(read_picture(dir + "/" + output::picture::kPlateDetections), *place.crop);
}

double corner_error(const Corners& corners, const cv::Point& crop_at, const Corners& truth) {
  double sum = 0;
  for (std::size_t i = 0; i < corners.size(); ++i) {
    sum += distance(corners[i] + cv::Point2f(crop_at), truth[i]);
  }
  const double width = (distance(truth[0], truth[1]) + distance(truth[2], truth[3])) / 2.0;
  return sum / static_cast<double>(corners.size()) / width;
}

}  // namespace

float distance(const cv::Point2f& a, const cv::Point2f& b) {
  return static_cast<float>(cv::norm(a - b));
}

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
  const cv::Mat corners = read_picture(dir + "/" + output::picture::kCorners);
  if (corners.empty() && !place.picture) return place;  // neither box nor corners to be judged
  place.pixels = read_picture(crop);
  if (corners.empty()) return place;
  const bool nobody_cut_it = !place.picture;  // it may end where the plate does
  place.corners = find_corners(corners, place.pixels, nobody_cut_it);
  place.corners_hidden = !place.corners && corners.size() == place.pixels.size();
  return place;
}

std::optional<PlaceError> measure_place(const RecordedRun& run, std::size_t frame,
                                        const SeenPlace& place, const TruePlace& truth) {
  if (!place.crop) return std::nullopt;
  const std::optional<cv::Point> at = crop_at(run, frame, place);
  if (!at) return std::nullopt;
  const cv::Rect2f crop(cv::Rect(*at, *place.crop));
  const double shared = (crop & truth.box).area();
  PlaceError error{shared / truth.box.area(), shared / (crop.area() + truth.box.area() - shared),
                   std::nullopt};
  if (place.corners) error.corners = corner_error(*place.corners, *at, truth.corners);
  return error;
}

std::optional<LocatedPlate> locate_plate(const RecordedRun& run, std::size_t frame) {
  const SeenPlace place = see_place(run, frame);
  if (!place.crop) return std::nullopt;
  LocatedPlate plate{place.picture ? *place.picture : *place.crop, std::nullopt, std::nullopt};
  const std::optional<cv::Point> at = crop_at(run, frame, place);
  if (!at || place.picture == place.crop) return plate;
  if (place.corners) {
    plate.corners = place.corners;
    for (cv::Point2f& corner : *plate.corners) corner += cv::Point2f(*at);
  }
  if (plate.corners) {
    plate.box =
        cv::boundingRect(std::vector<cv::Point2f>(plate.corners->begin(), plate.corners->end()));
  } else if (place.picture) {
    plate.box = cv::Rect(*at, *place.crop);
  }
  return plate;
}

PlaceFinding judge_place(const SeenPlace& place, const PlaceError& error) {
  PlaceFinding finding;
  finding.whole_picture = place.picture == place.crop;
  finding.box = error.covered < kLeastCovered ? Finding::kWrong : Finding::kGood;
  if (error.corners) {
    finding.corners = *error.corners > kMostCornerError ? Finding::kWrong : Finding::kGood;
  } else if (place.corners_hidden && place.picture) {
    finding.corners = Finding::kSuspect;
  }
  return finding;
}

}  // namespace kavrel::report

#include "report/run/suspicion.h"

#include <algorithm>
#include <cmath>

#include "report/run/strokes.h"

namespace kavrel::report {
namespace {

// Of 190 frames that were read right, half of them photographs, none lay beyond.
constexpr float kNarrowest = 0.9F;  // width per height: a plate seen from far aside
constexpr float kWidest = 3.2F;
constexpr float kMostUnlikeSides = 1.5F;
constexpr float kMostAside = 0.08F;  // from the crop's middle, in widths of the plate
constexpr float kMostAbove = 0.12F;  // or below, in heights

constexpr double kOnRim = 1.5;  // pixels

// Shares of the crop's width or height.
constexpr double kNearRim = 0.08;
// A good box has a margin around its plate, an eighth of the crop on each side with our detector:
// one that cuts the plate has both margins and more on the other side.
constexpr double kLeastLean = 0.25;
constexpr double kFarAside = 0.2;
constexpr float kNarrowestCrop = 0.6F;  // width per height
constexpr float kWidestCrop = 4;

// Shares of a side's length that has strokes. A line along all of it is the edge of something.
constexpr double kLine = 0.8;
constexpr double kCutByRim = 0.06;
constexpr double kCutSomewhere = 0.15;  // by a rim, wherever the corners lie
constexpr double kCutByCorners = 0.1;
constexpr float kAsideWithWriting = 0.05F;  // in widths of the plate

bool is_convex(const Corners& corners) {
  for (std::size_t i = 0; i < 4; ++i) {
    const cv::Point2f side = corners[(i + 1) % 4] - corners[i];
    const cv::Point2f next = corners[(i + 2) % 4] - corners[(i + 1) % 4];
    if (side.cross(next) <= 0) return false;
  }
  return true;
}

bool are_alike(float a, float b) { return std::max(a, b) <= kMostUnlikeSides * std::min(a, b); }

// The plate that four corners make.
struct Quad {
  float width;  // means of opposite sides
  float height;
  bool is_plate;      // convex, with sides that are alike and proportions of a plate
  cv::Point2f aside;  // of the crop's middle, to the right and below
};

Quad quad_of(const Corners& corners, const cv::Size& crop) {
  const float top = distance(corners[0], corners[1]);
  const float right = distance(corners[1], corners[2]);
  const float bottom = distance(corners[2], corners[3]);
  const float left = distance(corners[3], corners[0]);
  const cv::Point2f middle = (corners[0] + corners[1] + corners[2] + corners[3]) / 4.0F;
  Quad quad{(top + bottom) / 2, (left + right) / 2, false,
            middle - cv::Point2f(cv::Point(crop) - cv::Point(1, 1)) / 2.0F};
  quad.is_plate = is_convex(corners) && are_alike(top, bottom) && are_alike(left, right) &&
                  quad.width >= kNarrowest * quad.height && quad.width <= kWidest * quad.height;
  return quad;
}

// Between each side of the plate, its middle, and that rim of the crop.
Sides gaps_of(const Corners& corners, const cv::Size& crop) {
  const double right = crop.width - 1.0;
  const double bottom = crop.height - 1.0;
  return {(corners[0].x + corners[3].x) / 2 / right, 1 - (corners[1].x + corners[2].x) / 2 / right,
          (corners[0].y + corners[1].y) / 2 / bottom,
          1 - (corners[2].y + corners[3].y) / 2 / bottom};
}

struct Evidence {
  Quad quad;
  Sides gaps;
  Sides on_rim;
  Sides beyond;
};

Evidence evidence_of(const SeenPlace& place, const cv::Mat& strokes) {
  Evidence evidence{quad_of(*place.corners, *place.crop), gaps_of(*place.corners, *place.crop),
                    strokes_on_rim(strokes), strokes_beyond(strokes, *place.corners, *place.crop)};
  for (double& share : evidence.beyond) share = share > kLine ? 0 : share;
  for (const std::size_t side : {kTop, kBottom}) {
    if (evidence.on_rim[side] > kLine) evidence.on_rim[side] = 0;
  }
  return evidence;
}

// The plate ends at the crop's rim, which cuts more writing than the plate's other side does.
bool is_cut_at(std::size_t side, const Evidence& evidence) {
  const std::size_t other = kOpposite[side];
  return evidence.gaps[side] <= kNearRim &&
         evidence.gaps[other] - evidence.gaps[side] > kLeastLean &&
         evidence.on_rim[side] >= kCutByRim && evidence.on_rim[side] > evidence.beyond[other];
}

bool is_cut(const Evidence& evidence, const cv::Size& crop) {
  for (const std::size_t side : {kLeft, kRight, kTop, kBottom}) {
    if (is_cut_at(side, evidence)) return true;
  }
  const cv::Point2f aside = evidence.quad.aside;
  const bool lost = !evidence.quad.is_plate ||
                    std::abs(aside.x) > kFarAside * static_cast<float>(crop.width) ||
                    std::abs(aside.y) > kFarAside * static_cast<float>(crop.height);
  const double most = *std::max_element(evidence.on_rim.begin(), evidence.on_rim.end());
  return lost && most >= kCutSomewhere;
}

bool is_in_the_middle(const Quad& quad) {
  return std::abs(quad.aside.x) <= kMostAside * quad.width &&
         std::abs(quad.aside.y) <= kMostAbove * quad.height;
}

bool is_plausible(const Quad& quad) { return quad.is_plate && is_in_the_middle(quad); }

bool leaves_writing_out(const Evidence& evidence) {
  const float aside = evidence.quad.aside.x / evidence.quad.width;
  return std::abs(aside) > kAsideWithWriting &&
         evidence.beyond[aside > 0 ? kLeft : kRight] >= kCutByCorners;
}

bool is_on_rim(const Sides& gaps, const cv::Size& crop) {
  return std::min(gaps[kLeft], gaps[kRight]) * crop.width <= kOnRim ||
         std::min(gaps[kTop], gaps[kBottom]) * crop.height <= kOnRim;
}

PlaceFinding suspect_box() {
  PlaceFinding finding;
  finding.box = Finding::kSuspect;
  return finding;
}

PlaceFinding suspect_corners(bool suspect) {
  PlaceFinding finding;
  if (suspect) finding.corners = Finding::kSuspect;
  return finding;
}

bool has_a_plates_shape(const cv::Size& crop) {
  const float shape = static_cast<float>(crop.width) / static_cast<float>(crop.height);
  return shape >= kNarrowestCrop && shape <= kWidestCrop;
}

bool rim_cuts_writing(const cv::Mat& strokes) {
  const Sides on_rim = strokes_on_rim(strokes);
  return *std::max_element(on_rim.begin(), on_rim.end()) >= kCutSomewhere;
}

}  // namespace

bool is_plausible(const Corners& corners, const cv::Size& crop) {
  return is_plausible(quad_of(corners, crop));
}

PlaceFinding suspect_place(const SeenPlace& place, bool nothing_read) {
  PlaceFinding whole;
  whole.whole_picture = place.picture && place.picture == place.crop;
  if (!place.crop || whole.whole_picture) return whole;
  const bool by_detector = place.picture.has_value();  // else the whole picture is meant
  if (by_detector && !has_a_plates_shape(*place.crop)) return suspect_box();
  if (place.pixels.empty()) return {};
  const cv::Mat strokes = find_strokes(place.pixels);
  if (by_detector && nothing_read && !has_writing(strokes)) return suspect_box();
  if (place.corners_hidden) {
    if (!by_detector) return {};  // at the picture's rim, as of a plate that fills it
    return rim_cuts_writing(strokes) ? suspect_box() : suspect_corners(true);
  }
  if (!place.corners) return {};
  const Evidence evidence = evidence_of(place, strokes);
  if (by_detector && is_cut(evidence, *place.crop)) return suspect_box();
  const bool on_rim = by_detector && is_on_rim(evidence.gaps, *place.crop);
  return suspect_corners(!is_plausible(evidence.quad) || leaves_writing_out(evidence) || on_rim);
}

}  // namespace kavrel::report

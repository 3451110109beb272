// What kavrel drew into the pictures of a case: the plate's corners, and the detector's boxes.
#ifndef KAVREL_REPORT_RUN_DRAWN_H
#define KAVREL_REPORT_RUN_DRAWN_H

#include <array>
#include <opencv2/core.hpp>
#include <optional>

namespace kavrel::report {

// Top left, top right, bottom right, bottom left.
using Corners = std::array<cv::Point2f, 4>;

// The four red dots of a picture of corners that was drawn over `crop`, to a pixel; a fourth one
// that cannot be seen follows from the others. So do two at the crop's rim, in a picture that a
// plate may fill. Nothing if there are fewer or more.
std::optional<Corners> find_corners(const cv::Mat& picture, const cv::Mat& crop,
                                    bool plate_may_fill_it = false);

// Where the green frame of a crop of this size was drawn; nothing if there is none. A crop at the
// picture's rim may be a pixel off.
std::optional<cv::Point> find_frame(const cv::Mat& picture, const cv::Size& crop);

}  // namespace kavrel::report

#endif

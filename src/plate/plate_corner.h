// Plate corners and rectification.
#ifndef KAVREL_PLATE_PLATE_CORNER_H
#define KAVREL_PLATE_PLATE_CORNER_H

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "npu/rknn_model.h"

namespace kavrel {

// The four corners of the plate in a BGR image, in its pixels and inside it, in the network's
// order: top-left, top-right, bottom-right, bottom-left. The network's input is 256 x 128; its
// output 0 begins with four (x, y) pairs, each either fractions of the image or its pixels.
// Throws std::runtime_error "plate_corner output invalid" with fewer than 8 values.
std::vector<cv::Point2f> run_plate_corner(RknnModel& model, const cv::Mat& image);

// The quadrilateral of four corners, in the order above, mapped onto out_w x out_h pixels. Beyond
// the image's edge its border pixels are repeated.
cv::Mat warp_plate(const cv::Mat& image, const std::vector<cv::Point2f>& corners, int out_w,
                   int out_h);

// The plate of a BGR crop, upright and 320 x 96 pixels large. Writes it and the crop with its
// corners into out_dir, as "/rectified_plate.jpg" and "/corner_debug.jpg".
cv::Mat rectify_plate(RknnModel& model, const cv::Mat& crop, const std::string& out_dir);

}  // namespace kavrel

#endif

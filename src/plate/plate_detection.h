// Plate detection: camera image to ranked plate boxes, and to the picture of the plate.
#ifndef KAVREL_PLATE_PLATE_DETECTION_H
#define KAVREL_PLATE_PLATE_DETECTION_H

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "npu/rknn_model.h"

namespace kavrel {

struct PlateDetection {
  cv::Rect box;        // pixels of the input image, inside it
  float score = 0.0F;  // 1 for "no detector", 0 for the fallback to the whole image
};

// Plate boxes in a BGR image, highest score first, never empty: the whole image without a model
// (null) or when nothing was found. With a model it draws the boxes into
// out_dir + "/plate_det_debug.jpg". Errors of the network pass through.
std::vector<PlateDetection> run_plate_det(RknnModel* model, const cv::Mat& image,
                                          float conf_threshold, const std::string& out_dir);

// The best of these boxes, as far as it lies in the image, cut out; also written to
// out_dir + "/plate_roi.jpg".
cv::Mat crop_plate(RknnModel* model, const cv::Mat& image, float conf_threshold,
                   const std::string& out_dir);

// The boxes in one output tensor, highest score first. Rows of six floats, each either
// (class, score, x1, y1, x2, y2) or (x1, y1, x2, y2, score, class), coordinates either fractions
// of the image or its pixels. Keeps scores of at least `conf_threshold` and boxes of at least
// 10 x 10 pixels; a tensor whose length is no multiple of six gives none. img_w, img_h: size of the
// input image.
std::vector<PlateDetection> parse_detection_output_as_n6(const std::vector<float>& values,
                                                         int img_w, int img_h,
                                                         float conf_threshold);

}  // namespace kavrel

#endif

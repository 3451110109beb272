// Image preparation shared by the stages. Images are 8-bit BGR unless a name says otherwise. Each
// function returns a new image; on an empty or ill-typed one OpenCV's exception passes through.
#ifndef KAVREL_PLATE_IMAGE_PREP_H
#define KAVREL_PLATE_IMAGE_PREP_H

#include <opencv2/core.hpp>

namespace kavrel {

// A network's input: stretched to exactly width x height, bilinear, without letterbox; RGB.
cv::Mat bgr_to_rgb_resized(const cv::Mat& image, int width, int height);

// Grey as three equal channels.
cv::Mat make_gray_bgr(const cv::Mat& image);

// Lightness equalised locally (CLAHE), colours unchanged.
cv::Mat make_clahe_bgr(const cv::Mat& image);

// Unsharp mask: 1.6 x image - 0.6 x blurred image.
cv::Mat make_sharpen_bgr(const cv::Mat& image);

// Black and white: the grey levels above the threshold that Otsu's method finds for this image are
// white.
cv::Mat make_otsu_bgr(const cv::Mat& image);

// Enlarged by `factor` in both directions, bicubic.
cv::Mat enlarge(const cv::Mat& image, double factor);

// Copy of the part from (x0, y0) to (x1, y1), fractions of width and height: lower bounds are
// rounded down and upper ones up, inside the image. An empty range gives one pixel.
cv::Mat crop_ratio(const cv::Mat& image, float x0, float y0, float x1, float y1);

// Whether a network gives the point (x, y) in fractions of the image and not in its pixels.
// Fractions may pass 1 where a plate is cut by the image's edge; pixels up to 2 are no plate.
bool are_fractions(float x, float y);

// max(low, min(high, value)): a NaN gives `high`.
float clamp_float(float value, float low, float high);

// 1 / (1 + exp(-x)).
float sigmoid(float x);

}  // namespace kavrel

#endif

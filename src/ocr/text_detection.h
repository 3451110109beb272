// Text lines of a plate image, from a PP-OCR text detector with DB post-processing.
#ifndef KAVREL_OCR_TEXT_DETECTION_H
#define KAVREL_OCR_TEXT_DETECTION_H

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "npu/rknn_model.h"

namespace kavrel {

struct TextBox {
  cv::Rect box;        // pixels of the input image
  float score = 0.0F;  // always 1: a line's own score is not computed
};

// At most 16 text lines of a BGR image in reading order. The network's input is 640 x 640; its
// output 0 is a square row-major map of text probabilities or of their logits, and pixels above
// `threshold` (a probability) are text. Writes debug_prefix + "_det_mask.jpg" and
// "_det_boxes.jpg". An output that is not square gives a warning and no box. Throws
// std::runtime_error "ppocr det output invalid" without an output or with an empty one.
std::vector<TextBox> run_ppocr_det_boxes(RknnModel& model, const cv::Mat& image,
                                         const std::string& debug_prefix, float threshold);

// The map as a square image of probabilities (CV_32F); empty if the values are not a square.
// Values outside of [-0.01, 1.01] show that all of them are logits; probabilities are not copied,
// the image is valid as long as they are.
cv::Mat text_probability_map(const std::vector<float>& values);

// The 8-bit mask of text: 255 where the probability is above `threshold`, with the gaps between
// neighbouring characters closed.
cv::Mat text_mask(const cv::Mat& probabilities, float threshold);

// The mask's outer contours as padded boxes in an image of `image_size`, in reading order, the 16
// largest of them.
std::vector<TextBox> text_boxes(const cv::Mat& mask, const cv::Size& image_size);

// Whether `a` is read before `b`: by row, and from left to right in a row. Boxes whose centres
// differ by at most 12 pixels in y share a row, so this is no strict weak ordering.
bool in_reading_order(const TextBox& a, const TextBox& b);

}  // namespace kavrel

#endif

// The line recogniser: an image of one text line to its text.
#ifndef KAVREL_OCR_LINE_RECOGNISER_H
#define KAVREL_OCR_LINE_RECOGNISER_H

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "npu/rknn_model.h"

namespace kavrel {

// The recogniser's input, 320 x 48 RGB: the BGR crop scaled to fit with its aspect ratio kept, in
// the top-left corner, white to the right and below. Throws std::runtime_error
// "empty crop for recognition".
cv::Mat make_rec_input_rgb(const cv::Mat& crop);

// The text of a BGR crop, possibly empty. Throws std::runtime_error "ppocr rec output invalid"
// without an output or with an empty one.
std::string run_ppocr_rec(RknnModel& rec, const cv::Mat& crop,
                          const std::vector<std::string>& dict);

// Checks the OCR dictionary against the recogniser's number of classes (its own plus the blank)
// and says on standard error what it found. Readers of dictionary files lose the entry that is a
// half-width space; a dictionary that is short of just that one gets it appended. Throws
// std::out_of_range without an output.
void align_dict_with_rec_classes(const RknnModel& rec, std::vector<std::string>& dict);

}  // namespace kavrel

#endif

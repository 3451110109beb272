// All readings of a rectified plate.
#ifndef KAVREL_OCR_WHOLE_PLATE_OCR_H
#define KAVREL_OCR_WHOLE_PLATE_OCR_H

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "npu/rknn_model.h"
#include "ocr/ocr_text.h"

namespace kavrel {

// Reads five image variants of a BGR plate, of each one every detected text line and four fixed
// windows. Returns the readings that are not empty in the order in which they were made, none
// chosen and none merged: the plate parser weighs them. Their `source` is that of output::source;
// text lines are numbered from 0. Writes the variants, the text detection's pictures and the line
// crops into out_dir. Errors of the networks pass through.
std::vector<OcrText> run_whole_plate_ocr_variants(RknnModel& det, RknnModel& rec,
                                                  const cv::Mat& plate,
                                                  const std::vector<std::string>& dict,
                                                  const std::string& out_dir);

// Appends a reading with its text trimmed, unless nothing is left of it.
void add_text_if_valid(std::vector<OcrText>& texts, const std::string& source,
                       const std::string& text);

}  // namespace kavrel

#endif

// Line recognition narrowed to the question: which plate kana is this?
#ifndef KAVREL_KANA_KANA_CTC_H
#define KAVREL_KANA_KANA_CTC_H

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "npu/rknn_model.h"

namespace kavrel {

// One plate kana: the first of the alphabet that CTC decoding emits when only the blank and the
// plate kana compete, or else the kana whose score ever came nearest to the blank's, of equal ones
// the lower code point. Arguments as of ctc_decode. "" if the shape does not fit, also with fewer
// than two dimensions, or if the dictionary has no plate kana.
std::string ctc_decode_kana_constrained(const std::vector<float>& logits,
                                        const rknn_tensor_attr& attr,
                                        const std::vector<std::string>& dict);

// The kana that a BGR crop shows most likely; "" without an output. Throws std::runtime_error
// "empty crop for recognition".
std::string run_ppocr_rec_kana_constrained(RknnModel& rec, const cv::Mat& crop,
                                           const std::vector<std::string>& dict);

}  // namespace kavrel

#endif

// Greedy CTC decoding of a line recogniser's output.
#ifndef KAVREL_OCR_CTC_H
#define KAVREL_OCR_CTC_H

#include <cstddef>
#include <string>
#include <vector>

#include "npu/rknn_api.h"

namespace kavrel {

// Class 0 of a recogniser is the CTC blank; class k is entry k - 1 of the OCR dictionary.
constexpr int kBlankClass = 0;

// A recogniser's output: `steps` rows of `classes` scores, row-major.
struct CtcShape {
  int steps = 0;    // T
  int classes = 0;  // K

  // Whether `count` values hold the whole shape; values beyond it are ignored.
  bool fits(std::size_t count) const;
};

// The last two dimensions of a tensor; 0 x 0 with fewer than two.
CtcShape ctc_shape(const rknn_tensor_attr& attr);

// The text of the best class per step: blanks and repetitions dropped, a character repeated
// across a blank kept, classes beyond the dictionary skipped. Only values of one step are
// compared, so logits serve as well as probabilities; ties go to the lower class. A tensor with
// fewer than two dimensions takes its number of classes from the dictionary. Returns "" where
// the values do not fit the shape, with a warning if the tensor tells one.
std::string ctc_decode(const std::vector<float>& logits, const rknn_tensor_attr& attr,
                       const std::vector<std::string>& dict);

}  // namespace kavrel

#endif

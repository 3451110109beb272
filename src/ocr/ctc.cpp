#include "ocr/ctc.h"

#include <algorithm>

#include "app/log.h"
#include "npu/rknn_model.h"

namespace kavrel {
namespace {

// For a tensor that tells no shape: as many steps as the dictionary's classes allow, or 0 x 0.
CtcShape shape_from_dict(std::size_t count, std::size_t dict_size) {
  const std::size_t classes = dict_size + 1;
  if (classes <= 1 || count % classes != 0) return {};
  return {static_cast<int>(count / classes), static_cast<int>(classes)};
}

constexpr int kBlock = 32;

// Whether one of kBlock scores is above `limit`: counted, which the compiler does in vector code.
bool any_above(const float* scores, float limit) {
  int above = 0;
  for (int i = 0; i < kBlock; ++i) above += scores[i] > limit ? 1 : 0;
  return above > 0;
}

// The first of the greatest scores: a tie goes to the lower class. Few blocks hold a score above
// the best one before them, and only those are searched.
int best_class(const float* row, int classes) {
  int best = 0;
  for (int start = 0; start < classes; start += kBlock) {
    const int end = std::min(start + kBlock, classes);
    if (end - start == kBlock && !any_above(row + start, row[best])) continue;
    for (int index = start; index < end; ++index) {
      if (row[index] > row[best]) best = index;
    }
  }
  return best;
}

// A class beyond the dictionary has no text.
std::string entry_of_class(int class_index, const std::vector<std::string>& dict) {
  const auto entry = static_cast<std::size_t>(class_index - 1);
  return entry < dict.size() ? dict[entry] : std::string();
}

}  // namespace

bool CtcShape::fits(std::size_t count) const {
  return steps > 0 && classes > 0 &&
         count / static_cast<std::size_t>(classes) >= static_cast<std::size_t>(steps);
}

CtcShape ctc_shape(const rknn_tensor_attr& attr) {
  const std::vector<std::uint32_t> dims = tensor_dims(attr);
  if (dims.size() < 2) return {};
  return {static_cast<int>(dims[dims.size() - 2]), static_cast<int>(dims.back())};
}

std::string ctc_decode(const std::vector<float>& logits, const rknn_tensor_attr& attr,
                       const std::vector<std::string>& dict) {
  if (logits.empty()) return "";
  CtcShape shape = ctc_shape(attr);
  if (attr.n_dims < 2) {
    shape = shape_from_dict(logits.size(), dict.size());
    if (shape.classes == 0) return "";
  }
  if (!shape.fits(logits.size())) {
    log_line("[WARN] invalid rec output shape T=" + std::to_string(shape.steps) +
             " C=" + std::to_string(shape.classes) + " logits=" + std::to_string(logits.size()));
    return "";
  }
  std::string text;
  int previous = -1;
  const float* row = logits.data();
  for (int step = 0; step < shape.steps; ++step, row += shape.classes) {
    const int best = best_class(row, shape.classes);
    if (best != kBlankClass && best != previous) text += entry_of_class(best, dict);
    previous = best;
  }
  return text;
}

}  // namespace kavrel

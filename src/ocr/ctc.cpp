#include "ocr/ctc.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "app/base/log.h"
#include "npu/rknn_model.h"

namespace kavrel {
namespace {

// For a tensor that tells no shape: as many steps as the dictionary's classes allow, or 0 x 0.
CtcShape shape_from_dict(std::size_t count, std::size_t dict_size) {
  const std::size_t classes = dict_size + 1;
  if (classes <= 1 || count % classes != 0) return {};
  return {static_cast<int>(count / classes), static_cast<int>(classes)};
}

// How many scores are compared side by side, of which the compiler makes vector code.
constexpr int kLanes = 32;

// The greatest score; the first one if that is not a number.
float greatest_score(const float* row, int classes) {
  std::array<float, kLanes> greatest;
  greatest.fill(row[0]);
  int index = 0;
  for (; index + kLanes <= classes; index += kLanes) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      const float score = row[static_cast<std::size_t>(index) + lane];
      greatest[lane] = score > greatest[lane] ? score : greatest[lane];
    }
  }
  for (; index < classes; ++index) greatest[0] = std::max(greatest[0], row[index]);
  return *std::max_element(greatest.begin(), greatest.end());
}

// Whether one of kLanes scores is this one: counted, as an early end would prevent vector code.
bool holds(const float* scores, float wanted) {
  int count = 0;
  for (int lane = 0; lane < kLanes; ++lane) count += scores[lane] == wanted ? 1 : 0;
  return count > 0;
}

// The first of the greatest scores: a tie goes to the lower class.
int best_class(const float* row, int classes) {
  const float greatest = greatest_score(row, classes);
  if (std::isnan(greatest)) return 0;
  int start = 0;
  while (start + kLanes <= classes && !holds(row + start, greatest)) start += kLanes;
  return static_cast<int>(std::find(row + start, row + classes, greatest) - row);
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

#include "kana/kana_ctc.h"

#include <algorithm>
#include <string_view>

#include "kana/kana_alphabet.h"
#include "ocr/ctc.h"
#include "ocr/line_recogniser.h"

namespace kavrel {
namespace {

constexpr float kNoMargin = -1e30F;

// A class of the recogniser that is a plate kana: an entry of the dictionary.
struct KanaClass {
  int index;
  std::string_view kana;
};

std::vector<KanaClass> kana_classes(const std::vector<std::string>& dict, int classes) {
  std::vector<KanaClass> kana;
  const std::size_t count = std::min(dict.size(), static_cast<std::size_t>(classes) - 1);
  for (std::size_t entry = 0; entry < count; ++entry) {
    if (!is_valid_plate_kana_string(dict[entry])) continue;
    kana.push_back({static_cast<int>(entry) + 1, dict[entry]});
  }
  return kana;
}

// The kana class that is strictly above the blank and the others; null when the blank wins.
const KanaClass* best_kana(const float* row, const std::vector<KanaClass>& kana) {
  const KanaClass* best = nullptr;
  float best_score = row[kBlankClass];
  for (const KanaClass& candidate : kana) {
    if (row[candidate.index] > best_score) {
      best_score = row[candidate.index];
      best = &candidate;
    }
  }
  return best;
}

// Of the kana that win a step the first one of the alphabet, whose order is that of the bytes; ""
// if the blank wins every step.
std::string first_winner(const float* logits, const CtcShape& shape,
                         const std::vector<KanaClass>& kana) {
  std::string_view first;
  const float* row = logits;
  for (int step = 0; step < shape.steps; ++step, row += shape.classes) {
    const KanaClass* best = best_kana(row, kana);
    if (best != nullptr && (first.empty() || best->kana < first)) first = best->kana;
  }
  return std::string(first);
}

// The kana with the greatest score minus blank score at any step.
std::string nearest_to_blank(const float* logits, const CtcShape& shape,
                             const std::vector<KanaClass>& kana) {
  std::vector<float> margins(kana.size(), kNoMargin);
  const float* row = logits;
  for (int step = 0; step < shape.steps; ++step, row += shape.classes) {
    for (std::size_t i = 0; i < kana.size(); ++i) {
      margins[i] = std::max(margins[i], row[kana[i].index] - row[kBlankClass]);
    }
  }
  std::string_view choice;
  float best = kNoMargin;
  for (std::size_t i = 0; i < kana.size(); ++i) {
    const bool tie = margins[i] == best && kana[i].kana < choice;
    if (margins[i] > best || tie) {
      best = margins[i];
      choice = kana[i].kana;
    }
  }
  return std::string(choice);
}

}  // namespace

std::string ctc_decode_kana_constrained(const std::vector<float>& logits,
                                        const rknn_tensor_attr& attr,
                                        const std::vector<std::string>& dict) {
  const CtcShape shape = ctc_shape(attr);
  if (!shape.fits(logits.size())) return "";
  const std::vector<KanaClass> kana = kana_classes(dict, shape.classes);
  if (kana.empty()) return "";
  std::string winner = first_winner(logits.data(), shape, kana);
  return winner.empty() ? nearest_to_blank(logits.data(), shape, kana) : winner;
}

std::string run_ppocr_rec_kana_constrained(RknnModel& rec, const cv::Mat& crop,
                                           const std::vector<std::string>& dict) {
  const auto outputs = rec.infer_uint8_nhwc(make_rec_input_rgb(crop));
  if (outputs.empty() || outputs[0].empty()) return "";
  return ctc_decode_kana_constrained(outputs[0], rec.output_attrs().at(0), dict);
}

}  // namespace kavrel

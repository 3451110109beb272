#include "kana/kana_ctc.h"

#include <algorithm>

#include "kana/kana_alphabet.h"
#include "ocr/ctc.h"
#include "ocr/line_recogniser.h"

namespace kavrel {
namespace {

constexpr float kNoMargin = -1e30F;

// A class of the recogniser that is a plate kana: an entry of the dictionary.
struct KanaClass {
  int index;
  const std::string* kana;
};

std::vector<KanaClass> kana_classes(const std::vector<std::string>& dict, int classes) {
  std::vector<KanaClass> kana;
  const std::size_t count = std::min(dict.size(), static_cast<std::size_t>(classes) - 1);
  for (std::size_t entry = 0; entry < count; ++entry) {
    if (!is_valid_plate_kana_string(dict[entry])) continue;
    kana.push_back({static_cast<int>(entry) + 1, &dict[entry]});
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

std::string decode_kana_only(const float* logits, const CtcShape& shape,
                             const std::vector<KanaClass>& kana) {
  std::string text;
  const KanaClass* previous = nullptr;
  const float* row = logits;
  for (int step = 0; step < shape.steps; ++step, row += shape.classes) {
    const KanaClass* best = best_kana(row, kana);
    if (best != nullptr && best != previous) text += *best->kana;
    previous = best;
  }
  return text;
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
  std::string choice;
  float best = kNoMargin;
  for (std::size_t i = 0; i < kana.size(); ++i) {
    const bool tie = margins[i] == best && *kana[i].kana < choice;
    if (margins[i] > best || tie) {
      best = margins[i];
      choice = *kana[i].kana;
    }
  }
  return choice;
}

}  // namespace

std::string ctc_decode_kana_constrained(const std::vector<float>& logits,
                                        const rknn_tensor_attr& attr,
                                        const std::vector<std::string>& dict) {
  const CtcShape shape = ctc_shape(attr);
  if (!shape.fits(logits.size())) return "";
  const std::vector<KanaClass> kana = kana_classes(dict, shape.classes);
  if (kana.empty()) return "";
  const std::string decoded = find_hiragana_kana(decode_kana_only(logits.data(), shape, kana));
  return decoded.empty() ? nearest_to_blank(logits.data(), shape, kana) : decoded;
}

std::string run_ppocr_rec_kana_constrained(RknnModel& rec, const cv::Mat& crop,
                                           const std::vector<std::string>& dict) {
  const auto outputs = rec.infer_uint8_nhwc(make_rec_input_rgb(crop));
  if (outputs.empty() || outputs[0].empty()) return "";
  return ctc_decode_kana_constrained(outputs[0], rec.output_attrs().at(0), dict);
}

}  // namespace kavrel

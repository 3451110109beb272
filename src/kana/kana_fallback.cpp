#include "kana/kana_fallback.h"

#include <array>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "app/base/log.h"
#include "app/base/output_format.h"
#include "app/base/text.h"
#include "app/base/top_vote.h"
#include "kana/kana_alphabet.h"
#include "kana/kana_ctc.h"
#include "ocr/line_recogniser.h"
#include "plate/image_prep.h"

namespace kavrel {
namespace {

enum class Image { kRect, kRoi };

// Fractions of the image's width and height.
struct Window {
  const char* name;
  Image image;
  float x0, y0, x1, y1;
};

constexpr std::array<Window, 10> kWindows = {{
    {"rect_kana_left_lower_wide", Image::kRect, 0.0F, 0.35F, 0.45F, 1.0F},
    {"roi_kana_left_lower_wide", Image::kRoi, 0.0F, 0.35F, 0.45F, 1.0F},
    {"rect_kana_narrow_00_18", Image::kRect, 0.0F, 0.35F, 0.18F, 0.98F},
    {"rect_kana_narrow_00_22", Image::kRect, 0.0F, 0.35F, 0.22F, 0.98F},
    {"rect_kana_narrow_02_26", Image::kRect, 0.02F, 0.38F, 0.26F, 0.98F},
    {"rect_kana_narrow_low", Image::kRect, 0.0F, 0.45F, 0.28F, 1.0F},
    {"roi_kana_narrow_00_18", Image::kRoi, 0.0F, 0.35F, 0.18F, 0.98F},
    {"roi_kana_narrow_00_22", Image::kRoi, 0.0F, 0.35F, 0.22F, 0.98F},
    {"roi_kana_narrow_02_26", Image::kRoi, 0.02F, 0.38F, 0.26F, 0.98F},
    {"roi_kana_narrow_low", Image::kRoi, 0.0F, 0.45F, 0.28F, 1.0F},
}};

struct Candidate {
  std::string name;
  cv::Mat image;
};

std::array<Candidate, 10> variants_of(const std::string& name, const cv::Mat& crop) {
  const cv::Mat gray = make_gray_bgr(crop);
  const cv::Mat clahe = make_clahe_bgr(crop);
  const cv::Mat otsu = make_otsu_bgr(crop);
  const cv::Mat otsu_inv = ~otsu;
  return {{
      {name + "_original", crop},
      {name + "_gray", gray},
      {name + "_clahe", clahe},
      {name + "_sharpen", make_sharpen_bgr(crop)},
      {name + "_otsu", otsu},
      {name + "_otsu_inv", otsu_inv},
      {name + "_up4x", enlarge(crop, 4.0)},
      {name + "_gray_up5x", enlarge(gray, 5.0)},
      {name + "_gray_up8x", enlarge(gray, 8.0)},
      {name + "_clahe_up5x", enlarge(clahe, 5.0)},
  }};
}

constexpr int kBaseWeight = 1;

// What a part of a candidate's name adds to its weight. Narrow windows show little but the kana,
// and strong enlargements and binarisations read best where the plate is small.
struct WeightBonus {
  const char* part;
  int bonus;
};

constexpr std::array<WeightBonus, 6> kWeightBonuses = {{
    {"roi_", 1},
    {"narrow", 3},
    {"gray_up5x", 2},
    {"gray_up8x", 2},
    {"clahe_up5x", 1},
    {"otsu", 1},
}};

// Added to each free reading, so that their number counts first and their weights second.
constexpr int kDirectBonus = 10;

std::vector<Candidate> make_candidates(const cv::Mat& rect, const cv::Mat& roi) {
  std::vector<Candidate> candidates;
  for (const Window& window : kWindows) {
    const cv::Mat& image = window.image == Image::kRect ? rect : roi;
    const cv::Mat crop = crop_ratio(image, window.x0, window.y0, window.x1, window.y1);
    for (Candidate& candidate : variants_of(window.name, crop)) {
      candidates.push_back(std::move(candidate));
    }
  }
  return candidates;
}

void vote(Tally& tally, const std::string& kana, int weight) {
  if (!kana.empty()) tally[kana] += weight;
}

// The winner, announced with the kind of readings that it comes from.
std::string announce_top_vote(const Tally& tally, const std::string& mode) {
  std::string best = pick_top_vote(tally);
  if (!best.empty()) log_line("[KANA_FALLBACK_RESULT] mode=" + mode + " best=" + best);
  return best;
}

}  // namespace

int kana_candidate_weight(const std::string& name) {
  int weight = kBaseWeight;
  for (const auto& [part, bonus] : kWeightBonuses) {
    if (contains(name, part)) weight += bonus;
  }
  return weight;
}

std::string run_kana_fallback(RknnModel& rec, const cv::Mat& rect, const cv::Mat& roi,
                              const std::vector<std::string>& dict, const std::string& out_dir) {
  Tally direct;
  Tally constrained;
  for (const auto& [name, image] : make_candidates(rect, roi)) {
    cv::imwrite(out_dir + "/" + output::picture::kana_candidate(name), image);
    const std::string text = run_ppocr_rec(rec, image, dict);
    const std::string kana = find_kana_or_visual_confusion(text);
    const std::string kana_constrained = run_ppocr_rec_kana_constrained(rec, image, dict);
    log_line("[KANA_FALLBACK] " + name + " text=" + text + " kana=" + kana +
             " kana_constrained=" + kana_constrained);
    const int weight = kana_candidate_weight(name);
    vote(direct, kana, weight + kDirectBonus);
    vote(constrained, kana_constrained, weight);
  }
  const std::string best = announce_top_vote(direct, "direct");
  return best.empty() ? announce_top_vote(constrained, "constrained") : best;
}

}  // namespace kavrel

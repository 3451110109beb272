// The search for a kana that the whole-plate readings did not show.
#ifndef KAVREL_KANA_KANA_FALLBACK_H
#define KAVREL_KANA_KANA_FALLBACK_H

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "npu/rknn_model.h"

namespace kavrel {

// Cuts 10 windows from the lower left of two BGR images of the plate, the rectified one and the
// crop before rectification, makes 10 variants of each, and reads each one freely and narrowed to
// kana. The readings vote by weight; any free reading of a kana outranks all narrowed ones.
// Returns one plate kana, or "" when nothing voted. Writes every candidate to out_dir +
// "/kana_fallback_" + its name + ".jpg". Errors of the recogniser pass through.
std::string run_kana_fallback(RknnModel& rec, const cv::Mat& rect, const cv::Mat& roi,
                              const std::vector<std::string>& dict, const std::string& out_dir);

// Weight of a candidate's vote, 1 to 7, from its name: the window's followed by the variant's.
int kana_candidate_weight(const std::string& name);

}  // namespace kavrel

#endif

#include "ocr/line_recogniser.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

#include "app/base/log.h"
#include "ocr/ctc.h"

namespace kavrel {
namespace {

constexpr int kInputWidth = 320;
constexpr int kInputHeight = 48;

int scaled_length(int length, float scale) {
  return std::max(1, static_cast<int>(std::round(static_cast<float>(length) * scale)));
}

}  // namespace

cv::Mat make_rec_input_rgb(const cv::Mat& crop) {
  if (crop.empty()) throw std::runtime_error("empty crop for recognition");
  const float scale = std::min(static_cast<float>(kInputWidth) / static_cast<float>(crop.cols),
                               static_cast<float>(kInputHeight) / static_cast<float>(crop.rows));
  const cv::Size size(scaled_length(crop.cols, scale), scaled_length(crop.rows, scale));
  cv::Mat canvas(kInputHeight, kInputWidth, CV_8UC3, cv::Scalar::all(255));
  cv::Mat text_area = canvas(cv::Rect(cv::Point(0, 0), size));
  cv::resize(crop, text_area, size, 0.0, 0.0, cv::INTER_LINEAR);
  cv::cvtColor(canvas, canvas, cv::COLOR_BGR2RGB);
  return canvas;
}

std::string run_ppocr_rec(RknnModel& rec, const cv::Mat& crop,
                          const std::vector<std::string>& dict) {
  const auto outputs = rec.infer_uint8_nhwc(make_rec_input_rgb(crop));
  if (outputs.empty() || outputs[0].empty()) throw std::runtime_error("ppocr rec output invalid");
  return ctc_decode(outputs[0], rec.output_attrs().at(0), dict);
}

void align_dict_with_rec_classes(const RknnModel& rec, std::vector<std::string>& dict) {
  const std::vector<std::uint32_t> dims = tensor_dims(rec.output_attrs().at(0));
  const int classes = dims.empty() ? 0 : static_cast<int>(dims.back());
  if (classes <= 0) return;
  const auto expected_chars = static_cast<std::size_t>(classes) - 1;
  if (expected_chars == dict.size() + 1) {
    dict.emplace_back(" ");
    log_line("[WARN] OCR dict was missing one char; appended half-width space in memory.");
  }
  log_line("[INFO] rec_classes=" + std::to_string(classes) + " ocr_chars_after_shape_check=" +
           std::to_string(dict.size()) + " expected_chars=" + std::to_string(expected_chars));
  if (expected_chars != dict.size()) {
    log_line(
        "[WARN] OCR dict size still does not match rec output classes. "
        "CTC decode may be wrong.");
  }
}

}  // namespace kavrel

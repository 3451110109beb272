#include "plate/image_prep.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace kavrel {
namespace {

struct Span {
  int start;
  int length;
};

// The pixels of `size` between two fractions of it.
Span span_of(int size, float from, float to) {
  const auto extent = static_cast<float>(size);
  const auto start = static_cast<int>(clamp_float(std::floor(extent * from), 0.0F, extent - 1.0F));
  const auto end = static_cast<int>(clamp_float(std::ceil(extent * to), 0.0F, extent));
  return {start, std::max(end - start, 1)};
}

}  // namespace

cv::Mat bgr_to_rgb_resized(const cv::Mat& image, int width, int height) {
  cv::Mat rgb;
  cv::resize(image, rgb, cv::Size(width, height), 0.0, 0.0, cv::INTER_LINEAR);
  cv::cvtColor(rgb, rgb, cv::COLOR_BGR2RGB);
  return rgb;
}

cv::Mat make_gray_bgr(const cv::Mat& image) {
  cv::Mat gray;
  cv::cvtColor(image, gray, cv::COLOR_BGR2GRAY);
  cv::Mat bgr;
  cv::cvtColor(gray, bgr, cv::COLOR_GRAY2BGR);
  return bgr;
}

cv::Mat make_clahe_bgr(const cv::Mat& image) {
  cv::Mat lab;
  cv::cvtColor(image, lab, cv::COLOR_BGR2Lab);
  std::vector<cv::Mat> planes;
  cv::split(lab, planes);
  cv::createCLAHE(2.0, cv::Size(8, 8))->apply(planes[0], planes[0]);
  cv::merge(planes, lab);
  cv::Mat bgr;
  cv::cvtColor(lab, bgr, cv::COLOR_Lab2BGR);
  return bgr;
}

cv::Mat make_sharpen_bgr(const cv::Mat& image) {
  cv::Mat blurred;
  cv::GaussianBlur(image, blurred, cv::Size(0, 0), 1.0);
  cv::Mat sharpened;
  cv::addWeighted(image, 1.6, blurred, -0.6, 0.0, sharpened);
  return sharpened;
}

cv::Mat make_otsu_bgr(const cv::Mat& image) {
  cv::Mat levels;
  cv::cvtColor(image, levels, cv::COLOR_BGR2GRAY);
  cv::threshold(levels, levels, 0.0, 255.0, cv::THRESH_BINARY | cv::THRESH_OTSU);
  cv::Mat bgr;
  cv::cvtColor(levels, bgr, cv::COLOR_GRAY2BGR);
  return bgr;
}

cv::Mat enlarge(const cv::Mat& image, double factor) {
  cv::Mat enlarged;
  cv::resize(image, enlarged, cv::Size(), factor, factor, cv::INTER_CUBIC);
  return enlarged;
}

cv::Mat crop_ratio(const cv::Mat& image, float x0, float y0, float x1, float y1) {
  const Span x = span_of(image.cols, x0, x1);
  const Span y = span_of(image.rows, y0, y1);
  return image(cv::Rect(x.start, y.start, x.length, y.length)).clone();
}

bool are_fractions(float x, float y) { return x <= 2.0F && y <= 2.0F; }

float clamp_float(float value, float low, float high) {
  return std::max(low, std::min(high, value));
}

float sigmoid(float x) { return 1.0F / (1.0F + std::exp(-x)); }

}  // namespace kavrel

#include "expected_pictures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "fnv.h"

namespace kavrel_test {
namespace {

const cv::Scalar kGreen(0, 255, 0);
const cv::Scalar kRed(0, 0, 255);

cv::Mat gray_of(const cv::Mat& image) {
  cv::Mat gray;
  cv::cvtColor(image, gray, cv::COLOR_BGR2GRAY);
  return gray;
}

cv::Mat three_channels(const cv::Mat& gray) {
  cv::Mat image;
  cv::cvtColor(gray, image, cv::COLOR_GRAY2BGR);
  return image;
}

cv::Mat equalised(const cv::Mat& image) {
  cv::Mat lab;
  cv::cvtColor(image, lab, cv::COLOR_BGR2Lab);
  std::vector<cv::Mat> planes;
  cv::split(lab, planes);
  cv::createCLAHE(2.0, cv::Size(8, 8))->apply(planes[0], planes[0]);
  cv::merge(planes, lab);
  cv::Mat result;
  cv::cvtColor(lab, result, cv::COLOR_Lab2BGR);
  return result;
}

cv::Mat sharpened(const cv::Mat& image) {
  cv::Mat blurred;
  cv::GaussianBlur(image, blurred, cv::Size(0, 0), 1.0);
  cv::Mat result;
  cv::addWeighted(image, 1.6, blurred, -0.6, 0.0, result);
  return result;
}

cv::Mat enlarged(const cv::Mat& image, double factor) {
  cv::Mat result;
  cv::resize(image, result, cv::Size(), factor, factor, cv::INTER_CUBIC);
  return result;
}

cv::Mat two_level(const cv::Mat& image, int type) {
  cv::Mat result;
  cv::threshold(gray_of(image), result, 0, 255, type | cv::THRESH_OTSU);
  return three_channels(result);
}

int clamped(float value, int low, int high) {
  return std::max(low, std::min(static_cast<int>(value), high));
}

}  // namespace

cv::Mat colourful(int width, int height) {
  cv::Mat image(height, width, CV_8UC3);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      image.at<cv::Vec3b>(y, x) = {static_cast<uchar>(x * 5 + y), static_cast<uchar>(x + y * 7),
                                   static_cast<uchar>((x / 9 + y / 9) % 2 * 180 + x % 50)};
    }
  }
  return image;
}

cv::Mat stretched(const cv::Mat& image, const cv::Size& size) {
  cv::Mat result;
  cv::resize(image, result, size);
  return result;
}

cv::Mat network_input(const cv::Mat& image, int width, int height) {
  cv::Mat result;
  cv::cvtColor(stretched(image, cv::Size(width, height)), result, cv::COLOR_BGR2RGB);
  return result;
}

cv::Mat reader_input(const cv::Mat& crop) {
  const float scale =
      std::min(320.0F / static_cast<float>(crop.cols), 48.0F / static_cast<float>(crop.rows));
  const auto scaled = [scale](int length) {
    return std::max(1, static_cast<int>(std::lround(static_cast<float>(length) * scale)));
  };
  cv::Mat canvas(48, 320, CV_8UC3, cv::Scalar::all(255));
  const cv::Mat resized = stretched(crop, cv::Size(scaled(crop.cols), scaled(crop.rows)));
  resized.copyTo(canvas(cv::Rect(0, 0, resized.cols, resized.rows)));
  cv::cvtColor(canvas, canvas, cv::COLOR_BGR2RGB);
  return canvas;
}

cv::Mat crop_ratio(const cv::Mat& image, const cv::Vec4f& edges) {
  const auto width = static_cast<float>(image.cols);
  const auto height = static_cast<float>(image.rows);
  const int left = clamped(std::floor(width * edges[0]), 0, image.cols - 1);
  const int top = clamped(std::floor(height * edges[1]), 0, image.rows - 1);
  const int right = clamped(std::ceil(width * edges[2]), 0, image.cols);
  const int bottom = clamped(std::ceil(height * edges[3]), 0, image.rows);
  return image(cv::Rect(left, top, std::max(right - left, 1), std::max(bottom - top, 1))).clone();
}

cv::Mat rectified(const cv::Mat& crop, const std::vector<cv::Point2f>& corners) {
  const std::vector<cv::Point2f> upright = {{0, 0}, {319, 0}, {319, 95}, {0, 95}};
  cv::Mat result;
  cv::warpPerspective(crop, result, cv::getPerspectiveTransform(corners, upright),
                      cv::Size(320, 96), cv::INTER_LINEAR, cv::BORDER_REPLICATE);
  return result;
}

cv::Mat with_boxes(const cv::Mat& image, const std::vector<cv::Rect>& boxes) {
  cv::Mat picture = image.clone();
  for (const cv::Rect& box : boxes) cv::rectangle(picture, box, kGreen, 2);
  return picture;
}

cv::Mat with_corners(const cv::Mat& crop, const std::vector<cv::Point2f>& corners) {
  cv::Mat picture = crop.clone();
  for (size_t k = 0; k < 4; ++k) {
    cv::circle(picture, corners[k], 4, kRed, cv::FILLED);
    cv::line(picture, corners[k], corners[(k + 1) % 4], kGreen, 2);
  }
  return picture;
}

std::vector<NamedPicture> plate_variants(const cv::Mat& plate) {
  return {{"original", plate},
          {"gray", three_channels(gray_of(plate))},
          {"clahe", equalised(plate)},
          {"sharpen", sharpened(plate)},
          {"up2x", enlarged(plate, 2)}};
}

std::vector<cv::Mat> read_regions(const cv::Mat& variant) {
  return {variant, crop_ratio(variant, {0, 0, 1, 0.5F}), crop_ratio(variant, {0, 0.38F, 1, 1}),
          crop_ratio(variant, {0.28F, 0.38F, 1, 1})};
}

std::vector<NamedPicture> kana_candidates(const cv::Mat& plate, const cv::Mat& crop) {
  const cv::Vec4f wide(0, 0.35F, 0.45F, 1);
  const std::vector<std::pair<std::string, cv::Vec4f>> narrow = {
      {"00_18", {0, 0.35F, 0.18F, 0.98F}},
      {"00_22", {0, 0.35F, 0.22F, 0.98F}},
      {"02_26", {0.02F, 0.38F, 0.26F, 0.98F}},
      {"low", {0, 0.45F, 0.28F, 1}}};
  std::vector<NamedPicture> regions = {{"rect_kana_left_lower_wide", crop_ratio(plate, wide)},
                                       {"roi_kana_left_lower_wide", crop_ratio(crop, wide)}};
  for (const auto& [source, image] : {NamedPicture{"rect", plate}, NamedPicture{"roi", crop}}) {
    for (const auto& [name, edges] : narrow) {
      regions.push_back({source + "_kana_narrow_" + name, crop_ratio(image, edges)});
    }
  }
  std::vector<NamedPicture> candidates;
  for (const auto& [name, image] : regions) {
    const cv::Mat gray = three_channels(gray_of(image));
    candidates.insert(candidates.end(),
                      {{name + "_original", image},
                       {name + "_gray", gray},
                       {name + "_clahe", equalised(image)},
                       {name + "_sharpen", sharpened(image)},
                       {name + "_otsu", two_level(image, cv::THRESH_BINARY)},
                       {name + "_otsu_inv", two_level(image, cv::THRESH_BINARY_INV)},
                       {name + "_up4x", enlarged(image, 4)},
                       {name + "_gray_up5x", enlarged(gray, 5)},
                       {name + "_gray_up8x", enlarged(gray, 8)},
                       {name + "_clahe_up5x", enlarged(equalised(image), 5)}});
  }
  return candidates;
}

std::string jpeg(const cv::Mat& image) {
  std::vector<uchar> bytes;
  cv::imencode(".jpg", image, bytes);
  return {bytes.begin(), bytes.end()};
}

std::string pixel_hash(const cv::Mat& image) {
  char text[17];
  const uint64_t hash = scripted::fnv1a(image.data, image.total() * image.elemSize());
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
  return text;
}

}  // namespace kavrel_test

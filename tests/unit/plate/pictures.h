// Pictures for the image stages' tests, and what a scripted network says it was given.
#ifndef KAVREL_TESTS_UNIT_PLATE_PICTURES_H
#define KAVREL_TESTS_UNIT_PLATE_PICTURES_H

#include <gtest/gtest.h>

#include <cstdint>
#include <iomanip>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "fnv.h"
#include "support/test_support.h"

namespace kavrel_test {

// Noise of full range: no two rows, columns or channels are alike.
inline cv::Mat noise_image(int width, int height) {
  cv::Mat image(height, width, CV_8UC3);
  std::uint32_t state = 12345;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int channel = 0; channel < 3; ++channel) {
        state = state * 1664525U + 1013904223U;
        image.at<cv::Vec3b>(y, x)[channel] = static_cast<unsigned char>(state >> 24);
      }
    }
  }
  return image;
}

// Each pixel tells where it is: (x, y, 200).
inline cv::Mat coordinate_image(int width, int height) {
  cv::Mat image(height, width, CV_8UC3);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      image.at<cv::Vec3b>(y, x) = {static_cast<unsigned char>(x), static_cast<unsigned char>(y),
                                   200};
    }
  }
  return image;
}

inline cv::Mat plain_image(int width, int height, const cv::Scalar& bgr) {
  return {height, width, CV_8UC3, bgr};
}

// One row of grey pixels.
inline cv::Mat grey_row(const std::vector<int>& values) {
  cv::Mat image(1, static_cast<int>(values.size()), CV_8UC3);
  for (int x = 0; x < image.cols; ++x) {
    const auto value = static_cast<unsigned char>(values[static_cast<std::size_t>(x)]);
    image.at<cv::Vec3b>(0, x) = {value, value, value};
  }
  return image;
}

// One channel of one row.
inline std::vector<int> row_values(const cv::Mat& image, int y, int channel) {
  std::vector<int> values;
  for (int x = 0; x < image.cols; ++x) values.push_back(image.at<cv::Vec3b>(y, x)[channel]);
  return values;
}

// Same size and type, and no channel of a pixel further apart than `tolerance`.
inline testing::AssertionResult same_pixels(const cv::Mat& actual, const cv::Mat& expected,
                                            double tolerance = 0.0) {
  if (actual.size() != expected.size() || actual.type() != expected.type()) {
    return testing::AssertionFailure()
           << actual.size() << " type " << actual.type() << " instead of " << expected.size()
           << " type " << expected.type();
  }
  const double difference = cv::norm(actual, expected, cv::NORM_INF);
  if (difference <= tolerance) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "values differ by up to " << difference;
}

// The image with its channels in reverse order.
inline cv::Mat channels_reversed(const cv::Mat& image) {
  std::vector<cv::Mat> planes;
  cv::split(image, planes);
  std::swap(planes[0], planes[2]);
  cv::Mat reversed;
  cv::merge(planes, reversed);
  return reversed;
}

// What a network of this input size is to be given for a BGR image.
inline cv::Mat stretched_rgb(const cv::Mat& image, int width, int height) {
  cv::Mat resized;
  cv::resize(image, resized, {width, height}, 0.0, 0.0, cv::INTER_LINEAR);
  return channels_reversed(resized);
}

// The bytes of a JPEG file with the library's default quality.
inline std::string jpeg_of(const cv::Mat& image) {
  std::vector<unsigned char> bytes;
  cv::imencode(".jpg", image, bytes);
  return {bytes.begin(), bytes.end()};
}

// `image` with green frames two pixels thick.
inline cv::Mat with_frames(const cv::Mat& image, const std::vector<cv::Rect>& boxes) {
  cv::Mat picture = image.clone();
  for (const cv::Rect& box : boxes) {
    cv::rectangle(picture, box, cv::Scalar(0, 255, 0), 2, cv::LINE_8, 0);
  }
  return picture;
}

// A network input as the scripted runtime logs it: bytes and hash of the pixels.
inline std::string logged(const cv::Mat& rgb) {
  const std::size_t size = rgb.total() * rgb.elemSize();
  std::ostringstream text;
  text << "size=" << size << " pixels=" << std::hex << std::setfill('0') << std::setw(16)
       << scripted::fnv1a(rgb.data, size);
  return text.str();
}

// The inputs that the network called `label` was given, in order, each as `logged` says it.
inline std::vector<std::string> inputs_of(const RuntimeLog& log, const std::string& label) {
  const auto word_at = [](const std::string& line, const std::string& key) {
    const std::size_t start = line.find(key);
    return line.substr(start, line.find_first_of(" ]", start) - start);
  };
  std::vector<std::string> inputs;
  for (const std::string& line : log.lines()) {
    if (line.rfind("rknn_inputs_set " + label + " ", 0) != 0) continue;
    inputs.push_back(word_at(line, "size=") + " " + word_at(line, "pixels="));
  }
  return inputs;
}

}  // namespace kavrel_test

#endif

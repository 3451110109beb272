// The pictures that a run must hand to its networks and write to disk, made here anew.
#ifndef KAVREL_TESTS_PROGRAM_EXPECTED_PICTURES_H
#define KAVREL_TESTS_PROGRAM_EXPECTED_PICTURES_H

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace kavrel_test {

// A colour picture in which every row, column and channel differs.
cv::Mat colourful(int width, int height);

// What a network of this size sees: stretched, red first.
cv::Mat network_input(const cv::Mat& image, int width, int height);
// What the recogniser sees: 320 x 48, the crop scaled into the top left corner, white elsewhere.
cv::Mat reader_input(const cv::Mat& crop);

cv::Mat stretched(const cv::Mat& image, const cv::Size& size);
cv::Mat crop_ratio(const cv::Mat& image, const cv::Vec4f& edges);
cv::Mat rectified(const cv::Mat& crop, const std::vector<cv::Point2f>& corners);
cv::Mat with_boxes(const cv::Mat& image, const std::vector<cv::Rect>& boxes);
cv::Mat with_corners(const cv::Mat& crop, const std::vector<cv::Point2f>& corners);

struct NamedPicture {
  std::string name;
  cv::Mat image;
};
std::vector<NamedPicture> plate_variants(const cv::Mat& plate);
// The four regions that are read in every variant: whole, upper row, lower row, serial area.
std::vector<cv::Mat> read_regions(const cv::Mat& variant);
// The hundred pictures in which a missing kana is searched.
std::vector<NamedPicture> kana_candidates(const cv::Mat& plate, const cv::Mat& crop);

// The bytes of the picture as a JPEG file with default settings.
std::string jpeg(const cv::Mat& image);
// The picture's hash as the runtime logs it.
std::string pixel_hash(const cv::Mat& image);

}  // namespace kavrel_test

#endif

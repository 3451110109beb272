// Pictures for tests: made, compared, and looked at as files and as inputs of a network.
#ifndef KAVREL_TESTS_SUPPORT_PICTURES_H
#define KAVREL_TESTS_SUPPORT_PICTURES_H

#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace kavrel_test {

cv::Mat plain_image(int width, int height, const cv::Scalar& bgr);
// One row of grey pixels.
cv::Mat grey_row(const std::vector<int>& values);
// Noise of full range: no two rows, columns or channels are alike.
cv::Mat noise_image(int width, int height);
// Each pixel tells where it is: (x, y, 200).
cv::Mat coordinate_image(int width, int height);
// Each place has a colour of its own that changes slowly, so that JPEG keeps it: blue grows from 60
// at the left edge to 180 at the right one, red from the top to the bottom; green is 60.
cv::Mat gradient_image(int width, int height);

// The colour of a place in a gradient_image of this size, also between its pixels.
cv::Vec3b gradient_at(const cv::Point2d& place, const cv::Size& size);

// One channel of one row.
std::vector<int> row_values(const cv::Mat& image, int y, int channel);

// Same size and type, and no channel of a pixel further apart than `tolerance`.
testing::AssertionResult same_pixels(const cv::Mat& actual, const cv::Mat& expected,
                                     double tolerance = 0.0);
// No channel of the pixel further than `tolerance` from this colour.
testing::AssertionResult has_colour(const cv::Mat& picture, const cv::Point& place,
                                    const cv::Vec3b& bgr, double tolerance = 8.0);
testing::AssertionResult same_pictures(const std::vector<cv::Mat>& actual,
                                       const std::vector<cv::Mat>& expected);

// The image with its channels in reverse order.
cv::Mat channels_reversed(const cv::Mat& image);

// The bytes of a JPEG file with the library's default quality.
std::string jpeg_of(const cv::Mat& image);
// A picture file as it is shown: in colour, and as lossy as the file.
cv::Mat decoded(const std::string& bytes);

// What a network of this input size was shown, from the bytes of each run.
std::vector<cv::Mat> inputs_of(const std::vector<std::string>& bytes, const cv::Size& size);

// What a pixel shows: R, G, B, or C, M, Y for the colours of two of them; for grey a digit from 0,
// black, to 9, white.
char letter_at(const cv::Mat& picture, const cv::Point& place);
// What the middle of each of columns x rows cells shows, one line of text for each row.
std::vector<std::string> sketch(const cv::Mat& picture, int columns, int rows);

// That a picture is `image`, which changes slowly, stretched to another size: both show the same in
// their corners.
void expect_stretched(const cv::Mat& picture, const cv::Mat& image);

// That a JPEG picture is `image` with green frames, two pixels thick as OpenCV has it, around these
// boxes, and nothing else. The image must be one that JPEG keeps.
void expect_frames(const cv::Mat& picture, const cv::Mat& image,
                   const std::vector<cv::Rect>& boxes);

}  // namespace kavrel_test

#endif

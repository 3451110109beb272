#include "tests/support/pictures.h"

#include <algorithm>
#include <cstdint>
#include <opencv2/imgcodecs.hpp>
#include <utility>

namespace kavrel_test {
namespace {

// How far JPEG moves a smooth colour.
constexpr double kJpegError = 16.0;

// From 60 to 180.
unsigned char ascending(double part, int whole) {
  return cv::saturate_cast<unsigned char>(60 + (whole == 0 ? 0 : 120 * part / whole));
}

bool is_green(const cv::Vec3b& pixel) { return pixel[1] - std::max(pixel[0], pixel[2]) > 105; }

// Whether a pixel is so close to the edge of a box that the line or JPEG may have changed it.
bool is_near_edge(const cv::Rect& box, const cv::Point& pixel) {
  constexpr int kReach = 6;
  const cv::Point reach(kReach, kReach);
  return pixel.inside({box.tl() - reach, box.br() + reach}) &&
         !pixel.inside({box.tl() + reach, box.br() - reach});
}

bool is_near_an_edge(const std::vector<cv::Rect>& boxes, const cv::Point& pixel) {
  return std::any_of(boxes.begin(), boxes.end(),
                     [&](const cv::Rect& box) { return is_near_edge(box, pixel); });
}

// That a line runs across `step`, and is three pixels thick: OpenCV draws one more than it is asked
// for. Other boxes may be so near that their lines join it.
void expect_line(const cv::Mat& picture, const cv::Point& place, const cv::Point& step,
                 const std::vector<cv::Rect>& others) {
  const cv::Rect everything(cv::Point(), picture.size());
  for (int away = -2; away <= 2; ++away) {
    const cv::Point at = place + step * away;
    const bool is_on_line = std::abs(away) < 2;
    if (!at.inside(everything) || (!is_on_line && is_near_an_edge(others, at))) continue;
    EXPECT_EQ(is_green(picture.at<cv::Vec3b>(at)), is_on_line)
        << picture.at<cv::Vec3b>(at) << " at " << at << ", by a line through " << place;
  }
}

}  // namespace

cv::Mat plain_image(int width, int height, const cv::Scalar& bgr) {
  return {height, width, CV_8UC3, bgr};
}

cv::Mat grey_row(const std::vector<int>& values) {
  cv::Mat image(1, static_cast<int>(values.size()), CV_8UC3);
  for (int x = 0; x < image.cols; ++x) {
    const auto value = static_cast<unsigned char>(values[static_cast<std::size_t>(x)]);
    image.at<cv::Vec3b>(0, x) = {value, value, value};
  }
  return image;
}

cv::Mat noise_image(int width, int height) {
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

cv::Mat coordinate_image(int width, int height) {
  cv::Mat image(height, width, CV_8UC3);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      image.at<cv::Vec3b>(y, x) = {static_cast<unsigned char>(x), static_cast<unsigned char>(y),
                                   200};
    }
  }
  return image;
}

cv::Mat gradient_image(int width, int height) {
  cv::Mat image(height, width, CV_8UC3);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      image.at<cv::Vec3b>(y, x) = gradient_at(cv::Point(x, y), image.size());
    }
  }
  return image;
}

cv::Vec3b gradient_at(const cv::Point2d& place, const cv::Size& size) {
  return {ascending(place.x, size.width - 1), 60, ascending(place.y, size.height - 1)};
}

std::vector<int> row_values(const cv::Mat& image, int y, int channel) {
  std::vector<int> values;
  for (int x = 0; x < image.cols; ++x) values.push_back(image.at<cv::Vec3b>(y, x)[channel]);
  return values;
}

testing::AssertionResult same_pixels(const cv::Mat& actual, const cv::Mat& expected,
                                     double tolerance) {
  if (actual.size() != expected.size() || actual.type() != expected.type()) {
    return testing::AssertionFailure()
           << actual.size() << " type " << actual.type() << " instead of " << expected.size()
           << " type " << expected.type();
  }
  const double difference = cv::norm(actual, expected, cv::NORM_INF);
  if (difference <= tolerance) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "values differ by up to " << difference;
}

testing::AssertionResult has_colour(const cv::Mat& picture, const cv::Point& place,
                                    const cv::Vec3b& bgr, double tolerance) {
  if (!place.inside({cv::Point(), picture.size()})) {
    return testing::AssertionFailure() << place << " is outside of " << picture.size();
  }
  const cv::Vec3b& pixel = picture.at<cv::Vec3b>(place);
  if (cv::norm(pixel, bgr, cv::NORM_INF) <= tolerance) return testing::AssertionSuccess();
  return testing::AssertionFailure() << place << " is " << pixel << " instead of " << bgr;
}

testing::AssertionResult same_pictures(const std::vector<cv::Mat>& actual,
                                       const std::vector<cv::Mat>& expected) {
  if (actual.size() != expected.size()) {
    return testing::AssertionFailure()
           << actual.size() << " pictures instead of " << expected.size();
  }
  for (std::size_t i = 0; i < actual.size(); ++i) {
    const testing::AssertionResult same = same_pixels(actual[i], expected[i]);
    if (!same) return testing::AssertionFailure() << "picture " << i << ": " << same.message();
  }
  return testing::AssertionSuccess();
}

cv::Mat channels_reversed(const cv::Mat& image) {
  std::vector<cv::Mat> planes;
  cv::split(image, planes);
  std::swap(planes[0], planes[2]);
  cv::Mat reversed;
  cv::merge(planes, reversed);
  return reversed;
}

std::string jpeg_of(const cv::Mat& image) {
  std::vector<unsigned char> bytes;
  cv::imencode(".jpg", image, bytes);
  return {bytes.begin(), bytes.end()};
}

cv::Mat decoded(const std::string& bytes) {
  return cv::imdecode(std::vector<unsigned char>(bytes.begin(), bytes.end()), cv::IMREAD_COLOR);
}

std::vector<cv::Mat> inputs_of(const std::vector<std::string>& bytes, const cv::Size& size) {
  std::vector<cv::Mat> inputs;
  for (const std::string& input : bytes) {
    inputs.emplace_back(size, CV_8UC3, cv::Scalar::all(0));
    const std::size_t wanted = inputs.back().total() * inputs.back().elemSize();
    EXPECT_EQ(input.size(), wanted) << "the picture has another size";
    std::copy_n(input.begin(), std::min(input.size(), wanted), inputs.back().data);
  }
  return inputs;
}

char letter_at(const cv::Mat& picture, const cv::Point& place) {
  const auto pixel = picture.at<cv::Vec3b>(place);
  const auto [low, high] = std::minmax({pixel[0], pixel[1], pixel[2]});
  if (high - low <= 40) return static_cast<char>('0' + cvRound(pixel[1] * 9 / 255.0));
  // By the channels that are bright, red as 4, green as 2, blue as 1.
  const int bright = (pixel[2] >= 128 ? 4 : 0) + (pixel[1] >= 128 ? 2 : 0) + (pixel[0] >= 128);
  return "-BGCRMY-"[bright];
}

std::vector<std::string> sketch(const cv::Mat& picture, int columns, int rows) {
  std::vector<std::string> lines;
  for (int row = 0; row < rows; ++row) {
    lines.emplace_back();
    for (int column = 0; column < columns; ++column) {
      const int x = (2 * column + 1) * picture.cols / (2 * columns);
      const int y = (2 * row + 1) * picture.rows / (2 * rows);
      lines.back() += letter_at(picture, {x, y});
    }
  }
  return lines;
}

void expect_stretched(const cv::Mat& picture, const cv::Mat& image) {
  // The pixel of the image that lies under the middle of the picture's first or last one.
  const auto under = [](int pixel, int size, int image_size) {
    return static_cast<int>((pixel + 0.5) * image_size / size);
  };
  for (const int y : {0, picture.rows - 1}) {
    for (const int x : {0, picture.cols - 1}) {
      EXPECT_TRUE(has_colour(picture, {x, y},
                             image.at<cv::Vec3b>(under(y, picture.rows, image.rows),
                                                 under(x, picture.cols, image.cols))));
    }
  }
}

void expect_frames(const cv::Mat& picture, const cv::Mat& image,
                   const std::vector<cv::Rect>& boxes) {
  ASSERT_EQ(picture.size(), image.size());
  for (std::size_t i = 0; i < boxes.size(); ++i) {
    const cv::Rect& box = boxes[i];
    SCOPED_TRACE(testing::Message() << "frame around " << box);
    std::vector<cv::Rect> others = boxes;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
    const cv::Point last = box.br() - cv::Point(1, 1);
    const cv::Point middle = (box.tl() + last) / 2;
    expect_line(picture, {box.x, middle.y}, {1, 0}, others);
    expect_line(picture, {last.x, middle.y}, {1, 0}, others);
    expect_line(picture, {middle.x, box.y}, {0, 1}, others);
    expect_line(picture, {middle.x, last.y}, {0, 1}, others);
  }
  int changed = 0;
  for (int y = 0; y < image.rows; ++y) {
    for (int x = 0; x < image.cols; ++x) {
      if (is_near_an_edge(boxes, {x, y})) continue;
      const cv::Vec3b& pixel = picture.at<cv::Vec3b>(y, x);
      if (cv::norm(pixel, image.at<cv::Vec3b>(y, x), cv::NORM_INF) > kJpegError) ++changed;
    }
  }
  EXPECT_EQ(changed, 0) << "pixels away from the frames are not the image's";
}

}  // namespace kavrel_test

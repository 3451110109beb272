#include "report/run/picture.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "app/base/files.h"
#include "app/base/output_format.h"

namespace kavrel::report {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::uintmax_t kLargestFile = 64 << 20;
constexpr std::size_t kLargestEmbedded = 14 << 10;
constexpr int kJpegQuality = 80;

// Large pictures are decoded at a fraction of their size, which JPEG allows and which is quick. A
// file of these sizes has more pixels than a page shows even then.
int decoding_flags(std::size_t size) {
  if (size > 1500000) return cv::IMREAD_REDUCED_COLOR_8;
  return size > 300000 ? cv::IMREAD_REDUCED_COLOR_4 : cv::IMREAD_COLOR;
}

std::string base64(const Bytes& bytes) {
  constexpr const char* kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const auto byte = [&](std::size_t k) { return i + k < bytes.size() ? bytes[i + k] : 0U; };
    const unsigned group = byte(0) << 16U | byte(1) << 8U | byte(2);
    for (int shift = 18; shift >= 0; shift -= 6) text += kDigits[group >> shift & 63U];
  }
  const std::size_t padding = (3 - bytes.size() % 3) % 3;
  return text.replace(text.size() - padding, padding, padding, '=');
}

bool is_jpeg(const Bytes& bytes) {
  return bytes.size() > 2 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF;
}

// Empty unless the path is a plain file, as a pipe might make us wait, and not a huge one.
Bytes picture_bytes(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return {};
  if (std::filesystem::file_size(path, error) > kLargestFile) return {};
  return read_file_binary(path);
}

// A JPEG file is a row of segments: a marker, what the segment holds, and its length.
constexpr int kMarker = 0xFF;
constexpr int kStartOfImage = 0xD8;

int next_byte(std::istream& file) { return file.get(); }

int next_number(std::istream& file) {
  const int high = next_byte(file);
  return high * 256 + next_byte(file);
}

// The segments that tell the size: 0xC0 to 0xCF but three that are tables.
bool is_frame_header(int segment) {
  return segment >= 0xC0 && segment <= 0xCF && segment != 0xC4 && segment != 0xC8 &&
         segment != 0xCC;
}

Bytes smaller_copy(const cv::Mat& picture, double scale) {
  cv::Mat copy = picture;
  if (scale < 1) cv::resize(picture, copy, cv::Size(), scale, scale, cv::INTER_AREA);
  Bytes bytes;
  cv::imencode(".jpg", copy, bytes, {cv::IMWRITE_JPEG_QUALITY, kJpegQuality});
  return bytes;
}

}  // namespace

cv::Mat read_picture(const std::string& path) {
  try {
    const Bytes bytes = picture_bytes(path);
    return bytes.empty() ? cv::Mat() : cv::imdecode(bytes, cv::IMREAD_COLOR);
  } catch (const std::exception&) {
    return {};
  }
}

std::optional<cv::Size> picture_size(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return std::nullopt;
  std::ifstream file(path, std::ios::binary);
  if (next_byte(file) != kMarker || next_byte(file) != kStartOfImage) return std::nullopt;
  while (next_byte(file) == kMarker) {
    const int segment = next_byte(file);
    const int length = next_number(file);
    if (is_frame_header(segment)) {
      next_byte(file);  // bits of a sample
      const int height = next_number(file);
      const int width = next_number(file);
      return file ? std::optional(cv::Size(width, height)) : std::nullopt;
    }
    file.seekg(length - 2, std::ios::cur);
  }
  return std::nullopt;
}

std::string picture_address(const std::string& path, int width, int height) {
  try {
    Bytes bytes = picture_bytes(path);
    if (bytes.empty()) return "";
    const cv::Mat picture = cv::imdecode(bytes, decoding_flags(bytes.size()));
    if (picture.empty()) return "";
    const double scale = std::min(static_cast<double>(width) / picture.cols,
                                  static_cast<double>(height) / picture.rows);
    if (scale < 1 || bytes.size() > kLargestEmbedded || !is_jpeg(bytes)) {
      bytes = smaller_copy(picture, scale);
    }
    return "data:image/jpeg;base64," + base64(bytes);
  } catch (const std::exception&) {
    return "";
  }
}

std::string case_picture(const RecordedRun& run, std::size_t frame, const char* name, int width,
                         int height) {
  if (run.overwritten.count(frame) > 0) return "";
  return picture_address(output::case_dir(run.dir, run.frames[frame].image_path) + "/" + name,
                         width, height);
}

}  // namespace kavrel::report

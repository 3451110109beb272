#include "report/list/picture_facts.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <optional>
#include <string_view>
#include <utility>

namespace kavrel::report {
namespace {

namespace fs = std::filesystem;

// OpenCV's own limits.
constexpr std::int64_t kMostPixels = std::int64_t{1} << 30;
constexpr std::int64_t kLongestSide = std::int64_t{1} << 20;

// Larger ones are taken at the word of their header: decoding them takes gigabytes.
constexpr std::int64_t kMostDecoded = std::int64_t{1} << 27;

bool is_file(const fs::path& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

std::string found_elsewhere(const std::string& path, const std::string& list_path) {
  std::string slashed = path;
  std::replace(slashed.begin(), slashed.end(), '\\', '/');
  const fs::path folder = fs::path(list_path).parent_path();
  for (const fs::path& place : {fs::path(slashed), folder / path, folder / slashed}) {
    if (is_file(place)) return place.string();
  }
  return "";
}

// Nothing is known of the size of what is no PNG file.
struct Size {
  std::int64_t width = 0;
  std::int64_t height = 0;
};

// A PNG file begins with its size, and is decoded as a whole; of a JPEG file an eighth can be.
Size png_size(const std::string& path) {
  constexpr std::string_view kSignature = "\x89PNG\r\n\x1A\n";
  constexpr std::size_t kWidthAt = 16;
  std::array<char, kWidthAt + 8> head{};
  std::ifstream file(path, std::ios::binary);
  if (!file.read(head.data(), head.size())) return {};
  if (std::string_view(head.data(), kSignature.size()) != kSignature) return {};
  const auto number_at = [&](std::size_t at) {
    std::int64_t number = 0;
    for (std::size_t i = at; i < at + 4; ++i) {
      number = number * 256 + static_cast<unsigned char>(head[i]);
    }
    return number;
  };
  return {number_at(kWidthAt), number_at(kWidthAt + 4)};
}

// 0 of what cannot be read; nothing of what has too many.
std::optional<std::int64_t> decoded_pixels(const std::string& path) {
  constexpr std::pair<int, std::int64_t> kEighth = {cv::IMREAD_REDUCED_COLOR_8, 64};
  constexpr std::pair<int, std::int64_t> kWhole = {cv::IMREAD_COLOR, 1};
  // OpenCV throws at too many pixels, and at an eighth of a side that has fewer than eight.
  for (const auto& [flags, scale] : {kEighth, kWhole}) {
    try {
      return scale * static_cast<std::int64_t>(cv::imread(path, flags).total());
    } catch (const cv::Exception&) {
      continue;
    }
  }
  return std::nullopt;
}

}  // namespace

PictureFacts look_at_picture(const std::string& path, const std::string& list_path) {
  if (!fs::exists(path)) {
    const std::string place = found_elsewhere(path, list_path);
    return {place.empty() ? PictureState::kMissing : PictureState::kElsewhere, 0, place};
  }
  const Size png = png_size(path);
  const std::int64_t png_pixels = png.width * png.height;
  if (std::max(png.width, png.height) > kLongestSide || png_pixels > kMostPixels) {
    return {PictureState::kTooLarge, png_pixels, ""};
  }
  if (png_pixels > kMostDecoded) return {PictureState::kReadable, png_pixels, ""};
  const auto pixels = decoded_pixels(path);
  if (!pixels) return {PictureState::kTooLarge, 0, ""};
  if (*pixels == 0) return {PictureState::kUnreadable, 0, ""};
  return {PictureState::kReadable, png_pixels > 0 ? png_pixels : *pixels, ""};
}

// Measured with pictures of 0.5, 2 and 48 megapixels that show no plate: the kana search enlarges
// parts of the crop, which is the whole picture then.
std::int64_t bytes_for_picture(std::int64_t pixels) {
  constexpr std::int64_t kAnyCase = 140000000;
  constexpr std::int64_t kPixel = 343;
  return kAnyCase + kPixel * pixels;
}

}  // namespace kavrel::report

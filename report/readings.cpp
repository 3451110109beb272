#include <algorithm>
#include <array>
#include <string_view>

#include "app/base/text.h"
#include "report/run.h"

namespace kavrel::report {
namespace {

constexpr std::string_view kSeparator = " / ";

// Ends of a source, behind the name of the image variant.
constexpr std::array<std::string_view, 4> kRegions = {"_full", "_upper_row", "_lower_row",
                                                      "_serial_area"};
constexpr std::string_view kBox = "_det_crop_";

bool is_name_byte(char byte) { return is_ascii_digit(byte) || (byte >= 'a' && byte <= 'z'); }

// Where the text of the reading that begins at `begin` stands; npos if no reading begins there.
std::size_t text_of_reading(const std::string& texts, std::size_t begin) {
  std::size_t at = begin;
  while (at < texts.size() && is_name_byte(texts[at])) ++at;
  if (at == begin) return std::string::npos;
  for (const std::string_view region : kRegions) {
    const std::size_t end = at + region.size();
    if (texts.compare(at, region.size(), region) == 0 && texts[end] == ':') return end + 1;
  }
  if (texts.compare(at, kBox.size(), kBox) != 0) return std::string::npos;
  const std::size_t number = at + kBox.size();
  at = number;
  while (is_ascii_digit(texts[at])) ++at;
  return at > number && texts[at] == ':' ? at + 1 : std::string::npos;
}

// Where the next reading's separator stands, or the end of all.
std::size_t end_of_reading(const std::string& texts, std::size_t from) {
  std::size_t separator = texts.find(kSeparator, from);
  while (separator != std::string::npos &&
         text_of_reading(texts, separator + kSeparator.size()) == std::string::npos) {
    separator = texts.find(kSeparator, separator + 1);
  }
  return std::min(separator, texts.size());
}

}  // namespace

std::vector<OcrText> split_ocr_texts(const std::string& ocr_texts) {
  std::vector<OcrText> readings;
  std::size_t begin = 0;
  while (begin < ocr_texts.size()) {
    const std::size_t text = text_of_reading(ocr_texts, begin);
    if (text == std::string::npos) break;
    const std::size_t end = end_of_reading(ocr_texts, text);
    readings.push_back(
        {ocr_texts.substr(begin, text - 1 - begin), ocr_texts.substr(text, end - text)});
    begin = end + kSeparator.size();
  }
  return readings;
}

}  // namespace kavrel::report

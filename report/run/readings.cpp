#include <algorithm>
#include <string_view>

#include "app/base/output_format.h"
#include "app/base/text.h"
#include "report/run/run.h"

namespace kavrel::report {
namespace {

constexpr std::string_view kSeparator = output::kReadingSeparator;
constexpr std::string_view kTextLine = output::source::kTextLine;

bool is_name_byte(char byte) { return is_ascii_digit(byte) || (byte >= 'a' && byte <= 'z'); }

bool stands_at(const std::string& texts, std::size_t at, std::string_view part) {
  return texts.compare(at, part.size(), part) == 0;
}

// The end of the window or text line that begins at `begin`; npos if none does.
std::size_t end_of_source(const std::string& texts, std::size_t begin) {
  for (const std::string_view window : output::source::kWindows) {
    if (stands_at(texts, begin, window)) return begin + window.size();
  }
  if (!stands_at(texts, begin, kTextLine)) return std::string::npos;
  const std::size_t number = begin + kTextLine.size();
  std::size_t end = number;
  while (is_ascii_digit(texts[end])) ++end;
  return end > number ? end : std::string::npos;
}

// Where the text of the reading that begins at `begin` stands; npos if no reading begins there.
std::size_t text_of_reading(const std::string& texts, std::size_t begin) {
  std::size_t variant_end = begin;
  while (variant_end < texts.size() && is_name_byte(texts[variant_end])) ++variant_end;
  if (variant_end == begin || texts[variant_end] != '_') return std::string::npos;
  const std::size_t end = end_of_source(texts, variant_end + 1);
  return end != std::string::npos && texts[end] == output::kSourceEnd ? end + 1 : std::string::npos;
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

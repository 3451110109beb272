#include "report/base/unicode.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace kavrel::report {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kFirstByte = 0x10FF00;  // characters that stand for bytes

struct Range {
  char32_t first;
  char32_t last;
};

// C1 controls, marks and overrides of direction, and what is no character at all.
constexpr std::array<Range, 7> kNeverShown = {{
    {0x80, 0x9F},
    {0x61C, 0x61C},
    {0x200E, 0x200F},
    {0x202A, 0x202E},
    {0x2066, 0x2069},
    {0xFDD0, 0xFDEF},
    {0xFFFE, 0xFFFF},
}};

char32_t shown(char32_t character) {
  constexpr char32_t kFirstPicture = 0x2400;
  constexpr char32_t kPictureOfDelete = 0x2421;
  if (character < U' ') return kFirstPicture + character;
  if (character == 0x7F) return kPictureOfDelete;
  const bool never = (character & 0xFFFE) == 0xFFFE ||
                     std::any_of(kNeverShown.begin(), kNeverShown.end(), [&](const Range& range) {
                       return character >= range.first && character <= range.last;
                     });
  return never ? kReplacement : character;
}

}  // namespace

std::u32string code_points(const std::string& text) {
  std::u32string points;
  auto begin = text.begin();
  while (begin != text.end()) {
    const auto bad = utf8::find_invalid(begin, text.end());
    utf8::unchecked::utf8to32(begin, bad, std::back_inserter(points));
    if (bad == text.end()) break;
    points += kReplacement;
    begin = std::next(bad);
  }
  return points;
}

std::string utf8(const std::u32string& points) {
  std::string bytes;
  for (const char32_t point : points) utf8::unchecked::append(point, std::back_inserter(bytes));
  return bytes;
}

std::string printable(const std::u32string& text) {
  std::string bytes;
  for (const char32_t character : text) {
    utf8::unchecked::append(shown(character), std::back_inserter(bytes));
  }
  return bytes;
}

std::string printable(const std::string& text) { return printable(code_points(text)); }

std::string bytes_as_text(const std::string& bytes) {
  std::string text;
  const auto add_byte = [&](char byte) {
    utf8::unchecked::append(kFirstByte + static_cast<unsigned char>(byte),
                            std::back_inserter(text));
  };
  for (auto at = bytes.begin(); at != bytes.end();) {
    auto next = at;
    const bool is_valid =
        utf8::internal::validate_next(next, bytes.end()) == utf8::internal::UTF8_OK;
    if (!is_valid) next = std::next(at);
    const bool is_plain = is_valid && utf8::unchecked::peek_next(at) < kFirstByte;
    if (is_plain) {
      text.append(at, next);
    } else {
      std::for_each(at, next, add_byte);
    }
    at = next;
  }
  return text;
}

std::string text_as_bytes(const std::string& text) {
  std::string bytes;
  for (const char32_t point : code_points(text)) {
    if (point >= kFirstByte) {
      bytes += static_cast<char>(point - kFirstByte);
    } else {
      utf8::unchecked::append(point, std::back_inserter(bytes));
    }
  }
  return bytes;
}

}  // namespace kavrel::report

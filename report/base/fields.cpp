#include "report/base/fields.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "app/base/text.h"
#include "reading/plate_text.h"

namespace kavrel::report {
namespace {

std::vector<std::string> parts_between_blanks(const std::string& text) {
  std::vector<std::string> parts(1);
  for (const char byte : text) {
    if (remove_spaces({byte}).empty()) {
      if (!parts.back().empty()) parts.emplace_back();
    } else {
      parts.back() += byte;
    }
  }
  if (parts.back().empty()) parts.pop_back();
  return parts;
}

bool starts_character(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }

}  // namespace

std::optional<PlateFields> split_plate_number(const std::string& text) {
  const std::vector<std::string> parts = parts_between_blanks(text);
  if (parts.size() == kFields.size()) {
    return PlateFields{parts[0], parts[1], parts[2], parts[3], ""};
  }
  const std::string plate = normalize_plate_text(text);
  const auto class_no = std::find_if(plate.begin(), plate.end(), is_ascii_digit);
  const auto kana = std::find_if_not(class_no, plate.end(), is_ascii_digit);
  if (class_no == plate.begin() || kana == plate.end() || *kana == '-') return std::nullopt;
  const auto serial = std::find_if(std::next(kana), plate.end(), starts_character);
  if (serial == plate.end()) return std::nullopt;
  return PlateFields{
      {plate.begin(), class_no}, {class_no, kana}, {kana, serial}, {serial, plate.end()}, ""};
}

}  // namespace kavrel::report

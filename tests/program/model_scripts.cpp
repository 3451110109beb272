#include "tests/program/model_scripts.h"

#include <algorithm>
#include <stdexcept>

namespace kavrel_test {
namespace {

std::size_t class_of(const std::string& entry) {
  const auto& entries = ocr_dictionary();
  const auto found = std::find(entries.begin(), entries.end(), entry);
  if (found == entries.end()) throw std::invalid_argument("not in the dictionary: " + entry);
  return static_cast<std::size_t>(found - entries.begin()) + 1;
}

// Bytes of the UTF-8 character that begins with `lead`.
std::size_t character_length(char lead) {
  const auto byte = static_cast<unsigned char>(lead);
  if (byte < 0x80) return 1;
  if (byte < 0xe0) return 2;
  return byte < 0xf0 ? 3 : 4;
}

// Equal neighbours need a blank between them, or they decode to one character.
std::vector<std::size_t> classes_of(const std::string& text) {
  std::vector<std::size_t> classes;
  for (std::size_t at = 0; at < text.size(); at += character_length(text[at])) {
    const std::size_t next = class_of(text.substr(at, character_length(text[at])));
    if (!classes.empty() && classes.back() == next) classes.push_back(0);
    classes.push_back(next);
  }
  if (classes.size() > static_cast<std::size_t>(kSteps))
    throw std::invalid_argument("long: " + text);
  return classes;
}

}  // namespace

const PlateTexts kShinagawa = {"品川500あ12-34", "品川500", "あ12-34", "12-34"};

const std::vector<std::string>& ocr_dictionary() {
  static const std::vector<std::string> kEntries = {"0",  "1",  "2",  "3",  "4",  "5",  "6",  "7",
                                                    "8",  "9",  "-",  "品", "川", "横", "浜", "あ",
                                                    "か", "さ", "は", "わ", "愛", "爱", "\"", ","};
  return kEntries;
}

std::string as_lines(const std::vector<std::string>& entries) {
  std::string text;
  for (const std::string& entry : entries) text += entry + "\n";
  return text;
}

std::string plate_detector_script(const std::string& answers) {
  return "name plate\ninput image 1,3,320,416\noutput boxes 1,4,6\n" + answers;
}

std::string corner_script(const std::string& answers) {
  return "name corner\ninput image 1,128,256,3\noutput corners 1,8\n" + answers;
}

std::string line_detector_script(const std::string& answers) {
  const std::string side = std::to_string(kMapSide);
  return "name lines\ninput image 1,640,640,3\noutput map 1,1," + side + "," + side + "\n" +
         answers;
}

std::string reader_script(const std::string& answers, std::size_t classes) {
  return "name reader\ninput image 1,48,320,3\noutput steps 1," + std::to_string(kSteps) + "," +
         std::to_string(classes) + "\n" + answers;
}

std::string reads(const std::string& runs, const std::string& text) {
  std::string line = "answer " + runs + " 0 steps " + std::to_string(ocr_dictionary().size() + 1);
  for (const std::size_t index : classes_of(text)) line += " " + std::to_string(index);
  return line + "\n";
}

std::string reads_in_turn(const std::vector<std::string>& texts, int first, int last) {
  std::string lines;
  for (const std::string& text : texts) {
    const std::string runs = std::to_string(first++) + "-" + std::to_string(last);
    lines += reads(runs + "/" + std::to_string(texts.size()), text);
  }
  return lines;
}

std::string reads_plate(const PlateTexts& plate, int first) {
  return reads_in_turn({plate.full, plate.upper, plate.lower, plate.serial}, first,
                       first + kRunsPerPlate - 1);
}

std::string reads_every_plate(const PlateTexts& plate) {
  return reads_in_turn({plate.full, plate.upper, plate.lower, plate.serial});
}

std::string ocr_texts(const std::vector<TaggedText>& of_one_variant) {
  std::string joined;
  for (const char* variant : {"original", "gray", "clahe", "sharpen", "up2x"}) {
    for (const TaggedText& tagged : of_one_variant) {
      if (tagged.text.empty()) continue;
      joined += (joined.empty() ? "" : " / ") + (variant + tagged.suffix) + ":" + tagged.text;
    }
  }
  return joined;
}

std::string ocr_texts(const PlateTexts& plate) {
  return ocr_texts({{"_full", plate.full},
                    {"_upper_row", plate.upper},
                    {"_lower_row", plate.lower},
                    {"_serial_area", plate.serial}});
}

}  // namespace kavrel_test

// The plate parser: whatever was read, a field is empty or of its form.
#include <algorithm>

#include "app/base/text.h"
#include "fuzz/fuzz_support.h"
#include "kana/kana_alphabet.h"
#include "reading/plate_parser.h"

using kavrel_fuzz::require;

namespace {

constexpr std::size_t kMostWords = 8;
constexpr std::size_t kMostReadings = 64;

// Trimmed and not empty, as word lists are read.
std::vector<std::string> take_words(FuzzedDataProvider& data) {
  std::vector<std::string> words;
  for (std::size_t i = data.ConsumeIntegralInRange<std::size_t>(0, kMostWords); i > 0; --i) {
    words.push_back(kavrel::trim(data.ConsumeRandomLengthString()));
    if (words.back().empty()) words.pop_back();
  }
  return words;
}

std::vector<kavrel::OcrText> take_readings(FuzzedDataProvider& data) {
  std::vector<kavrel::OcrText> readings;
  while (data.remaining_bytes() > 0 && readings.size() < kMostReadings) {
    const char* const source =
        data.PickValueInArray({"gray_full", "up2x_upper_row", "clahe_lower_row",
                               "original_serial_area", "sharpen_det_crop_0", ""});
    readings.push_back({source, data.ConsumeRandomLengthString()});
  }
  return readings;
}

bool has_form(const std::string& text, const std::string& form) {
  return std::equal(text.begin(), text.end(), form.begin(), form.end(), [](char byte, char wanted) {
    return wanted == '0' ? kavrel::is_ascii_digit(byte) : byte == wanted;
  });
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  const std::vector<std::string> words = take_words(data);
  const std::vector<kavrel::OcrText> readings = take_readings(data);
  const kavrel::PlateFields fields = kavrel::parse_jp_plate(readings, words);

  require(fields.region.empty() || std::count(words.begin(), words.end(), fields.region) > 0,
          "a region is one of the words");
  require(fields.class_no.empty() || has_form(fields.class_no, "000"),
          "a class number has three digits");
  require(fields.kana.empty() || kavrel::is_valid_plate_kana_string(fields.kana),
          "a kana is one of the plates'");
  require(
      fields.serial.empty() || has_form(fields.serial, "00-00") || has_form(fields.serial, "000"),
      "a serial is 12-34 or 123");
  require(fields.final_plate_number == kavrel::trim(fields.region + " " + fields.class_no + " " +
                                                    fields.kana + " " + fields.serial),
          "the plate number is its trimmed fields");
  return 0;
}

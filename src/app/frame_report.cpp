#include "app/frame_report.h"

#include <array>
#include <vector>

#include "app/base/text.h"
#include "reading/status.h"

namespace kavrel {
namespace {

// A field of a case, with its key in all files.
struct Field {
  const char* key;
  std::string FrameReport::*value;
};

constexpr Field kGroupId{"group_id", &FrameReport::group_id};
constexpr Field kImagePath{"image_path", &FrameReport::image_path};
constexpr Field kExpected{"expected", &FrameReport::expected};
constexpr Field kFinalPlateNumber{"final_plate_number", &FrameReport::final_plate_number};
constexpr Field kStatus{"status", &FrameReport::status};
constexpr Field kRegion{"region", &FrameReport::region};
constexpr Field kClassNo{"class_no", &FrameReport::class_no};
constexpr Field kKana{"kana", &FrameReport::kana};
constexpr Field kSerial{"serial", &FrameReport::serial};
constexpr Field kOcrTexts{"ocr_texts", &FrameReport::ocr_texts};

// Each file has its own order.
using FieldOrder = std::array<Field, 10>;
constexpr FieldOrder kTxtOrder = {kGroupId, kImagePath, kExpected, kOcrTexts,         kRegion,
                                  kClassNo, kKana,      kSerial,   kFinalPlateNumber, kStatus};
constexpr FieldOrder kJsonOrder = {kGroupId, kImagePath, kExpected, kFinalPlateNumber, kRegion,
                                   kClassNo, kKana,      kSerial,   kOcrTexts,         kStatus};
constexpr FieldOrder kCsvOrder = {kGroupId, kImagePath, kExpected, kFinalPlateNumber, kStatus,
                                  kRegion,  kClassNo,   kKana,     kSerial,           kOcrTexts};

std::string join_ocr_texts(const std::vector<OcrText>& ocr_texts) {
  std::vector<std::string> lines;
  for (const OcrText& reading : ocr_texts) lines.push_back(reading.source + ":" + reading.text);
  return join_strings(lines, " / ");
}

}  // namespace

FrameReport make_frame_report(const FrameResult& frame) {
  const PlateFields& fields = frame.fields;
  return {frame.group_id,
          frame.image_path,
          frame.expected,
          fields.final_plate_number,
          plate_status(frame.expected, fields.final_plate_number),
          fields.region,
          fields.class_no,
          fields.kana,
          fields.serial,
          join_ocr_texts(frame.ocr_texts)};
}

void write_result_txt(const FrameReport& report, const std::string& case_dir) {
  std::ofstream file(case_dir + "/result.txt");
  for (const Field& field : kTxtOrder) file << field.key << ": " << report.*field.value << '\n';
}

void write_result_json(const FrameReport& report, const std::string& case_dir) {
  std::vector<std::string> members;
  for (const Field& field : kJsonOrder) {
    members.push_back(std::string("  \"") + field.key + "\": \"" +
                      json_escape(report.*field.value) + "\"");
  }
  std::ofstream file(case_dir + "/result.json");
  file << "{\n" << join_strings(members, ",\n") << "\n}\n";
}

FrameSummary::FrameSummary(const std::string& path) : file_(path) {
  std::vector<std::string> keys;
  for (const Field& field : kCsvOrder) keys.emplace_back(field.key);
  file_ << join_strings(keys, ",") << std::endl;
}

void FrameSummary::add_row(const FrameReport& report) {
  std::vector<std::string> cells;
  for (const Field& field : kCsvOrder) cells.push_back(csv_escape(report.*field.value));
  file_ << join_strings(cells, ",") << std::endl;
}

}  // namespace kavrel

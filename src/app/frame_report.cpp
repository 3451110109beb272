#include "app/frame_report.h"

#include <array>
#include <vector>

#include "app/status.h"
#include "app/text.h"

namespace kavrel {
namespace {

// A field of a case: its key in all files, and where its value comes from.
struct Field {
  const char* key;
  const std::string& (*value)(const FrameReport&);
};

using R = FrameReport;
using Value = const std::string&;
constexpr Field kGroupId{"group_id", [](const R& r) -> Value { return r.frame.group_id; }};
constexpr Field kImagePath{"image_path", [](const R& r) -> Value { return r.frame.image_path; }};
constexpr Field kExpected{"expected", [](const R& r) -> Value { return r.frame.expected; }};
constexpr Field kRegion{"region", [](const R& r) -> Value { return r.frame.fields.region; }};
constexpr Field kClassNo{"class_no", [](const R& r) -> Value { return r.frame.fields.class_no; }};
constexpr Field kKana{"kana", [](const R& r) -> Value { return r.frame.fields.kana; }};
constexpr Field kSerial{"serial", [](const R& r) -> Value { return r.frame.fields.serial; }};
constexpr Field kFinalPlateNumber{
    "final_plate_number", [](const R& r) -> Value { return r.frame.fields.final_plate_number; }};
constexpr Field kOcrTexts{"ocr_texts", [](const R& r) -> Value { return r.ocr_texts; }};
constexpr Field kStatus{"status", [](const R& r) -> Value { return r.status; }};

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
  return {frame, plate_status(frame.expected, frame.fields.final_plate_number),
          join_ocr_texts(frame.ocr_texts)};
}

void write_result_txt(const FrameReport& report, const std::string& case_dir) {
  std::ofstream file(case_dir + "/result.txt");
  for (const Field& field : kTxtOrder) file << field.key << ": " << field.value(report) << '\n';
}

void write_result_json(const FrameReport& report, const std::string& case_dir) {
  std::vector<std::string> members;
  for (const Field& field : kJsonOrder) {
    members.push_back(std::string("  \"") + field.key + "\": \"" +
                      json_escape(field.value(report)) + "\"");
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
  for (const Field& field : kCsvOrder) cells.push_back(csv_escape(field.value(report)));
  file_ << join_strings(cells, ",") << std::endl;
}

}  // namespace kavrel

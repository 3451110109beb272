#include "app/frame_report.h"

#include <vector>

#include "app/base/output_format.h"
#include "app/base/text.h"
#include "reading/status.h"

namespace kavrel {
namespace {

std::string join_ocr_texts(const std::vector<OcrText>& ocr_texts) {
  std::vector<std::string> lines;
  for (const auto& [source, text] : ocr_texts) lines.push_back(source + output::kSourceEnd + text);
  return join_strings(lines, output::kReadingSeparator);
}

output::Row row_of(const FrameReport& report) {
  return {{output::column::kGroupId, report.group_id},
          {output::column::kImagePath, report.image_path},
          {output::column::kExpected, report.expected},
          {output::column::kFinalPlateNumber, report.final_plate_number},
          {output::column::kStatus, report.status},
          {output::column::kRegion, report.region},
          {output::column::kClassNo, report.class_no},
          {output::column::kKana, report.kana},
          {output::column::kSerial, report.serial},
          {output::column::kOcrTexts, report.ocr_texts}};
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
  std::ofstream(case_dir + "/" + output::kResultTxt) << output::result_txt(row_of(report));
}

void write_result_json(const FrameReport& report, const std::string& case_dir) {
  std::ofstream(case_dir + "/" + output::kResultJson) << output::result_json(row_of(report));
}

FrameSummary::FrameSummary(const std::string& path) : file_(path) {
  file_ << output::csv_header(output::kFrameColumns) << std::endl;
}

void FrameSummary::add_row(const FrameReport& report) {
  file_ << output::csv_line(output::kFrameColumns, row_of(report)) << std::endl;
}

}  // namespace kavrel

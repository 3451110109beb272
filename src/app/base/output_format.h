// The names in a run's output directory. Whoever writes one, and whoever reads it, takes it from
// here.
//
//   OUTPUT_DIR/
//     frame_summary.csv   one row per case
//     summary.csv         one row per group
//     FINAL_RESULT.json   the totals
//     cases/NAME/         one folder per case, named as its image without the extension
//       result.txt, result.json, and the case's pictures
#ifndef KAVREL_APP_BASE_OUTPUT_FORMAT_H
#define KAVREL_APP_BASE_OUTPUT_FORMAT_H

#include <array>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kavrel::output {

constexpr const char* kFrameSummary = "frame_summary.csv";
constexpr const char* kGroupSummary = "summary.csv";
constexpr const char* kFinalResult = "FINAL_RESULT.json";
constexpr const char* kCases = "cases";
constexpr const char* kResultTxt = "result.txt";
constexpr const char* kResultJson = "result.json";

// What kavrel does not write: the log that tools/logged.sh and kavrel-shard keep in a run's output
// directory, and what kavrel-shard tells of a shard, beside its output directory.
constexpr const char* kRunLog = "kavrel.log";
constexpr const char* kShardFile = "shard.json";

// The name of a case's folder: that of its image. An image ".jpg" leaves an empty one, which is
// cases/ itself, as "." is.
std::string case_name(const std::string& image_path);

// The folder of the case that reads this image. Images of the same name share one.
std::string case_dir(const std::string& output_dir, const std::string& image_path);

// Columns of the CSV files; a case's own files have them as keys.
namespace column {
constexpr const char* kGroupId = "group_id";
constexpr const char* kImagePath = "image_path";
constexpr const char* kExpected = "expected";
constexpr const char* kFinalPlateNumber = "final_plate_number";
constexpr const char* kStatus = "status";
constexpr const char* kRegion = "region";
constexpr const char* kClassNo = "class_no";
constexpr const char* kKana = "kana";
constexpr const char* kSerial = "serial";
constexpr const char* kOcrTexts = "ocr_texts";
constexpr const char* kFrameCount = "frame_count";
}  // namespace column

using Columns = std::initializer_list<const char*>;
constexpr Columns kFrameColumns = {column::kGroupId,          column::kImagePath, column::kExpected,
                                   column::kFinalPlateNumber, column::kStatus,    column::kRegion,
                                   column::kClassNo,          column::kKana,      column::kSerial,
                                   column::kOcrTexts};
constexpr Columns kGroupColumns = {column::kGroupId, column::kExpected, column::kFinalPlateNumber,
                                   column::kStatus,  column::kRegion,   column::kClassNo,
                                   column::kKana,    column::kSerial,   column::kFrameCount};
constexpr Columns kResultTxtKeys = {
    column::kGroupId,          column::kImagePath, column::kExpected, column::kOcrTexts,
    column::kRegion,           column::kClassNo,   column::kKana,     column::kSerial,
    column::kFinalPlateNumber, column::kStatus};
constexpr Columns kResultJsonKeys = {
    column::kGroupId,  column::kImagePath, column::kExpected, column::kFinalPlateNumber,
    column::kRegion,   column::kClassNo,   column::kKana,     column::kSerial,
    column::kOcrTexts, column::kStatus};

// A row of a CSV file, or a case in files of its own: the value of each column.
using Row = std::map<std::string_view, std::string>;

// A line of a CSV file, without its end. Throws std::out_of_range if the row lacks a column.
std::string csv_header(Columns columns);
std::string csv_line(Columns columns, const Row& row);

// The other way round, from as many cells as columns.
Row make_row(Columns columns, const std::vector<std::string>& cells);

// A case's own files, result.txt and result.json.
std::string result_txt(const Row& row);
std::string result_json(const Row& row);

// The cell ocr_texts: every reading as "source:text", joined by " / ". A text may hold either mark.
constexpr char kSourceEnd = ':';
constexpr const char* kReadingSeparator = " / ";

// What a frame's or a group's status is.
namespace status {
constexpr const char* kCorrect = "correct";
constexpr const char* kCheck = "check";
constexpr const char* kUnknown = "unknown";  // nothing was expected
}  // namespace status

// Keys of FINAL_RESULT.json.
namespace total {
constexpr const char* kInputMode = "input_mode";
constexpr const char* kUsePlateDet = "use_plate_det";
constexpr const char* kFrameTotal = "frame_total";
constexpr const char* kFrameCorrect = "frame_correct";
constexpr const char* kFrameCheckOrFailed = "frame_check_or_failed";
constexpr const char* kGroupTotal = "group_total";
constexpr const char* kGroupCorrect = "group_correct";
constexpr const char* kGroupCheckOrFailed = "group_check_or_failed";
constexpr const char* kFrameSummaryCsv = "frame_summary_csv";
constexpr const char* kSummaryCsv = "summary_csv";
}  // namespace total

// The source of a reading: an image variant of the plate, "_", and either a window of the plate or
// "det_crop_" and the number of a detected text line. Plates are parsed by which window's name
// occurs in a source, so no other part of one holds such a name.
namespace source {
constexpr const char* kOriginal = "original";
constexpr const char* kGray = "gray";
constexpr const char* kClahe = "clahe";
constexpr const char* kSharpen = "sharpen";
constexpr const char* kUp2x = "up2x";

constexpr const char* kFull = "full";
constexpr const char* kUpperRow = "upper_row";
constexpr const char* kLowerRow = "lower_row";
constexpr const char* kSerialArea = "serial_area";
constexpr std::array<const char*, 4> kWindows = {kFull, kUpperRow, kLowerRow, kSerialArea};

constexpr const char* kTextLine = "det_crop_";

std::string of_window(const std::string& variant, const std::string& window);
std::string of_text_line(const std::string& variant, int number);
}  // namespace source

// Pictures of a case.
namespace picture {
constexpr const char* kPlateDetections = "plate_det_debug.jpg";
constexpr const char* kPlateCrop = "plate_roi.jpg";
constexpr const char* kCorners = "corner_debug.jpg";
constexpr const char* kRectifiedPlate = "rectified_plate.jpg";

std::string variant(const std::string& name);

// What text detection writes of a variant: the stem and one of these.
std::string variant_stem(const std::string& name);
constexpr const char* kTextMaskEnd = "_det_mask.jpg";
constexpr const char* kTextBoxesEnd = "_det_boxes.jpg";

std::string text_line(const std::string& variant, int number);
std::string kana_candidate(const std::string& name);

// Of the above, those that show best what the text detector found and where a kana was searched.
constexpr const char* kPlateTextBoxes = "ocr_variant_original_det_boxes.jpg";
constexpr const char* kWideKanaWindow = "kana_fallback_rect_kana_left_lower_wide_original.jpg";
}  // namespace picture

}  // namespace kavrel::output

#endif

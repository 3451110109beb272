// The files that a finished case leaves. Texts are written byte for byte; a file that cannot be
// written is skipped.
#ifndef KAVREL_APP_FRAME_REPORT_H
#define KAVREL_APP_FRAME_REPORT_H

#include <fstream>
#include <string>

#include "reading/frame_result.h"

namespace kavrel {

// One case as its files show it.
struct FrameReport {
  std::string group_id;
  std::string image_path;
  std::string expected;
  std::string final_plate_number;
  std::string status;
  std::string region;
  std::string class_no;
  std::string kana;
  std::string serial;
  std::string ocr_texts;  // "source:text" of every reading, joined by " / "
};

FrameReport make_frame_report(const FrameResult& frame);

// case_dir + "/result.txt": one line "key: value" per field.
void write_result_txt(const FrameReport& report, const std::string& case_dir);

// case_dir + "/result.json": one flat object of strings.
void write_result_json(const FrameReport& report, const std::string& case_dir);

// frame_summary.csv, one row per case. Each row is flushed: a run that is killed keeps the rows of
// all finished cases.
class FrameSummary {
 public:
  explicit FrameSummary(const std::string& path);  // writes the header
  void add_row(const FrameReport& report);

 private:
  std::ofstream file_;
};

}  // namespace kavrel

#endif

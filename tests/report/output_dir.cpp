#include "tests/report/output_dir.h"

#include <filesystem>
#include <iostream>
#include <opencv2/imgcodecs.hpp>
#include <stdexcept>

#include "app/base/output_format.h"
#include "app/final_report.h"
#include "app/frame_report.h"
#include "reading/plate_parser.h"
#include "reading/status.h"

namespace kavrel_test {
namespace {

using kavrel::Args;
using kavrel::FrameSummary;
using kavrel::StatusCounts;

FrameResult with_fallback_kana(FrameResult frame, const std::string& kana) {
  frame.fields.kana = kana;
  frame.fields.final_plate_number = assemble_plate_number(frame.fields);
  return frame;
}

StatusCounts write_frames(const std::vector<FrameResult>& frames, const std::string& dir) {
  FrameSummary summary(dir + "/frame_summary.csv");
  StatusCounts counts;
  for (const FrameResult& frame : frames) {
    const auto report = make_frame_report(frame);
    counts.add(report.status);
    summary.add_row(report);
    const std::string case_dir = kavrel::output::case_dir(dir, frame.image_path);
    std::filesystem::create_directories(case_dir);
    kavrel::write_result_txt(report, case_dir);
    kavrel::write_result_json(report, case_dir);
  }
  return counts;
}

}  // namespace

const std::vector<std::string> kWords = {"品川", "横浜", "なにわ", "福岡"};

FrameResult frame_of(const std::string& group, const std::string& image,
                     const std::string& expected, const std::vector<OcrText>& readings) {
  return {image, expected, group, parse_jp_plate(readings, kWords), readings};
}

std::vector<FrameResult> small_run() {
  const std::string a = "品川 330 あ 12-34";
  const std::string b = "横浜 500 さ 56-78";
  const std::vector<OcrText> a_read = {{"gray_upper_row", "品川330"},
                                       {"gray_lower_row", "あ12-34"}};
  return {
      frame_of("a", "in/a1.jpg", a, a_read),
      frame_of("a", "in/a2.jpg", a, {{"gray_upper_row", "品川330"}, {"gray_lower_row", "い12-34"}}),
      frame_of("a", "in/a3.jpg", a, a_read),
      frame_of("b", "in/b1.jpg", b,
               {{"gray_full", "横浜500さ56-78"},
                {"gray_upper_row", "横浜500"},
                {"gray_lower_row", "き56-78"}}),
      with_fallback_kana(frame_of("b", "in/b2.jpg", b,
                                  {{"gray_upper_row", "横浜500"}, {"gray_serial_area", "56-78"}}),
                         "き"),
      frame_of("c", "in/c1.jpg", "なにわ 480 う 90-12", {}),
      frame_of("d", "in/d1.jpg", "", a_read),
      frame_of(
          "e", "in/e1.jpg", "福岡 301 わ 77-88",
          {{"gray_upper_row", "福岡301"}, {"gray_lower_row", "わ"}, {"gray_serial_area", "778"}}),
  };
}

void OutputDir::write_finished(const std::vector<FrameResult>& frames) const {
  const StatusCounts counts = write_frames(frames, path());
  Args args;
  args.input_mode = "frame";
  args.output_dir = path();
  const Capture console(std::cout);
  kavrel::report_run({args, true, frames, counts});
}

void OutputDir::write_aborted(const std::vector<FrameResult>& frames) const {
  write_frames(frames, path());
}

void OutputDir::write_pictures(const std::string& case_name) const {
  const std::string dir = path("cases/" + case_name);
  std::filesystem::create_directories(dir);
  cv::imwrite(dir + "/rectified_plate.jpg", cv::Mat(96, 320, CV_8UC3, cv::Scalar(40, 120, 40)));
  cv::imwrite(dir + "/plate_roi.jpg", cv::Mat(600, 800, CV_8UC3, cv::Scalar(120, 40, 40)));
}

void OutputDir::remove(const std::string& name) const { std::filesystem::remove_all(path(name)); }

std::string without_texts(const std::string& page) {
  const std::size_t begin = page.find("<script type=\"application/json\" id=\"texts\">");
  if (begin == std::string::npos) throw std::runtime_error("a page without texts");
  return page.substr(0, begin) + page.substr(page.find("<script>", begin));
}

}  // namespace kavrel_test
